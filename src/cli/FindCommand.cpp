#include "cli/Commands.h"

#include <iostream>

namespace QoCli {

int runFind(const Args&) {
    std::cerr << "qosearch-cli: \"find\" is not built yet\n";
    return 1;
}

} // namespace QoCli
