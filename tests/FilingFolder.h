#pragma once
// A filing folder under a redirected user, with an index of the test's own,
// searched by running qosearch-cli as a user would.

#include "CommandLine.h"
#include "TempDir.h"

#include <CLucene.h>
#include <gtest/gtest.h>

namespace QoTest {

/// How many documents an index on disk holds, read through CLucene without the program's code.
inline int documentsIn(const std::filesystem::path& index) {
    lucene::index::IndexReader* reader = lucene::index::IndexReader::open(index.c_str());
    const int count = reader->numDocs();
    reader->close();
    delete reader;
    return count;
}

class FilingFolder : public ::testing::Test {
protected:
    CommandResult find(const std::vector<std::string>& args) {
        std::vector<std::string> all = {"find", "--index-dir", index.string(), "--folder",
                                        mail.string()};
        all.insert(all.end(), args.begin(), args.end());
        return runCli(all);
    }
    CommandResult indexAll() {
        return runCli({"index", "--index-dir", index.string(), mail.string()});
    }

    TempDir dir;
    ScopedUserFolders folders{dir.path()};
    std::filesystem::path mail = dir / "Filing/Job 42";
    std::filesystem::path index = dir / "Index/0.4";
};

/// The filing folder holds a copy of the shared message corpus.
class CorpusFolder : public FilingFolder {
protected:
    void SetUp() override {
        std::filesystem::create_directories(mail);
        for (const auto& entry : std::filesystem::directory_iterator(
                 std::filesystem::path(QOSEARCH_CORPUS_DIR) / "msg"))
            std::filesystem::copy_file(entry.path(), mail / entry.path().filename());
    }
};

} // namespace QoTest
