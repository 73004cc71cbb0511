#include "support/Strings.h"

#include "EngineTestSupport.h"

#include <gtest/gtest.h>

using namespace EngineTest;
using namespace Kerf::Search;

// CLucene refuses a field past 10,000 words unless told a limit.
TEST(StoredText, ABodyOfManyWordsIsIndexedWhole) {
    IndexFolders folders;
    std::wstring body;
    for (int i = 0; i < 30000; ++i)
        body += L"w" + std::to_wstring(i) + L" ";
    {
        auto writer = folders.writer();
        Document doc;
        Writer::add(doc, L"Body", body);
        ASSERT_NO_THROW(Writer::add(*writer, doc));
    }
    EXPECT_EQ(Searcher::getHits(*folders.searcher(), L"w29999")->length(), 1u);
}
