#pragma once
// The engine tests' own file type: a text file becomes a record with its
// path under "Location" and its contents under "Body". The indexer records
// every hook it sees, with the thread it ran on, so tests can check order.

#include "search/IndexLocations.h"
#include "search/RecursiveIndexer.h"
#include "support/Strings.h"

#include "TempDir.h"
#include "WaitFor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

namespace EngineTest {

namespace fs = std::filesystem;
using Kerf::QuireLib::CMetadata;
using Kerf::QuireLib::CMetadataPtr;

inline std::wstring wide(const fs::path& path) {
    return Kerf::Util::fromPath(path);
}

inline std::vector<std::wstring> sorted(std::vector<std::wstring> v) {
    std::sort(v.begin(), v.end());
    return v;
}

using QoTest::waitFor;

/// What the call threw; a failure when it threw nothing.
template <typename Exception, typename Call> std::optional<Exception> thrown(Call call) {
    try {
        call();
    } catch (const Exception& e) {
        return e;
    }
    ADD_FAILURE() << "nothing was thrown";
    return std::nullopt;
}

struct Event {
    std::thread::id thread;
    std::string name;
    std::wstring argument;
};

/// An index in a temporary folder, with the tree of files beside it.
struct IndexFolders {
    QoTest::TempDir temp;
    fs::path root = temp / "Index";
    fs::path index = root / "0.4";
    fs::path tree = temp / "tree";

    Kerf::Search::IndexWriterPtr writer() const {
        return Kerf::Search::createIndexWriter(wide(root), wide(index));
    }
    Kerf::Search::IndexSearcherPtr searcher() const {
        return Kerf::Search::createIndexSearcher(wide(index));
    }
    /// Every stored location, as a fresh searcher sees the index.
    std::vector<std::wstring> locations() const {
        std::vector<std::wstring> result;
        Kerf::Search::forEachLocationBelow(*searcher(), L"/",
                                           [&](const std::wstring& l) { result.push_back(l); });
        std::sort(result.begin(), result.end());
        return result;
    }
};

/// Adds one document of text fields.
inline void addDocument(lucene::index::IndexWriter& writer,
                        std::initializer_list<std::pair<const wchar_t*, std::wstring>> fields) {
    Kerf::Search::Document doc;
    for (const auto& [name, value] : fields)
        Kerf::Search::Writer::add(doc, name, value);
    Kerf::Search::Writer::add(writer, doc);
}

inline std::size_t countHits(const Kerf::Search::IndexSearcherPtr& searcher,
                             const std::wstring& query) {
    return Kerf::Search::Searcher::getHits(*searcher, query)->length();
}

/// A test with an index and a tree of files to fill.
class IndexerTest : public ::testing::Test {
protected:
    IndexFolders folders;
    fs::path file(const fs::path& relative, const std::string& body = "filed text") {
        const fs::path path = folders.tree / relative;
        QoTest::writeFile(path, body);
        return path;
    }
};

class CTextIndexer : public Kerf::Search::Writer::CRecursiveIndexer {
public:
    CTextIndexer(const IndexFolders& folders, const Paths& directories,
                 const Paths& extensions = {L"txt"})
        : CRecursiveIndexer(directories, extensions) {
        setIndexWriter(folders.writer());
        setIndexSearcher(folders.searcher());
    }
    ~CTextIndexer() override { stop(); }

    /// Runs to the end (or the deadline), then closes the writer.
    bool runToEnd() {
        go();
        const bool finished = waitFor([this] { return isFinished(); });
        stop();
        return finished;
    }

    CMetadataPtr buildMetadata(const std::wstring& path) override {
        const std::string body = QoTest::readFile(Kerf::Util::toPath(path));
        if (onBuild)
            onBuild(path);
        auto record = std::make_shared<CMetadata>();
        record->SetStringValue(L"Location", path);
        record->SetStringValue(L"Body", Kerf::Util::toWide(body));
        record->SetSize(static_cast<std::int32_t>(body.size()));
        return record;
    }

    std::vector<Event> events() const {
        std::lock_guard lock(m_eventsLock);
        return m_events;
    }
    std::vector<std::wstring> argumentsOf(const std::string& name) const {
        std::vector<std::wstring> result;
        for (const auto& e : events())
            if (e.name == name)
                result.push_back(e.argument);
        return result;
    }

    // Test controls, called from the hooks' threads: onBuild as a file is
    // read, onHook as each hook is recorded (before the base's own work).
    std::function<void(const std::wstring&)> onBuild;
    std::function<void(const std::string& hook, const std::wstring& argument)> onHook;

protected:
    void record(const char* name, const std::wstring& argument = {}) {
        {
            std::lock_guard lock(m_eventsLock);
            m_events.push_back({std::this_thread::get_id(), name, argument});
        }
        if (onHook)
            onHook(name, argument);
    }

// Every hook records its name, then does what the base does.
#define RECORDED_HOOK(hook)                                                                        \
    void hook() override {                                                                         \
        record(#hook);                                                                             \
        CRecursiveIndexer::hook();                                                                 \
    }
#define RECORDED_PATH_HOOK(hook)                                                                   \
    void hook(const std::wstring& path) override {                                                 \
        record(#hook, path);                                                                       \
        CRecursiveIndexer::hook(path);                                                             \
    }
    RECORDED_HOOK(beginWorkThread)
    RECORDED_HOOK(endWorkThread)
    RECORDED_HOOK(beginScanningDirectoryThread)
    RECORDED_HOOK(endScanningDirectoryThread)
    RECORDED_PATH_HOOK(beginScanningDirectory)
    RECORDED_PATH_HOOK(endScanningDirectory)
    RECORDED_PATH_HOOK(beginScanningFile)
    RECORDED_PATH_HOOK(endScanningFile)
    RECORDED_HOOK(beginBuildingMetadataThread)
    RECORDED_HOOK(endBuildingMetadataThread)
    RECORDED_HOOK(beginBuildingMetadata)
    RECORDED_HOOK(endBuildingMetadata)
    RECORDED_PATH_HOOK(beginBuildingMetadataItem)
    RECORDED_PATH_HOOK(endBuildingMetadataItem)
    RECORDED_HOOK(beginUpdatingIndexThread)
    RECORDED_HOOK(endUpdatingIndexThread)
    RECORDED_HOOK(beginUpdatingIndex)
    RECORDED_HOOK(endUpdatingIndex)
    RECORDED_PATH_HOOK(beginUpdatingIndexItem)
    RECORDED_PATH_HOOK(endUpdatingIndexItem)
#undef RECORDED_HOOK
#undef RECORDED_PATH_HOOK

private:
    mutable std::mutex m_eventsLock;
    std::vector<Event> m_events;
};

/// Writes the files below the tree and indexes them once; whether the run ended.
inline bool indexFiles(const IndexFolders& place, std::initializer_list<const char*> names) {
    for (const char* name : names)
        QoTest::writeFile(place.tree / name, "filed text");
    CTextIndexer first(place, {wide(place.tree)});
    return first.runToEnd();
}

} // namespace EngineTest
