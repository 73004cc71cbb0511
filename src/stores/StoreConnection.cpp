#include "stores/StoreConnection.h"

#include "stores/DbTableHelper.h"
#include "stores/UserSettings.h"
#include "support/Strings.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Kerf::QuireLib {
namespace {

constexpr size_t kMaxPasswordFileSize = 4096;

std::wstring reason(int error) {
    return Util::toWide(std::strerror(error));
}

} // namespace

std::wstring ReadPasswordFile(const std::wstring& sPath, std::wstring& sProblem) {
    const std::string path = Util::toNarrow(sPath);
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd < 0) {
        sProblem = L"cannot read " + sPath + L": " + reason(errno);
        return {};
    }
    struct stat st {};
    std::string text;
    if (::fstat(fd, &st) != 0) {
        sProblem = L"cannot read " + sPath + L": " + reason(errno);
    } else if (!S_ISREG(st.st_mode)) {
        sProblem = sPath + L" is not a plain file";
    } else if ((st.st_mode & S_IROTH) != 0) {
        // A password every account may read is no secret: refuse it, so
        // that the mistake is seen and mended (chmod o-r).
        sProblem = sPath + L" may be read by every user; make it readable by a group only "
                           L"(chmod 640)";
    } else if (static_cast<size_t>(st.st_size) > kMaxPasswordFileSize) {
        sProblem = sPath + L" is too large to hold a password";
    } else {
        text.resize(kMaxPasswordFileSize + 1);
        const ssize_t got = ::read(fd, text.data(), text.size());
        if (got < 0)
            sProblem = L"cannot read " + sPath + L": " + reason(errno);
        text.resize(got < 0 ? 0 : static_cast<size_t>(got));
    }
    ::close(fd);
    if (!sProblem.empty())
        return {};
    const size_t end = text.find_first_of("\r\n");
    return Util::toWide(text.substr(0, end));
}

StoreConnection StoreConnection::ForThisUser(const CSettingsLayers& layers) {
    StoreConnection connection;
    const QString legacy = openUserSettings()
                               ->value(QStringLiteral("Store Database/") +
                                       QString::fromStdWString(kConnectionStringKey))
                               .toString();
    if (!legacy.isEmpty()) {
        connection.sConnectionString = legacy.toStdWString();
        connection.sFrom = userSettingsPath().toStdWString();
    } else {
        layers.Lookup(CSettingsLayers::kStoreDatabaseSection, kConnectionStringKey,
                      connection.sConnectionString, &connection.sFrom);
    }
    if (const char* env = std::getenv(kPasswordVariable); env != nullptr) {
        connection.bPasswordGiven = true;
        connection.sPassword = Util::toWide(env);
        connection.sPasswordFrom = Util::toWide(kPasswordVariable);
        return connection;
    }
    std::wstring passwordFile;
    if (layers.Lookup(CSettingsLayers::kStoreDatabaseSection, kPasswordFileKey, passwordFile) &&
        !passwordFile.empty()) {
        connection.sPasswordFrom = passwordFile;
        connection.sPassword = ReadPasswordFile(passwordFile, connection.sPasswordProblem);
        connection.bPasswordGiven = connection.sPasswordProblem.empty();
    }
    return connection;
}

std::wstring StoreConnection::Describe() const {
    if (sConnectionString.empty())
        return L"no server named in the settings";
    const auto value = [this](const wchar_t* name) {
        return CDbTableHelper::ConnectionValue(sConnectionString, name);
    };
    std::wstring text = L"a connection string of no known kind";
    CDbTableHelper::Engine engine{};
    try {
        engine = CDbTableHelper::EngineFromConnectionString(sConnectionString);
    } catch (const CExceptionBase&) {
        return text + L" (from " + sFrom + L")";
    }
    switch (engine) {
    case CDbTableHelper::Engine::MySql:
        text = L"MariaDB/MySQL database \"" + value(L"DB") + L"\" on " + value(L"SERVER") +
               L" as \"" + value(L"UID") + L"\"";
        break;
    case CDbTableHelper::Engine::Access:
        text = L"Access file " + value(L"DBQ");
        break;
    case CDbTableHelper::Engine::Sqlite:
        text = L"SQLite file " + value(L"DATABASE");
        break;
    }
    text += L" (from " + sFrom;
    if (bPasswordGiven)
        text += L"; password from " + sPasswordFrom;
    return text + L")";
}

} // namespace Kerf::QuireLib
