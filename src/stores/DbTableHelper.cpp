#include "stores/DbTableHelper.h"

#include "support/Assert.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <QMetaType>
#include <QSqlDriver>
#include <QSqlError>
#include <QSqlRecord>
#include <QUuid>
#include <QVariant>

#include <filesystem>

namespace Kerf::QuireLib {
namespace {

/// Whether the column holds a whole number of any width the drivers report.
bool isIntegerType(const QVariant& value) {
    switch (value.metaType().id()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
        return true;
    default:
        return false;
    }
}

using Util::toNarrow;

QString toQ(const std::wstring& text) {
    return QString::fromStdWString(text);
}

std::wstring errorText(const QSqlError& error) {
    std::wstring text = error.text().toStdWString();
    return text.empty() ? L"unknown database error" : text;
}

// The connection string's "Driver=" part on, lower-cased.
std::wstring driverPart(const std::wstring& sConnectionString) {
    const std::wstring lower = Util::toLower(sConnectionString);
    const size_t at = lower.find(L"driver=");
    return at == std::wstring::npos ? std::wstring() : lower.substr(at);
}

// A value that would end its piece early is written in braces, as ODBC reads it.
std::wstring connectionPiece(const std::wstring& sValue) {
    if (sValue.find(L';') != std::wstring::npos || (!sValue.empty() && sValue.front() == L'{'))
        return L"{" + sValue + L"}";
    return sValue;
}

// MySQL's LIKE takes a backslash as its escape character even where string
// literals do not; doubled, it stands for itself, so a path still matches.
std::wstring likeBackslashes(const std::wstring& value) {
    std::wstring text;
    for (const wchar_t c : value) {
        text += c;
        if (c == L'\\')
            text += c;
    }
    return text;
}

} // namespace

CDbTableHelper::CDbTableHelper()
    : m_sConnectionName(QStringLiteral("qo_stores_") +
                        QUuid::createUuid().toString(QUuid::WithoutBraces)) {}

CDbTableHelper::~CDbTableHelper() {
    Close();
}

CDbTableHelper::Engine CDbTableHelper::EngineFromType(const std::wstring& sDbType) {
    if (sDbType == kTypeMdb)
        return Engine::Access;
    if (sDbType == kTypeMySql)
        return Engine::MySql;
    if (sDbType == kTypeSqlite)
        return Engine::Sqlite;
    throw CExceptionBase(L"Kerf::QuireLib::CDbTableHelper::Attach : unsupported database type");
}

std::wstring CDbTableHelper::ConnectionString(const std::wstring& sDbType,
                                              const std::wstring& sDatabase,
                                              const std::wstring& sServer,
                                              const std::wstring& sUser,
                                              const std::wstring& sPassword) {
    switch (EngineFromType(sDbType)) {
    case Engine::Access:
        return L"Driver={Microsoft Access Driver (*.mdb)};Dbq=" + connectionPiece(sDatabase) +
               L";Uid=" + connectionPiece(sUser) + L";Pwd=" + connectionPiece(sPassword) + L";";
    case Engine::MySql:
        return L"DRIVER={MySQL ODBC 3.51 Driver};DB=" + connectionPiece(sDatabase) + L";SERVER=" +
               connectionPiece(sServer) + L";UID=" + connectionPiece(sUser) + L";PASSWORD=" +
               connectionPiece(sPassword) + L";OPTION=2048;";
    case Engine::Sqlite:
        break;
    }
    return L"Driver={SQLite3};Database=" + connectionPiece(sDatabase) + L";";
}

CDbTableHelper::Engine
CDbTableHelper::EngineFromConnectionString(const std::wstring& sConnectionString) {
    const std::wstring driver = driverPart(sConnectionString);
    if (driver.starts_with(L"driver={microsoft access driver (*.mdb)"))
        return Engine::Access;
    if (driver.starts_with(L"driver={mysql odbc"))
        return Engine::MySql;
    if (driver.starts_with(L"driver={sqlite"))
        return Engine::Sqlite;
    throw CExceptionBase(L"Kerf::QuireLib::CDbTableHelper::Attach : unsupported database type");
}

std::wstring CDbTableHelper::ConnectionValue(const std::wstring& sConnectionString,
                                             const std::wstring& sName) {
    size_t pos = 0;
    while (pos < sConnectionString.size()) {
        const size_t equals = sConnectionString.find(L'=', pos);
        if (equals == std::wstring::npos)
            break;
        const std::wstring name = Util::trim(sConnectionString.substr(pos, equals - pos));
        size_t end;
        std::wstring value;
        if (equals + 1 < sConnectionString.size() && sConnectionString[equals + 1] == L'{') {
            const size_t close = sConnectionString.find(L'}', equals + 2);
            const size_t stop = close == std::wstring::npos ? sConnectionString.size() : close;
            value = sConnectionString.substr(equals + 2, stop - equals - 2);
            end = sConnectionString.find(L';', stop);
        } else {
            end = sConnectionString.find(L';', equals + 1);
            value = sConnectionString.substr(
                equals + 1,
                (end == std::wstring::npos ? sConnectionString.size() : end) - equals - 1);
        }
        if (Util::compareNoCase(name, sName) == 0)
            return value;
        if (end == std::wstring::npos)
            break;
        pos = end + 1;
    }
    return {};
}

void CDbTableHelper::Attach(const std::wstring& sDbType, const std::wstring& sDatabase,
                            const std::wstring& sServer, const std::wstring& sUser,
                            const std::wstring& sPassword) {
    open(EngineFromType(sDbType), sDatabase, sServer, sUser, sPassword);
}

void CDbTableHelper::Attach(const std::wstring& sConnectionString) {
    const Engine engine = EngineFromConnectionString(sConnectionString);
    switch (engine) {
    case Engine::Access:
        open(engine, ConnectionValue(sConnectionString, L"DBQ"), {},
             ConnectionValue(sConnectionString, L"UID"),
             ConnectionValue(sConnectionString, L"PWD"));
        return;
    case Engine::MySql:
        open(engine, ConnectionValue(sConnectionString, L"DB"),
             ConnectionValue(sConnectionString, L"SERVER"),
             ConnectionValue(sConnectionString, L"UID"),
             ConnectionValue(sConnectionString, L"PASSWORD"));
        return;
    case Engine::Sqlite:
        open(engine, ConnectionValue(sConnectionString, L"DATABASE"), {}, {}, {});
        return;
    }
}

void CDbTableHelper::open(Engine engine, const std::wstring& sDatabase, const std::wstring& sServer,
                          const std::wstring& sUser, const std::wstring& sPassword) {
    if (m_db.isValid()) {
        Trace::tracef("Switching database connection\n");
        Close();
    }
    m_eEngine = engine;
    std::error_code ec;
    switch (engine) {
    case Engine::Access:
        // CStoreDatabase reads an Access file through CAccessDatabase.
        throw CDbException(L"The Access store database \"" + sDatabase +
                           L"\" is read through CAccessDatabase, not through SQL");
    case Engine::MySql: {
        m_db = QSqlDatabase::addDatabase(QStringLiteral("QMYSQL"), m_sConnectionName);
        m_db.setDatabaseName(toQ(sDatabase));
        m_db.setUserName(toQ(sUser));
        m_db.setPassword(toQ(sPassword));
        QString options = QStringLiteral("MYSQL_OPT_CONNECT_TIMEOUT=10");
        const QString server = toQ(sServer);
        if (server.startsWith(QLatin1Char('/'))) {
            options += QStringLiteral(";UNIX_SOCKET=") + server;
        } else {
            const qsizetype colon = server.lastIndexOf(QLatin1Char(':'));
            bool bPort = false;
            const int port = colon > 0 ? server.mid(colon + 1).toInt(&bPort) : 0;
            m_db.setHostName(bPort ? server.left(colon) : server);
            if (bPort)
                m_db.setPort(port);
        }
        m_db.setConnectOptions(options);
        break;
    }
    case Engine::Sqlite:
        m_db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_sConnectionName);
        m_db.setDatabaseName(toQ(sDatabase));
        m_db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=5000"));
        break;
    }
    if (!m_db.isValid())
        throw CDbException(L"The database driver for \"" + sDatabase + L"\" is not installed");
    if (!m_db.open()) {
        const std::wstring text = errorText(m_db.lastError());
        Close();
        throw CDbException(L"Cannot open the store database \"" + sDatabase + L"\": " + text);
    }
    try {
        if (engine == Engine::MySql)
            executeQuery(L"SET SESSION sql_mode = "
                         L"CONCAT_WS(',', NULLIF(@@sql_mode, ''), 'NO_BACKSLASH_ESCAPES');");
        else if (engine == Engine::Sqlite)
            // SQLite opens lazily; a damaged file shows on the first read.
            executeQuery(L"SELECT COUNT(*) FROM sqlite_master;");
    } catch (const CDbException& e) {
        Close();
        throw CDbException(L"Cannot open the store database \"" + sDatabase + L"\": " +
                           e.getMessage());
    }
}

void CDbTableHelper::Close() {
    if (!m_db.isValid())
        return;
    if (m_db.isOpen()) {
        m_db.close();
        Trace::tracef("database closed\n");
    }
    m_db = QSqlDatabase();
    QSqlDatabase::removeDatabase(m_sConnectionName);
}

bool CDbTableHelper::CanTransact() const {
    return m_db.isOpen() && m_db.driver()->hasFeature(QSqlDriver::Transactions) &&
           m_eEngine != Engine::Access;
}

bool CDbTableHelper::BeginTrans() {
    return CanTransact() && m_db.transaction();
}

bool CDbTableHelper::CommitTrans() {
    return m_db.commit();
}

bool CDbTableHelper::Rollback() {
    return m_db.rollback();
}

QSqlQuery CDbTableHelper::executeQuery(const std::wstring& sQuery) {
    if (Trace::isOn()) {
        const std::string detail = "Query=\"" + toNarrow(sQuery) + "\"";
        Trace::tracef("Kerf::QuireLib::CDbTableHelper::executeQuery(%s)\n", detail.c_str());
    }
    if (!m_db.isOpen())
        throw CDbException(L"The store database is not open");
    QSqlQuery query(m_db);
    query.setForwardOnly(true);
    if (!query.exec(toQ(sQuery)))
        throw CDbException(errorText(query.lastError()) + L" (" + sQuery + L")");
    return query;
}

std::wstring CDbTableHelper::QuoteString(const std::wstring& sValue) {
    std::wstring quoted = L"'";
    for (const wchar_t c : sValue) {
        quoted += c;
        if (c == L'\'')
            quoted += L'\'';
    }
    return quoted + L"'";
}

std::wstring CDbTableHelper::FindRecordSql(Engine engine, const std::wstring& sTable,
                                           const std::wstring& sIdColumn,
                                           const StringMap& mapKeyStrings,
                                           const LongMap& mapKeyLongs) {
    const std::wstring upper = engine == Engine::Access ? L"UCase" : L"UPPER";
    std::wstring where;
    const auto join = [&where](const std::wstring& condition) {
        if (!where.empty())
            where += L" AND ";
        where += condition;
    };
    for (const auto& [column, value] : mapKeyStrings)
        join(upper + L"(" + column + L") LIKE " + upper + L"(" +
             QuoteString(engine == Engine::MySql ? likeBackslashes(value) : value) + L")");
    for (const auto& [column, value] : mapKeyLongs)
        join(column + L"=" + std::to_wstring(value));
    return L"SELECT " + sIdColumn + L" FROM " + sTable + L" WHERE " + where + L";";
}

std::wstring CDbTableHelper::UpdateSql(const std::wstring& sTable, const std::wstring& sIdColumn,
                                       long iID, const StringMap& mapStrings,
                                       const LongMap& mapLongs) {
    std::wstring set;
    const auto add = [&set](const std::wstring& assignment) {
        if (!set.empty())
            set += L", ";
        set += assignment;
    };
    for (const auto& [column, value] : mapStrings)
        add(column + L"=" + QuoteString(value));
    for (const auto& [column, value] : mapLongs)
        add(column + L"=" + std::to_wstring(value));
    return L"UPDATE " + sTable + L" SET " + set + L" WHERE " + sIdColumn + L" = " +
           std::to_wstring(iID) + L";";
}

std::wstring CDbTableHelper::InsertSql(const std::wstring& sTable, const StringMap& mapStrings,
                                       const LongMap& mapLongs) {
    std::wstring columns, values;
    const auto add = [&](const std::wstring& column, const std::wstring& value) {
        if (!columns.empty()) {
            columns += L", ";
            values += L", ";
        }
        columns += column;
        values += value;
    };
    for (const auto& [column, value] : mapStrings)
        add(column, QuoteString(value));
    for (const auto& [column, value] : mapLongs)
        add(column, std::to_wstring(value));
    return L"insert into " + sTable + L"(" + columns + L") values(" + values + L");";
}

std::wstring CDbTableHelper::LastInsertIdSql(Engine engine) {
    switch (engine) {
    case Engine::Access:
        return L"SELECT @@IDENTITY;";
    case Engine::MySql:
        return L"SELECT LAST_INSERT_ID();";
    case Engine::Sqlite:
        break;
    }
    return L"SELECT last_insert_rowid();";
}

std::wstring CDbTableHelper::ReadRecordSql(const std::wstring& sTable,
                                           const std::wstring& sIdColumn, long iID,
                                           const std::vector<std::wstring>& vStringFields) {
    std::wstring fields;
    for (const auto& field : vStringFields)
        fields += (fields.empty() ? L"" : L", ") + field;
    return L"SELECT " + fields + L" FROM " + sTable + L" WHERE " + sIdColumn + L"=" +
           std::to_wstring(iID) + L";";
}

long CDbTableHelper::TableFindRecord(const std::wstring& sTable, const std::wstring& sIdColumn,
                                     const StringMap& mapKeyStrings, const LongMap& mapKeyLongs) {
    KERF_ASSERT(mapKeyStrings.size() != 0 || mapKeyLongs.size() != 0);
    if (mapKeyStrings.empty() && mapKeyLongs.empty())
        throw CExceptionBase(L"Kerf::QuireLib::CDbTableHelper::TableFindRecord: no key given");
    QSqlQuery query =
        executeQuery(FindRecordSql(m_eEngine, sTable, sIdColumn, mapKeyStrings, mapKeyLongs));
    long id = -1;
    int count = 0;
    while (query.next()) {
        if (++count == 1)
            id = retrieveId(query, 1, L"invalid type retrieving id field");
    }
    if (count > 1)
        throw CExceptionBase(
            L"Kerf::QuireLib::CDbTableHelper::TableFindRecord: invalid record count (" +
            std::to_wstring(count) + L")");
    return count == 1 ? id : -1;
}

long CDbTableHelper::TableUpdateInsert(const std::wstring& sTable, const std::wstring& sIdColumn,
                                       long iID, const StringMap& mapStrings,
                                       const LongMap& mapLongs) {
    KERF_ASSERT(!sTable.empty());
    KERF_ASSERT(!mapStrings.empty() || !mapLongs.empty());
    if (sTable.empty() || (mapStrings.empty() && mapLongs.empty()))
        throw CExceptionBase(L"TableUpdateInsert: no table or no values");
    if (iID < 0)
        throw CExceptionBase(L"TableUpdateInsert: invalid iID");
    // A column given both as text and as a number would be written twice.
    for (const auto& entry : mapLongs)
        if (mapStrings.count(entry.first) != 0)
            throw CExceptionBase(L"TableUpdateInsert: long maps have duplicates");
    for (const auto& entry : mapStrings)
        if (mapLongs.count(entry.first) != 0)
            throw CExceptionBase(L"TableUpdateInsert: string maps have duplicates");

    if (iID > 0) {
        executeQuery(UpdateSql(sTable, sIdColumn, iID, mapStrings, mapLongs));
        return iID;
    }
    executeQuery(InsertSql(sTable, mapStrings, mapLongs));
    QSqlQuery query = [this] {
        try {
            return executeQuery(LastInsertIdSql(m_eEngine));
        } catch (const CDbException& e) {
            throw CDbException(L"error executing last insertedid query: " + e.getMessage(), e);
        }
    }();
    if (!query.next())
        throw CDbException(L"error retrieving last insertedid");
    const long id = retrieveId(query, 1, L"invalid type retrieving last insertedid");
    if (id <= 0)
        throw CDbException(L"invalid value for last insertedid");
    return id;
}

void CDbTableHelper::TableInsert(const std::wstring& sTable, const StringMap& mapStrings,
                                 const LongMap& mapLongs) {
    KERF_ASSERT(!mapStrings.empty() || !mapLongs.empty());
    executeQuery(InsertSql(sTable, mapStrings, mapLongs));
}

CDbTableHelper::Row
CDbTableHelper::TableReadRecordStrings(const std::wstring& sTable, const std::wstring& sIdColumn,
                                       long iID, const std::vector<std::wstring>& vStringFields) {
    KERF_ASSERT(!vStringFields.empty());
    if (vStringFields.empty())
        throw CExceptionBase(L"TableReadRecordStrings: no fields");
    QSqlQuery query = [&] {
        try {
            return executeQuery(ReadRecordSql(sTable, sIdColumn, iID, vStringFields));
        } catch (const CDbException& e) {
            throw CDbException(L"TableReadRecordStrings: error executing query: " + e.getMessage(),
                               e);
        }
    }();
    Row row;
    int count = 0;
    while (query.next()) {
        if (++count > 1)
            continue;
        for (size_t i = 0; i < vStringFields.size(); ++i)
            row[vStringFields[i]] = retrieveColumn(query, static_cast<int>(i) + 1);
    }
    if (count != 1)
        throw CExceptionBase(L"TableReadRecordStrings: invalid record count");
    return row;
}

std::wstring CDbTableHelper::retrieveColumn(const QSqlQuery& query, int iColumn) {
    KERF_ASSERT(iColumn > 0);
    const QVariant value = query.value(iColumn - 1);
    if (!value.isValid() && (iColumn < 1 || iColumn > query.record().count()))
        throw CDbException(L"retrieveColumn: invalid column " + std::to_wstring(iColumn));
    if (value.isNull())
        return {};
    if (isIntegerType(value))
        return value.toString().toStdWString();
    switch (value.metaType().id()) {
    case QMetaType::QString:
    case QMetaType::QByteArray:
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Bool:
    case QMetaType::QDate:
    case QMetaType::QDateTime:
    case QMetaType::QTime:
        return value.toString().toStdWString();
    default:
        throw CDbException(L"retrieveColumn: invalid type in field");
    }
}

long CDbTableHelper::retrieveId(const QSqlQuery& query, int iColumn, const std::wstring& sError) {
    const QVariant value = query.value(iColumn - 1);
    if (isIntegerType(value) && !value.isNull())
        return static_cast<long>(value.toLongLong());
    throw CDbException(sError);
}

namespace DbHelper {

bool SeedMdb(const std::wstring& sTemplate, const std::wstring& sTarget) {
    std::error_code ec;
    const auto target = Util::toPath(sTarget);
    if (std::filesystem::exists(target, ec) && !std::filesystem::remove(target, ec)) {
        Trace::tracef("Kerf::QuireLib::DbHelper::SeedMdb Failed to clear target mdb\n");
        return false;
    }
    if (!std::filesystem::copy_file(Util::toPath(sTemplate), target, ec)) {
        Trace::tracef("Kerf::QuireLib::DbHelper::SeedMdb CopyFile failed : %s\n",
                      ec.message().c_str());
        return false;
    }
    return true;
}

} // namespace DbHelper

} // namespace Kerf::QuireLib
