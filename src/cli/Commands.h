#pragma once
// The sub-commands of qosearch-cli. Each takes the arguments after its name
// and returns the exit status: 0 success, 1 a failed search, 2 wrong usage.

#include <string>
#include <vector>

namespace QoCli {

using Args = std::vector<std::string>;

int runShow(const Args& args);
int runIndex(const Args& args);
int runFind(const Args& args);
int runStores(const Args& args);
int runDoctor(const Args& args);

/// Prints the usage text to standard error and returns 2.
int usage(const std::string& problem = {});

} // namespace QoCli
