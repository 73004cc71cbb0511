#include "stores/CentralFilingStores.h"

#include "StoresTestSupport.h"

using namespace Kerf::QuireLib;
using Kerf::Util::toNarrow;
using Kerf::Util::toWide;

namespace {

const char* const kValidList = R"(<?xml version="1.0" encoding="UTF-8"?>
<filinglocations>
  <locations>
    <location path="\\server\jobs\1001" primaryref="1001" secondaryref="Acme" description="Tower &amp; annex"/>
    <location path="/srv/filing/1002" primaryref="1002"/>
  </locations>
  <settings>
    <setting name="LocationPriRefAlias"><value>Job</value></setting>
  </settings>
</filinglocations>
)";

struct Loaded {
    LocationRows rows;
    CCentralFilingStores::SettingPairs settings;
    std::vector<CCentralFilingStores::FilingList> lists;
    std::vector<std::wstring> problems;
};

Loaded load(const std::vector<std::filesystem::path>& remotes) {
    CCentralFilingStores stores;
    for (const auto& remote : remotes) {
        std::wstring error;
        EXPECT_TRUE(stores.AddFilingList(toWide(remote.string()), error)) << toNarrow(error);
    }
    EXPECT_TRUE(stores.Refresh());
    return {stores.Locations(), stores.Settings(), stores.FilingLists(), stores.GetListProblems()};
}

// A user with a valid list on the share.
class CentralFilingStores : public ::testing::Test {
protected:
    void SetUp() override { QoTest::writeFile(remote, kValidList); }
    StoresTest::ScopedUser user;
    const std::filesystem::path share = user.dir.path() / "share";
    const std::filesystem::path remote = share / "list.xml";
};

} // namespace

TEST_F(CentralFilingStores, ReadsLocationsAsCentralRowsThroughAPerUserCache) {
    const Loaded first = load({remote});
    ASSERT_EQ(first.rows.size(), 2u);
    EXPECT_EQ(first.rows[0].at(L"path_location"), L"\\\\server\\jobs\\1001");
    EXPECT_EQ(first.rows[0].at(L"description"), L"Tower & annex");
    EXPECT_EQ(first.rows[1].at(L"secondary_ref"), L"");
    EXPECT_EQ(first.settings,
              (CCentralFilingStores::SettingPairs{{L"LocationPriRefAlias", L"Job"}}));

    // The copy sits in the user's "Central List" folder.
    ASSERT_EQ(first.lists.size(), 1u);
    const std::filesystem::path cache = toNarrow(first.lists[0].sCacheFile);
    EXPECT_EQ(cache.parent_path(), user.appData() / "Central List");
    EXPECT_TRUE(std::filesystem::exists(cache));

    // The same remote list keeps its cache file.
    EXPECT_EQ(load({remote}).lists[0].sCacheFile, first.lists[0].sCacheFile);
}

// A list that cannot be used gives nothing, says why, and spoils no other
// list. One of hundreds of megabytes took a minute and gigabytes to parse.
TEST_F(CentralFilingStores, InvalidDamagedOrOversizedListsYieldNothingAndSpoilNoOtherList) {
    std::string padded = kValidList;
    padded.insert(padded.find("<filinglocations>"),
                  "<!--" + std::string(CCentralFilingStores::kMaxListBytes, ' ') + "-->");
    const struct {
        std::filesystem::path file;
        std::string text;
        const wchar_t* why;
    } bad[] = {
        {share / "invalid.xml",
         "<filinglocations><locations><location primaryref=\"no path\"/></locations>"
         "</filinglocations>",
         L"'path' is required"},
        {share / "damaged.xml", std::string(kValidList).substr(0, 120), L"xmlReadFile failed"},
        {share / "huge.xml", padded, L"more than"},
    };
    for (const auto& list : bad)
        QoTest::writeFile(list.file, list.text);

    testing::internal::CaptureStderr();
    const Loaded loaded = load({bad[0].file, bad[1].file, bad[2].file, remote});
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    ASSERT_EQ(loaded.rows.size(), 2u);
    EXPECT_EQ(loaded.rows[0].at(L"primary_ref"), L"1001");
    ASSERT_EQ(loaded.lists.size(), 4u);
    for (std::size_t i = 0; i < std::size(bad); ++i) {
        EXPECT_EQ(loaded.lists[i].eState, CCentralFilingStores::ListState::Unreadable) << i;
        EXPECT_NE(loaded.lists[i].sProblem.find(bad[i].why), std::wstring::npos)
            << toNarrow(loaded.lists[i].sProblem);
    }
    // Only the size is a problem of the whole load: the others are the lists' own.
    ASSERT_EQ(loaded.problems.size(), 1u);
    EXPECT_NE(loaded.problems[0].find(L"\"" + toWide(bad[2].file.string()) + L"\" is not read"),
              std::wstring::npos);

    // A list that grows past the limit keeps the copy read before, and says so.
    QoTest::writeFile(remote, padded);
    const Loaded grown = load({remote});
    EXPECT_EQ(grown.rows.size(), 2u);
    EXPECT_EQ(grown.problems.size(), 1u);
}

TEST_F(CentralFilingStores, ExternalEntitiesNeverPullAFileIn) {
    const auto secret = user.dir.path() / "secret.txt";
    QoTest::writeFile(secret, "TOP-SECRET-TEXT");
    QoTest::writeFile(user.dir.path() / "evil.dtd",
                      "<!ENTITY leak SYSTEM \"file://" + secret.string() + "\">");
    const auto list = [](const std::string& declarations, const std::string& body) {
        return "<?xml version=\"1.0\"?>\n<!DOCTYPE filinglocations [\n" + declarations +
               "\n]>\n<filinglocations><locations>" + body + "</filinglocations>";
    };
    const std::pair<const char*, std::string> lists[] = {
        {"element.xml",
         list("<!ENTITY leak SYSTEM \"file://" + secret.string() + "\">",
              "<location path=\"/srv/a\"/></locations>"
              "<settings><setting name=\"s\"><value>&leak;</value></setting></settings>")},
        {"attribute.xml", list("<!ENTITY leak SYSTEM \"" + secret.string() + "\">",
                               "<location path=\"&leak;\"/></locations>")},
        {"parameter.xml",
         list("<!ENTITY % dtd SYSTEM \"" + (user.dir.path() / "evil.dtd").string() + "\">\n%dtd;",
              "<location path=\"/srv/b\" description=\"&leak;\"/></locations>")}};
    for (const auto& [name, text] : lists) {
        QoTest::writeFile(share / name, text);
        const Loaded loaded = load({share / name});
        for (const auto& row : loaded.rows)
            for (const auto& [key, value] : row)
                EXPECT_EQ(value.find(L"TOP-SECRET"), std::wstring::npos)
                    << name << " " << toNarrow(key);
        for (const auto& [key, value] : loaded.settings)
            EXPECT_EQ(value.find(L"TOP-SECRET"), std::wstring::npos) << name;
    }
}

TEST_F(CentralFilingStores, AMissingSchemaRejectsEveryList) {
    const auto noSchema = user.dir.path() / "no-schema-here";
    QoTest::ScopedVariable dataDir("QOSEARCH_DATA_DIR", noSchema.c_str());
    const Loaded loaded = load({remote});
    EXPECT_TRUE(loaded.rows.empty());
    EXPECT_NE(loaded.lists[0].sProblem.find(L"xmlSchemaParse failed"), std::wstring::npos);
}
