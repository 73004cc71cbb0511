// make_corpus FOLDER COUNT SEED: writes COUNT generated message files in
// project folders below FOLDER. The same seed always gives the same corpus.

#include "CorpusGenerator.h"

#include <cstdlib>
#include <iostream>
#include <string>

int main(int argc, char** argv) {
    if (argc != 4) {
        std::cerr << "usage: make_corpus FOLDER COUNT SEED\n";
        return 2;
    }
    try {
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
