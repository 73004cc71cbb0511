#pragma once
// The shared message corpus and the values expected from each of its files.

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace QoTest {

inline std::filesystem::path corpusDirectory() {
    return std::filesystem::path(QOSEARCH_CORPUS_DIR);
}

inline const nlohmann::json& corpusExpectations() {
    static const nlohmann::json expected = [] {
        std::ifstream in(corpusDirectory() / "expected.json");
        return nlohmann::json::parse(in);
    }();
    return expected;
}

/// Every message file of the corpus, by name, in name order; none without
/// the corpus (its tests are then left out, see SharedFiles.h).
inline std::vector<std::string> corpusFileNames() {
    std::vector<std::string> names;
    std::error_code ec;
    for (auto it = std::filesystem::directory_iterator(corpusDirectory() / "msg", ec);
         !ec && it != std::filesystem::directory_iterator(); it.increment(ec))
        names.push_back(it->path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

/// A test name made of the letters and digits of a file name.
inline std::string testNameOf(const std::string& fileName) {
    std::string name;
    for (char c : fileName.substr(0, fileName.rfind('.')))
        name.push_back(std::isalnum(static_cast<unsigned char>(c)) ? c : '_');
    return name;
}

} // namespace QoTest
