// The search window as the user drives it: the first start, Find Now, Stop, keys, layout, help.

#include "MailIndexFolder.h"
#include "SharedFiles.h"
#include "WindowTestSupport.h"

#include "app/MessageViewer.h"
#include "app/PreviewDlg.h"
#include "app/QoSearchApp.h"
#include "app/StartRequest.h"
#include "app/WindowEventSink.h"
#include "stores/UserSettings.h"
#include "support/Assert.h"

#include <QFileDialog>
#include <QProgressBar>
#include <QRegularExpression>
#include <QSplitter>
#include <QToolButton>

#include <atomic>
#include <thread>

using namespace WindowTest;

// The other tests write their messages or read none.
QO_TESTS_READ_SHARED(Corpus, "SearchWindow.MessageFilesGivenAtStart*");

TEST(EmptyWindow, FirstStartSaysWhereLocationsComeFromOffersAFolderAndHelp) {
    User user;
    auto dlg = user.openWindow();
    // No control anywhere still shows the translation mark.
    for (QWidget* w : dlg->findChildren<QWidget*>())
        EXPECT_FALSE(shownText(w).startsWith('_')) << shownText(w).toStdString();
    // The results and the preview show from the start, side by side.
    EXPECT_TRUE(dlg->resultsList().isVisible());
    EXPECT_TRUE(dlg->previewPane().isVisible());
    EXPECT_EQ(dlg->resultsSplitter().orientation(), Qt::Horizontal);

    // No store database: the list's place says so and offers a folder; Find Now says why not.
    CSearchLocation& pane = dlg->locationPane();
    QLabel* hint = dlg->findChild<QLabel*>("noLocationsText");
    EXPECT_TRUE(hint->isVisible());
    EXPECT_FALSE(dlg->findNowButton().isEnabled());
    EXPECT_TRUE(dlg->findNowButton().toolTip().contains("Search a folder"))
        << dlg->findNowButton().toolTip().toStdString();
    const unsigned assertionsBefore = Kerf::failedAssertionCount();
    dlg->OnBnClickedFindnow(); // as a click would, were the button not disabled
    EXPECT_EQ(status(*dlg), "No search location(s) selected");
    EXPECT_GT(Kerf::failedAssertionCount(), assertionsBefore); // the caller broke the rule

    // "Search a folder..." switches to a folder and asks which.
    bool asked = false;
    answerNextModal<QFileDialog>([&](QFileDialog& picker) {
        asked = true;
        picker.reject();
    });
    QTest::mouseClick(&pane.GetSearchAFolderButton(), Qt::LeftButton);
    EXPECT_TRUE(asked);
    EXPECT_TRUE(pane.GetFolderRadio().isChecked());
    EXPECT_FALSE(hint->isVisible());
    EXPECT_TRUE(dlg->findNowButton().toolTip().contains("folder"))
        << dlg->findNowButton().toolTip().toStdString();

    // Help opens the shipped page or says what to install; About is reachable.
    ASSERT_TRUE(activate(*dlg)); // the folder chooser had it
    auto recorder = std::make_unique<UrlRecorder>();
    dlg->findChild<QLabel*>("helpLink")->linkActivated("#");
    QTest::keyClick(dlg.get(), Qt::Key_F1);
    ASSERT_EQ(recorder->urls.size(), 2);
    const QString page = recorder->urls[0].toLocalFile();
    EXPECT_TRUE(page.endsWith("/QoSearch.html")) << page.toStdString();
    EXPECT_TRUE(QFileInfo::exists(page));
    EXPECT_EQ(recorder->urls[1], recorder->urls[0]);
    // With nothing to open the page, the user is told what to install.
    recorder.reset();
    QTest::keyClick(dlg.get(), Qt::Key_F1);
    const std::unique_ptr<QMessageBox> missing(dlg->findChild<QMessageBox*>("programMissing"));
    ASSERT_NE(missing, nullptr);
    EXPECT_TRUE(missing->text().contains("no web browser")) << missing->text().toStdString();
    EXPECT_TRUE(missing->text().contains("sudo apt install")) << missing->text().toStdString();

    QString text;
    answerNextMessageBox(QMessageBox::Ok, &text);
    dlg->findChild<QLabel*>("aboutLink")->linkActivated("#");
    EXPECT_TRUE(text.contains("QoSearch")) << text.toStdString();
}

// Two thirds of the screen at first; twelve rows on a small screen; the place, the preview's side
// and the column widths kept per user; a second start brings a minimized window back.
TEST(EmptyWindow, OpensAtTwoThirdsShowsTwelveRowsKeepsItsLayoutPerUserAndComesToTheFront) {
    User user;
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    QRect placed;
    {
        auto dlg = user.openWindow();
        EXPECT_NEAR(dlg->height(), screen.height() * 2 / 3, screen.height() / 20);
        EXPECT_GE(dlg->width(), screen.width() * 2 / 3);
        EXPECT_LT(dlg->width(), screen.width());
        dlg->resize(1366, 768);
        ASSERT_TRUE(waitUntil([&] { return dlg->size() == QSize(1366, 768); }, 30000));
        QCoreApplication::processEvents();
        auto& list = dlg->resultsList();
        const int rowHeight = list.fontMetrics().height() + 4;
        EXPECT_GE(list.viewport()->height() / rowHeight, 12) << list.viewport()->height();
        dlg->findChild<QToolButton*>("previewBelow")->click();
        list.SetColumnWidth(2, 333); // the subject
        dlg->setGeometry(QRect(screen.topLeft() + QPoint(37, 41), QSize(1366 - 23, 768 + 19)));
        placed = dlg->geometry();
    }
    auto again = user.openWindow();
    EXPECT_EQ(again->geometry(), placed);
    EXPECT_EQ(again->resultsSplitter().orientation(), Qt::Vertical);
    EXPECT_EQ(again->resultsList().GetColumnWidth(2), 333);

    // What a second start of the program asks of the first one's window.
    again->showMinimized();
    ASSERT_TRUE(waitUntil([&] { return again->isMinimized(); }, 30000));
    again->bringToFront();
    EXPECT_TRUE(waitUntil([&] { return !again->isMinimized(); }, 30000));
    EXPECT_TRUE(again->isVisible());
}

TEST(SearchWindow, ACentralIndexThatDoesNotAnswerLeavesTheSearchToTheUsersIndex) {
    User user;
    const fs::path mail = QoTest::copiesOfTheSample(user.root(), 2);
    // Nothing listens on port 1 of the loopback address.
    Kerf::QuireLib::openUserSettings()->setValue("Central Index/Connection",
                                                 "host=127.0.0.1 port=1 dbname=none");
    Kerf::QuireLib::openUserSettings()->setValue(
        "Central Index/Roots", QStringList{QString::fromStdString(mail.string())});
    auto dlg = user.searchedWindow(mail);
    EXPECT_TRUE(status(*dlg).starts_with("2 matches found in ")) << status(*dlg);
    EXPECT_NE(status(*dlg).find("Searched the per-user index instead of the central index"),
              std::string::npos)
        << status(*dlg);
}

// Rows of what the indexer committed show while it works. Stop, or Escape, then shows the matches
// so far; Escape empties a criterion first, and closes nothing; Ctrl+W closes.
TEST(SearchWindow, StopOrEscapeWhileIndexingShowsTheMatchesSoFarAndEndsTheWork) {
    User user;
    constexpr int total = 6000; // one commit after 2,000
    const fs::path mail = QoTest::copiesOfTheSample(user.root(), total);
    auto dlg = user.openWindow();
    // Reads stop past the commit until the test has seen its rows and pressed Stop, or ends.
    struct Gate {
        std::shared_ptr<std::atomic<bool>> open = std::make_shared<std::atomic<bool>>(false);
        ~Gate() { *open = true; }
    } gate;
    dlg->cycle().setMessageReader([open = gate.open, reads = std::make_shared<std::atomic<int>>(0)](
                                      const std::wstring& path) {
        if (++*reads > 2050)
            while (!*open)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return Kerf::QuireLib::CRecursiveMailIndexer::readMessageFile(path);
    });
    ASSERT_TRUE(activate(*dlg));
    QLineEdit& words = dlg->locationPane().GetKeywordsEdit();
    words.setFocus();
    QTest::keyClicks(&words, "budget");
    QTest::keyClick(&words, Qt::Key_Escape);
    EXPECT_EQ(words.text(), "");
    EXPECT_TRUE(dlg->isVisible());
    // While the indexer works its progress replaces the status, and the bar shows the same counts.
    QProgressBar& bar = dlg->progressBar();
    int barChecks = 0;
    const auto checkBar = [&] {
        static const QRegularExpression counts("^Indexed:(\\d+)\\s+Remaining:(\\d+)");
        const QRegularExpressionMatch m = counts.match(dlg->statusLabel().text());
        if (!m.hasMatch())
            return;
        EXPECT_TRUE(bar.isVisible());
        EXPECT_EQ(bar.value(), m.captured(1).toInt());
        EXPECT_EQ(bar.maximum(), m.captured(1).toInt() + m.captured(2).toInt());
        ++barChecks;
    };
    QObject::connect(&bar, &QProgressBar::valueChanged, &bar, checkBar, Qt::QueuedConnection);
    searchFolder(*dlg, mail);
    auto& list = dlg->resultsList();
    ASSERT_TRUE(waitUntil([&] { return list.GetItemCount() >= 2000; })) << status(*dlg);
    EXPECT_GE(barChecks, 3);
    ASSERT_TRUE(dlg->cycle().isIndexing()) << "the indexer finished before Stop";
    QTest::mouseClick(&dlg->stopButton(), Qt::LeftButton);
    // The threads end while the window goes on; Stop cannot be pressed twice.
    EXPECT_EQ(status(*dlg), "Stopping...");
    EXPECT_FALSE(dlg->stopButton().isEnabled());
    *gate.open = true;
    ASSERT_TRUE(waitForSearchEnd(*dlg));

    EXPECT_FALSE(bar.isVisible());
    // The status and a bar over the list say the results are partial.
    const std::string text = status(*dlg);
    const int shown = list.GetItemCount();
    EXPECT_LT(shown, total);
    EXPECT_TRUE(text.starts_with("Stopped: " + std::to_string(shown) + " matches in the ")) << text;
    EXPECT_TRUE(dlg->incompleteBar().isVisible());
    EXPECT_EQ(dlg->incompleteText().text().toStdString(), text);
    // Messages still queued from the stopped indexer change nothing.
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(status(*dlg), text);

    // "Search again" searches anew, and the bar goes; Escape stops it as Stop does.
    QTest::mouseClick(&dlg->searchAgainButton(), Qt::LeftButton);
    EXPECT_FALSE(dlg->incompleteBar().isVisible());
    ASSERT_TRUE(dlg->cycle().isIndexing());
    QTest::keyClick(&words, Qt::Key_Escape);
    EXPECT_TRUE(dlg->cycle().isStopping() || !dlg->cycle().isIndexing());
    EXPECT_TRUE(dlg->isVisible());
    ASSERT_TRUE(waitForSearchEnd(*dlg));
    QTest::keyClick(&list, Qt::Key_Escape);
    EXPECT_TRUE(dlg->isVisible());
    QTest::keyClick(&words, Qt::Key_W, Qt::ControlModifier);
    EXPECT_FALSE(dlg->isVisible());
}

TEST(WindowEventSink, IndexerEventsTravelWithTheirRunAsPostedEventsAndStopWhenDetached) {
    using namespace Kerf::Search;
    // Plain events carry none, of a type outside the indexer's or of one of its own.
    for (const QEvent::Type type :
         {QEvent::User, CWindowEventSink::eventType(IndexerMessage::EndWork)})
        EXPECT_FALSE(CWindowEventSink::indexerEventOf(QEvent(type))) << type;

    struct Receiver : QObject {
        std::vector<IndexerEvent> events;
        bool event(QEvent* e) override {
            if (auto carried = CWindowEventSink::indexerEventOf(*e))
                events.push_back(*carried);
            return true;
        }
    } receiver;
    CWindowEventSink sink(&receiver);
    // The last of the numbers, the central index's rows, travels too.
    const std::vector<IndexerEvent> posted = {{IndexerMessage::EndWork, 7},
                                              {IndexerMessage::RowsArrived, 9}};
    for (const IndexerEvent& event : posted)
        EXPECT_TRUE(sink.post(event));
    QCoreApplication::processEvents();
    EXPECT_EQ(receiver.events, posted);
    sink.detach();
    EXPECT_FALSE(sink.post(IndexerEvent{IndexerMessage::BeginWork, 8}));
    QCoreApplication::processEvents();
    EXPECT_EQ(receiver.events.size(), 2u);
}

TEST(SearchWindow, MessageFilesGivenAtStartOpenInTheViewerAsTheDesktopEntryOffers) {
    const QString here = QDir::currentPath();
    const struct {
        QStringList arguments;
        QStringList files;
        bool search;
    } cases[] = {
        {{}, {}, true},
        {{"--version"}, {}, true}, // others' options
        {{"a.msg", "/m/b.msg"}, {here + "/a.msg", "/m/b.msg"}, false},
        {{"--search", "/m/b.msg"}, {"/m/b.msg"}, true},
        {{"--", "--odd.msg"}, {here + "/--odd.msg"}, false},
        {{"file:///m/x%20y.msg"}, {"/m/x y.msg"}, false},
    };
    for (const auto& c : cases) {
        const StartRequest request = parseStartArguments(c.arguments);
        EXPECT_EQ(request.files, c.files) << c.arguments.join(' ').toStdString();
        EXPECT_EQ(request.showSearch, c.search) << c.arguments.join(' ').toStdString();
    }

    User user;
    const fs::path quick = corpus("poi_quick.msg");
    openMessageFiles({QString::fromStdString(quick.string())});
    CMessageViewer* viewer = nullptr;
    for (QWidget* w : QApplication::topLevelWidgets())
        if (auto* v = qobject_cast<CMessageViewer*>(w); v && v->isVisible())
            viewer = v;
    ASSERT_NE(viewer, nullptr);
    EXPECT_EQ(viewer->path(), Kerf::Util::fromPath(quick));
    EXPECT_TRUE(viewer->windowTitle().startsWith("Test the content transformer"));
    viewer->close();

    // The file manager offers the program for saved messages, under the name its window bears.
    const QString text = QString::fromStdString(
        QoTest::readFile(QOSEARCH_BINARY_DIR "/share/applications/qosearch.desktop"));
    EXPECT_TRUE(text.contains("\nName=" + CQoSearchApp::windowTitle() + "\n"))
        << text.toStdString();
    EXPECT_TRUE(
        text.contains(QRegularExpression("\nMimeType=([^\n]*;)?application/vnd.ms-outlook;")));
    EXPECT_TRUE(text.contains(QRegularExpression("\nExec=qosearch [^\n]*%F")));
}
