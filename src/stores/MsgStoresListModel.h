#pragma once
// The filing-store list without its window: rows from the store database and
// from the central filing lists, kept in a cache that holds identical rows
// once, and the rows a filter text lets through, in display order. A list
// widget shows GetRowCount()/GetRow() and forwards typing and heading clicks.

#include "stores/CentralFilingStores.h"
#include "stores/LocationRow.h"
#include "stores/PathMapping.h"
#include "stores/SettingsLayers.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace Kerf::QuireLib {

class CMsgStoresListModel {
public:
    enum Column {
        eColStoreId = 0,
        eColSource,
        eColPrimaryRef,
        eColSecondaryRef,
        eColDescription,
        eColLocation,
        eColumnCount
    };
    using DisplayRow = std::array<std::wstring, eColumnCount>;
    using ErrorReporter = std::function<void(const std::wstring&)>;

    static constexpr const wchar_t* kFilingListsFileName = L"qoFilingLists.txt";

    /// Where each location path is on this computer, or why it cannot be searched.
    using Places = std::map<std::wstring, LocatedPath>;

    enum class DatabaseState { None, Read, Unreadable };

    /// What the sources gave: the rows of each, where their paths are, the
    /// messages for the user, and for an administrator where each part came
    /// from: the settings files, the database and each central list.
    struct SourceRows {
        LocationRows database;
        LocationRows central;
        Places places;
        std::vector<std::wstring> errors;
        bool bDatabaseRead = true;

        std::vector<SettingsFileState> settingsFiles;
        DatabaseState eDatabase = DatabaseState::None;
        std::wstring sDatabase; ///< which database, or why there is none
        std::vector<CCentralFilingStores::FilingList> centralLists;

        /// A database or a central list (or its cached copy) was read.
        bool AnythingRead() const;
    };

    /// Reads the central rows once, from every list named in the settings
    /// ([Filing Lists]) or in the user's "qoFilingLists.txt" that is reachable
    /// or was cached before. Without
    /// bReadCentralRows nothing is read here: the rows come with ShowSourceRows().
    explicit CMsgStoresListModel(bool bReadCentralRows = true);

    /// Reads every source: the store database and, when asked, the central
    /// lists, and looks for each location's folder (the disk is asked, so a
    /// slow share is waited for here). Touches no model, so it may run on any
    /// thread.
    static SourceRows ReadSources(bool bCentralLists);
    /// Rebuilds the cache from rows read by ReadSources(), keeping only
    /// locations of the kind, reports the sources' messages and shows the
    /// rows unfiltered. The central rows are kept for later reloads. Returns
    /// whether the database was read.
    bool ShowSourceRows(const SourceRows& rows, int kind);

    void SetPrimaryRefTitle(const std::wstring& s) { m_sPrimaryRefTitle = s; }
    void SetSecondaryRefTitle(const std::wstring& s) { m_sSecondaryRefTitle = s; }
    void SetDescriptionTitle(const std::wstring& s) { m_sDescriptionTitle = s; }
    /// "Store ID,0;Source, 0;<primary>,150;<secondary>,150;<description>,150;Location,150;"
    std::wstring GetColumnSpecification() const;

    /// Where failures that the user should see are sent (a message box in the window).
    void SetErrorReporter(ErrorReporter reporter) { m_fnReportError = std::move(reporter); }

    /// Rebuilds the cache from the database and the central rows, keeping only
    /// locations of the kind (eOtherLocation: every kind), and shows it
    /// unfiltered. False when the database could not be read; the central rows
    /// are shown all the same.
    bool LoadStoreLocations(int kind);
    /// The database's locations of store type "msg".
    void LoadDBStoreLocations(int kind);
    void PushOnLocationsCache(const LocationRows& rows, int kind);

    void Filter(const std::wstring& sText);
    /// Refills the display rows with the cached rows whose primary reference,
    /// secondary reference, description and location, joined by "__", hold the
    /// text (letter case ignored); rows whose store id is not a number are never
    /// shown. The order is the remembered sort, by default the primary reference.
    void DisplayFilteredStoreLocationsCache(const std::wstring& sText);

    /// Remembers the sort and applies it to the display rows.
    void Sort(int column, bool bAscending);
    int GetSortColumn() const { return m_iSortColumn; }
    bool IsSortAscending() const { return m_bSortAscending; }

    size_t GetRowCount() const { return m_vDisplay.size(); }
    const DisplayRow& GetRow(size_t i) const { return m_vEntries[m_vDisplay[i]].display; }

    const std::set<LocationRow>& GetLocationsCache() const { return m_setLocationsCache; }
    /// Where the location path was found when the rows were read; null for a
    /// path no source gave.
    const LocatedPath* FindPlace(const std::wstring& sPath) const;
    const LocationRows& GetCentralRows() const { return m_vCentralRows; }

private:
    struct Entry {
        DisplayRow display;
        std::wstring sHaystack; ///< the four visible fields, lower-cased, "__"-joined
        bool bShown = false;    ///< the store id parses as a number
    };
    /// The central lists the settings and "qoFilingLists.txt" name, each once.
    static std::vector<std::wstring> CentralListPaths(const CSettingsLayers& layers);
    static LocationRows ReadCentralRows(const CSettingsLayers& layers, std::wstring& sError,
                                        std::vector<CCentralFilingStores::FilingList>* pLists);
    static bool ReadDatabaseRows(SourceRows& rows);
    static void LocateRows(const LocationRows& rows, const CPathMapper& mapper, Places& places);
    void ReportError(const std::wstring& sText);
    void RebuildEntries();
    void RebuildOrder();

    std::wstring m_sPrimaryRefTitle = L"Primary Ref";
    std::wstring m_sSecondaryRefTitle = L"Secondary Ref";
    std::wstring m_sDescriptionTitle = L"Description";
    LocationRows m_vCentralRows;
    std::wstring m_sCentralError; ///< why the central lists could not be read at all
    std::set<LocationRow> m_setLocationsCache;
    Places m_mapPlaces;
    bool m_bFilterInProgress = false;

    int m_iSortColumn = -1;
    bool m_bSortAscending = true;
    ErrorReporter m_fnReportError;

    // Derived from the cache, rebuilt when it changes: the rows ready to show,
    // the display order of the current sort, and the rows the filter lets through.
    std::vector<Entry> m_vEntries;
    std::vector<std::uint32_t> m_vOrder;
    std::vector<std::uint32_t> m_vDisplay;
    bool m_bEntriesStale = true;
    bool m_bOrderStale = true;
    std::wstring m_sFilterText;
};

} // namespace Kerf::QuireLib
