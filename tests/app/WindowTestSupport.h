#pragma once
// Shared pieces of the window tests: a user of one's own (data, settings, index in a temporary
// folder), corpus messages, a store database, waits, modal answers, and a searched window.

#include "TempDir.h"
#include "WaitFor.h"
#include "controls/ListColumn.h"

#include "app/QoSearchDlg.h"
#include "app/SearchLocation.h"
#include "controls/ResultsRow.h"
#include "stores/StoreDatabase.h"
#include "support/Paths.h"
#include "support/Strings.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QDateEdit>
#include <QDesktopServices>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>
#include <QTimer>
#include <QUrl>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace WindowTest {

namespace fs = std::filesystem;

inline fs::path corpus(const std::string& name) {
    return fs::path(QOSEARCH_CORPUS_DIR) / "msg" / name;
}

/// Copies corpus messages into the folder (created when missing).
inline void copyCorpus(const fs::path& folder, const std::vector<std::string>& names) {
    fs::create_directories(folder);
    for (const std::string& name : names)
        fs::copy_file(corpus(name), folder / name, fs::copy_options::overwrite_existing);
}

/// Processes events until the condition holds; the deadline leaves room for a slow machine.
inline bool waitUntil(const std::function<bool()>& condition, int timeoutMs = 120000) {
    return condition() || QoTest::waitFor(
                              [&] {
                                  QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
                                  return condition();
                              },
                              std::chrono::milliseconds(timeoutMs));
}

/// The text a button, label or group box shows; empty for other widgets.
inline QString shownText(QWidget* w) {
    if (auto* b = qobject_cast<QAbstractButton*>(w))
        return b->text();
    if (auto* l = qobject_cast<QLabel*>(w))
        return l->text();
    if (auto* g = qobject_cast<QGroupBox*>(w))
        return g->title();
    return {};
}

/// Runs `answer` on the next modal window of type T, from inside its own event loop.
template <class T> void answerNextModal(std::function<void(T&)> answer) {
    auto* poll = new QTimer;
    QObject::connect(poll, &QTimer::timeout, [poll, answer] {
        auto* modal = qobject_cast<T*>(QApplication::activeModalWidget());
        if (modal == nullptr)
            return;
        poll->stop();
        poll->deleteLater();
        answer(*modal);
    });
    poll->start(20);
}

/// Answers the next message box with the button; `seen` gets its text; `whileOpen` runs first.
inline void answerNextMessageBox(QMessageBox::StandardButton button, QString* seen = nullptr,
                                 std::function<void()> whileOpen = {}) {
    answerNextModal<QMessageBox>([=](QMessageBox& box) {
        if (seen != nullptr)
            *seen = box.text();
        if (whileOpen)
            whileOpen();
        box.button(button)->click();
    });
}

// Records the URLs of the schemes the desktop is asked to open, instead of opening them.
class UrlRecorder : public QObject {
    Q_OBJECT
public:
    explicit UrlRecorder(QStringList schemes = {QStringLiteral("file")})
        : m_schemes(std::move(schemes)) {
        for (const QString& scheme : m_schemes)
            QDesktopServices::setUrlHandler(scheme, this, "open");
    }
    ~UrlRecorder() override {
        for (const QString& scheme : m_schemes)
            QDesktopServices::unsetUrlHandler(scheme);
    }
    QList<QUrl> urls;
public slots:
    void open(const QUrl& url) { urls.push_back(url); }

private:
    QStringList m_schemes;
};

/// Searches the folder: folder mode, the folder typed, then "Find Now".
inline void searchFolder(CQoSearchDlg& dlg, const fs::path& folder) {
    CSearchLocation& pane = dlg.locationPane();
    QTest::mouseClick(&pane.GetFolderRadio(), Qt::LeftButton);
    pane.GetFolderEdit().setText(QString::fromStdString(folder.string()));
    QTest::mouseClick(&dlg.findNowButton(), Qt::LeftButton);
}

inline bool waitForSearchEnd(CQoSearchDlg& dlg) {
    return waitUntil([&] { return !dlg.cycle().isIndexing(); });
}

/// Clicks "Find Now" and waits for the search to end.
inline bool searchAgain(CQoSearchDlg& dlg) {
    QTest::mouseClick(&dlg.findNowButton(), Qt::LeftButton);
    return waitForSearchEnd(dlg);
}

/// A user of the test's own, with an index of its own.
class User {
public:
    User() : m_folders(m_dir.path()) {}

    const fs::path& root() const { return m_dir.path(); }
    fs::path appData() const {
        return Kerf::Util::toPath(Kerf::QuireLib::CQOUtils::GetQOAppDataDir());
    }
    Kerf::QuireLib::CRecursiveMailIndexer::IndexPlace indexPlace() const {
        return {Kerf::Util::fromPath(m_dir / "index") + L"/",
                Kerf::Util::fromPath(m_dir / "index" / "0.4")};
    }

    /// The user's store database listing the folders as filing locations.
    void writeStores(const std::vector<std::vector<std::wstring>>& rows) const {
        Kerf::QuireLib::CStoreDatabase db(
            Kerf::QuireLib::CDbTableHelper::kTypeSqlite,
            Kerf::Util::fromPath(appData() / (QoTest::kProduct + ".db")), L"", L"", L"");
        db.CreateTables();
        // path, primary, secondary, description
        for (const auto& row : rows)
            db.TablesUpdateOrInsertStore(row.at(0), row.at(1), row.at(2), row.at(3), L"msg", 0);
    }

    std::unique_ptr<CQoSearchDlg> openWindow() const {
        auto dlg = std::make_unique<CQoSearchDlg>(indexPlace());
        dlg->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(dlg.get(), 30000));
        EXPECT_TRUE(waitUntil([&] { return !dlg->locationPane().GetLocationsList().IsLoading(); }));
        return dlg;
    }

    /// A window that has searched the folder to the end.
    std::unique_ptr<CQoSearchDlg> searchedWindow(const fs::path& folder) const {
        auto dlg = openWindow();
        searchFolder(*dlg, folder);
        EXPECT_TRUE(waitForSearchEnd(*dlg));
        return dlg;
    }

private:
    QoTest::TempDir m_dir;
    QoTest::ScopedUserFolders m_folders;
};

/// Makes the window the active one, as the keyboard tests need it.
inline bool activate(QWidget& window) {
    window.activateWindow();
    return QTest::qWaitForWindowActive(&window, 30000);
}

/// The status line as the user reads it.
inline std::string status(CQoSearchDlg& dlg) {
    return dlg.statusLabel().text().toStdString();
}

inline void selectRows(Kerf::QuireLib::CSortListCtrl& list, const std::vector<int>& rows) {
    list.clearSelection();
    for (const int row : rows)
        list.selectionModel()->select(list.model()->index(row, 0),
                                      QItemSelectionModel::Select | QItemSelectionModel::Rows);
}

/// A window that searched "mail": "mr_Simple" was never sent; the last has no normalised subject.
class SearchedWindow : public testing::Test {
protected:
    using enum Kerf::QuireLib::ResultsRow::Column;
    static inline const std::vector<std::string> kMessages = {
        // the first five in "Alpha"
        "mr_voteItems.msg", "mr_voteYes.msg", "mr_voteNo.msg", "mr_test.msg", "mr_sent.msg",
        // the others in "Beta"
        "poi_quick.msg", "mr_A memo.msg", "poi_example_sent_regular.msg",
        "poi_attachment_test_msg.msg", "mr_Simple.msg", "poi_ASCII_UTF-8_CP1252_LCID1031.msg"};

    void SetUp() override {
        copyCorpus(mail / "Alpha", {kMessages.begin(), kMessages.begin() + 5});
        copyCorpus(mail / "Beta", {kMessages.begin() + 5, kMessages.end()});
        dlg = user.searchedWindow(mail);
        ASSERT_EQ(list().GetItemCount(), static_cast<int>(kMessages.size())) << status(*dlg);
    }
    Kerf::QuireLib::CSortListCtrl& list() { return dlg->resultsList(); }
    /// The row showing the file, or -1.
    int row(const std::string& name) {
        for (int r = 0; r < list().GetItemCount(); ++r)
            if (list().GetItemText(r, Filename) == Kerf::Util::toWide(name))
                return r;
        return -1;
    }
    /// The files of the rows shown.
    std::set<std::string> found() {
        std::set<std::string> names;
        for (int r = 0; r < list().GetItemCount(); ++r)
            names.insert(Kerf::Util::toNarrow(dlg->getItemBasename(r)));
        return names;
    }

    User user;
    const fs::path mail = user.root() / "mail";
    std::unique_ptr<CQoSearchDlg> dlg;
};

} // namespace WindowTest
