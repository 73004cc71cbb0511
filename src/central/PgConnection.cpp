#include "central/PgConnection.h"

#include "support/Exception.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <libpq-fe.h>

#include <cstdlib>
#include <exception>

namespace Kerf::Central {
namespace {

// The server's notices ("already exists, skipping") go to the trace log, not
// to the terminal of whoever runs the program.
void traceNotice(void*, const char* message) {
    Trace::tracef("PostgreSQL: %s", message);
}

std::wstring reasonOf(const char* text) {
    std::string reason = text != nullptr ? text : "";
    while (!reason.empty() && (reason.back() == '\n' || reason.back() == ' '))
        reason.pop_back();
    return Util::toWide(reason);
}

std::vector<const char*> valuesOf(const CPgConnection::Params& params) {
    std::vector<const char*> values;
    values.reserve(params.size());
    for (const auto& param : params)
        values.push_back(param ? param->c_str() : nullptr);
    return values;
}

} // namespace

CPgResult::CPgResult(pg_result* result) : m_pResult(result, &PQclear) {}

int CPgResult::rows() const {
    return PQntuples(m_pResult.get());
}

bool CPgResult::isNull(int row, int column) const {
    return PQgetisnull(m_pResult.get(), row, column) != 0;
}

std::string CPgResult::text(int row, int column) const {
    return std::string(view(row, column));
}

std::string_view CPgResult::view(int row, int column) const {
    return {PQgetvalue(m_pResult.get(), row, column),
            static_cast<std::size_t>(PQgetlength(m_pResult.get(), row, column))};
}

long long CPgResult::number(int row, int column) const {
    return std::strtoll(PQgetvalue(m_pResult.get(), row, column), nullptr, 10);
}

CPgConnection::CPgConnection(const std::string& conninfo, std::chrono::seconds timeout) {
    // The keys are read in order, and a later one wins over an earlier.
    // A server whose machine goes away mid-answer sends nothing more and
    // never closes the connection: probes after 5 s of silence, and a limit
    // on data the server leaves unacknowledged, end the wait within about
    // 15 s instead of the system's quarter of an hour; the connection text
    // (after them) may set them otherwise. The timeout given here comes after
    // the text, so that a caller's promise to fall back in time holds
    // whatever the settings say.
    const std::string seconds = std::to_string(std::max<long long>(1, timeout.count()));
    const char* keys[] = {
        "keepalives_idle", "keepalives_interval", "keepalives_count", "tcp_user_timeout",
        "dbname",          "connect_timeout",     "client_encoding",  nullptr};
    const char* values[] = {"5",    "2",    "5", "15000", conninfo.c_str(), seconds.c_str(),
                            "UTF8", nullptr};
    m_pConn = PQconnectdbParams(keys, values, 1);
    if (m_pConn == nullptr)
        throw CExceptionBase(L"The central index cannot be reached: out of memory.");
    if (PQstatus(m_pConn) != CONNECTION_OK) {
        const std::wstring reason = reasonOf(PQerrorMessage(m_pConn));
        PQfinish(m_pConn);
        m_pConn = nullptr;
        throw CExceptionBase(L"The central index cannot be reached (" + reason + L")");
    }
    PQsetNoticeProcessor(m_pConn, &traceNotice, nullptr);
}

CPgConnection::~CPgConnection() {
    if (m_pConn != nullptr)
        PQfinish(m_pConn);
}

CPgResult CPgConnection::check(pg_result* result, const std::string& sql) {
    CPgResult answer(result);
    const ExecStatusType status = PQresultStatus(result);
    if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK)
        return answer;
    std::wstring reason =
        reasonOf(result != nullptr ? PQresultErrorMessage(result) : PQerrorMessage(m_pConn));
    if (PQstatus(m_pConn) != CONNECTION_OK)
        reason = L"the connection was lost: " + reason;
    // The statement's first words say which step failed; its values are
    // never part of it.
    throw CExceptionBase(L"The central index refused \"" + Util::toWide(sql.substr(0, 60)) +
                         L"\" (" + reason + L")");
}

void CPgConnection::run(const std::string& sql) {
    check(PQexec(m_pConn, sql.c_str()), sql);
}

void CPgConnection::inTransaction(const std::string& begin, const std::function<void()>& work) {
    run(begin);
    try {
        work();
        run("COMMIT");
    } catch (...) {
        try {
            run("ROLLBACK");
        } catch (...) {
        }
        throw;
    }
}

CPgResult CPgConnection::query(const std::string& sql, const Params& params) {
    const std::vector<const char*> values = valuesOf(params);
    return check(PQexecParams(m_pConn, sql.c_str(), static_cast<int>(values.size()), nullptr,
                              values.data(), nullptr, nullptr, 0),
                 sql);
}

void CPgConnection::queryRows(const std::string& sql, const Params& params,
                              const std::function<void(const CPgResult& rows)>& onRows) {
    const std::vector<const char*> values = valuesOf(params);
    if (PQsendQueryParams(m_pConn, sql.c_str(), static_cast<int>(values.size()), nullptr,
                          values.data(), nullptr, nullptr, 0) != 1)
        check(nullptr, sql);
    PQsetSingleRowMode(m_pConn);
    // The answer is read to its end whatever happens, so that the connection
    // is ready for the next statement; the first failure is thrown then.
    std::exception_ptr failure;
    while (pg_result* result = PQgetResult(m_pConn)) {
        try {
            // In single-row mode the last result holds no rows.
            const CPgResult rows = PQresultStatus(result) == PGRES_SINGLE_TUPLE
                                       ? CPgResult(result)
                                       : check(result, sql);
            if (!failure && rows.rows() > 0)
                onRows(rows);
        } catch (...) {
            // The rest of the answer is of no use: the server is asked to
            // stop sending it rather than read to its end.
            if (!failure && PQresultStatus(result) == PGRES_SINGLE_TUPLE)
                canceller()->cancel();
            if (!failure)
                failure = std::current_exception();
        }
    }
    if (failure)
        std::rethrow_exception(failure);
}

CPgCanceller::CPgCanceller(pg_conn* connection) : m_pCancel(PQgetCancel(connection)) {}

CPgCanceller::~CPgCanceller() {
    if (m_pCancel != nullptr)
        PQfreeCancel(m_pCancel);
}

void CPgCanceller::cancel() const {
    char reason[256];
    if (m_pCancel != nullptr && PQcancel(m_pCancel, reason, sizeof reason) != 1)
        Trace::tracef("The central index's statement could not be cancelled: %s\n", reason);
}

std::shared_ptr<CPgCanceller> CPgConnection::canceller() const {
    return std::make_shared<CPgCanceller>(m_pConn);
}

CPgResult CPgConnection::queryPrepared(const std::string& sql, const Params& params) {
    auto found = m_prepared.find(sql);
    if (found == m_prepared.end()) {
        const std::string name = "qosearch_" + std::to_string(m_prepared.size() + 1);
        check(
            PQprepare(m_pConn, name.c_str(), sql.c_str(), static_cast<int>(params.size()), nullptr),
            sql);
        found = m_prepared.emplace(sql, name).first;
    }
    const std::vector<const char*> values = valuesOf(params);
    return check(PQexecPrepared(m_pConn, found->second.c_str(), static_cast<int>(values.size()),
                                values.data(), nullptr, nullptr, 0),
                 sql);
}

void CPgConnection::copyIn(const std::string& sql,
                           const std::function<bool(std::string& chunk)>& fill) {
    pg_result* started = PQexec(m_pConn, sql.c_str());
    if (PQresultStatus(started) != PGRES_COPY_IN)
        check(started, sql);
    PQclear(started);
    std::string chunk;
    bool more = true;
    while (more) {
        chunk.clear();
        more = fill(chunk);
        if (!chunk.empty() &&
            PQputCopyData(m_pConn, chunk.data(), static_cast<int>(chunk.size())) != 1)
            break;
    }
    PQputCopyEnd(m_pConn, more ? "stopped" : nullptr);
    check(PQgetResult(m_pConn), sql);
    while (pg_result* rest = PQgetResult(m_pConn))
        PQclear(rest);
}

std::string CPgConnection::user() const {
    const char* name = PQuser(m_pConn);
    return name != nullptr ? name : "";
}

} // namespace Kerf::Central
