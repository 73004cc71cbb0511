#include "cli/Commands.h"
#include "cli/SearchOptions.h"
#include "mail/RecursiveMailIndexer.h"
#include "mail/StatusTexts.h"
#include "search/QueuedEventSink.h"
#include "support/Strings.h"

#include <chrono>
#include <iostream>

using Kerf::Util::toNarrow;
namespace Mail = Kerf::QuireLib;

namespace QoCli {

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
        { Mail::CRecursiveMailIndexer opener(options->place); }
        if (options->folders.empty()) {
            std::cout << "Index ready in " << toNarrow(options->place.directory) << "\n";
            return 0;
        }
        auto sink = std::make_shared<Kerf::Search::CQueuedEventSink>();
        Mail::CRecursiveMailIndexer indexer(
            sink, Mail::SearchCriteria(), options->folders,
            Kerf::Search::createIndexSearcher(options->place.directory), options->place);
        indexer.go();
        for (bool working = true; working;) {
            auto message = sink->take(std::chrono::milliseconds(200));
            if (!message)
                continue;
            if (*message == Kerf::Search::IndexerMessage::EndWork)
                working = false;
            else if (options->progress)
                std::cerr << toNarrow(indexer.buildStatusString()) << "\n";
        }
        indexer.stop();
        const std::wstring error = indexer.getLastError();
        if (!error.empty()) {
            std::cerr << "qosearch-cli: indexing ended early: " << toNarrow(error) << "\n";
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
        std::cerr << "qosearch-cli: " << toNarrow(e.getMessage()) << "\n";
        return 1;
    }
    return 0;
}

} // namespace QoCli
