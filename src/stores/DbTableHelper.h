#pragma once
// SQL over one store database, built from maps of column names to values.
// Two engines run the SQL: a MariaDB/MySQL server and the embedded SQLite
// file. An Access file is read without SQL (CAccessDatabase); its connection
// strings and SQL texts are still formed and told apart here. String values
// are written into the SQL text with every single quote doubled; on MySQL the
// session runs with NO_BACKSLASH_ESCAPES so that a backslash in a path is an
// ordinary character there too, and LIKE patterns double their backslashes.

#include "support/Exception.h"

#include <QSqlDatabase>
#include <QSqlQuery>

#include <map>
#include <string>
#include <vector>

namespace Kerf::QuireLib {

class CDbTableHelper {
public:
    enum class Engine { Access, MySql, Sqlite };

    using StringMap = std::map<std::wstring, std::wstring>;
    using LongMap = std::map<std::wstring, long>;
    using Row = std::map<std::wstring, std::wstring>;

    static constexpr const wchar_t* kTypeMdb = L"MDB";
    static constexpr const wchar_t* kTypeMySql = L"MYSQL";
    static constexpr const wchar_t* kTypeSqlite = L"SQLITE";

    CDbTableHelper();
    ~CDbTableHelper();
    CDbTableHelper(const CDbTableHelper&) = delete;
    CDbTableHelper& operator=(const CDbTableHelper&) = delete;

    /// Opens a database of the type "MYSQL" (server = "host", "host:port" or a
    /// unix socket path) or "SQLITE" (database = the file). Throws
    /// CExceptionBase for an unknown type and CDbException when the database
    /// cannot be opened, and for "MDB", which is not read through SQL.
    void Attach(const std::wstring& sDbType, const std::wstring& sDatabase,
                const std::wstring& sServer, const std::wstring& sUser,
                const std::wstring& sPassword);
    /// Opens the database a connection string names; the engine is decided
    /// from its "Driver=" part.
    void Attach(const std::wstring& sConnectionString);
    void Close();
    bool IsOpen() const { return m_db.isOpen(); }
    Engine GetEngine() const { return m_eEngine; }

    bool CanTransact() const;
    bool BeginTrans();
    bool CommitTrans();
    bool Rollback();

    /// Runs one statement; throws CDbException with the driver's text.
    QSqlQuery executeQuery(const std::wstring& sQuery);

    /// The id of the one record matching every key; -1 when none does.
    /// Throws when more than one does.
    long TableFindRecord(const std::wstring& sTable, const std::wstring& sIdColumn,
                         const StringMap& mapKeyStrings, const LongMap& mapKeyLongs);
    /// Updates the record iID (> 0) or, with iID 0, inserts one and returns its id.
    long TableUpdateInsert(const std::wstring& sTable, const std::wstring& sIdColumn, long iID,
                           const StringMap& mapStrings, const LongMap& mapLongs);
    /// Inserts a record into a table that has no generated id.
    void TableInsert(const std::wstring& sTable, const StringMap& mapStrings,
                     const LongMap& mapLongs);
    /// The named fields of the one record whose id column holds iID, as text.
    Row TableReadRecordStrings(const std::wstring& sTable, const std::wstring& sIdColumn, long iID,
                               const std::vector<std::wstring>& vStringFields);

    // Connection strings and the SQL texts of each engine.
    static Engine EngineFromType(const std::wstring& sDbType);
    static std::wstring ConnectionString(const std::wstring& sDbType, const std::wstring& sDatabase,
                                         const std::wstring& sServer, const std::wstring& sUser,
                                         const std::wstring& sPassword);
    static Engine EngineFromConnectionString(const std::wstring& sConnectionString);
    /// The value of one "NAME=value;" piece of a connection string (the name is
    /// matched without regard to case); empty when missing.
    static std::wstring ConnectionValue(const std::wstring& sConnectionString,
                                        const std::wstring& sName);
    static std::wstring QuoteString(const std::wstring& sValue);
    static std::wstring FindRecordSql(Engine engine, const std::wstring& sTable,
                                      const std::wstring& sIdColumn, const StringMap& mapKeyStrings,
                                      const LongMap& mapKeyLongs);
    static std::wstring UpdateSql(const std::wstring& sTable, const std::wstring& sIdColumn,
                                  long iID, const StringMap& mapStrings, const LongMap& mapLongs);
    static std::wstring InsertSql(const std::wstring& sTable, const StringMap& mapStrings,
                                  const LongMap& mapLongs);
    static std::wstring LastInsertIdSql(Engine engine);
    static std::wstring ReadRecordSql(const std::wstring& sTable, const std::wstring& sIdColumn,
                                      long iID, const std::vector<std::wstring>& vStringFields);

    /// Column iColumn (counted from 1) of the query's current record as text.
    static std::wstring retrieveColumn(const QSqlQuery& query, int iColumn);
    /// Column iColumn (from 1) as an id; throws sError when it is not a number.
    static long retrieveId(const QSqlQuery& query, int iColumn, const std::wstring& sError);

private:
    void open(Engine engine, const std::wstring& sDatabase, const std::wstring& sServer,
              const std::wstring& sUser, const std::wstring& sPassword);

    QString m_sConnectionName;
    QSqlDatabase m_db;
    Engine m_eEngine = Engine::Sqlite;
};

namespace DbHelper {
/// Replaces sTarget with a fresh copy of the template database sTemplate.
bool SeedMdb(const std::wstring& sTemplate, const std::wstring& sTarget);
} // namespace DbHelper

} // namespace Kerf::QuireLib
