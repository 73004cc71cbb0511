#pragma once
// Writing and listing the central index's rows. The writer keeps one open
// transaction that commit() ends and starts again, so that a run killed
// between commits loses only what it wrote since the last one; folders and
// their readers are written once per writer, before the first message in them.

#include "central/PgConnection.h"
#include "mail/EmailMetadata.h"
#include "search/FileState.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace Kerf::Central {

/// A text as the server takes it: UTF-8 without NUL characters, anything
/// that is no character (an unpaired surrogate) replaced by U+FFFD.
std::string serverText(std::wstring_view text);
/// True when the path reaches the server exactly as the file system names it.
bool isServerPath(std::wstring_view path);

/// The first and the last-but-one keys of the paths below a folder, for
/// "path >= $1 AND path < $2" ("/a/b/" and "/a/b0").
std::pair<std::string, std::string> pathRange(const std::wstring& folder);

/// A message's row but for where it was found: its texts and the words of
/// its fields, made where the message is read, so that the thread that writes
/// rows only sends them.
struct MessageRow {
    std::string path;
    /// The columns from the file name on, in the order the writer binds them.
    CPgConnection::Params fields;
};

/// The row of a record that carries its path ("Location"), state and fields.
MessageRow messageRowOf(const QuireLib::CEmailMetadata& record);

class CMessageRowWriter {
public:
    explicit CMessageRowWriter(std::string conninfo);
    ~CMessageRowWriter();

    /// Writes (or rewrites) the folder's row and its readers; returns its id.
    std::int64_t writeFolder(const std::string& folder, const std::vector<std::string>& readers);
    /// Writes the message's row under the location it was found in; rows
    /// are sent kRowsPerStatement at a time, and all of them by commit().
    void writeMessage(const std::wstring& location, std::int64_t folderId, MessageRow row);
    void removeMessage(const std::wstring& path);
    /// Makes what was written last, and opens the next transaction.
    void commit();
    /// Rows written since the last commit.
    std::size_t uncommitted() const { return m_iUncommitted; }

    static constexpr std::size_t kRowsPerStatement = 100;

private:
    CPgConnection& connection();
    void writePending();

    std::string m_sConninfo;
    std::unique_ptr<CPgConnection> m_pConnection;
    std::map<std::string, std::int64_t> m_folders;
    std::size_t m_iUncommitted = 0;
    /// Rows not yet sent, each its values in the order of the insert's columns.
    std::vector<CPgConnection::Params> m_pending;
    std::set<std::string> m_pendingPaths;
};

/// Calls visit with every message row below the folder (path, state), in
/// path order; stops when visit returns false.
void forEachRowBelow(CPgConnection& connection, const std::wstring& folder,
                     const std::function<bool(std::string_view, const Search::FileState&)>& visit);

} // namespace Kerf::Central
