#pragma once
// Runs qosearch-cli as a user would; the program inherits the test's
// environment, so per-user folders redirected by the test apply to it too.

#include <QProcess>
#include <QStringList>

#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace QoTest {

struct CommandResult {
    int status = -1;
    std::string out;
    std::string err;
    /// The last field of every row "find" printed: the message files found.
    std::multiset<std::string> fileNames() const {
        std::multiset<std::string> names;
        std::istringstream in(out);
        for (std::string line; std::getline(in, line);)
            names.insert(line.substr(line.rfind('\t') + 1));
        return names;
    }
};

/// The program ended with the status and its error output holds the text.
inline ::testing::AssertionResult endedSaying(const CommandResult& result, int status,
                                              const std::string& text) {
    if (result.status == status && result.err.find(text) != std::string::npos)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "status " << result.status << " (not " << status
                                         << "), error output without \"" << text << "\":\n"
                                         << result.err;
}

/// The program's exit status (-1 when it did not exit normally) and its output.
inline CommandResult runProgram(const std::string& program, const std::vector<std::string>& args) {
    QStringList arguments;
    for (const std::string& arg : args)
        arguments << QString::fromStdString(arg);
    QProcess process;
    process.start(QString::fromStdString(program), arguments);
    // A limit against a hang only: indexing a large tree under the
    // sanitizers on a slow machine takes minutes.
    EXPECT_TRUE(process.waitForFinished(10 * 60 * 1000));
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput().toStdString(),
            process.readAllStandardError().toStdString()};
}

/// qosearch-cli of the build tree.
inline CommandResult runCli(const std::vector<std::string>& args) {
    return runProgram(QOSEARCH_BINARY_DIR "/src/cli/qosearch-cli", args);
}

} // namespace QoTest
