#include "stores/StoreDatabase.h"

#include "stores/StoreConnection.h"
#include "stores/UnicodeText.h"
#include "support/Assert.h"
#include "support/Paths.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <ctime>
#include <filesystem>

namespace Kerf::QuireLib {
namespace {

const wchar_t* const kStores = L"tbl_stores";
const wchar_t* const kTypes = L"tbl_store_types";
const wchar_t* const kLinks = L"tbl_store_types_link";

bool fileExists(const std::wstring& path) {
    std::error_code ec;
    return std::filesystem::is_regular_file(Util::toPath(path), ec);
}

std::wstring today() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    wchar_t buffer[16];
    std::wcsftime(buffer, 16, L"%d/%m/%Y", &local);
    return buffer;
}

} // namespace

std::wstring CStoreDatabase::sqliteFileName() {
    return Paths::productName() + L".db";
}

std::wstring CStoreDatabase::mdbFileName() {
    return Paths::productName() + L".mdb";
}

CStoreDatabase::CStoreDatabase(Mode mode) {
    try {
        if (mode == eBuildFromFolderLists)
            buildFromFolderLists();
        else
            openDefault();
    } catch (const CExceptionBase& e) {
        m_sOpenError = e.getMessage();
        Trace::tracef("Exception: %s\n", Util::toNarrow(m_sOpenError).c_str());
        m_db.Close();
    }
}

CStoreDatabase::CStoreDatabase(const std::wstring& sDbType, const std::wstring& sDatabase,
                               const std::wstring& sServer, const std::wstring& sUser,
                               const std::wstring& sPassword) {
    if (CDbTableHelper::EngineFromType(sDbType) == CDbTableHelper::Engine::Access)
        openAccess(sDatabase);
    else
        m_db.Attach(sDbType, sDatabase, sServer, sUser, sPassword);
}

void CStoreDatabase::openAccess(const std::wstring& sPath) {
    m_pAccess = std::make_unique<CAccessDatabase>(sPath);
}

void CStoreDatabase::openDefault() {
    const StoreConnection connection = StoreConnection::ForThisUser(CSettingsLayers::ForThisUser());
    if (!connection.sConnectionString.empty()) {
        m_sDescription = connection.Describe();
        if (!connection.sPasswordProblem.empty())
            throw CDbException(L"The store database's password: " + connection.sPasswordProblem);
        const std::wstring& text = connection.sConnectionString;
        const auto value = [&text](const wchar_t* name) {
            return CDbTableHelper::ConnectionValue(text, name);
        };
        switch (CDbTableHelper::EngineFromConnectionString(text)) {
        case CDbTableHelper::Engine::Access:
            openAccess(value(L"DBQ"));
            return;
        case CDbTableHelper::Engine::MySql:
            m_db.Attach(CDbTableHelper::kTypeMySql, value(L"DB"), value(L"SERVER"), value(L"UID"),
                        connection.bPasswordGiven ? connection.sPassword : value(L"PASSWORD"));
            return;
        case CDbTableHelper::Engine::Sqlite:
            m_db.Attach(text);
            return;
        }
    }
    const std::wstring folder = CQOUtils::GetQOAppDataDir();
    if (fileExists(folder + sqliteFileName())) {
        m_sDescription = L"SQLite file " + folder + sqliteFileName();
        m_db.Attach(CDbTableHelper::kTypeSqlite, folder + sqliteFileName(), {}, {}, {});
    } else if (fileExists(folder + mdbFileName())) {
        m_sDescription = L"Access file " + folder + mdbFileName();
        openAccess(folder + mdbFileName());
    } else {
        m_sDescription = L"none: no ConnectionString in the settings, and no " + sqliteFileName() +
                         L" or " + mdbFileName() + L" in " + folder;
        Trace::tracef("No store database in %s\n", Util::toNarrow(folder).c_str());
    }
}

void CStoreDatabase::buildFromFolderLists() {
    const std::wstring folder = CQOUtils::GetQOAppDataDir();
    m_db.Attach(CDbTableHelper::kTypeSqlite, folder + sqliteFileName(), {}, {}, {});
    CreateTables();
    for (const wchar_t* list : {L"Folders.txt", L"OutlookFolders.txt"})
        if (fileExists(folder + list))
            ImportFolderList(folder + list, L"msg");
}

void CStoreDatabase::CreateTables() {
    if (m_pAccess)
        throw CDbException(L"The Access store database is read only");
    switch (m_db.GetEngine()) {
    case CDbTableHelper::Engine::Access:
        throw CDbException(L"The Access store database is read only");
    case CDbTableHelper::Engine::MySql:
        m_db.executeQuery(L"CREATE TABLE IF NOT EXISTS tbl_stores (store_id INT NOT NULL "
                          L"AUTO_INCREMENT PRIMARY KEY, primary_ref TEXT, secondary_ref TEXT, "
                          L"description TEXT, path_location TEXT, date_last_used VARCHAR(10)) "
                          L"ENGINE=InnoDB DEFAULT CHARSET=utf8mb4;");
        m_db.executeQuery(L"CREATE TABLE IF NOT EXISTS tbl_store_types (type_id INT NOT NULL "
                          L"AUTO_INCREMENT PRIMARY KEY, type VARCHAR(255)) "
                          L"ENGINE=InnoDB DEFAULT CHARSET=utf8mb4;");
        m_db.executeQuery(L"CREATE TABLE IF NOT EXISTS tbl_store_types_link (store_id INT NOT "
                          L"NULL, type_id INT NOT NULL) ENGINE=InnoDB DEFAULT CHARSET=utf8mb4;");
        return;
    case CDbTableHelper::Engine::Sqlite:
        m_db.executeQuery(L"CREATE TABLE IF NOT EXISTS tbl_stores (store_id INTEGER PRIMARY KEY "
                          L"AUTOINCREMENT, primary_ref TEXT, secondary_ref TEXT, description "
                          L"TEXT, path_location TEXT, date_last_used TEXT);");
        m_db.executeQuery(L"CREATE TABLE IF NOT EXISTS tbl_store_types (type_id INTEGER PRIMARY "
                          L"KEY AUTOINCREMENT, type TEXT);");
        m_db.executeQuery(L"CREATE TABLE IF NOT EXISTS tbl_store_types_link (store_id INTEGER "
                          L"NOT NULL, type_id INTEGER NOT NULL);");
        return;
    }
}

void CStoreDatabase::GetStoreLocationsByType(LocationRows& rows, const std::wstring& sTypeName) {
    if (m_pAccess) {
        // Read one after the other, so a missing table is named in this order.
        const auto types = m_pAccess->ReadTable(kTypes, {L"type_id", L"type"});
        const auto links = m_pAccess->ReadTable(kLinks, {L"store_id", L"type_id"});
        const auto stores = m_pAccess->ReadTable(
            kStores, {LocationKey::kStoreId, LocationKey::kPrimaryRef, LocationKey::kSecondaryRef,
                      LocationKey::kDescription, LocationKey::kPathLocation});
        const LocationRows joined = JoinStoreLocations(types, links, stores, sTypeName);
        rows.insert(rows.end(), joined.begin(), joined.end());
        return;
    }
    const long typeId = m_db.TableFindRecord(kTypes, L"type_id", {{L"type", sTypeName}}, {});
    if (typeId == -1)
        return;
    std::vector<long> storeIds;
    {
        QSqlQuery query = m_db.executeQuery(L"SELECT store_id FROM " + std::wstring(kLinks) +
                                            L" WHERE type_id=" + std::to_wstring(typeId) + L";");
        while (query.next())
            storeIds.push_back(
                CDbTableHelper::retrieveId(query, 1, L"invalid type retrieving id field"));
    }
    for (const long storeId : storeIds)
        rows.push_back(m_db.TableReadRecordStrings(
            kStores, LocationKey::kStoreId, storeId,
            {LocationKey::kStoreId, LocationKey::kPrimaryRef, LocationKey::kSecondaryRef,
             LocationKey::kDescription, LocationKey::kPathLocation}));
}

LocationRows CStoreDatabase::JoinStoreLocations(const std::vector<CAccessDatabase::Row>& types,
                                                const std::vector<CAccessDatabase::Row>& links,
                                                const std::vector<CAccessDatabase::Row>& stores,
                                                const std::wstring& sTypeName) {
    const auto id = [](const CAccessDatabase::Row& row, const wchar_t* column) {
        const auto it = row.find(column);
        try {
            size_t used = 0;
            const long value = it == row.end() ? 0 : std::stol(it->second, &used);
            if (it != row.end() && used == it->second.size())
                return value;
        } catch (const std::exception&) {
        }
        throw CDbException(L"invalid type retrieving id field");
    };
    long typeId = -1;
    int count = 0;
    for (const auto& type : types) {
        const auto it = type.find(L"type");
        if (it != type.end() && Util::compareNoCase(it->second, sTypeName) == 0 && ++count == 1)
            typeId = id(type, L"type_id");
    }
    if (count > 1)
        throw CExceptionBase(
            L"Kerf::QuireLib::CDbTableHelper::TableFindRecord: invalid record count (" +
            std::to_wstring(count) + L")");
    LocationRows rows;
    if (typeId == -1)
        return rows;
    for (const auto& link : links) {
        if (id(link, L"type_id") != typeId)
            continue;
        const long storeId = id(link, L"store_id");
        const LocationRow* found = nullptr;
        int matches = 0;
        for (const auto& store : stores)
            if (id(store, LocationKey::kStoreId) == storeId && ++matches == 1)
                found = &store;
        if (matches != 1)
            throw CExceptionBase(L"TableReadRecordStrings: invalid record count");
        rows.push_back(*found);
    }
    return rows;
}

long CStoreDatabase::TablesUpdateOrInsertStore(const std::wstring& sPathLocation,
                                               const std::wstring& sPrimaryRef,
                                               const std::wstring& sSecondaryRef,
                                               const std::wstring& sDescription,
                                               const std::wstring& sTypeName, long storeId) {
    KERF_TRACE_ENTRY("Kerf::QuireLib::CStoreDatabase::TablesUpdateOrInsertStore");
    KERF_ASSERT(m_db.CanTransact());
    if (!m_db.BeginTrans())
        return storeId;
    try {
        CDbTableHelper::StringMap values{{L"date_last_used", today()}};
        const std::pair<const wchar_t*, const std::wstring*> columns[] = {
            {LocationKey::kPathLocation, &sPathLocation},
            {LocationKey::kPrimaryRef, &sPrimaryRef},
            {LocationKey::kSecondaryRef, &sSecondaryRef},
            {LocationKey::kDescription, &sDescription}};
        for (const auto& [column, value] : columns)
            if (*value != L"NULL")
                values[column] = *value;
        storeId = m_db.TableUpdateInsert(kStores, LocationKey::kStoreId, storeId, values, {});

        long typeId = m_db.TableFindRecord(kTypes, L"type_id", {{L"type", sTypeName}}, {});
        if (typeId == -1)
            typeId = m_db.TableUpdateInsert(kTypes, L"type_id", 0, {{L"type", sTypeName}}, {});
        const CDbTableHelper::LongMap link{{L"store_id", storeId}, {L"type_id", typeId}};
        if (m_db.TableFindRecord(kLinks, L"store_id", {}, link) == -1)
            m_db.TableInsert(kLinks, {}, link);
    } catch (...) {
        m_db.Rollback();
        throw;
    }
    const bool bCommitted = m_db.CommitTrans();
    KERF_ASSERT(bCommitted);
    if (!bCommitted) {
        m_db.Rollback();
        throw CDbException(L"The store could not be saved: the transaction did not commit");
    }
    return storeId;
}

size_t CStoreDatabase::ImportFolderList(const std::wstring& sListPath,
                                        const std::wstring& sTypeName) {
    const auto lines = UnicodeText::readLines(sListPath);
    if (!lines)
        throw CExceptionBase(L"Cannot read the folder list " + sListPath);
    size_t added = 0;
    for (const auto& rawLine : *lines) {
        const std::wstring line = Util::trim(rawLine);
        std::wstring sParent, sFolder;
        if (!ParseFolderListLine(line, sParent, sFolder))
            continue;
        // An exact comparison: LIKE would take "_" in a path for a wildcard.
        bool bStored = false;
        {
            QSqlQuery query = m_db.executeQuery(L"SELECT store_id FROM " + std::wstring(kStores) +
                                                L" WHERE path_location=" +
                                                CDbTableHelper::QuoteString(line) + L";");
            bStored = query.next();
        }
        if (bStored)
            continue;
        TablesUpdateOrInsertStore(line, sParent, sFolder, L"", sTypeName, 0);
        ++added;
    }
    return added;
}

} // namespace Kerf::QuireLib
