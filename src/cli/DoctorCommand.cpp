// qosearch-cli doctor: what this user's QoSearch reads and where, for an
// administrator setting it up: the sources of the filing-store list (as
// stores tells them), the index folder with its size and message count, and
// every location with the folder it maps to and whether that can be reached.

#include "cli/Commands.h"
#include "cli/StoreSources.h"

#include "cycle/UserPlaces.h"
#include "search/IndexFolder.h"
#include "support/Strings.h"

#include <CLucene.h>

#include <filesystem>
#include <iostream>

namespace QoCli {
namespace {

namespace fs = std::filesystem;
using Kerf::QuireLib::CMsgStoresListModel;
using Kerf::Util::toNarrow;

void printIndex(std::ostream& out) {
    const std::wstring directory = Kerf::QuireLib::UserPlaces::buildIndexDirectory();
    const fs::path path = Kerf::Util::toPath(directory);
    out << "index folder " << oneLine(directory) << ": ";
    std::error_code ec;
    if (!fs::is_directory(path, ec)) {
        out << "not made yet (the first search makes it)\n";
        return;
    }
    // A folder the index must not be kept in is not read either: it may hold
    // links planted under the index's file names.
    const std::string narrow = toNarrow(directory);
    if (const std::wstring refusal = Kerf::Search::refusalOfIndexFolder(narrow); !refusal.empty()) {
        out << "refused: " << oneLine(refusal) << "\n";
        return;
    }
    std::uintmax_t bytes = 0;
    for (const auto& entry : fs::directory_iterator(path, ec))
        if (std::error_code sizeError; entry.is_regular_file(sizeError))
            bytes += entry.file_size(sizeError);
    out << (bytes + 512 * 1024) / (1024 * 1024) << " MB, ";
    try {
        if (!lucene::index::IndexReader::indexExists(narrow.c_str())) {
            out << "no index in it yet\n";
            return;
        }
        lucene::index::IndexReader* reader = lucene::index::IndexReader::open(narrow.c_str());
        const int32_t count = reader->numDocs();
        reader->close();
        _CLDELETE(reader);
        out << count << (count == 1 ? " message\n" : " messages\n");
    } catch (CLuceneError& e) {
        out << "unreadable: " << oneLine(Kerf::Util::toWide(e.what())) << "\n";
    }
}

} // namespace

int runDoctor(const Args& args) {
    if (!args.empty())
        return usage("doctor takes no arguments");
    const auto sources = CMsgStoresListModel::ReadSources(true);
    printStoreSources(std::cout, sources);
    printIndex(std::cout);
    for (const auto* rows : {&sources.database, &sources.central}) {
        for (const auto& row : *rows) {
            const auto it = row.find(Kerf::QuireLib::LocationKey::kPathLocation);
            if (it == row.end())
                continue;
            const auto place = sources.places.find(it->second);
            if (place == sources.places.end())
                continue;
            std::cout << "location " << oneLine(it->second);
            if (!place->second.sPath.empty() && place->second.sPath != it->second)
                std::cout << " -> " << oneLine(place->second.sPath);
            std::cout << ": "
                      << (place->second.IsReachable()
                              ? "reachable"
                              : "not reachable: " + oneLine(place->second.sReason))
                      << "\n";
        }
    }
    if (!sources.AnythingRead()) {
        std::cerr << "qosearch-cli: no store database and no central list could be read\n";
        return 1;
    }
    return sources.errors.empty() ? 0 : 1;
}

} // namespace QoCli
