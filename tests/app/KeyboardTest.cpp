// The window from the keyboard: access keys, one control each; Ctrl+L, Ctrl+R and Delete there;
// Ctrl+F to the "Search for:" box, whose words Enter finds in any field.

#include "SharedFiles.h"
#include "WindowTestSupport.h"

#include "app/SearchCriteriaDlg.h"

#include <QTabWidget>

#include <map>

using namespace WindowTest;

namespace {

void press(QWidget& window, int key, Qt::KeyboardModifiers modifiers = Qt::AltModifier) {
    QTest::keyClick(QApplication::focusWidget() != nullptr ? QApplication::focusWidget() : &window,
                    static_cast<Qt::Key>(key), modifiers);
}

// The texts of showing tabs and controls whose access key one shown before has.
std::string accessKeyClashes(CQoSearchDlg& dlg) {
    QStringList texts;
    for (int tab = 0; tab < dlg.tabs().count(); ++tab)
        texts << dlg.tabs().tabText(tab);
    for (QWidget* w : dlg.findChildren<QWidget*>())
        if (w->isVisible())
            texts << shownText(w);
    std::map<QKeySequence, QString> owners;
    QString clashes;
    for (const QString& text : texts) {
        const QKeySequence key = QKeySequence::mnemonic(text);
        if (const auto [owner, fresh] = owners.emplace(key, text); !fresh && !key.isEmpty())
            clashes += owner->second + " / " + text + "; ";
    }
    return clashes.toStdString();
}

} // namespace

QO_TESTS_READ_SHARED(Corpus, "Keyboard.*");

using Keyboard = SearchedWindow;

TEST_F(Keyboard, AccessKeysAreOnePerControlAndTheyAndShortcutsMoveTheFocusAndCtrlFSearchesWords) {
    ASSERT_TRUE(activate(*dlg));
    CSearchCriteriaDlg& criteria = dlg->criteriaPane();
    CSearchLocation& location = dlg->locationPane();
    QTest::mouseClick(&location.GetLocationsRadio(), Qt::LeftButton); // its filter takes Alt+T

    // An access key clicks its button a moment later, from a timer: the test waits for the clicks.
    int clicks = 0;
    for (QAbstractButton* button : std::initializer_list<QAbstractButton*>{
             &criteria.sentAfterCheck(), &criteria.sentBeforeCheck(), &location.GetFolderRadio(),
             &location.GetLocationsRadio()})
        QObject::connect(button, &QAbstractButton::clicked, [&clicks] { ++clicks; });
    // Alt+M and Alt+L show their pane; the same letters then mean the controls of that pane.
    struct Case {
        int key;
        QWidget* focus;
        int pane = -1;
    };
    for (const Case& c : std::vector<Case>{{Qt::Key_M, nullptr, CQoSearchDlg::eCriteriaPane},
                                           {Qt::Key_U, &criteria.subjectEdit()},
                                           {Qt::Key_Y, &criteria.bodyEdit()},
                                           {Qt::Key_O, &criteria.fromEdit()},
                                           {Qt::Key_T, &criteria.toEdit()},
                                           {Qt::Key_C, &criteria.ccEdit()},
                                           {Qt::Key_B, &criteria.bccEdit()},
                                           {Qt::Key_I, &criteria.fileNameEdit()},
                                           {Qt::Key_H, &criteria.attachmentEdit()},
                                           {Qt::Key_A, &criteria.sentAfterCheck()},
                                           {Qt::Key_N, &criteria.sentBeforeCheck()},
                                           {Qt::Key_L, nullptr, CQoSearchDlg::eLocationPane},
                                           {Qt::Key_O, &location.GetFolderRadio()},
                                           {Qt::Key_G, &location.GetLocationsRadio()},
                                           {Qt::Key_T, &location.GetFilterEdit()}}) {
        press(*dlg, c.key);
        if (c.focus == nullptr)
            EXPECT_EQ(dlg->tabs().currentIndex(), c.pane);
        else
            EXPECT_EQ(QApplication::focusWidget(), c.focus)
                << QKeySequence(c.key).toString().toStdString();
    }
    // Alt+A and Alt+N ticked the date boxes (the search below has none); Alt+G came last.
    ASSERT_TRUE(waitUntil([&] { return clicks == 4; }, 30000)) << clicks;
    EXPECT_TRUE(criteria.sentAfterCheck().isChecked() && criteria.sentBeforeCheck().isChecked());
    EXPECT_TRUE(location.GetLocationsRadio().isChecked());
    criteria.clearCriteria();

    // Ctrl+L from anywhere, choosing the filing locations where a folder was chosen.
    QTest::mouseClick(&location.GetFolderRadio(), Qt::LeftButton);
    dlg->ShowWindowNumber(CQoSearchDlg::eCriteriaPane);
    criteria.subjectEdit().setFocus();
    press(*dlg, Qt::Key_L, Qt::ControlModifier);
    EXPECT_EQ(dlg->tabs().currentIndex(), CQoSearchDlg::eLocationPane);
    EXPECT_EQ(QApplication::focusWidget(), &location.GetFilterEdit());
    EXPECT_TRUE(location.GetLocationsRadio().isChecked());

    // Ctrl+R to the results; Delete there asks first.
    press(*dlg, Qt::Key_R, Qt::ControlModifier);
    EXPECT_EQ(QApplication::focusWidget(), &list());
    selectRows(list(), {row("poi_quick.msg")});
    QString question;
    answerNextMessageBox(QMessageBox::No, &question);
    press(*dlg, Qt::Key_Delete, Qt::NoModifier);
    EXPECT_EQ(question, "Move \"poi_quick.msg\" to the trash?");

    // With the results showing, each pane's controls and the window's share no key.
    for (const int pane : {CQoSearchDlg::eLocationPane, CQoSearchDlg::eCriteriaPane}) {
        dlg->ShowWindowNumber(pane);
        EXPECT_EQ(accessKeyClashes(*dlg), "") << pane;
    }
    // Ctrl+F reaches the "Search for:" box, whose words Enter finds in any field of the folder
    // searched before; a second Ctrl+F selects the words there, so that typing replaces them.
    QTest::mouseClick(&location.GetFolderRadio(), Qt::LeftButton);
    ASSERT_TRUE(activate(*dlg)); // the question had it
    QLineEdit& words = dlg->locationPane().GetKeywordsEdit();
    for (const char* typed : {"asdf", "transformer xmailuser"}) {
        dlg->ShowWindowNumber(CQoSearchDlg::eCriteriaPane);
        dlg->resultsList().setFocus();
        press(*dlg, Qt::Key_F, Qt::ControlModifier);
        ASSERT_EQ(QApplication::focusWidget(), &words) << typed;
        EXPECT_EQ(dlg->tabs().currentIndex(), CQoSearchDlg::eLocationPane);
        QTest::keyClicks(&words, typed);
        QTest::keyClick(&words, Qt::Key_Return);
        ASSERT_TRUE(waitForSearchEnd(*dlg));
    }
    // The subject of one, the sender of the others.
    EXPECT_EQ(found(), (std::set<std::string>{"poi_quick.msg", "mr_sent.msg", "mr_voteItems.msg",
                                              "mr_voteYes.msg", "mr_voteNo.msg"}));
}
