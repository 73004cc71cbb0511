#pragma once
// One application object for every widget test of a program, with the per-user folders in a
// temporary place for the whole run: the settings library fixes its folder on first use, so it
// must point there before any test starts. Tests may redirect them into places of their own.

#include "TempDir.h"
#include "support/Paths.h"

#include <QApplication>

#include <gtest/gtest.h>

#include <memory>

namespace QoTest {

class WidgetTestEnvironment : public testing::Environment {
public:
    explicit WidgetTestEnvironment(const char* programName) : m_programName(programName) {}

    void SetUp() override {
        s_standardHandler = qInstallMessageHandler(quietHandler);
        m_run = std::make_unique<Run>(m_programName.data());
        QApplication::setOrganizationName(QString::fromStdWString(Kerf::Paths::vendorName()));
        QApplication::setApplicationName(QString::fromStdWString(Kerf::Paths::productName()));
    }
    void TearDown() override { m_run.reset(); }

private:
    // Made top to bottom, so the folders are in place before the application.
    struct Run {
        explicit Run(char* programName) : argv{programName, nullptr} {}
        TempDir dir;
        ScopedUserFolders folders{dir.path()};
        // No test talks to the desktop's session bus (its file manager).
        ScopedVariable noBus{"DBUS_SESSION_BUS_ADDRESS", nullptr};
        int argc = 1;
        char* argv[2];
        QApplication app{argc, argv};
    };

    // The offscreen platform warns on every window of what it lacks; that would bury the output.
    static void quietHandler(QtMsgType type, const QMessageLogContext& context,
                             const QString& text) {
        if (!text.startsWith(QLatin1String("This plugin does not support")) && s_standardHandler)
            s_standardHandler(type, context, text);
    }

    static inline QtMessageHandler s_standardHandler = nullptr;
    std::string m_programName;
    std::unique_ptr<Run> m_run;
};

} // namespace QoTest
