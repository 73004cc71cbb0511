#include "stores/MsgStoresListModel.h"

#include "StoresTestSupport.h"

using namespace Kerf::QuireLib;
using Model = CMsgStoresListModel;

namespace {

LocationRow row(const std::wstring& id, const std::wstring& primary, const std::wstring& path,
                const std::wstring& secondary = L"", const std::wstring& description = L"") {
    return {{L"store_id", id},
            {L"primary_ref", primary},
            {L"secondary_ref", secondary},
            {L"description", description},
            {L"path_location", path}};
}

std::vector<std::wstring> column(const Model& model, int col) {
    std::vector<std::wstring> texts;
    for (size_t i = 0; i < model.GetRowCount(); ++i)
        texts.push_back(model.GetRow(i)[col]);
    return texts;
}

using Texts = std::vector<std::wstring>;

} // namespace

// A row's kind comes from the start of its path; the cache of a kind holds
// a row once however often it is pushed, and that of other locations all kinds.
TEST(MsgStoresListModel, CacheKeepsTheKindOfThePathAndHoldsIdenticalRowsOnce) {
    StoresTest::ScopedUser user;
    const std::wstring jobs = L"\\\\server\\share\\jobs";
    const LocationRows rows = {
        row(L"3", L"A", jobs),          row(L"3", L"A", jobs),
        row(L"4", L"A", jobs),          row(L"5", L"B", L"Outlook:\\\\Mailbox\\\\Inbox"),
        row(L"6", L"C", L"File:\\\\x"), row(L"7", L"D", L"C:\\jobs"),
        row(L"8", L"E", L"jobs\\2020"), row(L"9", L"F", L"/srv/filing"),
        row(L"10", L"G", L"C:"),        row(L"11", L"H", L"\\single"),
        row(L"12", L"I", L"")};
    const std::pair<LocationKind, Texts> kinds[] = {
        {eFileSystemFolder, {L"3", L"4", L"6", L"7", L"9"}},
        {eOtherLocation, {L"3", L"4", L"5", L"6", L"7", L"8", L"9", L"10", L"11", L"12"}},
        {eMailClientFolder, {L"5"}}};
    for (const auto& [kind, ids] : kinds) {
        Model model;
        model.PushOnLocationsCache(rows, kind);
        model.PushOnLocationsCache({rows.front()}, kind);
        model.DisplayFilteredStoreLocationsCache(L"");
        EXPECT_EQ(column(model, Model::eColStoreId), ids) << kind;
    }
}

TEST(MsgStoresListModel, StoreIdDecidesSourceAndWhetherARowShows) {
    StoresTest::ScopedUser user;
    Model model;
    model.PushOnLocationsCache({row(L"-1", L"a", L"/a"), row(L"0", L"b", L"/b"),
                                row(L"17", L"c", L"/c"), row(L"abc", L"d", L"/d"),
                                row(L"", L"e", L"/e"), row(L"12x", L"f", L"/f"),
                                row(L"+9", L"g", L"/g"), row(L"-", L"h", L"/h")},
                               eFileSystemFolder);
    model.DisplayFilteredStoreLocationsCache(L"");
    EXPECT_EQ(column(model, Model::eColPrimaryRef), (Texts{L"a", L"b", L"c", L"g"}));
    EXPECT_EQ(column(model, Model::eColSource), (Texts{L"Central", L"Local", L"Local", L"Local"}));
    EXPECT_EQ(model.GetLocationsCache().size(), 8u);
}

TEST(MsgStoresListModel, FilterIgnoresCaseSpansFieldsAndKeepsTheOrder) {
    StoresTest::ScopedUser user;
    Model model;
    model.PushOnLocationsCache({row(L"1", L"P-2", L"/srv/one", L"my ref", L"desc ribed"),
                                row(L"2", L"P-1", L"/srv/two", L"other", L"xABCx"),
                                row(L"3", L"P-3", L"/srv/three", L"ref", L"plain"),
                                row(L"1234", L"P-4", L"/srv/four", L"", L"")},
                               eFileSystemFolder);
    // The hidden store id is not searched.
    const std::pair<std::wstring, Texts> filters[] = {
        {L"abc", {L"2"}}, {L"ref__desc", {L"1"}},      {L"SRV/T", {L"2", L"3"}},
        {L"1234", {}},    {L"nothing holds this", {}}, {L"", {L"2", L"1", L"3", L"1234"}}};
    for (const auto& [filter, ids] : filters) {
        model.Filter(filter);
        EXPECT_EQ(column(model, Model::eColStoreId), ids) << Kerf::Util::toNarrow(filter);
    }

    model.Sort(Model::eColLocation, false);
    EXPECT_EQ(column(model, Model::eColLocation),
              (Texts{L"/srv/two", L"/srv/three", L"/srv/one", L"/srv/four"}));
    model.Filter(L"srv/t");
    EXPECT_EQ(column(model, Model::eColLocation), (Texts{L"/srv/two", L"/srv/three"}));
    model.Filter(L"");
    EXPECT_EQ(model.GetRowCount(), 4u);
    EXPECT_EQ(model.GetRow(0)[Model::eColLocation], L"/srv/two");
}

TEST(MsgStoresListModel, LoadsDatabaseAndCentralListsNamedInTheUsersFile) {
    StoresTest::ScopedUser user;
    const auto share = user.dir.path() / "share";
    QoTest::writeFile(share / "a.xml", "<filinglocations><locations>"
                                       "<location path=\"/srv/central\" primaryref=\"C1\"/>"
                                       "<location path=\"Outlook:\\\\Public\" primaryref=\"C2\"/>"
                                       "</locations></filinglocations>");
    QoTest::writeFile(user.appData() / "qoFilingLists.txt",
                      "\xEF\xBB\xBF" + (share / "missing.xml").string() + "\r\n" +
                          (share / "a.xml").string() + "\r\n\r\n");
    {
        const auto db = StoresTest::sqliteStores(user.appData() / (QoTest::kProduct + ".db"));
        db->TablesUpdateOrInsertStore(L"/srv/local", L"L1", L"", L"", L"msg", 0);
        db->TablesUpdateOrInsertStore(L"/srv/docs", L"D1", L"", L"", L"doc", 0);
    }
    Model model;
    std::vector<std::wstring> errors;
    model.SetErrorReporter([&](const std::wstring& text) { errors.push_back(text); });
    EXPECT_TRUE(model.LoadStoreLocations(eFileSystemFolder));
    EXPECT_TRUE(errors.empty());
    EXPECT_EQ(column(model, Model::eColPrimaryRef), (Texts{L"C1", L"L1"}));

    // A damaged database is reported once; the central rows still show.
    QoTest::writeFile(user.appData() / (QoTest::kProduct + ".db"), std::string(8192, '\x07'));
    EXPECT_FALSE(model.LoadStoreLocations(eFileSystemFolder));
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_NE(errors[0].find(L"Cannot open the store database"), std::wstring::npos);
    EXPECT_NE(errors[0].find(Kerf::Util::toWide(QoTest::kProduct + ".db")), std::wstring::npos);
    EXPECT_EQ(column(model, Model::eColPrimaryRef), (Texts{L"C1"}));
}
