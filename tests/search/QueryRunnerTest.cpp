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

TEST_F(QueryRunner, ATypedWordFindsWhatTheAnalyzerMadeOfTheIndexedText) {
    // The files are named a.msg, b.msg, ...; each case lists the letters of those it finds.
    index({{L"/srv/Mail/a.msg", L"Lowe, Charles"},
           {L"/srv/Mail/b.msg", L"FW: budget for e-mail"},
           {L"/srv/Mail/c.msg", L"Shkolnik M.I."},
           {L"/srv/Mail/d.msg", L"MSGConvert -- plain text"},
           {L"/srv/Mail/e.msg", L"minutes of 2008-01-15"},
           {L"/srv/Mail/f.msg", L"Charles Lowell"},
           {L"/srv/Mail/g.msg", L"O'Neil+Co (x) say \"hi\""},
           {L"/srv/Mail/h.msg", L"annual report 2008"},
           {L"/srv/Mail/i.msg", L"annual budget"},
           {L"/srv/Mail/j.msg", L"Report (draft)"},
           {L"/srv/Mail/k.msg", L"\U00020B9F\u5B50 plan"}});
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

// Each run in turn: the hits are the files below the folder itself (not one whose name only begins
// alike, nor one in another letter case); a file is a new hit once across folders and runs, and
// only when its lower-cased file name (not its folder's) holds the filter.
TEST_F(QueryRunner, NewHitsAreFilesBelowTheFolderItselfOnceAcrossFoldersAndRuns) {
    index({{L"/srv/Mail/a.msg", L"one"},
           {L"/srv/Mail/B.msg", L"two"},
           {L"/srv/Mail/b.msg", L"three"},
           {L"/srv/Mail Archive/c.msg", L"four"},
           {L"/home/srv/Mail/d.msg", L"five"},
           {L"/srv/mail/e.msg", L"six"},
           {L"/srv/Mail/2008/Invoice 12.msg", L"seven"},
           {L"/srv/Inv/Letter.msg", L"eight"},
           {L"/srv/\U00020B9F Jobs/f.msg", L"nine"}});
    found.insert(L"/srv/Mail/B.msg"); // reported by an earlier run
    const struct {
        CQueryRunner::Directories folders;
        std::wstring filter;
        std::size_t hits;
        std::vector<std::wstring> newHits;
    } runs[] = {
        {{L"/srv/Mail Archive/"}, L"", 1, {L"/srv/Mail Archive/c.msg"}},
        {{L"/srv/\U00020B9F Jobs"}, L"", 1, {L"/srv/\U00020B9F Jobs/f.msg"}}, // past U+FFFF
        {{L"/srv/Mail", L"/srv/Mail/2008", L"/srv/Inv"},
         L"INV",
         6,
         {L"/srv/Mail/2008/Invoice 12.msg"}},
        {{L"/srv/Mail", L"/srv/Mail/2008"}, L"", 5, {L"/srv/Mail/a.msg", L"/srv/Mail/b.msg"}},
        {{L"/srv"}, L"", 8, {L"/srv/Inv/Letter.msg", L"/srv/mail/e.msg"}},
        {{L"/srv"}, L"", 8, {}},
    };
    for (const auto& r : runs) {
        SCOPED_TRACE(Util::toNarrow(r.folders.front() + L" " + r.filter));
        auto runner = run(r.folders, r.filter);
        EXPECT_EQ(runner->hits.size(), r.hits);
        EXPECT_EQ(sorted(runner->newHits), r.newHits);
    }
    EXPECT_EQ(directories,
              (CQueryRunner::PathSet{L"/srv/Mail Archive", L"/srv/\U00020B9F Jobs",
                                     L"/srv/Mail/2008", L"/srv/Mail", L"/srv/Inv", L"/srv/mail"}));
}
