// make_corpus FOLDER COUNT SEED: writes COUNT generated message files in
// project folders below FOLDER. The same seed always gives the same corpus.
// make_corpus --demo FOLDER: writes the demo's filing below FOLDER.

#include "CorpusGenerator.h"
#include "DemoCorpus.h"

#include <QGuiApplication>

#include <cstdlib>
#include <iostream>
#include <string>

namespace {

int writeDemo(const char* root, int argc, char** argv) {
    // The PDF writer needs an application object but no display.
    if (std::getenv("QT_QPA_PLATFORM") == nullptr)
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QGuiApplication app(argc, argv);
    std::size_t total = 0;
    for (const auto& folder : QoMsg::writeDemoCorpus(root)) {
        std::cout << "make_corpus: " << folder.messages << " messages in " << folder.path.string()
                  << "\n";
        total += folder.messages;
    }
    std::cout << "make_corpus: " << total << " demo messages\n";
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const bool demo = argc == 3 && std::string(argv[1]) == "--demo";
    if (argc != 4 && !demo) {
        std::cerr << "usage: make_corpus FOLDER COUNT SEED\n"
                     "       make_corpus --demo FOLDER\n";
        return 2;
    }
    try {
        if (demo)
            return writeDemo(argv[2], argc, argv);
        const std::size_t count = std::stoul(argv[2]);
        const std::uint64_t seed = std::stoull(argv[3]);
        const auto written = QoMsg::generateCorpus(argv[1], count, seed);
        std::cout << "make_corpus: " << written.size() << " messages in " << argv[1] << "\n";
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "make_corpus: " << e.what() << "\n";
        return 1;
    }
}
