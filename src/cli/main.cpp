#include "cli/Commands.h"

#include <cstring>
#include <iostream>
#include <map>

namespace QoCli {

int usage(const std::string& problem) {
    if (!problem.empty())
        std::cerr << "qosearch-cli: " << problem << "\n";
    std::cerr << "usage:\n"
                 "  qosearch-cli show [--json] FILE...\n"
                 "  qosearch-cli index [--index-dir DIR] [--progress] FOLDER...\n"
                 "  qosearch-cli find  [--index-dir DIR] [--no-update] [--json] [--progress]\n"
                 "                     --folder DIR [--folder DIR]...\n"
                 "                     [--subject T] [--body T] [--from T] [--to T] [--cc T]\n"
                 "                     [--bcc T] [--after YYYY-MM-DD] [--before YYYY-MM-DD]\n"
                 "                     [--filename T] [--keywords T] [--query Q]\n"
                 "  qosearch-cli stores [--json] [--kind 0|1|2] [--filter T]\n";
    return 2;
}

} // namespace QoCli

int main(int argc, char** argv) {
    using namespace QoCli;
    static const std::map<std::string, int (*)(const Args&)> commands = {
        {"show", runShow}, {"index", runIndex}, {"find", runFind}, {"stores", runStores}};
    if (argc < 2)
        return usage();
    const auto it = commands.find(argv[1]);
    if (it == commands.end())
        return usage(std::string("unknown command \"") + argv[1] + "\"");
    try {
        return it->second(Args(argv + 2, argv + argc));
    } catch (const std::exception& e) {
        std::cerr << "qosearch-cli: " << e.what() << "\n";
        return 1;
    }
}
