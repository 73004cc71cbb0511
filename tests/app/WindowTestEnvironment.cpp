// One application object for every window test, with the per-user folders
// in a temporary place for the whole run: the settings library fixes its
// folder on first use, so it must point there before any test starts. Each
// test then redirects the folders again into a place of its own.

#include "TempDir.h"

#include <QApplication>

#include <gtest/gtest.h>

#include <memory>

namespace {

// The offscreen platform says on every window that it lacks features of a
// real display; those lines would bury the test output.
QtMessageHandler g_standardHandler = nullptr;

void quietHandler(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    if (!text.startsWith(QLatin1String("This plugin does not support")))
        g_standardHandler(type, context, text);
}

class WindowTestEnvironment : public testing::Environment {
public:
    void SetUp() override {
        m_dir = std::make_unique<QoTest::TempDir>();
        m_folders = std::make_unique<QoTest::ScopedUserFolders>(m_dir->path());
        static int argc = 1;
        static char name[] = "window_tests";
        static char* argv[] = {name, nullptr};
        g_standardHandler = qInstallMessageHandler(quietHandler);
        m_app = std::make_unique<QApplication>(argc, argv);
        QApplication::setOrganizationName(QStringLiteral("Pellam"));
        QApplication::setApplicationName(QStringLiteral("Quarto"));
    }
    void TearDown() override {
        m_app.reset();
        m_folders.reset();
        m_dir.reset();
    }

private:
    std::unique_ptr<QoTest::TempDir> m_dir;
    std::unique_ptr<QoTest::ScopedUserFolders> m_folders;
    std::unique_ptr<QApplication> m_app;
};

const auto* const g_environment = testing::AddGlobalTestEnvironment(new WindowTestEnvironment);

} // namespace
