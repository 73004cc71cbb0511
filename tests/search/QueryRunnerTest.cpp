#include "search/QueryRunner.h"

#include "EngineTestSupport.h"

using namespace EngineTest;
using namespace Kerf;
using namespace Kerf::Search;
using Kerf::Search::Searcher::CQueryRunner;

namespace {

/// Records the hooks, and optionally adds a criterion to the base query.
class CRecordingRunner : public CQueryRunner {
public:
    using CQueryRunner::CQueryRunner;
    std::wstring criterion;
    std::vector<std::string> hooks;
    std::vector<std::wstring> hits, newHits, newHitBodies;

    std::wstring buildQuery(const std::wstring& directory) override {
        return CQueryRunner::buildQuery(directory) + criterion;
    }

protected:
    void beginProcessingSearch() override { hooks.push_back("beginSearch"); }
    void endProcessingSearch() override { hooks.push_back("endSearch"); }
    void beginProcessingSearch(const std::wstring&) override { hooks.push_back("beginDir"); }
    void endProcessingSearch(const std::wstring&) override { hooks.push_back("endDir"); }
    void beginProcessingQuery() override { hooks.push_back("beginQuery"); }
    void endProcessingQuery() override { hooks.push_back("endQuery"); }
    void beginProcessingResults(CHitList& h) override {
        hooks.push_back("beginResults" + std::to_string(h.length()));
    }
    void endProcessingResults(CHitList&) override { hooks.push_back("endResults"); }
    void beginProcessingHit(const std::wstring& location) override {
        hooks.push_back("beginHit");
        hits.push_back(location);
    }
    void endProcessingHit(const std::wstring&) override { hooks.push_back("endHit"); }
    void beginProcessingNewHit(Document& document) override {
        hooks.push_back("beginNewHit");
        newHits.push_back(Searcher::getAsString(document, L"Location"));
        newHitBodies.push_back(Searcher::getAsString(document, L"Body"));
    }
    void endProcessingNewHit(Document&) override { hooks.push_back("endNewHit"); }
};

class QueryRunner : public ::testing::Test {
protected:
    IndexFolders folders;
    CQueryRunner::PathSet found, directories;

    void index(const std::vector<std::pair<std::wstring, std::wstring>>& documents) {
        auto writer = folders.writer();
        for (const auto& [location, subject] : documents)
            addDocument(
                *writer,
                {{L"Body", L"body of " + subject}, {L"Location", location}, {L"Subject", subject}});
    }
    /// One whole run over the folders.
    std::unique_ptr<CRecordingRunner> run(const CQueryRunner::Directories& dirs,
                                          const std::wstring& filter = L"",
                                          const std::wstring& criterion = L"") {
        m_directories = dirs;
        auto runner = std::make_unique<CRecordingRunner>(
            folders.searcher(), Analyzer::create(), &found, &directories, &m_directories, filter);
        runner->criterion = criterion;
        runner->go();
        return runner;
    }

private:
    CQueryRunner::Directories m_directories;
};

} // namespace

TEST_F(QueryRunner, HooksComeInOrderWithWholeDocumentsForNewHits) {
    index({{L"/srv/Mail/a.msg", L"annual"}, {L"/srv/Other/b.msg", L"report"}});
    auto none = run({});
    EXPECT_EQ(none->hooks, (std::vector<std::string>{"beginSearch", "endSearch"}));

    auto r = run({L"/srv/Mail"});
    EXPECT_EQ(r->hooks,
              (std::vector<std::string>{"beginSearch", "beginDir", "beginQuery", "endQuery",
                                        "beginResults1", "beginHit", "beginNewHit", "endNewHit",
                                        "endHit", "endResults", "endDir", "endSearch"}));
    EXPECT_EQ(r->newHitBodies, std::vector<std::wstring>{L"body of annual"});
    EXPECT_EQ(directories, (CQueryRunner::PathSet{L"/srv/Mail"}));
}

TEST_F(QueryRunner, TheNameFilterLooksAtTheLowerCasedFileNameOnly) {
    index({{L"/srv/Mail/Invoice 12.msg", L"one"}, {L"/srv/Inv/Letter.msg", L"two"}});
    auto r = run({L"/srv"}, L"INV");
    EXPECT_EQ(r->hits.size(), 2u);
    EXPECT_EQ(r->newHits, std::vector<std::wstring>{L"/srv/Mail/Invoice 12.msg"});
}

TEST_F(QueryRunner, AFileIsANewHitOnceAcrossDirectoriesAndRuns) {
    index({{L"/srv/Mail/2008/a.msg", L"one"},
           {L"/srv/Mail/B.msg", L"two"},
           {L"/srv/Mail/b.msg", L"three"}});
    found.insert(L"/srv/Mail/B.msg"); // reported by an earlier run
    auto r = run({L"/srv/Mail", L"/srv/Mail/2008"});
    EXPECT_EQ(r->hits.size(), 4u);
    EXPECT_EQ(sorted(r->newHits), sorted({L"/srv/Mail/2008/a.msg", L"/srv/Mail/b.msg"}));
    EXPECT_EQ(found.size(), 3u);
    EXPECT_EQ(r->getFoundDirectoriesCount(), 2u);

    auto second = run({L"/srv"});
    EXPECT_EQ(second->hits.size(), 3u);
    EXPECT_TRUE(second->newHits.empty());
}

TEST_F(QueryRunner, ATypedWordFindsWhatTheAnalyzerMadeOfTheIndexedText) {
    // The files are named a.msg, b.msg, ...; each case lists the letters of those it finds.
    const std::vector<std::wstring> subjects = {L"Lowe, Charles",
                                                L"FW: budget for e-mail",
                                                L"Shkolnik M.I.",
                                                L"MSGConvert -- plain text",
                                                L"minutes of 2008-01-15",
                                                L"Charles Lowell",
                                                L"O'Neil+Co (x) say \"hi\"",
                                                L"annual report 2008",
                                                L"annual budget",
                                                L"Report (draft)",
                                                L"\U00020B9F\u5B50 plan"};
    std::vector<std::pair<std::wstring, std::wstring>> documents;
    for (std::size_t i = 0; i < subjects.size(); ++i)
        documents.emplace_back(
            L"/srv/Mail/" + std::wstring(1, static_cast<wchar_t>(L'a' + i)) + L".msg", subjects[i]);
    index(documents);
    const auto lettersFound = [&](const std::wstring& criterion) {
        found.clear();
        auto r = run({L"/srv/Mail"}, L"", criterion);
        std::wstring letters;
        for (const auto& location : sorted(r->newHits))
            letters += location[location.size() - 5];
        return letters;
    };
    const std::pair<const wchar_t*, const wchar_t*> cases[] = {
        {L"Lowe, Charles", L"af"},
        {L"Lowe, Charles,", L"af"},
        {L"FW:", L"b"},
        {L"Shkolnik M.I.", L"c"},
        {L"MSGConvert -- plain", L"d"},
        {L"e-mail", L"b"},
        {L"e-ma", L"b"},
        {L"2008-01", L"e"},
        {L"o'neil+co (x)", L"g"},
        {L"  plain   msgc ", L"d"},
        {L"ann rep", L"h"},
        {L"\U00020B9F\u5B50", L"k"}, // past U+FFFF: kept in the index as a UTF-16 pair
        {L"--", L"abcdefghijk"},     // no word at all: no criterion, every file
    };
    for (const auto& [typed, letters] : cases)
        EXPECT_EQ(lettersFound(CQueryRunner::buildMatches(L"Subject", typed)), letters)
            << Util::toNarrow(typed);
    // A phrase keeps its quotes escaped.
    EXPECT_EQ(lettersFound(L" AND " + CQueryRunner::buildMatch(L"Subject", L"say \"hi\"")), L"g");
}

TEST_F(QueryRunner, OnlyFilesBelowTheFolderItselfAreItsHits) {
    index({{L"/srv/Mail/a.msg", L"one"},
           {L"/srv/Mail Archive/b.msg", L"two"},
           {L"/home/srv/Mail/c.msg", L"three"},
           {L"/srv/mail/d.msg", L"four"},
           {L"/srv/Mail/sub/e.msg", L"five"},
           {L"/srv/\U00020B9F Jobs/f.msg", L"six"}});
    const std::pair<std::wstring, std::vector<std::wstring>> cases[] = {
        {L"/srv/Mail", {L"/srv/Mail/a.msg", L"/srv/Mail/sub/e.msg"}},
        {L"/srv/Mail Archive/", {L"/srv/Mail Archive/b.msg"}},
        {L"/srv/\U00020B9F Jobs", {L"/srv/\U00020B9F Jobs/f.msg"}}, // a name past U+FFFF
    };
    for (const auto& [folder, hits] : cases) {
        SCOPED_TRACE(Util::toNarrow(folder));
        auto r = run({folder});
        EXPECT_EQ(r->newHits, hits);
    }
}
