#include "cli/Commands.h"

#include <iostream>

namespace QoCli {

int runStores(const Args&) {
    std::cerr << "qosearch-cli: \"stores\" is not built yet\n";
    return 1;
}

} // namespace QoCli
