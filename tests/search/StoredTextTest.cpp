#include "search/IndexLocations.h"
#include "support/Strings.h"

#include "EngineTestSupport.h"

#include <gtest/gtest.h>

using namespace EngineTest;
using namespace Kerf;
using namespace Kerf::Search;

// CLucene refuses a field past 10,000 words unless told a limit.
TEST(StoredText, EveryCharacterOfAPathAndEveryWordOfALongBodySurviveTheIndex) {
    IndexFolders folders;
    // Past U+FFFF, an undecodable byte kept as U+DC80..U+DCFF, and plain text.
    const std::wstring location = L"/srv/\U0001F600 caf\xDCE9/\U00010348\U0001F4E7.msg";
    std::wstring body;
    for (int i = 0; i < 30000; ++i)
        body += L"w" + std::to_wstring(i) + L" ";
    {
        auto writer = folders.writer();
        Document doc;
        Writer::add(doc, L"Body", body);
        Writer::add(doc, L"Location", location);
        ASSERT_NO_THROW(Writer::add(*writer, doc));
    }
    auto searcher = folders.searcher();
    EXPECT_EQ(readLocation(*searcher->getReader(), 0), location);
    auto hits = Searcher::getHits(*searcher, L"Location", L"/srv");
    ASSERT_EQ(hits->length(), 1u);
    EXPECT_EQ(Searcher::getAsString(hits->doc(0), L"Location"), location);
    EXPECT_EQ(Searcher::getHits(*searcher, L"w29999")->length(), 1u);
}
