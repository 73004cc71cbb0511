// The search window's results list: Enter and Clear, sorting, the preview, the context menu.

#include "SharedFiles.h"
#include "WindowTestSupport.h"

#include "app/ContainingFolder.h"
#include "app/DesktopAssociation.h"
#include "app/MessageViewer.h"
#include "app/PreviewDlg.h"
#include "app/SearchCriteriaDlg.h"

#include <QClipboard>
#include <QMenu>
#include <QMimeData>
#include <QProcess>
#include <QTextBrowser>

using namespace WindowTest;
using Kerf::Util::fromPath;

namespace {

// A file that even root cannot move: the immutable attribute. False where it cannot be set.
bool setImmutable(const fs::path& path, bool on) {
    return QProcess::execute("chattr", {on ? "+i" : "-i", QString::fromStdString(path)}) == 0;
}

QAction* menuEntry(QMenu& menu, const QString& text) {
    for (QAction* action : menu.actions())
        if (action->text() == text)
            return action;
    return nullptr;
}

} // namespace

using WindowResultsList = SearchedWindow;

QO_TESTS_READ_SHARED(Corpus, "WindowResultsList.*");

TEST_F(WindowResultsList, SentSortsTheNewestFirstAndANewSearchKeepsTheSort) {
    clickHeading(list(), Sent);
    EXPECT_FALSE(list().IsSortAscending());
    EXPECT_GT(row("mr_voteItems.msg"), row("mr_voteYes.msg"));

    clickHeading(list(), Size);
    ASSERT_TRUE(searchAgain(*dlg));
    EXPECT_EQ(list().GetSortColumn(), Size);
    const auto sizes = column(list(), Size, true);
    EXPECT_TRUE(std::is_sorted(sizes.begin(), sizes.end()));
    // The file's own size; no attachments shows nothing, a message with attachments counts them.
    const int quick = row("poi_quick.msg");
    const auto bytes = fs::file_size(mail / "Beta" / "poi_quick.msg");
    EXPECT_EQ(list().GetItemText(quick, Size), std::to_wstring(bytes / 1024) + L" KB");
    EXPECT_EQ(list().GetItemText(quick, Attachments), L"");
    EXPECT_NE(list().GetItemText(row("poi_attachment_test_msg.msg"), Attachments), L"");
    // The folder below the folder searched; the full path in its tooltip.
    EXPECT_EQ(list().GetItemText(quick, Folder), L"mail/Beta/");
    const QModelIndex folder = list().model()->index(quick, Folder);
    EXPECT_EQ(folder.data(Qt::ToolTipRole).toString().toStdWString(),
              fromPath(mail / "Beta") + L"/");
}

// Enter in the folder field searches it (with no folder, nothing).
TEST_F(WindowResultsList, EnterInTheFolderSearchesAndClearEmptiesAllButTheLocation) {
    QLineEdit& folder = dlg->locationPane().GetFolderEdit();
    const std::string before = status(*dlg);
    folder.clear();
    dlg->criteriaPane().setFocus();
    QTest::keyClick(dlg.get(), Qt::Key_Return);
    EXPECT_EQ(status(*dlg), before);
    EXPECT_FALSE(dlg->cycle().isIndexing());
    EXPECT_TRUE(dlg->isVisible()); // the window never closes on Enter

    folder.setFocus();
    QTest::keyClicks(&folder, QString::fromStdString(mail.string()));
    QTest::keyClick(&folder, Qt::Key_Return);
    EXPECT_TRUE(dlg->isVisible());
    EXPECT_TRUE(dlg->cycle().isIndexing());
    ASSERT_TRUE(waitForSearchEnd(*dlg));
    EXPECT_TRUE(status(*dlg).starts_with("11 matches found in ")) << status(*dlg);
    EXPECT_FALSE(dlg->stopButton().isEnabled());
    EXPECT_EQ(list().GetItemText(row("mr_test.msg"), From), L"christoph@freiraum.xyz");

    list().setCurrentIndex(list().model()->index(0, 0));
    ASSERT_FALSE(dlg->previewPane().GetPreviewControl().toPlainText().isEmpty());
    dlg->criteriaPane().subjectEdit().setText("budget");
    QTest::mouseClick(&dlg->clearButton(), Qt::LeftButton);
    EXPECT_EQ(list().GetItemCount(), 0);
    EXPECT_EQ(status(*dlg), "");
    EXPECT_TRUE(dlg->previewPane().GetPreviewControl().toPlainText().isEmpty());
    EXPECT_EQ(dlg->criteriaPane().get().m_sSubject, L"");
    EXPECT_EQ(dlg->locationPane().GetSearchFolder(), fromPath(mail));
}

TEST_F(WindowResultsList, SelectingARowPreviewsItsRecordFromTheIndex) {
    dlg->ShowWindowNumber(CQoSearchDlg::eCriteriaPane);
    const QModelIndex test = list().model()->index(row("mr_test.msg"), 0);
    list().scrollTo(test);
    QTest::mouseClick(list().viewport(), Qt::LeftButton, {}, list().visualRect(test).center());
    // Beside the list: the criteria stay where they were.
    EXPECT_EQ(dlg->tabs().currentIndex(), CQoSearchDlg::eCriteriaPane);
    const QTextBrowser& preview = dlg->previewPane().GetPreviewControl();
    const QString text = preview.toPlainText();
    EXPECT_TRUE(text.startsWith("From:\t\tchristoph@freiraum.xyz\n")) << text.toStdString();
    // The attachments' names follow the header lines.
    EXPECT_TRUE(text.contains("\nSubject:\t\tasdf\nAttachments:\t5AAoPFgV-nJ965R7o-98C38840-"
                              "4454-4750-9AEF-F53DB3E37548.jpg\n\n"))
        << text.toStdString();

    // A message with copies shows both lines.
    list().setCurrentIndex(list().model()->index(row("poi_example_sent_regular.msg"), 0));
    const QString full = preview.toPlainText();
    EXPECT_TRUE(full.contains("\nCc:\t\t") && full.contains("\nBcc:\t\t")) << full.toStdString();
}

TEST_F(WindowResultsList, CtrlCAndCtrlXPutTheFilesOnTheClipboardForFileManagers) {
    ASSERT_TRUE(activate(*dlg));
    list().setFocus();
    selectRows(list(), {row("mr_test.msg"), row("poi_quick.msg")});
    const std::vector<std::wstring> paths = dlg->getSelectedPaths();
    ASSERT_EQ(paths.size(), 2u);
    QList<QUrl> expected;
    for (const auto& p : paths)
        expected << QUrl::fromLocalFile(QString::fromStdWString(p));
    const QByteArray files = expected[0].toEncoded() + "\n" + expected[1].toEncoded();
    // The cut rows show dimmed; the others do not.
    for (const auto& [key, verb, kdeCut] :
         {std::tuple{Qt::Key_C, "copy", "0"}, std::tuple{Qt::Key_X, "cut", "1"}}) {
        SCOPED_TRACE(verb);
        QTest::keyClick(&list(), key, Qt::ControlModifier);
        const QMimeData* data = QGuiApplication::clipboard()->mimeData();
        ASSERT_NE(data, nullptr);
        EXPECT_EQ(data->urls(), expected);
        EXPECT_EQ(data->data("x-special/gnome-copied-files"), verb + ("\n" + files));
        EXPECT_EQ(data->data("application/x-kde-cutselection"), kdeCut);
        EXPECT_EQ(list().IsItemCut(row("mr_test.msg")), key == Qt::Key_X);
        EXPECT_EQ(list().IsItemCut(row("poi_quick.msg")), key == Qt::Key_X);
        EXPECT_FALSE(list().IsItemCut(row("mr_sent.msg")));
    }
    // Dragged out of the list, the rows carry the same as Copy.
    EXPECT_TRUE(list().dragEnabled());
    EXPECT_TRUE(list().model()->flags(list().model()->index(0, 0)) & Qt::ItemIsDragEnabled);
    const auto dragged = list().CreateDragData();
    ASSERT_NE(dragged, nullptr);
    EXPECT_EQ(dragged->data("x-special/gnome-copied-files"), "copy\n" + files);
    // The rows stay dimmed until the list is filled again.
    ASSERT_TRUE(searchAgain(*dlg));
    EXPECT_FALSE(list().IsItemCut(row("mr_test.msg")));
}

TEST_F(WindowResultsList, DeleteAsksFirstAndKeepsTheRowsOfFilesThatRemain) {
    const auto select = [&] {
        selectRows(list(), {row("mr_test.msg"), row("mr_sent.msg"), row("poi_quick.msg")});
    };
    // The context menu offers every action on the rows.
    const std::unique_ptr<QMenu> m(dlg->createResultsMenu(dlg.get()));
    for (const char* entry : {"&Open", "Open Containing &Folder", "Cut", "Copy", "Delete"})
        EXPECT_TRUE(menuEntry(*m, entry) && menuEntry(*m, entry)->isEnabled()) << entry;

    // The user says no: every file and every row stays.
    select();
    QString question;
    answerNextMessageBox(QMessageBox::No, &question);
    menuEntry(*m, "Delete")->trigger();
    EXPECT_EQ(question, "Move these 3 messages to the trash?");
    EXPECT_EQ(list().GetItemCount(), static_cast<int>(kMessages.size()));
    EXPECT_TRUE(fs::exists(mail / "Alpha" / "mr_test.msg"));

    // One of the three cannot be moved: its row stays, the others go.
    const fs::path stuck = mail / "Alpha" / "mr_sent.msg";
    if (!setImmutable(stuck, true))
        GTEST_SKIP() << "this file system cannot make a file that cannot be moved";
    select();
    // While the question is open the list is sorted anew, as a search still running may do.
    answerNextMessageBox(QMessageBox::Yes, nullptr, [this] { clickHeading(list(), Size); });
    menuEntry(*m, "Delete")->trigger();
    EXPECT_EQ(list().GetSortColumn(), Size);
    setImmutable(stuck, false);

    EXPECT_FALSE(fs::exists(mail / "Alpha" / "mr_test.msg"));
    EXPECT_FALSE(fs::exists(mail / "Beta" / "poi_quick.msg"));
    EXPECT_TRUE(fs::exists(stuck));
    EXPECT_EQ(list().GetItemCount(), static_cast<int>(kMessages.size()) - 2);
    EXPECT_EQ(row("mr_test.msg"), -1);
    EXPECT_EQ(row("poi_quick.msg"), -1);
    // The removed files are in the user's trash, and the user is told of the one that is not.
    const fs::path trash = user.root() / "data" / "Trash" / "files";
    EXPECT_TRUE(fs::exists(trash / "mr_test.msg"));
    EXPECT_TRUE(fs::exists(trash / "poi_quick.msg"));
    auto* notice = dlg->findChild<QMessageBox*>("deleteFailed");
    ASSERT_NE(notice, nullptr);
    EXPECT_EQ(notice->text(), "\"mr_sent.msg\" could not be moved to the trash.");
    notice->close();
}

TEST_F(WindowResultsList, RowsOfDeletedAndMovedAwayFilesGoAndTheCountAndPreviewFollow) {
    const auto matches = [this] { return status(*dlg).substr(0, status(*dlg).find(" found")); };
    const auto previewed = [this] {
        return dlg->previewPane().GetPreviewControl().toPlainText().toStdString();
    };
    const int total = list().GetItemCount();
    selectRows(list(), {row("mr_test.msg")});
    ASSERT_NE(previewed().find("asdf"), std::string::npos);
    answerNextMessageBox(QMessageBox::Yes);
    dlg->DeleteItems();
    EXPECT_EQ(row("mr_test.msg"), -1);
    EXPECT_EQ(matches(), std::to_string(total - 1) + " matches");
    // The row that took its place is selected and previewed.
    ASSERT_EQ(dlg->getSelectedItems().size(), 1u);
    const std::wstring shown = list().GetItemText(dlg->getSelectedItems().front(), Subject);
    EXPECT_NE(previewed().find(Kerf::Util::toNarrow(shown)), std::string::npos) << previewed();

    // Cut, then pasted elsewhere by the file manager: the row goes then.
    selectRows(list(), {row("poi_quick.msg")});
    dlg->CutItems();
    fs::rename(mail / "Beta" / "poi_quick.msg", user.root() / "poi_quick.msg");
    EXPECT_TRUE(waitUntil([&] { return row("poi_quick.msg") == -1; }, 60000));
    EXPECT_EQ(matches(), std::to_string(total - 2) + " matches");
}

TEST_F(WindowResultsList, OpenContainingFolderOpensEachFolderOnceOrSaysWhatToInstall) {
    // A third folder differing from "Alpha" only in letter case is a folder of its own.
    copyCorpus(mail / "ALPHA", {"mr_Simple.msg"});
    ASSERT_TRUE(searchAgain(*dlg));
    list().selectAll();
    // Desktops with and without a program for folders ("echo" answers, "false" does not).
    CDesktopAssociation withFileManager("inode/directory", "echo"),
        without("inode/directory", "false");
    ASSERT_TRUE(withFileManager.waitForAnswer(60000).value_or(false));
    ASSERT_FALSE(without.waitForAnswer(60000).value_or(true));
    UrlRecorder recorder;
    EXPECT_TRUE(ContainingFolder::show(dlg->getSelectedPaths(), dlg.get(), withFileManager));
    std::sort(recorder.urls.begin(), recorder.urls.end());
    QList<QUrl> expected;
    for (const char* name : {"ALPHA", "Alpha", "Beta"})
        expected << QUrl::fromLocalFile(QString::fromStdString((mail / name).string()) + "/");
    EXPECT_EQ(recorder.urls, expected);

    recorder.urls.clear();
    EXPECT_FALSE(ContainingFolder::show(dlg->getSelectedPaths(), dlg.get(), without));
    EXPECT_TRUE(recorder.urls.isEmpty());
    auto* box = dlg->findChild<QMessageBox*>("programMissing");
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(box->text().contains("sudo apt install")) << box->text().toStdString();
    box->close();
}

// A double-click and Enter in the list open the row; Enter elsewhere searches.
TEST_F(WindowResultsList, OpenShowsTheMessageInTheProgramsOwnViewerWhereNoApplicationOpensIt) {
    if (CDesktopAssociation::forMessages().waitForAnswer(30000).value_or(false))
        GTEST_SKIP() << "this desktop has an application for .msg files";
    UrlRecorder recorder; // nothing may reach the desktop
    const int r = row("poi_quick.msg");
    const QModelIndex index = list().model()->index(r, 0);
    const auto at = [&] { return list().visualRect(index).center(); };
    const std::pair<const char*, std::function<void()>> gestures[] = {
        // The view tells a double click from a click by the item's press just before it.
        {"double-click",
         [&] {
             QTest::mouseClick(list().viewport(), Qt::LeftButton, {}, at());
             QTest::mouseDClick(list().viewport(), Qt::LeftButton, {}, at());
         }},
        {"Enter", [&] { QTest::keyClick(&list(), Qt::Key_Return); }},
    };
    for (const auto& [name, gesture] : gestures) {
        // The last gesture's viewer had the focus; the row may lie below a small window's fold.
        ASSERT_TRUE(activate(*dlg)) << name;
        list().scrollTo(index);
        list().setCurrentIndex(index);
        list().setFocus();
        // The row's preview may move the rows: the gesture waits until the row stays in view.
        QRect now;
        ASSERT_TRUE(waitUntil([&] {
            const QRect before = std::exchange(now, list().visualRect(index));
            return now == before && list().viewport()->rect().contains(now.center());
        })) << name;
        gesture();
        CMessageViewer* viewer = nullptr;
        ASSERT_TRUE(waitUntil([&] {
            viewer = dlg->findChild<CMessageViewer*>();
            return viewer != nullptr && viewer->isVisible();
        })) << name;
        EXPECT_EQ(viewer->path(), dlg->getItemPath(r)) << name;
        delete viewer;
    }
    EXPECT_TRUE(recorder.urls.isEmpty());
}
