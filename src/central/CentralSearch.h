#pragma once
// The user's search asked of the central index: the criteria become one
// parameterised SELECT over the chosen folders, whose rows come back as the
// records the results list shows. The server shows the connection's role
// only the rows of folders it may read.

#include "central/PgConnection.h"
#include "mail/EmailMetadata.h"
#include "mail/SearchCriteria.h"

#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Kerf::Central {

/// How long the server may work on one search: a word in half of a million
/// messages takes a few seconds.
inline constexpr std::chrono::seconds kRunawaySearch{30};

/// The statement and its values for the criteria over the folders.
struct CentralQuery {
    std::string sql;
    CPgConnection::Params params;
};

/// False when the criteria ask for what only the per-user index answers (a
/// raw query text in its parser's syntax).
bool centralIndexAnswers(const QuireLib::SearchCriteria& criteria);

/// The criteria's dates are taken as they stand (adjusted by the caller).
CentralQuery buildCentralQuery(const QuireLib::SearchCriteria& criteria,
                               const std::vector<std::wstring>& folders);

/// What a matching row says beside its record, without a conversion: the
/// file's path as the server sent it (UTF-8, as the file system names it)
/// and the bytes of text the row held.
struct CentralRow {
    std::string_view path;
    std::size_t textBytes = 0;
};

/// Takes one matching message's record and its row.
using OnCentralRecord = std::function<void(QuireLib::CEmailMetadata&&, const CentralRow& row)>;

/// Runs the search, handing over one record per matching message as its row
/// arrives, in no set order: the first long before the last of a search that
/// finds tens of thousands, and none kept waiting for the others. The server
/// ends a search still running after kRunawaySearch; one that onRecord
/// throws out of is stopped there.
void searchCentralIndex(CPgConnection& connection, const QuireLib::SearchCriteria& criteria,
                        const std::vector<std::wstring>& folders, const OnCentralRecord& onRecord);

} // namespace Kerf::Central
