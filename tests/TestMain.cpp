// The main() of every test program: gtest's own, less the tests whose shared
// files are not beside this checkout.

#include "SharedFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace QoTest {
namespace {

// Filled while the test files' statics are made, before main().
std::vector<std::pair<SharedFiles, std::string>>& registered() {
    static std::vector<std::pair<SharedFiles, std::string>> patterns;
    return patterns;
}

bool present(SharedFiles files) {
    const std::filesystem::path corpus(QOSEARCH_CORPUS_DIR);
    std::error_code ec;
    return std::filesystem::is_directory(
        files == SharedFiles::Corpus ? corpus / "msg" : corpus.parent_path() / "mdb", ec);
}

} // namespace

bool testsReadShared(SharedFiles files, const char* pattern) {
    registered().emplace_back(files, pattern);
    return true;
}

} // namespace QoTest

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    // Those tests go into gtest's negative filter.
    std::string filter = GTEST_FLAG_GET(filter);
    for (const auto& [files, pattern] : QoTest::registered())
        if (!QoTest::present(files))
            filter += (filter.find('-') == std::string::npos ? "-" : ":") + pattern;
    GTEST_FLAG_SET(filter, filter);
    return RUN_ALL_TESTS();
}
