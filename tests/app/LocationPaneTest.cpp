// The location pane and its filing-store list: the two modes, the stored choice, the filter, column
// titles, picking, Browse, and sources read while the window is already shown.

#include "SharedFiles.h"
#include "WindowTestSupport.h"

#include "app/MsgStoresSortListCtrl.h"
#include "stores/UserSettings.h"

#include <QFileDialog>
#include <QHelpEvent>
#include <QTcpServer>
#include <QTextDocumentFragment>
#include <QToolTip>

using namespace WindowTest;
using Kerf::QuireLib::CMsgStoresSortListCtrl;
using Kerf::Util::fromPath;

namespace {

enum { StoreId, Source, PrimaryRef, SecondaryRef, Description, Location };

// The pane in the mode (0 the filing locations, 1 a folder, -1 neither): its choice ticked, and the
// controls that take input in it enabled: the list and its filter, or the folder and Browse.
void expectMode(CSearchLocation& pane, int mode) {
    EXPECT_EQ(pane.GetLocationOrFolder(), mode);
    for (const auto& [control, on] :
         std::initializer_list<std::pair<QWidget*, bool>>{{&pane.GetLocationsList(), mode == 0},
                                                          {&pane.GetFilterEdit(), mode == 0},
                                                          {&pane.GetFolderEdit(), mode == 1},
                                                          {&pane.GetBrowseButton(), mode == 1}})
        EXPECT_EQ(control->isEnabled(), on) << "mode " << mode;
    EXPECT_EQ(pane.GetLocationsRadio().isChecked(), mode == 0) << "mode " << mode;
    EXPECT_EQ(pane.GetFolderRadio().isChecked(), mode == 1) << "mode " << mode;
}

class LocationPane : public testing::Test {
protected:
    void SetUp() override {
        copyCorpus(jobs / "A100", {"mr_test.msg", "mr_sent.msg"});
        copyCorpus(jobs / "B200", {"poi_quick.msg"});
        copyCorpus(jobs / "C300", {"mr_A memo.msg"});
        // The filter reads the paths too, whose temporary folder's name is random: type after "#".
        user.writeStores({{fromPath(jobs / "A100"), L"A100", L"Harbour", L"Quay wall #AbC"},
                          {fromPath(jobs / "B200"), L"B200", L"Bridge", L"Deck repairs #A"},
                          {fromPath(jobs / "C300"), L"C300", L"School", L"New hall #Ab"},
                          {L"Outlook:\\\\Mailbox\\Inbox", L"D400", L"Mail", L"Not a folder"}});
    }
    CSearchLocation& pane() { return dlg->locationPane(); }
    CMsgStoresSortListCtrl& list() { return pane().GetLocationsList(); }

    User user;
    const fs::path jobs = user.root() / "jobs";
    std::unique_ptr<CQoSearchDlg> dlg;
};

} // namespace

QO_TESTS_READ_SHARED(Corpus, "LocationPane.*");

// Column titles come from the settings file.
TEST_F(LocationPane, ListsTheFileSystemLocationsAndEnablesTheControlsOfTheMode) {
    QoTest::writeFile(user.appData() / "EmailFiling.cfg",
                      "[Columns]\nLocationPriRefAlias=Job\n*LocationSecRefAlias=Site\n"
                      "LocationDescAlias=\n");
    dlg = user.openWindow();
    // The mail-client folder is left out.
    EXPECT_EQ(column(list(), PrimaryRef), (std::vector<std::wstring>{L"A100", L"B200", L"C300"}));
    const auto* model = list().model();
    for (const auto& [col, title] : {std::pair{PrimaryRef, "Job"}, std::pair{SecondaryRef, "Site"},
                                     std::pair{Description, "Description"}})
        EXPECT_EQ(model->headerData(col, Qt::Horizontal).toString(), title);

    expectMode(pane(), 0);
    // Several locations and none picked: nothing to search yet.
    EXPECT_FALSE(dlg->findNowButton().isEnabled());

    QTest::mouseClick(&pane().GetFolderRadio(), Qt::LeftButton);
    expectMode(pane(), 1);

    // A folder of blanks counts as given and is searched as it stands.
    QTest::keyClicks(&pane().GetFolderEdit(), "  ");
    EXPECT_TRUE(dlg->findNowButton().isEnabled());
    EXPECT_EQ(pane().GetSearchLocations(), std::vector<std::wstring>{L"  "});
}

TEST_F(LocationPane, PickedLocationsPrefillTheFolderAndAreSearchedInDisplayOrderOrByADoubleClick) {
    dlg = user.openWindow();
    selectRows(list(), {2, 0});
    EXPECT_EQ(pane().GetFolderEdit().text().toStdWString(), fromPath(jobs / "A100"));
    EXPECT_EQ(pane().GetSearchLocations(),
              (std::vector<std::wstring>{fromPath(jobs / "A100"), fromPath(jobs / "C300")}));

    ASSERT_TRUE(searchAgain(*dlg));
    EXPECT_TRUE(status(*dlg).starts_with("3 matches found in ")) << status(*dlg);

    // A double-click searches the location alone; the Folder column names it by its reference.
    const QRect cell = list().visualRect(list().model()->index(1, PrimaryRef));
    QTest::mouseClick(list().viewport(), Qt::LeftButton, {}, cell.center());
    QTest::mouseDClick(list().viewport(), Qt::LeftButton, {}, cell.center());
    EXPECT_TRUE(dlg->cycle().isIndexing());
    ASSERT_TRUE(waitForSearchEnd(*dlg));
    EXPECT_TRUE(status(*dlg).starts_with("1 match found in ")) << status(*dlg);
    ASSERT_EQ(dlg->resultsList().GetItemCount(), 1);
    EXPECT_EQ(dlg->getItemPath(0), fromPath(jobs / "B200" / "poi_quick.msg"));
    EXPECT_EQ(dlg->resultsList().GetItemText(0, 6), L"B200/");
}

TEST_F(LocationPane, ALocationNotOnThisComputerIsDimmedExplainedAndNamedInTheStatus) {
    // A name of the list's own is shown as written, never as markup.
    const std::wstring tagged = fromPath(jobs / "gone<font color=red size=7>PAY NOW</font>");
    user.writeStores({{L"J:\\Jobs\\J900", L"J900", L"Quay", L"Written on the other platform"},
                      {tagged, L"L100", L"Tagged", L"Folder with a tag in its name"}});
    dlg = user.openWindow();
    ASSERT_EQ(column(list(), PrimaryRef),
              (std::vector<std::wstring>{L"A100", L"B200", L"C300", L"J900", L"L100"}));
    const struct {
        int row;
        std::wstring reason; // the tool tip; none for a folder that is there
    } rows[] = {
        {0, L""},
        {3, L"The drive J: has no folder here: add it to [PathMap] in the settings file"},
        {4, L"Folder not found: " + tagged},
    };
    for (const auto& r : rows) {
        const QPoint at = list().visualRect(list().model()->index(r.row, PrimaryRef)).center();
        QHelpEvent help(QEvent::ToolTip, at, list().viewport()->mapToGlobal(at));
        QApplication::sendEvent(list().viewport(), &help);
        EXPECT_EQ(QTextDocumentFragment::fromHtml(QToolTip::text()).toPlainText().toStdWString(),
                  r.reason);
    }
    // Unreachable locations are never searched as empty folders: alone, nothing is searched.
    selectRows(list(), {3, 4});
    EXPECT_FALSE(dlg->findNowButton().isEnabled());
    selectRows(list(), {0, 3});
    ASSERT_TRUE(searchAgain(*dlg));
    EXPECT_TRUE(status(*dlg).starts_with("2 matches found in ")) << status(*dlg);
    const std::string unreached =
        ". Not searched, cannot be reached: J:\\Jobs\\J900 (The drive J: has no folder here";
    EXPECT_NE(status(*dlg).find(unreached), std::string::npos) << status(*dlg);
}

// Which rows a filter keeps is the model's rule; here the pane filters as typed, in heading order.
TEST_F(LocationPane, FiltersOnEveryKeystrokeALoneRowCountsAsChosenAndClearingShowsAll) {
    dlg = user.openWindow();
    clickHeading(list(), Description);
    const std::vector<std::wstring> byDescription{L"B200", L"C300", L"A100"};
    EXPECT_EQ(column(list(), PrimaryRef), byDescription);
    QLineEdit& filter = pane().GetFilterEdit();
    QTest::keyClicks(&filter, "#ab");
    EXPECT_EQ(column(list(), PrimaryRef), (std::vector<std::wstring>{L"C300", L"A100"}));
    EXPECT_FALSE(dlg->findNowButton().isEnabled());
    // One location left and none picked: that one is searched.
    QTest::keyClick(&filter, 'c');
    EXPECT_TRUE(dlg->findNowButton().isEnabled());
    EXPECT_TRUE(list().GetSelectedItems().empty());
    EXPECT_EQ(pane().GetSearchLocations(), std::vector<std::wstring>{fromPath(jobs / "A100")});
    filter.clear();
    EXPECT_EQ(column(list(), PrimaryRef), byDescription);
    EXPECT_FALSE(dlg->findNowButton().isEnabled());
}

TEST_F(LocationPane, BrowsedFolderAndModeAreKeptAcrossARestart) {
    dlg = user.openWindow();
    QTest::mouseClick(&pane().GetFolderRadio(), Qt::LeftButton);
    const QString target = QString::fromStdString((jobs / "C300").string());
    bool answered = false;
    QTimer::singleShot(0, [&] {
        waitUntil(
            [] { return qobject_cast<QFileDialog*>(QApplication::activeModalWidget()) != nullptr; },
            60000);
        if (auto* chooser = qobject_cast<QFileDialog*>(QApplication::activeModalWidget())) {
            EXPECT_EQ(chooser->windowTitle(), "Browse for folder");
            chooser->setDirectory(target);
            chooser->selectFile(target);
            static_cast<QDialog*>(chooser)->accept(); // as the "Choose" button does
            answered = true;
        }
    });
    QTest::mouseClick(&pane().GetBrowseButton(), Qt::LeftButton);
    ASSERT_TRUE(answered);
    EXPECT_EQ(pane().GetFolderEdit().text(), target);
    dlg.reset(); // the pane writes its choice when it goes

    dlg = user.openWindow();
    expectMode(pane(), 1);
    EXPECT_EQ(pane().GetFolderEdit().text(), target);
    EXPECT_TRUE(dlg->findNowButton().isEnabled());

    // A stored mode above 1 starts in locations; -1 is kept: nothing ticked, the folder searched.
    for (const auto& [stored, mode] : {std::pair{5, 0}, std::pair{-1, -1}}) {
        dlg.reset();
        Kerf::QuireLib::openUserSettings()->setValue("Search/m_iLocationOrFolder", stored);
        Kerf::QuireLib::openUserSettings()->setValue("Search/m_sSearchFolder", "/x");
        dlg = user.openWindow();
        expectMode(pane(), mode);
    }
    EXPECT_EQ(pane().GetSearchLocations(), std::vector<std::wstring>{L"/x"});
}

// A store server that never answers: the window paints while the list waits, a filter typed
// meanwhile applies to the central list's rows, and the server's message comes once it fails.
TEST_F(LocationPane, AStoreServerThatNeverAnswersHoldsNeitherTheWindowNorItsFirstPaint) {
    // The kernel completes connections into the backlog; nobody accepts them.
    QTcpServer silent;
    ASSERT_TRUE(silent.listen(QHostAddress::LocalHost));
    silent.pauseAccepting();
    Kerf::QuireLib::openUserSettings()->setValue(
        "Store Database/ConnectionString",
        QStringLiteral("DRIVER={MySQL ODBC 3.51 Driver};DB=stores;SERVER=127.0.0.1:%1;UID=qo;"
                       "PASSWORD=pw;OPTION=2048;")
            .arg(silent.serverPort()));
    const fs::path central = user.root() / "share" / "central.xml";
    QoTest::writeFile(central, "<filinglocations><locations>"
                               "<location path=\"/srv/harbour\" primaryref=\"C1\"/>"
                               "<location path=\"/srv/bridge\" primaryref=\"C2\"/>"
                               "</locations></filinglocations>");
    QoTest::writeFile(user.appData() / "qoFilingLists.txt", central.string() + "\n");

    dlg = std::make_unique<CQoSearchDlg>(user.indexPlace());
    struct FirstPaint : QObject {
        CMsgStoresSortListCtrl* list = nullptr;
        int paints = 0;
        bool loadingAtFirstPaint = false;
        bool eventFilter(QObject*, QEvent* e) override {
            if (e->type() == QEvent::Paint && paints++ == 0)
                loadingAtFirstPaint = list->IsLoading();
            return false;
        }
    } watch;
    watch.list = &list();
    list().viewport()->installEventFilter(&watch);
    dlg->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(dlg.get(), 30000));
    ASSERT_TRUE(waitUntil([&] { return watch.paints > 0; }, 30000));
    EXPECT_TRUE(watch.loadingAtFirstPaint);
    EXPECT_TRUE(list().IsLoading());
    EXPECT_EQ(list().GetItemCount(), 0);
    EXPECT_FALSE(dlg->findNowButton().isEnabled());
    QTest::keyClicks(&pane().GetFilterEdit(), "harb");

    silent.close(); // the waiting connection is reset
    ASSERT_TRUE(waitUntil([&] { return !list().IsLoading(); }));
    list().viewport()->removeEventFilter(&watch);
    EXPECT_EQ(column(list(), Location), std::vector<std::wstring>{L"/srv/harbour"});
    const auto boxes = dlg->findChildren<QMessageBox*>();
    ASSERT_EQ(boxes.size(), 1);
    EXPECT_TRUE(boxes[0]->text().startsWith("Cannot open the store database"))
        << boxes[0]->text().toStdString();
}
