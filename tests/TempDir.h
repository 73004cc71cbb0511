#pragma once
// A fresh folder for one test, removed afterwards, and a scoped redirection
// of the per-user data and configuration folders into it.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

namespace QoTest {

/// The maker's and product's names as the build sets them: the program names folders after them.
inline const std::string kVendor = QOSEARCH_VENDOR_NAME;
inline const std::string kProduct = QOSEARCH_PRODUCT_NAME;

class TempDir {
public:
    TempDir() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "qosearch-test-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("mkdtemp failed");
        m_path = pattern;
    }
    ~TempDir() {
        std::error_code ec;
        std::filesystem::permissions(m_path, std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, ec);
        std::filesystem::remove_all(m_path, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    std::filesystem::path operator/(const std::string& child) const { return m_path / child; }

private:
    std::filesystem::path m_path;
};

/// Sets (or, given null, unsets) an environment variable while alive, then puts back what it was.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const char* value) : m_name(name) {
        if (const char* old = std::getenv(name))
            m_old = old;
        if (value != nullptr)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~ScopedVariable() {
        if (m_old)
            setenv(m_name, m_old->c_str(), 1);
        else
            unsetenv(m_name);
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* m_name;
    std::optional<std::string> m_old;
};

/// Points XDG_DATA_HOME, XDG_CONFIG_HOME and the system-wide XDG_CONFIG_DIRS into a temporary
/// folder while alive, so that no settings of this computer reach the test.
class ScopedUserFolders {
public:
    explicit ScopedUserFolders(const std::filesystem::path& base)
        : m_data("XDG_DATA_HOME", made(base / "data")),
          m_config("XDG_CONFIG_HOME", made(base / "config")),
          m_system("XDG_CONFIG_DIRS", made(base / "xdg")) {}

    /// The firm's settings file below the system-wide folder.
    static std::filesystem::path systemSettings(const std::filesystem::path& base) {
        return base / "xdg" / kVendor / kProduct / "EmailFiling.cfg";
    }

private:
    // The text lives until the variable is set from it (setenv copies it).
    static const char* made(const std::filesystem::path& folder) {
        std::filesystem::create_directories(folder);
        return folder.c_str();
    }
    ScopedVariable m_data, m_config, m_system;
};

inline void writeFile(const std::filesystem::path& path, const std::string& content) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream out(path, std::ios::binary);
    out << content;
}

/// The whole file as bytes; empty when it cannot be read.
inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

} // namespace QoTest
