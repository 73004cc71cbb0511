#pragma once
// One connection to the central index's PostgreSQL server through libpq.
// Every statement with values goes through the parameterised call: text from
// a message, a file name or the user never becomes part of the SQL itself.
// A connection is used by one thread at a time.

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct pg_cancel;
struct pg_conn;
struct pg_result;

namespace Kerf::Central {

/// The rows of one statement's answer.
class CPgResult {
public:
    explicit CPgResult(pg_result* result);
    int rows() const;
    bool isNull(int row, int column) const;
    /// The value as text (UTF-8); empty for NULL.
    std::string text(int row, int column) const;
    /// The same without a copy, valid while this result lives.
    std::string_view view(int row, int column) const;
    long long number(int row, int column) const;

private:
    std::shared_ptr<pg_result> m_pResult;
};

/// Asks the server to stop the statement a connection runs. Usable from any
/// thread, also while the connection's own thread waits for the answer; it
/// opens a connection of its own for the request, and may wait for it.
class CPgCanceller {
public:
    explicit CPgCanceller(pg_conn* connection);
    ~CPgCanceller();
    CPgCanceller(const CPgCanceller&) = delete;
    CPgCanceller& operator=(const CPgCanceller&) = delete;
    void cancel() const;

private:
    pg_cancel* m_pCancel;
};

class CPgConnection {
public:
    using Params = std::vector<std::optional<std::string>>;

    /// Connects with a libpq connection string ("host=... dbname=..."); the
    /// server must answer within the timeout. Throws CExceptionBase with the
    /// server's reason when it does not.
    explicit CPgConnection(const std::string& conninfo,
                           std::chrono::seconds timeout = std::chrono::seconds(10));
    ~CPgConnection();
    CPgConnection(const CPgConnection&) = delete;
    CPgConnection& operator=(const CPgConnection&) = delete;

    /// Runs SQL without values (it may hold several statements).
    void run(const std::string& sql);
    /// Runs one statement with $1... bound to the values (NULL for none).
    CPgResult query(const std::string& sql, const Params& params = {});
    /// Runs one statement and hands its rows over as they arrive, one
    /// result a row (libpq's single-row mode): the first are there long
    /// before the last. Throws as query() does, once the answer has ended;
    /// when onRows throws, the server is asked to stop the statement and
    /// that exception is thrown.
    void queryRows(const std::string& sql, const Params& params,
                   const std::function<void(const CPgResult& rows)>& onRows);
    /// The same for a statement run many times over: the server parses and
    /// plans it once for the connection.
    CPgResult queryPrepared(const std::string& sql, const Params& params);

    /// Runs "COPY ... FROM STDIN" with the text fill() hands over, chunk by
    /// chunk, until it returns false: the fastest way to load many rows.
    void copyIn(const std::string& sql, const std::function<bool(std::string& chunk)>& fill);

    /// Runs `begin` (which opens a transaction and may set it up), then
    /// work(), then COMMIT; rolls back and rethrows when any of it throws.
    void inTransaction(const std::string& begin, const std::function<void()>& work);

    /// The role the server knows this connection as.
    std::string user() const;
    /// What stops this connection's statement from another thread.
    std::shared_ptr<CPgCanceller> canceller() const;

private:
    CPgResult check(pg_result* result, const std::string& sql);

    pg_conn* m_pConn = nullptr;
    /// The name each statement was prepared under.
    std::map<std::string, std::string> m_prepared;
};

} // namespace Kerf::Central
