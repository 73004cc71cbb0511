// The index on disk: where it lives, who may open it, what it keeps, and how it fails and heals.

#include "EngineTestSupport.h"

#include <sys/wait.h>
#include <unistd.h>
#include <variant>

using namespace EngineTest;
using namespace Kerf;
using namespace Kerf::Search;

class IndexStorage : public ::testing::Test, protected IndexFolders {
protected:
    void addDoc(lucene::index::IndexWriter& writer, const std::wstring& location,
                const std::wstring& body) {
        addDocument(writer, {{L"Location", location}, {L"Body", body}});
    }
};

TEST_F(IndexStorage, TidyingRemovesOnlyIndexesOfOtherVersions) {
    { createIndexWriter(L"", wide(index)); }
    QoTest::writeFile(root / "notes.txt", "x");
    QoTest::writeFile(root / "photos" / "deep" / "a.jpg", "x");
    // However the live index is spelt, it and all that is no index survive; another version's index
    // goes, and of a folder holding the user's files beside an index only the index's files go.
    for (const std::wstring& spelling : {wide(index), wide(index) + L"/", wide(root / "." / "0.4"),
                                         wide(root / "x" / ".." / "0.4")}) {
        { createIndexWriter(L"", wide(root / "0.3")); }
        { createIndexWriter(L"", wide(root / "mine")); }
        QoTest::writeFile(root / "mine" / "keep.txt", "the user's own");
        tidyIndexDirectory(wide(root), spelling);
        EXPECT_FALSE(fs::exists(root / "0.3")) << Util::toNarrow(spelling);
        EXPECT_TRUE(fs::exists(index / "segments.gen")) << Util::toNarrow(spelling);
        EXPECT_TRUE(fs::exists(root / "notes.txt"));
        EXPECT_TRUE(fs::exists(root / "photos" / "deep" / "a.jpg"));
        EXPECT_TRUE(fs::exists(root / "mine" / "keep.txt"));
        EXPECT_FALSE(fs::exists(root / "mine" / "segments.gen"));
    }
    EXPECT_NO_THROW(tidyIndexDirectory(wide(temp / "missing"), wide(temp / "missing" / "0.4")));
}

// The index holds the text of every message: its folder is 0700, its files
// 0600, and a folder others could plant links in is never written.
TEST_F(IndexStorage, TheIndexFolderIsTheUsersOwnAndPlantedLinksAreNeverFollowed) {
    {
        auto writer = createIndexWriter(wide(root), wide(index));
        addDoc(*writer, L"/mail/a.msg", L"salary review");
    }
    EXPECT_EQ(fs::status(index).permissions(), fs::perms::owner_all);
    for (const auto& entry : fs::directory_iterator(index))
        EXPECT_EQ(entry.status().permissions(), fs::perms::owner_read | fs::perms::owner_write)
            << entry.path();

    const fs::path elsewhere = temp / "elsewhere";
    const auto plant = [&](const fs::path& folder) {
        fs::create_directories(folder);
        for (const char* name : {"segments_1", "_0.cfs", "qosearch-file-states"})
            fs::create_symlink(elsewhere / name, folder / name);
    };
    const struct {
        const char* what;
        std::function<void(const fs::path&)> prepare;
        std::string refusal;
    } cases[] = {
        {"planted links", plant, "holds a link"},
        {"writable by others",
         [&](const fs::path& folder) {
             plant(folder);
             fs::permissions(folder, fs::perms::all);
         },
         "may be written by other users"},
        {"another user's",
         [&](const fs::path& folder) {
             fs::create_directories(folder);
             if (::chown(folder.c_str(), 65534, 65534) != 0)
                 GTEST_SKIP() << "a folder cannot be given to another user here";
         },
         "belongs to another user"},
    };
    for (const auto& c : cases) {
        const fs::path folder = temp / c.what;
        c.prepare(folder);
        if (IsSkipped())
            return;
        for (const auto& open :
             std::vector<std::function<void()>>{[&] { createIndexWriter(L"", wide(folder)); },
                                                [&] { createIndexSearcher(wide(folder)); }}) {
            const auto e = thrown<CIndexException>(open);
            const std::string said = e ? Util::toNarrow(describeWithCauses(*e)) : "";
            EXPECT_NE(said.find(c.refusal), std::string::npos) << c.what << ": " << said;
        }
        EXPECT_FALSE(fs::exists(elsewhere)) << c.what;
    }
}

// A query may raise the clause limit up to the highest one, and always puts
// it back; phrases escape double quotes; malformed text is a query fault.
TEST_F(IndexStorage, QueriesPastTheClauseLimitSucceedUpToTheHighestLimit) {
    std::wstring manyWords;
    for (std::size_t i = 0; i <= kHighestClauseLimit; ++i)
        manyWords += L"x" + std::to_wstring(i) + L" ";
    {
        auto writer = createIndexWriter(wide(root), wide(index));
        for (int i = 0; i < 2100; ++i)
            addDoc(*writer, L"/m/" + std::to_wstring(i), L"w" + std::to_wstring(100000 + i));
        addDoc(*writer, L"/m/many", manyWords);
        for (const std::wstring subject : {L"they say \"hi\" now and then", L"now say hi"})
            addDocument(*writer, {{L"Subject", subject}});
    }
    auto searcher = createIndexSearcher(wide(index));
    lucene::search::BooleanQuery::setMaxClauseCount(7);
    EXPECT_EQ(countHits(searcher, L"w1*"), 2100u);
    EXPECT_EQ(lucene::search::BooleanQuery::getMaxClauseCount(), kRestingClauseLimit);
    const auto tooMany = thrown<CTooManyWordsError>(
        [&] { Searcher::getHits(*searcher, L"Location:m AND Body:x*"); });
    EXPECT_EQ(tooMany ? tooMany->getMessage() : L"",
              L"Too many words match Body:x*; type more letters");
    EXPECT_EQ(lucene::search::BooleanQuery::getMaxClauseCount(), kRestingClauseLimit);

    EXPECT_EQ(Searcher::getHits(*searcher, L"Subject", L"say \"hi\" now")->length(), 1u);
    const auto malformed =
        thrown<CIndexException>([&] { Searcher::getHits(*searcher, L"Subject:(unclosed"); });
    EXPECT_TRUE(malformed && malformed->getFault() == IndexFault::Query);
    // The searcher goes on working.
    EXPECT_EQ(countHits(searcher, L"Subject:say"), 2u);
}

TEST_F(IndexStorage, DirtyWhenNullOrChangedSinceOpening) {
    EXPECT_TRUE(Searcher::isIndexDirty(static_cast<lucene::index::IndexReader*>(nullptr)));
    auto writer = createIndexWriter(wide(root), wide(index));
    writer->flush();
    auto searcher = createIndexSearcher(wide(index));
    EXPECT_FALSE(Searcher::isIndexDirty(searcher));
    addDoc(*writer, L"/m/1", L"body");
    writer->flush();
    EXPECT_TRUE(Searcher::isIndexDirty(searcher));
    EXPECT_FALSE(Searcher::isIndexDirty(createIndexSearcher(wide(index))));
}

TEST_F(IndexStorage, TypedValuesRoundTripAndDatesStayFourteenDigits) {
    const QoTest::ScopedVariable zone("TZ", "Europe/Berlin");
    tzset();
    // OLE dates read back as written, the time of a negative one running
    // forward; a damaged message may claim any year: what is written is clamped.
    const struct {
        std::variant<OleDate, DateTime> written;
        const wchar_t* text;
    } dates[] = {{OleDate{0.0}, L"18991230000000"},
                 {OleDate{-36522.5}, L"18000101120000"},
                 {OleDate{18264.75}, L"19500101180000"},
                 {OleDate{50000.125}, L"20361121030000"},
                 {OleDate{2958465.999988426}, L"99991231235959"},
                 {DateTime{12000, 6, 1, 10, 0, 0}, L"99991231235959"},
                 {DateTime{5, 6, 1, 10, 0, 0}, L"10000101000000"},
                 {DateTime{-40, 1, 1, 0, 0, 0}, L"10000101000000"},
                 {DateTime{2013, 11, 18, 9, 26, 24}, L"20131118092624"}};
    {
        auto writer = createIndexWriter(wide(root), wide(index));
        for (const auto& d : dates) {
            Document doc;
            Writer::add(doc, L"Location", L"/d/" + std::to_wstring(&d - dates));
            std::visit([&](const auto& value) { Writer::add(doc, L"SentDate", value); }, d.written);
            Writer::add(doc, L"Size", static_cast<std::int32_t>(-42 + (&d - dates)));
            Writer::add(*writer, doc);
        }
    }
    auto searcher = createIndexSearcher(wide(index));
    for (const auto& d : dates) {
        auto hits = Searcher::getHits(*searcher, L"Location", L"/d/" + std::to_wstring(&d - dates));
        ASSERT_EQ(hits->length(), 1u);
        Document& doc = hits->doc(0);
        EXPECT_EQ(Searcher::getAsString(doc, L"SentDate"), d.text);
        EXPECT_EQ(Searcher::getAsInt32(doc, L"Size"), -42 + (&d - dates));
        EXPECT_EQ(Searcher::getAsString(doc, L"Missing"), L"");
        EXPECT_THROW(Searcher::getAsInt32(doc, L"Location"), std::invalid_argument);
        EXPECT_THROW(Searcher::getAsDateTime(doc, L"Missing"), std::invalid_argument);
    }
    // A range on the date text selects by date, 1800 and 9999 included (and
    // the two clamped dates that fall in the second).
    EXPECT_EQ(countHits(searcher, L"SentDate:[18000101000000 TO 19500101000000]"), 2u);
    EXPECT_EQ(countHits(searcher, L"SentDate:[19991231000000 TO 99991231235959]"), 4u);
}

// The lock of a writer whose process died is broken; a live writer's in this process never is.
TEST_F(IndexStorage, OpensAfterAWriterWhoseProcessDiedButNeverBesideALiveOne) {
    {
        auto writer = createIndexWriter(wide(root), wide(index));
        addDoc(*writer, L"/m/kept", L"survivor");
    }
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        auto writer = Writer::create(wide(index));
        addDoc(*writer, L"/m/lost", L"unflushed");
        _exit(0); // dies holding the index lock
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(lucene::index::IndexReader::isLocked(Util::toNarrow(wide(index)).c_str()));

    auto writer = createIndexWriter(wide(root), wide(index));
    EXPECT_EQ(writer->docCount(), 1);
    addDoc(*writer, L"/m/new", L"after");
    EXPECT_THROW(Writer::create(wide(index)), CExceptionBase);
    addDoc(*writer, L"/m/2", L"two");
    writer.reset();
    EXPECT_EQ(countHits(searcher(), L"survivor after two unflushed"), 3u);
}

// A missing index is not damage: nothing is discarded. (One that cannot be
// made is the command line's IndexSafety case.)
TEST_F(IndexStorage, AMissingIndexCarriesTheDescribedTextAndItsCauseAndIsNoDamage) {
    const auto e = thrown<CIndexException>([&] { createIndexSearcher(wide(temp / "none")); });
    ASSERT_TRUE(e && e->getInner());
    EXPECT_EQ(e->getMessage(), L"Index usage problem (" + wide(temp / "none") + L")");
    EXPECT_FALSE(e->isDamage());
    EXPECT_FALSE(e->getInner()->getMessage().empty());
}

TEST_F(IndexStorage, ADamagedIndexIsToldApartAndOnlyItsOwnFilesAreDiscarded) {
    const auto fileNamed = [this](const std::string& prefix) {
        for (const auto& entry : fs::directory_iterator(index))
            if (entry.path().filename().string().rfind(prefix, 0) == 0 &&
                entry.path().extension() != ".gen")
                return entry.path();
        return fs::path();
    };
    const std::vector<std::string> userFiles = {"notes.txt", "Read me"};
    for (const std::string prefix : {"_", "segments_"}) {
        SCOPED_TRACE(prefix);
        fs::remove_all(index);
        {
            auto writer = createIndexWriter(L"", wide(index));
            for (int i = 0; i < 30; ++i)
                addDoc(*writer, L"/m/" + std::to_wstring(i), L"body text " + std::to_wstring(i));
        }
        fs::resize_file(fileNamed(prefix), fs::file_size(fileNamed(prefix)) / 2);
        for (const auto& name : userFiles)
            QoTest::writeFile(index / name, "the user's");

        const auto damaged = thrown<CIndexException>([&] { searcher(); });
        EXPECT_TRUE(damaged && damaged->isDamage());
        // A writer may open it, but never replaces it unasked.
        try {
            Writer::create(wide(index));
        } catch (const CIndexException& e) {
            EXPECT_TRUE(e.isDamage());
        }
        EXPECT_THROW(searcher(), CIndexException);

        discardIndex(wide(index));
        std::vector<std::string> left;
        for (const auto& entry : fs::directory_iterator(index))
            left.push_back(entry.path().filename().string());
        std::sort(left.begin(), left.end());
        EXPECT_EQ(left,
                  (std::vector<std::string>{"Read me", "notes.txt", "qosearch-writer.owner"}));
        EXPECT_EQ(createIndexWriter(L"", wide(index))->docCount(), 0);
    }
}
