// The index on disk when things go wrong: damaged files, a folder that cannot
// be written, a full file system. The program is run as a user runs it.

#include "CorpusGenerator.h"
#include "FilingFolder.h"
#include "SharedFiles.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <map>
#include <sys/mount.h>
#include <unistd.h>

namespace fs = std::filesystem;
using QoTest::endedSaying;

namespace {

/// Undoes a mount over the folder when it goes.
struct Unmounted {
    fs::path folder;
    ~Unmounted() { ::umount2(folder.c_str(), MNT_DETACH); }
};

/// The folder mounted over itself read-only; null where it cannot be.
std::unique_ptr<Unmounted> mountReadOnly(const fs::path& folder) {
    if (::mount(folder.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr) != 0)
        return nullptr;
    auto mounted = std::make_unique<Unmounted>(folder);
    if (::mount(nullptr, folder.c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr) != 0)
        return nullptr;
    return mounted;
}

/// A small tmpfs mounted over the folder; null where it cannot be.
std::unique_ptr<Unmounted> mountTmpfs(const fs::path& folder, const char* options) {
    fs::create_directories(folder);
    if (::mount("tmpfs", folder.c_str(), "tmpfs", 0, options) != 0)
        return nullptr;
    return std::make_unique<Unmounted>(folder);
}

/// Every file of a folder with its size and contents' time: what "left intact" compares.
std::map<std::string, std::pair<std::uintmax_t, fs::file_time_type>>
snapshot(const fs::path& folder) {
    std::map<std::string, std::pair<std::uintmax_t, fs::file_time_type>> files;
    for (const auto& entry : fs::directory_iterator(folder))
        files[entry.path().filename().string()] = {entry.file_size(), entry.last_write_time()};
    return files;
}

using IndexSafety = QoTest::CorpusFolder;
using Names = std::multiset<std::string>;

const Names kOptionMessages = {"poi_message_1979.msg", "poi_message_1980.msg",
                               "poi_message_1981.msg"};

} // namespace

QO_TESTS_READ_SHARED(Corpus, "IndexSafety.*");

// What one command wrote the other finds up to date; a damaged index is rebuilt by the next search;
// nothing beside the index, nor in its folder, is ever touched.
TEST_F(IndexSafety, AnUpToDateIndexIsNotWrittenAgainAndADamagedOneIsRebuiltByTheNextSearch) {
    const std::vector<fs::path> theUsers = {index.parent_path() / "notes.txt",
                                            index.parent_path() / "Photos" / "a.jpg",
                                            index / "notes.txt", index / "_notes.txt"};
    for (const fs::path& file : {theUsers[0], theUsers[1]})
        QoTest::writeFile(file, "the user's own");
    const auto first = indexAll();
    EXPECT_NE(first.out.find("Indexed 86 new, 0 changed, 0 removed messages"), std::string::npos)
        << first.out << first.err;
    for (const fs::path& file : {theUsers[2], theUsers[3]})
        QoTest::writeFile(file, "the user's own");
    EXPECT_EQ(find({"--subject", "option"}).fileNames(), kOptionMessages);
    const auto again = indexAll();
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_NE(again.out.find("Indexed 0 new, 0 changed, 0 removed messages"), std::string::npos)
        << again.out;

    for (const auto& entry : fs::directory_iterator(index))
        if (entry.path().filename().string().starts_with("segments_")) {
            fs::resize_file(entry.path(), entry.file_size() / 2);
            break;
        }
    const auto result = find({"--subject", "option"});
    EXPECT_TRUE(endedSaying(result, 0, "The index was damaged and is being rebuilt"));
    EXPECT_EQ(result.fileNames(), kOptionMessages);
    EXPECT_EQ(QoTest::documentsIn(index), 86);
    for (const fs::path& kept : theUsers)
        EXPECT_TRUE(fs::exists(kept)) << kept;
    EXPECT_TRUE(fs::exists(mail / "poi_message_1979.msg") && fs::exists(dir / "data"));
}

TEST_F(IndexSafety, AnIndexFolderThatCannotBeWrittenIsReportedAndLeftIntact) {
    ASSERT_EQ(find({}).status, 0);
    fs::copy_file(mail / "poi_message_1979.msg", mail / "Copy of option.msg");
    const auto before = snapshot(index);
    // Permissions do not hold back a privileged user: a read-only mount does.
    std::unique_ptr<Unmounted> readOnly;
    if (geteuid() == 0) {
        readOnly = mountReadOnly(index);
        if (!readOnly)
            GTEST_SKIP() << "no read-only mount here: " << std::strerror(errno);
    } else {
        fs::permissions(index, fs::perms::owner_read | fs::perms::owner_exec);
    }

    const auto found = find({"--subject", "option"});
    EXPECT_TRUE(endedSaying(found, 1, "Indexing stopped: Index directory creation problem"));
    // What the index held is still shown; the new file could not be added.
    EXPECT_EQ(found.fileNames(), kOptionMessages);
    EXPECT_TRUE(endedSaying(indexAll(), 1, "Index directory creation problem"));
    // A new index folder that cannot be made is told as such, not as missing.
    EXPECT_TRUE(endedSaying(QoTest::runCli({"index", "--index-dir", (index / "new").string()}), 1,
                            geteuid() == 0 ? "Read-only file system" : "Permission denied"));

    readOnly.reset();
    fs::permissions(index, fs::perms::owner_all);
    EXPECT_EQ(snapshot(index), before);
    EXPECT_EQ(QoTest::documentsIn(index), 86);
}

TEST_F(IndexSafety, AFullFileSystemStopsIndexingWithAMessage) {
    const auto small = mountTmpfs(index, "size=64k,mode=700");
    if (!small)
        GTEST_SKIP() << "no tmpfs mount here: " << std::strerror(errno);
    EXPECT_TRUE(endedSaying(indexAll(), 1, "Indexing stopped: "));
    EXPECT_TRUE(endedSaying(find({"--subject", "option"}), 1, "Indexing stopped: "));
    // What was there before the disk filled up still opens.
    EXPECT_NO_THROW(QoTest::documentsIn(index));
}

TEST_F(IndexSafety, AWriterKilledPartWayKeepsWhatItCommitted) {
    fs::remove_all(mail);
    const std::size_t total = QoMsg::generateCorpus(mail, 4000, 11).size();
    QProcess writer;
    writer.start(QStringLiteral(QOSEARCH_BINARY_DIR "/src/cli/qosearch-cli"),
                 {"index", "--index-dir", QString::fromStdString(index.string()),
                  QString::fromStdString(mail.string())});
    ASSERT_TRUE(writer.waitForStarted());
    // Killed as soon as a commit shows, with most of the run still to do.
    int committed = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(5);
    while (committed == 0 && writer.state() == QProcess::Running &&
           std::chrono::steady_clock::now() < deadline) {
        writer.waitForFinished(50);
        try {
            committed = QoTest::documentsIn(index);
        } catch (CLuceneError&) {
            // Not created yet, or changing while opened: look again.
        }
    }
    ASSERT_EQ(writer.state(), QProcess::Running) << "the run ended before it was killed";
    ::kill(static_cast<pid_t>(writer.processId()), SIGKILL);
    writer.waitForFinished();
    ASSERT_GT(committed, 0);
    EXPECT_LT(static_cast<std::size_t>(committed), total);

    EXPECT_GE(QoTest::documentsIn(index), committed);
    // The next run goes on from there and ends with every message indexed
    // once; it reads thousands of messages, so it is given ten minutes.
    writer.start(writer.program(), writer.arguments());
    ASSERT_TRUE(writer.waitForFinished(600000));
    ASSERT_EQ(writer.exitCode(), 0) << writer.readAllStandardError().toStdString();
    EXPECT_EQ(static_cast<std::size_t>(QoTest::documentsIn(index)), total);
}
