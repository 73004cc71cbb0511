#pragma once
// Shared pieces of the store tests: a redirected user, store databases on SQLite and on the MariaDB
// server that scripts/test starts.

#include "TempDir.h"

#include "stores/DbTableHelper.h"
#include "stores/StoreDatabase.h"
#include "support/Exception.h"
#include "support/Paths.h"
#include "support/Strings.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <optional>
#include <string>
#include <unistd.h>

namespace StoresTest {

/// A temporary folder that stands in for the user's data and settings folders.
struct ScopedUser {
    QoTest::TempDir dir;
    QoTest::ScopedUserFolders folders{dir.path()};

    std::filesystem::path appData() const {
        return dir.path() / "data" / QoTest::kVendor / QoTest::kProduct;
    }
};

struct MariaDbServer {
    std::string host, port, socket, user, password, database;
    std::wstring tcpServer() const { return Kerf::Util::toWide(host + ":" + port); }
};

/// The server scripts/test started, or nothing when the variables are absent.
inline std::optional<MariaDbServer> mariaDbServer() {
    const auto get = [](const char* name) {
        const char* v = std::getenv(name);
        return std::string(v != nullptr ? v : "");
    };
    MariaDbServer s{get("QOSEARCH_TEST_MYSQL_HOST"),     get("QOSEARCH_TEST_MYSQL_PORT"),
                    get("QOSEARCH_TEST_MYSQL_SOCKET"),   get("QOSEARCH_TEST_MYSQL_USER"),
                    get("QOSEARCH_TEST_MYSQL_PASSWORD"), get("QOSEARCH_TEST_MYSQL_DATABASE")};
    if (s.host.empty() || s.port.empty() || s.user.empty() || s.database.empty())
        return std::nullopt;
    return s;
}

/// A database of its own on the test server, named after the running test
/// so that tests may run side by side, and dropped again at the end.
class MariaDbDatabase {
public:
    explicit MariaDbDatabase(MariaDbServer server) : m_server(std::move(server)) {
        std::string name = "qo_" + std::to_string(getpid()) + "_" +
                           ::testing::UnitTest::GetInstance()->current_test_info()->name();
        for (char& c : name)
            c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
        m_sName = Kerf::Util::toWide(name.substr(0, 60));
        m_admin.Attach(L"MYSQL", Kerf::Util::toWide(m_server.database), m_server.tcpServer(),
                       Kerf::Util::toWide(m_server.user), Kerf::Util::toWide(m_server.password));
        m_admin.executeQuery(L"DROP DATABASE IF EXISTS " + m_sName + L";");
        m_admin.executeQuery(L"CREATE DATABASE " + m_sName + L" CHARACTER SET utf8mb4;");
    }
    ~MariaDbDatabase() { m_admin.executeQuery(L"DROP DATABASE IF EXISTS " + m_sName + L";"); }
    MariaDbDatabase(const MariaDbDatabase&) = delete;
    MariaDbDatabase& operator=(const MariaDbDatabase&) = delete;

    /// The store database in it, reached through the given server text
    /// (host and port, or the socket) with the given password.
    std::unique_ptr<Kerf::QuireLib::CStoreDatabase> open(const std::wstring& server,
                                                         const std::string& password) const {
        return std::make_unique<Kerf::QuireLib::CStoreDatabase>(L"MYSQL", m_sName, server,
                                                                Kerf::Util::toWide(m_server.user),
                                                                Kerf::Util::toWide(password));
    }
    std::unique_ptr<Kerf::QuireLib::CStoreDatabase> open() const {
        return open(m_server.tcpServer(), m_server.password);
    }
    std::wstring connectionString() const {
        return Kerf::QuireLib::CDbTableHelper::ConnectionString(
            L"MYSQL", m_sName, m_server.tcpServer(), Kerf::Util::toWide(m_server.user),
            Kerf::Util::toWide(m_server.password));
    }

private:
    MariaDbServer m_server;
    std::wstring m_sName;
    Kerf::QuireLib::CDbTableHelper m_admin;
};

/// A SQLite store database in the file, with its tables.
inline std::unique_ptr<Kerf::QuireLib::CStoreDatabase>
sqliteStores(const std::filesystem::path& file) {
    auto db = std::make_unique<Kerf::QuireLib::CStoreDatabase>(
        Kerf::QuireLib::CDbTableHelper::kTypeSqlite, Kerf::Util::fromPath(file), L"", L"", L"");
    db->CreateTables();
    return db;
}

inline Kerf::QuireLib::LocationRows locations(Kerf::QuireLib::CStoreDatabase& db,
                                              const std::wstring& type) {
    Kerf::QuireLib::LocationRows rows;
    db.GetStoreLocationsByType(rows, type);
    return rows;
}

/// The message of what the action throws, or "<no exception>".
inline std::wstring messageOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const Kerf::CExceptionBase& e) {
        return e.getMessage();
    }
    return L"<no exception>";
}

inline constexpr const char* kNoServerMessage =
    "no MariaDB server: run scripts/test, or start one with 'eval \"$(scripts/mariadb start)\"' "
    "and "
    "run this binary again (scripts/mariadb stop ends it)";

} // namespace StoresTest
