// What real file servers hold: folders we may not read, links that lead back
// up the tree, and file names no text encoding can describe.

#include "EngineTestSupport.h"
#include "PermissionOverride.h"
#include "search/QueryRunner.h"

#include <cstdio>
#include <sys/stat.h>

using namespace EngineTest;
using namespace Kerf;
using namespace Kerf::Search;

using IndexerFileSystem = IndexerTest;

// Links to files are followed; links to folders only inside the tree, once.
TEST_F(IndexerFileSystem, LinksToFoldersAreFollowedOnlyInsideTheTree) {
    const auto a = file("a.txt");
    const auto b = file("sub/b.txt");
    QoTest::writeFile(folders.temp / "outside" / "o.txt", "elsewhere");
    fs::create_directory_symlink("..", folders.tree / "sub" / "up");
    fs::create_directory_symlink(".", folders.tree / "loop");
    fs::create_directory_symlink("../outside", folders.tree / "elsewhere");
    fs::create_directory_symlink("/", folders.tree / "everything");
    fs::create_symlink("../outside/o.txt", folders.tree / "linked.txt");
    fs::create_symlink("nowhere.txt", folders.tree / "dangling.txt");
    CTextIndexer indexer(folders, {wide(folders.tree)});
    ASSERT_TRUE(indexer.runToEnd());
    EXPECT_EQ(indexer.getDirectoriesScanned(), 2u);
    EXPECT_EQ(folders.locations(), sorted({wide(a), wide(b), wide(folders.tree / "linked.txt")}));
}

TEST_F(IndexerFileSystem, OddFileNamesAreIndexedAndFoundUnderTheirOwnPaths) {
    const std::vector<fs::path> names = {
        "with space.txt",
        "quote\"d 'single'.txt",
        "back\\slash (1) [x]: *?.txt",
        "\xC3\x9Cn\xC3\xAF\x63\xC3\xB6\x64\xC3\xA9 Rechnung.txt", // valid UTF-8
        "caf\xE9.txt",                                            // Latin-1: not UTF-8
        "emoji \xF0\x9F\x98\x80.txt",                             // past U+FFFF
        fs::path("Gr\xFC\xDF") / "inner.txt",                     // a folder not in UTF-8
    };
    std::vector<std::wstring> expected;
    for (const auto& name : names)
        expected.push_back(wide(file(name)));
    // A pipe with a matching name must not be opened: reading it would block.
    ASSERT_EQ(::mkfifo((folders.tree / "pipe.txt").c_str(), 0644), 0);

    CTextIndexer indexer(folders, {wide(folders.tree)});
    ASSERT_TRUE(indexer.runToEnd());
    EXPECT_EQ(indexer.getCompletedItemsTotal(), names.size());
    EXPECT_EQ(folders.locations(), sorted(expected));

    // The query side finds each under the exact path of the file.
    Searcher::CQueryRunner::PathSet found, directories;
    const Searcher::CQueryRunner::Directories roots = {wide(folders.tree)};
    Searcher::CQueryRunner runner(folders.searcher(), nullptr, &found, &directories, &roots, L"");
    runner.go();
    ASSERT_EQ(found.size(), names.size());
    for (const auto& location : found)
        EXPECT_TRUE(fs::is_regular_file(Util::toPath(location))) << Util::toNarrow(location);
    EXPECT_EQ(directories.count(wide(folders.tree / "Gr\xFC\xDF")), 1u);

    // And the next run knows every one of them is indexed already.
    CTextIndexer again(folders, {wide(folders.tree)});
    ASSERT_TRUE(again.runToEnd());
    EXPECT_EQ(again.getFilesMatched(), names.size());
    EXPECT_EQ(again.getCompletedItemsTotal(), 0u);
}

TEST_F(IndexerFileSystem, OnlyAFolderListedToTheEndTellsThatItsFilesAreGone) {
    struct Case {
        const char* name;
        std::function<void(const fs::path& tree)> change;
        std::vector<std::string> remaining; // below the tree
        bool needsLockedFolder = false;
    };
    const std::vector<Case> cases = {
        {"a folder deleted with its files",
         [](const fs::path& t) { fs::remove_all(t / "sub"); },
         {"b.txt"}},
        {"a folder that cannot be read, beside a deleted file",
         [](const fs::path& t) {
             fs::remove(t / "b.txt");
             fs::remove(t / "sub" / "a.txt");
             fs::permissions(t / "sub", fs::perms::none);
         },
         {"sub/a.txt", "sub/deeper/c.txt"},
         true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        IndexFolders place;
        ASSERT_TRUE(indexFiles(place, {"b.txt", "sub/a.txt", "sub/deeper/c.txt"}));
        c.change(place.tree);
        {
            QoTest::WithoutPermissionOverride lowered;
            if (c.needsLockedFolder && QoTest::canList(place.tree / "sub")) {
                fs::permissions(place.tree / "sub", fs::perms::owner_all);
                std::printf("skipped: this process reads folders whatever their permissions\n");
                continue;
            }
            CTextIndexer again(place, {wide(place.tree)});
            ASSERT_TRUE(again.runToEnd());
            EXPECT_EQ(again.getCompletedItemsTotal(), 0u);
            EXPECT_EQ(again.getItemsRemoved(), 3 - c.remaining.size());
            // A folder that cannot be read is passed over; the walk goes on.
            EXPECT_EQ(again.getDirectoriesSkipped(), c.needsLockedFolder ? 1u : 0u);
            EXPECT_TRUE(again.getLastError().empty());
        }
        std::error_code ec;
        fs::permissions(place.tree / "sub", fs::perms::owner_all, ec);
        std::vector<std::wstring> remaining;
        for (const auto& name : c.remaining)
            remaining.push_back(wide(place.tree / name));
        EXPECT_EQ(place.locations(), remaining);
    }
}

TEST_F(IndexerFileSystem, AChosenFolderThatComesBackIsNotReadAgain) {
    // A share that is not mounted is either gone or an empty mount point.
    for (const bool mountPointLeft : {false, true}) {
        SCOPED_TRACE(mountPointLeft ? "empty mount point left" : "folder gone");
        IndexFolders place;
        ASSERT_TRUE(indexFiles(place, {"a.txt", "sub/b.txt"}));
        const fs::path away = place.temp / "unmounted";
        fs::rename(place.tree, away);
        // The mount table expects a share at the tree; nothing is mounted.
        QoTest::writeFile(place.temp / "fstab",
                          "# shares\n//server/mail " + place.tree.string() + "/ cifs noauto 0 0\n");
        QoTest::writeFile(place.temp / "mounts", "proc /proc proc rw 0 0\n");
        if (mountPointLeft)
            fs::create_directory(place.tree);
        {
            CTextIndexer whileAway(place, {wide(place.tree)});
            whileAway.setMountTables(place.temp / "fstab", place.temp / "mounts");
            ASSERT_TRUE(whileAway.runToEnd());
            EXPECT_EQ(whileAway.getItemsRemoved(), 0u);
        }
        fs::remove(place.tree);
        fs::rename(away, place.tree);
        CTextIndexer back(place, {wide(place.tree)});
        ASSERT_TRUE(back.runToEnd());
        EXPECT_TRUE(back.argumentsOf("beginBuildingMetadataItem").empty());
        EXPECT_EQ(back.getItemsRemoved(), 0u);
        EXPECT_EQ(place.locations().size(), 2u);
    }
}
