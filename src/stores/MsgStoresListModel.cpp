#include "stores/MsgStoresListModel.h"

#include "stores/CentralFilingStores.h"
#include "stores/StoreDatabase.h"
#include "stores/UnicodeText.h"
#include "support/Assert.h"
#include "support/Paths.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <QCollator>
#include <QCollatorSortKey>
#include <QString>

#include <algorithm>
#include <filesystem>
#include <optional>

namespace Kerf::QuireLib {
namespace {

using Util::toNarrow;

const std::wstring& field(const LocationRow& row, const wchar_t* key) {
    static const std::wstring empty;
    const auto it = row.find(key);
    return it == row.end() ? empty : it->second;
}

// A signed decimal number: an optional sign and one or more digits, nothing else.
std::optional<long long> parseStoreId(const std::wstring& text) {
    size_t i = 0;
    bool bNegative = false;
    if (i < text.size() && (text[i] == L'+' || text[i] == L'-'))
        bNegative = text[i++] == L'-';
    if (i == text.size())
        return std::nullopt;
    long long value = 0;
    for (; i < text.size(); ++i) {
        if (text[i] < L'0' || text[i] > L'9')
            return std::nullopt;
        value = value * 10 + (text[i] - L'0');
        if (value > 0xFFFFFFFFLL)
            return std::nullopt;
    }
    return bNegative ? -value : value;
}

} // namespace

bool CMsgStoresListModel::SourceRows::AnythingRead() const {
    if (eDatabase == DatabaseState::Read)
        return true;
    for (const auto& list : centralLists)
        if (list.eState == CCentralFilingStores::ListState::Read ||
            list.eState == CCentralFilingStores::ListState::FromCache)
            return true;
    return false;
}

CMsgStoresListModel::CMsgStoresListModel(bool bReadCentralRows) {
    if (bReadCentralRows)
        m_vCentralRows = ReadCentralRows(CSettingsLayers::ForThisUser(), m_sCentralError, nullptr);
}

std::vector<std::wstring> CMsgStoresListModel::CentralListPaths(const CSettingsLayers& layers) {
    std::vector<std::wstring> paths;
    const auto add = [&paths](const std::wstring& text) {
        const std::wstring path = Util::trim(text);
        if (!path.empty() && std::find(paths.begin(), paths.end(), path) == paths.end())
            paths.push_back(path);
    };
    for (const auto& [name, path] : layers.SectionValues(CSettingsLayers::kFilingListsSection))
        add(path);
    const std::wstring sListFile = CQOUtils::GetQOAppDataDir() + kFilingListsFileName;
    std::error_code ec;
    if (std::filesystem::exists(Util::toPath(sListFile), ec))
        if (const auto lines = UnicodeText::readLines(sListFile))
            for (const auto& line : *lines)
                add(line);
    return paths;
}

LocationRows
CMsgStoresListModel::ReadCentralRows(const CSettingsLayers& layers, std::wstring& sError,
                                     std::vector<CCentralFilingStores::FilingList>* pLists) {
    LocationRows central;
    std::error_code ec;
    for (const std::wstring& sRemote : CentralListPaths(layers)) {
        // A list out of reach is read from its cached copy; only a list that
        // was never copied is skipped (and, when asked, reported).
        if (!std::filesystem::is_regular_file(Util::toPath(sRemote), ec) &&
            CCentralFilingStores::CachedCopyOf(sRemote).empty()) {
            if (pLists != nullptr) {
                CCentralFilingStores::FilingList missing;
                missing.sRemoteFile = sRemote;
                missing.eState = CCentralFilingStores::ListState::Unreadable;
                missing.sProblem =
                    CCentralFilingStores::WhyNotAFile(sRemote) + L", and it was never copied here";
                pLists->push_back(missing);
            }
            continue;
        }
        CCentralFilingStores stores;
        std::wstring sAddError;
        if (!stores.AddFilingList(sRemote, sAddError)) {
            Trace::tracef("%s\n", toNarrow(sAddError).c_str());
            continue;
        }
        if (!stores.Refresh()) {
            // No reporter may be set yet: the message waits for the first load.
            sError = stores.GetRefreshError();
            return central;
        }
        for (const std::wstring& problem : stores.GetListProblems())
            sError += (sError.empty() ? L"" : L"\n") + problem;
        if (pLists != nullptr)
            pLists->insert(pLists->end(), stores.FilingLists().begin(), stores.FilingLists().end());
        const auto& rows = stores.Locations();
        central.insert(central.end(), rows.begin(), rows.end());
        stores.Close();
    }
    return central;
}

bool CMsgStoresListModel::ReadDatabaseRows(SourceRows& rows) {
    Trace::tracef("Kerf::QuireLib::CMsgStoresListModel::LoadDBStoreLocations() ...\n");
    try {
        CStoreDatabase db;
        rows.sDatabase = db.GetDescription();
        if (!db.GetOpenError().empty())
            throw CExceptionBase(db.GetOpenError());
        if (db.IsOpen()) {
            db.GetStoreLocationsByType(rows.database, L"msg");
            rows.eDatabase = DatabaseState::Read;
        }
        return true;
    } catch (const CExceptionBase& e) {
        rows.errors.push_back(e.getMessage());
    } catch (const std::exception& e) {
        rows.errors.push_back(Util::toWide(e.what()));
    }
    rows.eDatabase = DatabaseState::Unreadable;
    rows.database.clear();
    return false;
}

void CMsgStoresListModel::LocateRows(const LocationRows& rows, const CPathMapper& mapper,
                                     Places& places) {
    for (const auto& row : rows) {
        const std::wstring& path = field(row, LocationKey::kPathLocation);
        if (places.find(path) == places.end())
            places.emplace(path, mapper.Locate(path));
    }
}

CMsgStoresListModel::SourceRows CMsgStoresListModel::ReadSources(bool bCentralLists) {
    SourceRows rows;
    const CSettingsLayers layers = CSettingsLayers::ForThisUser();
    rows.settingsFiles = layers.Files();
    rows.bDatabaseRead = ReadDatabaseRows(rows);
    if (bCentralLists) {
        std::wstring sError;
        rows.central = ReadCentralRows(layers, sError, &rows.centralLists);
        if (!sError.empty())
            rows.errors.push_back(sError);
    }
    const CPathMapper mapper = CPathMapper::ForThisUser();
    LocateRows(rows.database, mapper, rows.places);
    LocateRows(rows.central, mapper, rows.places);
    return rows;
}

const LocatedPath* CMsgStoresListModel::FindPlace(const std::wstring& sPath) const {
    const auto it = m_mapPlaces.find(sPath);
    return it == m_mapPlaces.end() ? nullptr : &it->second;
}

std::wstring CMsgStoresListModel::GetColumnSpecification() const {
    return L"Store ID,0;Source, 0;" + m_sPrimaryRefTitle + L",150;" + m_sSecondaryRefTitle +
           L",150;" + m_sDescriptionTitle + L",150;Location,150;";
}

void CMsgStoresListModel::ReportError(const std::wstring& sText) {
    Trace::tracef("Exception: %s\n", toNarrow(sText).c_str());
    if (m_fnReportError)
        m_fnReportError(sText);
}

bool CMsgStoresListModel::LoadStoreLocations(int kind) {
    Trace::tracef("Kerf::QuireLib::CMsgStoresListModel::LoadStoreLocations() ...\n");
    SourceRows rows = ReadSources(false);
    rows.central = m_vCentralRows;
    LocateRows(rows.central, CPathMapper::ForThisUser(), rows.places);
    if (!m_sCentralError.empty())
        rows.errors.push_back(m_sCentralError);
    return ShowSourceRows(rows, kind);
}

bool CMsgStoresListModel::ShowSourceRows(const SourceRows& rows, int kind) {
    m_setLocationsCache.clear();
    m_bEntriesStale = true;
    // The central rows are still worth showing when the database fails.
    PushOnLocationsCache(rows.database, kind);
    for (const auto& sError : rows.errors)
        ReportError(sError);
    Trace::tracef("Kerf::QuireLib::CMsgStoresListModel::LoadAdminStoreLocations() ...\n");
    m_vCentralRows = rows.central;
    m_mapPlaces = rows.places;
    PushOnLocationsCache(m_vCentralRows, kind);
    DisplayFilteredStoreLocationsCache(L"");
    return rows.bDatabaseRead;
}

void CMsgStoresListModel::LoadDBStoreLocations(int kind) {
    SourceRows rows;
    if (!ReadDatabaseRows(rows))
        throw CExceptionBase(rows.errors.front());
    PushOnLocationsCache(rows.database, kind);
}

void CMsgStoresListModel::PushOnLocationsCache(const LocationRows& rows, int kind) {
    Trace::tracef("Kerf::QuireLib::CMsgStoresListModel::PushOnLocationsCache() ...\n");
    for (const auto& mapRow : rows) {
        KERF_ASSERT(mapRow.find(L"path_location") != mapRow.end());
        const int rowKind = locationKindOf(field(mapRow, LocationKey::kPathLocation));
        if (rowKind == kind || kind == eOtherLocation) {
            if (m_setLocationsCache.insert(mapRow).second)
                m_bEntriesStale = true;
        }
    }
}

void CMsgStoresListModel::Filter(const std::wstring& sText) {
    Trace::tracef("Kerf::QuireLib::CMsgStoresListModel::Filter() ...\n");
    DisplayFilteredStoreLocationsCache(sText);
}

void CMsgStoresListModel::RebuildEntries() {
    m_vEntries.clear();
    m_vEntries.reserve(m_setLocationsCache.size());
    for (const auto& row : m_setLocationsCache) {
        Entry entry;
        const std::wstring& sStoreId = field(row, LocationKey::kStoreId);
        const auto id = parseStoreId(sStoreId);
        entry.bShown = id.has_value();
        entry.display = {sStoreId,
                         id == -1 ? L"Central" : L"Local",
                         field(row, LocationKey::kPrimaryRef),
                         field(row, LocationKey::kSecondaryRef),
                         field(row, LocationKey::kDescription),
                         field(row, LocationKey::kPathLocation)};
        entry.sHaystack = Util::toLower(
            entry.display[eColPrimaryRef] + L"__" + entry.display[eColSecondaryRef] + L"__" +
            entry.display[eColDescription] + L"__" + entry.display[eColLocation]);
        m_vEntries.push_back(std::move(entry));
    }
    m_bEntriesStale = false;
    m_bOrderStale = true;
}

void CMsgStoresListModel::RebuildOrder() {
    // Without a remembered column the list is ordered by the primary reference.
    const int column =
        m_iSortColumn >= 0 && m_iSortColumn < eColumnCount ? m_iSortColumn : eColPrimaryRef;
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseSensitive);
    std::vector<QCollatorSortKey> keys;
    keys.reserve(m_vEntries.size());
    for (const auto& entry : m_vEntries)
        keys.push_back(collator.sortKey(QString::fromStdWString(entry.display[column])));
    m_vOrder.resize(m_vEntries.size());
    for (std::uint32_t i = 0; i < m_vOrder.size(); ++i)
        m_vOrder[i] = i;
    std::stable_sort(m_vOrder.begin(), m_vOrder.end(), [&](std::uint32_t a, std::uint32_t b) {
        return m_bSortAscending ? keys[a].compare(keys[b]) < 0 : keys[b].compare(keys[a]) < 0;
    });
    m_bOrderStale = false;
}

void CMsgStoresListModel::DisplayFilteredStoreLocationsCache(const std::wstring& sText) {
    if (Trace::isOn()) {
        const std::string detail = "szText=\"" + toNarrow(sText) + "\"";
        Trace::tracef(
            "Kerf::QuireLib::CMsgStoresListModel::DisplayFilteredStoreLocationsCache(%s)\n",
            detail.c_str());
    }
    KERF_ASSERT(!m_bFilterInProgress);
    m_bFilterInProgress = true;
    m_sFilterText = sText;
    const std::wstring sFilter = Util::toLower(sText);
    const bool bFiltering = !sFilter.empty();
    if (m_bEntriesStale)
        RebuildEntries();
    if (m_bOrderStale)
        RebuildOrder();
    m_vDisplay.clear();
    for (const std::uint32_t i : m_vOrder) {
        const Entry& entry = m_vEntries[i];
        if (!entry.bShown)
            continue;
        if (bFiltering && entry.sHaystack.find(sFilter) == std::wstring::npos)
            continue;
        m_vDisplay.push_back(i);
    }
    m_bFilterInProgress = false;
}

void CMsgStoresListModel::Sort(int column, bool bAscending) {
    m_iSortColumn = column;
    m_bSortAscending = bAscending;
    m_bOrderStale = true;
    DisplayFilteredStoreLocationsCache(m_sFilterText);
}

} // namespace Kerf::QuireLib
