// One application object for every widget test, and per-user folders in a
// temporary place for the whole run: the settings library fixes its folder on
// first use, so it must point at the temporary one before any test starts.

#include "TempDir.h"

#include <QApplication>

#include <gtest/gtest.h>

#include <memory>

namespace {

class ControlsTestEnvironment : public testing::Environment {
public:
    void SetUp() override {
        m_dir = std::make_unique<QoTest::TempDir>();
        m_folders = std::make_unique<QoTest::ScopedUserFolders>(m_dir->path());
        static int argc = 1;
        static char name[] = "controls_tests";
        static char* argv[] = {name, nullptr};
        m_app = std::make_unique<QApplication>(argc, argv);
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

const auto* const g_environment = testing::AddGlobalTestEnvironment(new ControlsTestEnvironment);

} // namespace
