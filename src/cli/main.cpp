#include "cli/Commands.h"
#include "support/Paths.h"
#include "support/Strings.h"

#include <CLucene.h>

#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>

namespace QoCli {

namespace {

void printUsage(std::ostream& out) {
    out << "usage:\n"
           "  qosearch-cli --help | --version\n"
           "  qosearch-cli show [--json] FILE...\n"
           "  qosearch-cli index [--index-dir DIR] [--progress] FOLDER...\n"
           "  qosearch-cli find  [--index-dir DIR] [--no-update] [--json] [--progress]\n"
           "                     [--central | --local-only]\n"
           "                     --folder DIR [--folder DIR]...\n"
           "                     [--subject T] [--body T] [--from T] [--to T] [--cc T]\n"
           "                     [--bcc T] [--after YYYY-MM-DD] [--before YYYY-MM-DD]\n"
           "                     [--filename T] [--attachment T] [--keywords T] [--query Q]\n"
           "  qosearch-cli stores [--json] [--kind 0|1|2] [--filter T]\n"
           "  qosearch-cli doctor\n";
}

// The full guide is the help page the window opens; say where it is.
int help() {
    printUsage(std::cout);
    const std::string page =
        Kerf::Util::toNarrow(Kerf::Paths::installationDirectory()) + "QoSearch.html";
    std::error_code ec;
    if (std::filesystem::is_regular_file(page, ec))
        std::cout << "\nHelp page: " << page << "\n";
    else
        std::cout << "\nThe help page is not installed.\n";
    return 0;
}

} // namespace

int usage(const std::string& problem) {
    if (!problem.empty())
        std::cerr << "qosearch-cli: " << problem << "\n";
    printUsage(std::cerr);
    return 2;
}

} // namespace QoCli

int main(int argc, char** argv) {
    using namespace QoCli;
    static const std::map<std::string, int (*)(const Args&)> commands = {{"show", runShow},
                                                                         {"index", runIndex},
                                                                         {"find", runFind},
                                                                         {"stores", runStores},
                                                                         {"doctor", runDoctor}};
    if (argc < 2)
        return usage();
    if (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "help") == 0)
        return help();
    if (std::strcmp(argv[1], "--version") == 0) {
        std::cout << "qosearch-cli " QOSEARCH_VERSION "\n";
        return 0;
    }
    const auto it = commands.find(argv[1]);
    if (it == commands.end())
        return usage(std::string("unknown command \"") + argv[1] + "\"");
    try {
        return it->second(Args(argv + 2, argv + argc));
    } catch (const std::exception& e) {
        std::cerr << "qosearch-cli: " << e.what() << "\n";
        return 1;
    } catch (CLuceneError& e) {
        std::cerr << "qosearch-cli: " << e.what() << "\n";
        return 1;
    } catch (...) {
        std::cerr << "qosearch-cli: an unexpected error occurred\n";
        return 1;
    }
}
