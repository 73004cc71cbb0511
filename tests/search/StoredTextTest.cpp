#include "search/IndexLocations.h"
#include "support/Strings.h"

#include "EngineTestSupport.h"

#include <gtest/gtest.h>

using namespace EngineTest;
using namespace Kerf;
using namespace Kerf::Search;

TEST(StoredText, EveryCharacterOfAPathSurvivesTheIndex) {
    IndexFolders folders;
    // Past U+FFFF, an undecodable byte kept as U+DC80..U+DCFF, and plain text.
    const std::wstring location = L"/srv/\U0001F600 caf\xDCE9/\U00010348\U0001F4E7.msg";
    {
        auto writer = folders.writer();
        Document doc;
        Writer::add(doc, L"Body", std::wstring(100000, L'x'));
        Writer::add(doc, L"Location", location);
        Writer::add(*writer, doc);
    }
    auto searcher = folders.searcher();
    EXPECT_EQ(readLocation(*searcher->getReader(), 0), location);
    auto hits = Searcher::getHits(*searcher, L"Location", L"/srv");
    ASSERT_EQ(hits->length(), 1u);
    EXPECT_EQ(Searcher::getAsString(hits->doc(0), L"Location"), location);
}

TEST(StoredText, LocationsBelowADirectoryComeFromThePhraseOfItsWords) {
    IndexFolders folders;
    {
        auto writer = folders.writer();
        for (const wchar_t* location :
             {L"/srv/Mail/a.msg", L"/srv/Mail/2008/b.msg", L"/srv/Other/c.msg"}) {
            Document doc;
            Writer::add(doc, L"Location", location);
            Writer::add(*writer, doc);
        }
    }
    auto searcher = folders.searcher();
    std::vector<std::wstring> below;
    forEachLocationBelow(*searcher, L"/srv/Mail",
                         [&](const std::wstring& l) { below.push_back(l); });
    EXPECT_EQ(below, (std::vector<std::wstring>{L"/srv/Mail/a.msg", L"/srv/Mail/2008/b.msg"}));
    EXPECT_EQ(folders.locations().size(), 3u); // "/" has no words: everything is below it
}
