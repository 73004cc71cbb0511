// qosearch-indexd: keeps the central index up to date with every filing
// location of the store list (and any --folder), one round after another,
// or one round with --once. SIGTERM or SIGINT ends it after the commit that
// follows the file being written.

#include "central/CentralIndexer.h"
#include "central/CentralSchema.h"
#include "central/PgConnection.h"
#include "indexd/ServiceSettings.h"
#include "stores/MsgStoresListModel.h"
#include "support/Exception.h"
#include "support/Strings.h"

#include <QCoreApplication>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <iostream>
#include <thread>

namespace {

std::atomic<bool> g_bStop{false};

extern "C" void requestStop(int) {
    g_bStop = true;
}

void say(const std::string& text) {
    std::cerr << "qosearch-indexd: " << text << std::endl;
}

// The store list's file-system locations as the window lists them, each
// where it is on this computer; one that is not is left out of the round,
// so nothing below it is removed.
std::vector<std::wstring> storeLocations() {
    using namespace Kerf::QuireLib;
    CMsgStoresListModel list;
    list.SetErrorReporter([](const std::wstring& text) { say(Kerf::Util::toNarrow(text)); });
    list.LoadStoreLocations(eFileSystemFolder);
    std::vector<std::wstring> folders;
    for (const LocationRow& row : list.GetLocationsCache()) {
        const auto path = row.find(LocationKey::kPathLocation);
        if (path == row.end() || path->second.empty())
            continue;
        const LocatedPath* place = list.FindPlace(path->second);
        if (place != nullptr && place->IsReachable())
            folders.push_back(place->sPath);
        else
            say("left out: " + Kerf::Util::toNarrow(path->second) +
                (place != nullptr ? " (" + Kerf::Util::toNarrow(place->sReason) + ")" : ""));
    }
    return folders;
}

// One round; false when it failed.
bool runRound(const QoIndexd::ServiceSettings& settings) {
    std::vector<std::wstring> folders = settings.folders;
    for (auto& folder : storeLocations())
        folders.push_back(std::move(folder));
    if (folders.empty()) {
        say("no locations to index");
        return true;
    }
    const auto started = std::chrono::steady_clock::now();
    Kerf::Central::CCentralIndexer indexer(settings.conninfo, folders);
    indexer.go();
    while (!indexer.isFinished()) {
        if (g_bStop)
            indexer.requestStop();
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    say("round over " + std::to_string(folders.size()) + " locations in " +
        std::to_string(static_cast<long>(seconds)) +
        " s: " + std::to_string(indexer.getCompletedItemsTotal()) + " written, " +
        std::to_string(indexer.getItemsRemoved()) + " removed, " +
        std::to_string(indexer.getItemsFailed() + indexer.getItemsSkipped()) + " unreadable, " +
        std::to_string(indexer.getDirectoriesSkipped()) + " folders not readable");
    std::wstring error = indexer.getLastError();
    if (error.empty())
        error = indexer.getCommitError();
    indexer.stop();
    if (!error.empty()) {
        say("the round failed: " + Kerf::Util::toNarrow(error));
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv) {
    static const char* const usage =
        "usage: qosearch-indexd [--settings FILE] [--once] [--folder DIR]...\n"
        "       qosearch-indexd --help | --version\n";
    // Answered before anything is read, so that they work without settings.
    if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
        std::cout << usage;
        return 0;
    }
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        std::cout << "qosearch-indexd " QOSEARCH_VERSION "\n";
        return 0;
    }
    QCoreApplication application(argc, argv);
    std::string problem;
    const auto settings =
        QoIndexd::readServiceSettings(std::vector<std::string>(argv + 1, argv + argc), problem);
    if (!settings) {
        say(problem);
        std::cerr << usage;
        return 2;
    }
    std::signal(SIGTERM, requestStop);
    std::signal(SIGINT, requestStop);
    try {
        Kerf::Central::CPgConnection connection(settings->conninfo);
        Kerf::Central::createSchema(connection);
        if (!Kerf::Central::wordIndexesServeUsers(connection))
            say("users' searches read every row they may see: as a superuser, run ALTER "
                "FUNCTION pg_catalog.ts_match_vq(tsvector, tsquery) LEAKPROOF in this database");
    } catch (const Kerf::CExceptionBase& e) {
        say(Kerf::Util::toNarrow(Kerf::describeWithCauses(e)));
        return 1;
    }
    while (true) {
        bool ok = false;
        try {
            ok = runRound(*settings);
        } catch (const Kerf::CExceptionBase& e) {
            say(Kerf::Util::toNarrow(Kerf::describeWithCauses(e)));
        }
        if (settings->once)
            return ok ? 0 : 1;
        // The pause between rounds, cut short by a stop.
        const auto next =
            std::chrono::steady_clock::now() + std::chrono::minutes(settings->roundMinutes);
        while (!g_bStop && std::chrono::steady_clock::now() < next)
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        if (g_bStop)
            return 0;
    }
}
