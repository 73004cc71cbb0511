#pragma once
// Runs qosearch-cli as a user would; the program inherits the test's
// environment, so per-user folders redirected by the test apply to it too.

#include <QProcess>
#include <QStringList>

#include <gtest/gtest.h>

#include <sstream>
#include <string>
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

/// The program's exit status (-1 when it did not exit normally) and its output.
inline CommandResult runProgram(const std::string& program, const std::vector<std::string>& args) {
    QStringList arguments;
    for (const std::string& arg : args)
        arguments << QString::fromStdString(arg);
    QProcess process;
    process.start(QString::fromStdString(program), arguments);
    EXPECT_TRUE(process.waitForFinished(60000));
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput().toStdString(),
            process.readAllStandardError().toStdString()};
}

/// qosearch-cli of the build tree.
inline CommandResult runCli(const std::vector<std::string>& args) {
    return runProgram(QOSEARCH_BINARY_DIR "/src/cli/qosearch-cli", args);
}

} // namespace QoTest
