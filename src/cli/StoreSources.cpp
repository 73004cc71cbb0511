#include "cli/StoreSources.h"
#include "cli/TerminalText.h"

#include "support/Strings.h"

namespace QoCli {
namespace {

using Kerf::QuireLib::CCentralFilingStores;
using Kerf::QuireLib::CMsgStoresListModel;
using Kerf::QuireLib::SettingsFileState;
using Kerf::Util::toNarrow;

std::string locations(size_t count) {
    return std::to_string(count) + (count == 1 ? " location" : " locations");
}

} // namespace

std::string oneLine(std::wstring text) {
    for (wchar_t& c : text)
        if (c == L'\n' || c == L'\r' || c == L'\t')
            c = L' ';
    return terminalText(text);
}

void printStoreSources(std::ostream& out, const CMsgStoresListModel::SourceRows& rows) {
    for (const auto& file : rows.settingsFiles) {
        out << "settings " << oneLine(file.sPath) << ": ";
        switch (file.eState) {
        case SettingsFileState::Read:
            out << "read\n";
            break;
        case SettingsFileState::Absent:
            out << "not there\n";
            break;
        case SettingsFileState::Unreadable:
            out << "unreadable: " << oneLine(file.sProblem) << "\n";
            break;
        }
    }
    out << "store database: " << oneLine(rows.sDatabase) << ": ";
    switch (rows.eDatabase) {
    case CMsgStoresListModel::DatabaseState::None:
        out << "nothing to read\n";
        break;
    case CMsgStoresListModel::DatabaseState::Read:
        out << "read, " << locations(rows.database.size()) << "\n";
        break;
    case CMsgStoresListModel::DatabaseState::Unreadable:
        out << "unreadable: " << (rows.errors.empty() ? "" : oneLine(rows.errors.front())) << "\n";
        break;
    }
    if (rows.centralLists.empty())
        out << "central lists: none named in the settings or in "
            << toNarrow(CMsgStoresListModel::kFilingListsFileName) << "\n";
    for (const auto& list : rows.centralLists) {
        out << "central list " << oneLine(list.sRemoteFile) << ": ";
        switch (list.eState) {
        case CCentralFilingStores::ListState::Read:
            out << "read, " << locations(list.nLocations) << "\n";
            break;
        case CCentralFilingStores::ListState::FromCache:
            out << "read from its cached copy " << oneLine(list.sCacheFile) << ", "
                << locations(list.nLocations) << " (" << oneLine(list.sProblem) << ")\n";
            break;
        case CCentralFilingStores::ListState::NotRead:
        case CCentralFilingStores::ListState::Unreadable:
            out << "unreadable: " << oneLine(list.sProblem) << "\n";
            break;
        }
    }
}

} // namespace QoCli
