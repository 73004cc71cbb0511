#pragma once
// One application object for every widget test of a program, with the
// per-user folders in a temporary place for the whole run: the settings
// library fixes its folder on first use, so it must point there before any
// test starts. Tests may redirect the folders again into places of their own.

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
        m_dir = std::make_unique<TempDir>();
        m_folders = std::make_unique<ScopedUserFolders>(m_dir->path());
        // No test talks to the desktop's session bus (its file manager).
        m_noBus = std::make_unique<ScopedVariable>("DBUS_SESSION_BUS_ADDRESS", nullptr);
        static int argc = 1;
        static char* argv[] = {m_programName.data(), nullptr};
        s_standardHandler = qInstallMessageHandler(quietHandler);
        m_app = std::make_unique<QApplication>(argc, argv);
        QApplication::setOrganizationName(QString::fromStdWString(Kerf::Paths::vendorName()));
        QApplication::setApplicationName(QString::fromStdWString(Kerf::Paths::productName()));
    }
    void TearDown() override {
        m_app.reset();
        m_folders.reset();
        m_noBus.reset();
        m_dir.reset();
    }

private:
    // The offscreen platform says on every window that it lacks features of
    // a real display; those lines would bury the test output.
    static void quietHandler(QtMsgType type, const QMessageLogContext& context,
                             const QString& text) {
        if (!text.startsWith(QLatin1String("This plugin does not support")) && s_standardHandler)
            s_standardHandler(type, context, text);
    }

    static inline QtMessageHandler s_standardHandler = nullptr;
    std::string m_programName;
    std::unique_ptr<TempDir> m_dir;
    std::unique_ptr<ScopedUserFolders> m_folders;
    std::unique_ptr<ScopedVariable> m_noBus;
    std::unique_ptr<QApplication> m_app;
};

} // namespace QoTest
