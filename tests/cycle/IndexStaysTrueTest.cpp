// The index a search finds: one written before documents carried their
// file's state, and a folder that cannot be read.

#include "search/IndexMigration.h"

#include "CycleTestSupport.h"
#include "PermissionOverride.h"

namespace fs = std::filesystem;
using namespace Kerf;
using namespace Kerf::QuireLib;
using IndexStaysTrue = CycleTest::SavedMail;

TEST_F(IndexStaysTrue, AnIndexOfDocumentsWithoutFileStatesIsBroughtOverOnce) {
    const auto first = save("one.msg", L"First");
    const auto second = save("two.msg", L"Second");
    {
        // Documents as written before they carried their file's state: the stored fields alone.
        auto writer = Search::createIndexWriter(place.root, place.directory);
        for (const auto& path : {first, second}) {
            Search::Document document;
            Search::Writer::add(document, L"Location", Util::fromPath(path));
            Search::Writer::add(document, L"Subject", L"Stale");
            Search::Writer::add(document, L"Size", 1);
            Search::Writer::add(document, L"SentDate", DateTime{2020, 1, 1, 0, 0, 0});
            Search::Writer::add(document, L"EmbeddedAttachments", 0);
            Search::Writer::add(document, L"NonEmbeddedAttachments", 0);
            Search::Writer::add(*writer, document);
        }
    }
    ASSERT_TRUE(Search::needsBringingOver(place.directory));
    const std::vector<std::wstring> both = {Util::fromPath(first), Util::fromPath(second)};
    SearchCriteria byItsSubject;
    byItsSubject.m_sSubject = L"First";
    EXPECT_EQ(find({mail}, byItsSubject), std::vector{Util::fromPath(first)});
    EXPECT_EQ(indexed(), both);
    EXPECT_FALSE(Search::needsBringingOver(place.directory));
    auto searcher = Search::createIndexSearcher(place.directory);
    EXPECT_TRUE(Search::documentsWithoutFileState(*searcher->getReader()).empty());

    // Once brought over, a search reads nothing again.
    reads = 0;
    EXPECT_EQ(find({mail}).size(), 2u);
    EXPECT_EQ(reads, 0u);
    EXPECT_EQ(indexed(), both);
}

TEST_F(IndexStaysTrue, AFolderThatCannotBeReadKeepsItsRowsAndTheStatusSaysSo) {
    const auto kept = save("A/locked/kept.msg", L"Locked away");
    const auto open = save("A/open.msg", L"In the open");
    ASSERT_EQ(find({mail}).size(), 2u);
    EXPECT_EQ(status.find(L"could not be read"), std::wstring::npos);

    fs::permissions(mail / "A" / "locked", fs::perms::none);
    {
        QoTest::WithoutPermissionOverride lowered;
        if (QoTest::canList(mail / "A" / "locked")) {
            fs::permissions(mail / "A" / "locked", fs::perms::owner_all);
            GTEST_SKIP() << "this process reads folders whatever their permissions";
        }
        EXPECT_EQ(find({mail}), (std::vector{Util::fromPath(kept), Util::fromPath(open)}));
    }
    fs::permissions(mail / "A" / "locked", fs::perms::owner_all);
    EXPECT_TRUE(status.ends_with(L". 1 folder could not be read")) << Util::toNarrow(status);
}
