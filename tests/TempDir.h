#pragma once
// A fresh folder for one test, removed afterwards, and a scoped redirection
// of the per-user data and configuration folders into it.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace QoTest {

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

/// Points XDG_DATA_HOME and XDG_CONFIG_HOME into a temporary folder while alive.
class ScopedUserFolders {
public:
    explicit ScopedUserFolders(const std::filesystem::path& base) {
        save("XDG_DATA_HOME", m_data);
        save("XDG_CONFIG_HOME", m_config);
        std::filesystem::create_directories(base / "data");
        std::filesystem::create_directories(base / "config");
        setenv("XDG_DATA_HOME", (base / "data").c_str(), 1);
        setenv("XDG_CONFIG_HOME", (base / "config").c_str(), 1);
    }
    ~ScopedUserFolders() {
        restore("XDG_DATA_HOME", m_data);
        restore("XDG_CONFIG_HOME", m_config);
    }

private:
    struct Saved {
        bool had = false;
        std::string value;
    };
    static void save(const char* name, Saved& saved) {
        const char* v = std::getenv(name);
        saved.had = v != nullptr;
        saved.value = v ? v : "";
    }
    static void restore(const char* name, const Saved& saved) {
        if (saved.had)
            setenv(name, saved.value.c_str(), 1);
        else
            unsetenv(name);
    }
    Saved m_data, m_config;
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
