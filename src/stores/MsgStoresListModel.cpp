#include "stores/MsgStoresListModel.h"

#include "stores/CentralFilingStores.h"
#include "stores/QODatabase.h"
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

CMsgStoresListModel::CMsgStoresListModel() {
    ReadCentralRows();
}

void CMsgStoresListModel::ReadCentralRows() {
    const std::wstring sListFile = CQOUtils::GetQOAppDataDir() + kFilingListsFileName;
    std::error_code ec;
    if (!std::filesystem::exists(Util::toPath(sListFile), ec))
        return;
    const auto lines = UnicodeText::readLines(sListFile);
    if (!lines)
        return;
    for (const auto& rawLine : *lines) {
        const std::wstring sRemote = Util::trim(rawLine);
        if (sRemote.empty() || !std::filesystem::is_regular_file(Util::toPath(sRemote), ec))
            continue;
        CCentralFilingStores stores;
        std::wstring sError;
        if (!stores.AddFilingList(sRemote, sError)) {
            Trace::tracef("%s\n", toNarrow(sError).c_str());
            continue;
        }
        if (!stores.Refresh()) {
            // No reporter is set yet: the message waits for the first load.
            m_sCentralError = stores.GetRefreshError();
            return;
        }
        const auto& rows = stores.Locations();
        m_vCentralRows.insert(m_vCentralRows.end(), rows.begin(), rows.end());
        stores.Close();
    }
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
    m_setLocationsCache.clear();
    m_bEntriesStale = true;
    bool bDatabaseRead = true;
    try {
        LoadDBStoreLocations(kind);
    } catch (const CExceptionBase& e) {
        // The central rows are still worth showing when the database fails.
        ReportError(e.getMessage());
        bDatabaseRead = false;
    } catch (const std::exception& e) {
        ReportError(Util::toWide(e.what()));
        bDatabaseRead = false;
    }
    Trace::tracef("Kerf::QuireLib::CMsgStoresListModel::LoadAdminStoreLocations() ...\n");
    if (!m_sCentralError.empty())
        ReportError(m_sCentralError);
    PushOnLocationsCache(m_vCentralRows, kind);
    DisplayFilteredStoreLocationsCache(L"");
    return bDatabaseRead;
}

void CMsgStoresListModel::LoadDBStoreLocations(int kind) {
    Trace::tracef("Kerf::QuireLib::CMsgStoresListModel::LoadDBStoreLocations() ...\n");
    CQuartoDb db;
    if (!db.GetOpenError().empty())
        throw CExceptionBase(db.GetOpenError());
    if (!db.IsOpen())
        return;
    LocationRows rows;
    db.GetStoreLocationsByType(rows, L"msg");
    PushOnLocationsCache(rows, kind);
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
