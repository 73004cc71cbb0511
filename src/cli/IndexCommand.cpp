#include "app/QoSearchApp.h"
#include "cli/Commands.h"
#include "search/IndexStorage.h"
#include "support/Strings.h"

#include <filesystem>
#include <iostream>

namespace QoCli {

int runIndex(const Args& args) {
    std::wstring indexDirectory = CQoSearchApp::buildIndexDirectory();
    std::vector<std::string> folders;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--index-dir") {
            if (++i == args.size())
                return usage("--index-dir needs a directory");
            indexDirectory = Kerf::Util::fromPath(std::filesystem::absolute(args[i]));
        } else if (args[i] == "--progress") {
        } else if (args[i].rfind("--", 0) == 0) {
            return usage("unknown option " + args[i]);
        } else {
            folders.push_back(args[i]);
        }
    }
    while (indexDirectory.size() > 1 && indexDirectory.back() == L'/')
        indexDirectory.pop_back();
    const std::wstring root =
        Kerf::Util::fromPath(Kerf::Util::toPath(indexDirectory).parent_path());
    try {
        auto writer = Kerf::Search::createIndexWriter(root, indexDirectory);
        std::cout << "Index ready in " << Kerf::Util::toNarrow(indexDirectory) << " ("
                  << writer->docCount() << " documents)\n";
    } catch (const Kerf::CExceptionBase& e) {
        std::cerr << Kerf::Util::toNarrow(CQoSearchApp::getErrorString(e)) << "\n";
        return 1;
    }
    if (!folders.empty()) {
        std::cerr << "qosearch-cli: indexing folders is not built yet\n";
        return 1;
    }
    return 0;
}

} // namespace QoCli
