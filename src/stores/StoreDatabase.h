#pragma once
// The product's store database: filing stores, store types and the links
// between them, over one CDbTableHelper.
//
// Which database the default constructor opens, in this order:
//  1. the connection string the settings name (StoreConnection: the user's
//     <product>.conf, else the firm's and the user's EmailFiling.cfg), with
//     the password from the environment or a password file where one is given;
//  2. the per-user "<product>.db" (SQLite) in the application data folder;
//  3. the per-user "<product>.mdb" (Access, read only) in the same folder.
// An Access file is read through CAccessDatabase and its tables are joined
// here; the other engines go through SQL.
// With none of them there is no database and so no stores.

#include "stores/AccessDatabase.h"
#include "stores/DbTableHelper.h"
#include "stores/LocationRow.h"

#include <memory>
#include <string>
#include <vector>

namespace Kerf::QuireLib {

class CStoreDatabase {
public:
    enum Mode {
        eOpenExisting = 0,        ///< read the database that is there
        eBuildFromFolderLists = 1 ///< make "<product>.db" from "Folders.txt" / "OutlookFolders.txt"
    };

    /// "<product>.db" and "<product>.mdb".
    static std::wstring sqliteFileName();
    static std::wstring mdbFileName();
    static constexpr const char* kSettingsGroup = "Store Database";
    static constexpr const char* kConnectionStringKey = "ConnectionString";

    /// Opens the user's database. A failure is traced as "Exception: %s\n" and
    /// kept in GetOpenError(); the object is then closed.
    explicit CStoreDatabase(Mode mode = eOpenExisting);
    /// Opens the named database; throws when it cannot.
    CStoreDatabase(const std::wstring& sDbType, const std::wstring& sDatabase,
                   const std::wstring& sServer, const std::wstring& sUser,
                   const std::wstring& sPassword);

    bool IsOpen() const { return m_db.IsOpen() || m_pAccess != nullptr; }
    /// Why the default constructor could not open the database; empty when it
    /// did, or when there was no database to open.
    const std::wstring& GetOpenError() const { return m_sOpenError; }
    /// Which database the default constructor opened or tried, and where the
    /// settings that named it are; why there is none when there is none.
    const std::wstring& GetDescription() const { return m_sDescription; }
    CDbTableHelper& GetHelper() { return m_db; }

    /// Creates the three tables where missing (not on the read-only Access file).
    void CreateTables();

    /// Appends the location rows of every store of the type (matched without
    /// regard to letter case), in the order of their links.
    void GetStoreLocationsByType(LocationRows& rows, const std::wstring& sTypeName);

    /// Updates the store (storeId > 0) or inserts a new one (storeId 0) and
    /// links it to the type, all in one transaction. A text "NULL" leaves that
    /// column as it is. Returns the store's id; the given id unchanged when no
    /// transaction could be begun.
    long TablesUpdateOrInsertStore(const std::wstring& sPathLocation,
                                   const std::wstring& sPrimaryRef,
                                   const std::wstring& sSecondaryRef,
                                   const std::wstring& sDescription, const std::wstring& sTypeName,
                                   long storeId);

    /// The store rows of the type from the three tables' rows as an Access
    /// file gives them: the one type whose name matches without regard to
    /// case, its links in their order, and each linked store, which must be
    /// there exactly once. Throws as the SQL route does.
    static LocationRows JoinStoreLocations(const std::vector<CAccessDatabase::Row>& types,
                                           const std::vector<CAccessDatabase::Row>& links,
                                           const std::vector<CAccessDatabase::Row>& stores,
                                           const std::wstring& sTypeName);

    /// Splits a folder-list line into its last two path components.
    static bool ParseFolderListLine(const std::wstring& sLine, std::wstring& sParent,
                                    std::wstring& sFolder);
    /// Adds a store of the type for every line of a folder list whose path is
    /// not stored yet: primary reference the parent folder's name, secondary
    /// reference the folder's name. Returns how many stores were added.
    size_t ImportFolderList(const std::wstring& sListPath, const std::wstring& sTypeName);

private:
    void openDefault();
    void buildFromFolderLists();
    void openAccess(const std::wstring& sPath);

    CDbTableHelper m_db;
    std::unique_ptr<CAccessDatabase> m_pAccess;
    std::wstring m_sOpenError;
    std::wstring m_sDescription;
};

} // namespace Kerf::QuireLib
