#pragma once
// Central filing lists: XML files an administrator keeps on a shared drive.
// Each list is copied into a per-user cache folder and read from there, so
// its locations stay usable while the share cannot be reached. The user
// settings (group "Central List") map each cache file name to its remote list.

#include "stores/LocationRow.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Kerf::QuireLib {

class CCentralFilingStores {
public:
    static constexpr const char* kCacheGroup = "Central List";
    static constexpr const wchar_t* kSchemaFileName = L"FilingLocations.xsd";
    /// The oldest libxml2 this reader is known to read safely with (2.9.0).
    static constexpr int kMinimumParserVersion = 20900;
    /// The largest list read. A tree of parsed XML takes some forty times the
    /// file's size and parsing takes seconds per ten megabytes; a list of
    /// 100,000 locations is under 16 MB.
    static constexpr std::uintmax_t kMaxListBytes = 16ull << 20;

    /// How a list was read by the last Refresh().
    enum class ListState {
        NotRead,   ///< not refreshed yet
        Read,      ///< copied from its remote file and read
        FromCache, ///< the remote file could not be copied; its earlier copy was read
        Unreadable ///< neither a fresh copy nor an earlier one could be read
    };
    struct FilingList {
        std::wstring sRemoteFile;
        std::wstring sCacheFile;
        ListState eState = ListState::NotRead;
        /// Why the remote file could not be copied, or the list not read.
        std::wstring sProblem;
        size_t nLocations = 0;
    };
    using SettingPairs = std::vector<std::pair<std::wstring, std::wstring>>;

    CCentralFilingStores();

    /// Registers a remote list and its cache file; a list not seen before gets
    /// a new cache file "<uuid>.xml". False, with sError set, when the user
    /// settings cannot be written.
    bool AddFilingList(const std::wstring& sRemotePath, std::wstring& sError);

    /// The cache file that holds an earlier copy of the remote list; empty when
    /// the list was never copied.
    static std::wstring CachedCopyOf(const std::wstring& sRemotePath);

    /// Why the path is not a file that can be read ("no such file", the
    /// system's reason, "not a file"); empty when it is one.
    static std::wstring WhyNotAFile(const std::wstring& sPath);
    /// Copies every remote list over its cache copy, then loads every cached
    /// list. A list that fails is traced and skipped. False only when the XML
    /// reader is too old to be used (GetRefreshError() says so).
    bool Refresh();

    const LocationRows& Locations() const { return m_vLocations; }
    const SettingPairs& Settings() const { return m_vSettings; }
    const std::vector<FilingList>& FilingLists() const { return m_vFilingLists; }
    const std::wstring& GetRefreshError() const { return m_sRefreshError; }
    /// Why lists were refused in the last Refresh (too large), one message
    /// each, for the user: unlike a list that is out of reach for a while,
    /// such a list stays refused until its administrator mends it.
    const std::vector<std::wstring>& GetListProblems() const { return m_vListProblems; }

    const std::wstring& GetCacheFolder() const { return m_sCacheFolder; }
    const std::wstring& GetSchemaLocation() const { return m_sSchemaLocation; }

    /// Forgets the lists and what was read from them.
    void Close();

private:
    void SynchroniseCache();
    void LoadCache();
    /// Throws CExceptionBase when the cached list cannot be read or is not valid.
    void LoadFilingList(const FilingList& list);
    static void CopyRemoteFile(const std::wstring& sRemote, const std::wstring& sLocal);
    /// True when the file is small enough to read; otherwise records why not.
    bool CheckListSize(const std::wstring& sFile, const std::wstring& sRemote);
    // Lists added by AddFilingList() keep their order; Refresh() fills in their state.
    bool ReadCachedList(FilingList& list);

    std::wstring m_sCacheFolder;
    std::wstring m_sSchemaLocation;
    std::wstring m_sCacheKey;
    std::vector<FilingList> m_vFilingLists;
    LocationRows m_vLocations;
    SettingPairs m_vSettings;
    std::wstring m_sRefreshError;
    std::vector<std::wstring> m_vListProblems;
};

} // namespace Kerf::QuireLib
