#pragma once
// Runs qosearch-cli as a user would, with the per-user folders redirected.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace QoTest {

struct CommandResult {
    int status = -1;
    std::string out;
    std::string err;
    std::vector<std::string> lines() const {
        std::vector<std::string> result;
        std::istringstream in(out);
        for (std::string line; std::getline(in, line);)
            result.push_back(line);
        return result;
    }
};

inline std::string shellQuote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

inline CommandResult runCli(const std::vector<std::string>& args,
                            const std::filesystem::path& scratch) {
    std::string command = shellQuote(std::string(QOSEARCH_BINARY_DIR) + "/src/cli/qosearch-cli");
    for (const auto& arg : args)
        command += " " + shellQuote(arg);
    const auto errFile = scratch / "stderr.txt";
    command += " 2>" + shellQuote(errFile.string());
    CommandResult result;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr)
        return result;
    char buffer[4096];
    size_t n = 0;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0)
        result.out.append(buffer, n);
    const int raw = pclose(pipe);
    result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    std::ifstream err(errFile);
    std::stringstream s;
    s << err.rdbuf();
    result.err = s.str();
    return result;
}

} // namespace QoTest
