#include "cli/Commands.h"

#include <iostream>

namespace QoCli {

int runShow(const Args&) {
    std::cerr << "qosearch-cli: \"show\" is not built yet\n";
    return 1;
}

} // namespace QoCli
