#include "cli/Commands.h"
#include "cli/SearchOptions.h"
#include "cli/TerminalText.h"
#include "mail/RecursiveMailIndexer.h"
#include "mail/StatusTexts.h"
#include "search/QueuedEventSink.h"
#include "support/Strings.h"

#include <chrono>
#include <iostream>

using Kerf::Util::toNarrow;
namespace Mail = Kerf::QuireLib;

namespace QoCli {
namespace {

/// Opens (creating when missing) the index and a searcher on it. A damaged
/// index is removed and made anew once, and the user is told.
Kerf::Search::IndexSearcherPtr openIndex(const Mail::CRecursiveMailIndexer::IndexPlace& place) {
    namespace Search = Kerf::Search;
    for (bool rebuilt = false;; rebuilt = true) {
        try {
            { Mail::CRecursiveMailIndexer opener(place); }
            return Search::createIndexSearcher(place.directory);
        } catch (const Kerf::CIndexException& e) {
            if (!e.isDamage() || rebuilt)
                throw;
            std::cerr << "qosearch-cli: " << toNarrow(Mail::StatusTexts::kIndexRebuilt) << "\n";
            Search::discardIndex(place.directory);
        }
    }
}

} // namespace

int runIndex(const Args& args) {
    std::string problem;
    auto options = parseSearchOptions(args, false, problem);
    if (!options)
        return usage(problem);
    if (!checkFolders(options->folders, problem)) {
        std::cerr << "qosearch-cli: " << problem << "\n";
        return 1;
    }
    try {
        Kerf::Search::IndexSearcherPtr searcher = openIndex(options->place);
        if (options->folders.empty()) {
            std::cout << "Index ready in " << toNarrow(options->place.directory) << "\n";
            return 0;
        }
        auto sink = std::make_shared<Kerf::Search::CQueuedEventSink>();
        Mail::CRecursiveMailIndexer indexer(sink, Mail::SearchCriteria(), options->folders,
                                            std::move(searcher), options->place);
        indexer.setMessageReader(messageReader());
        indexer.go();
        for (bool working = true; working;) {
            auto message = sink->take(std::chrono::milliseconds(200));
            if (!message)
                continue;
            if (message->message == Kerf::Search::IndexerMessage::EndWork)
                working = false;
            else if (options->progress)
                std::cerr << terminalText(indexer.buildStatusString()) << "\n";
        }
        indexer.stop();
        const std::wstring error = indexer.getLastError();
        if (!error.empty()) {
            std::cerr << "qosearch-cli: " << terminalText(Mail::StatusTexts::indexingStopped(error))
                      << "\n";
            return 1;
        }
        const std::size_t changed = indexer.getItemsChanged();
        const std::size_t added = indexer.getCompletedItemsTotal() - changed;
        const std::size_t removed = indexer.getItemsRemoved();
        std::cout << "Indexed " << added << " new, " << changed << " changed, " << removed
                  << " removed message" << (added + changed + removed == 1 ? "" : "s") << " in "
                  << toNarrow(Mail::StatusTexts::elapsedTime(indexer.getElapsedTime()))
                  << "; index in " << toNarrow(options->place.directory) << "\n";
    } catch (const Kerf::CExceptionBase& e) {
        std::cerr << "qosearch-cli: " << terminalText(Kerf::describeWithCauses(e)) << "\n";
        return 1;
    }
    return 0;
}

} // namespace QoCli
