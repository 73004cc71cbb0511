// The criteria pane and the preview: check boxes that switch the date
// pickers, the criteria value the pane reads and shows, how the criteria
// reach a search, and how a record reads in the preview.

#include "SharedFiles.h"
#include "WindowTestSupport.h"

#include "app/PreviewDlg.h"
#include "app/PreviewText.h"
#include "app/SearchCriteriaDlg.h"
#include "app/TranslateWindow.h"

#include <QGroupBox>
#include <QLocale>
#include <QScrollBar>
#include <QTextBrowser>

using namespace WindowTest;
using Kerf::QuireLib::CEmailMetadata;
using Kerf::QuireLib::SearchCriteria;

QO_TESTS_READ_SHARED(Corpus, "CriteriaPane.TheCriteriaNarrowTheSearch");

TEST(CriteriaPane, DatePickersFollowTheirCheckBoxes) {
    CSearchCriteriaDlg pane;
    pane.show();
    EXPECT_FALSE(pane.sentAfterCheck().isChecked());
    EXPECT_FALSE(pane.sentAfterDate().isEnabled());
    EXPECT_FALSE(pane.sentBeforeDate().isEnabled());

    QTest::mouseClick(&pane.sentAfterCheck(), Qt::LeftButton);
    EXPECT_TRUE(pane.sentAfterDate().isEnabled());
    EXPECT_FALSE(pane.sentBeforeDate().isEnabled());
    QTest::mouseClick(&pane.sentBeforeCheck(), Qt::LeftButton);
    EXPECT_TRUE(pane.sentBeforeDate().isEnabled());
    QTest::mouseClick(&pane.sentAfterCheck(), Qt::LeftButton);
    EXPECT_FALSE(pane.sentAfterDate().isEnabled());
}

TEST(CriteriaPane, KeepsTheTimeOfDayBehindThePickersAndClearKeepsTheDates) {
    CSearchCriteriaDlg pane;
    SearchCriteria c;
    c.m_sSubject = L"budget 2008";
    c.m_sBcc = L"Dee";
    c.m_bSentBefore = true;
    c.m_dtSentAfter = {2019, 3, 4, 10, 11, 12};
    c.m_dtSentBefore = {2020, 5, 6, 7, 8, 9};
    pane.set(c);
    EXPECT_TRUE(pane.sentBeforeDate().isEnabled());
    EXPECT_FALSE(pane.sentAfterDate().isEnabled());

    // The picker gives the day; the time of day is kept.
    pane.sentAfterDate().setDate(QDate(2019, 3, 9));
    const SearchCriteria read = pane.get();
    EXPECT_EQ(read.m_sBcc, L"Dee");
    EXPECT_EQ(read.m_dtSentAfter, (Kerf::DateTime{2019, 3, 9, 10, 11, 12}));

    pane.clearCriteria();
    const SearchCriteria cleared = pane.get();
    EXPECT_EQ(cleared.m_sSubject, L"");
    EXPECT_FALSE(cleared.m_bSentBefore);
    EXPECT_FALSE(pane.sentBeforeDate().isEnabled());
    EXPECT_EQ(cleared.m_dtSentBefore, c.m_dtSentBefore);
}

TEST(CriteriaPane, TheCriteriaNarrowTheSearch) {
    User user;
    const fs::path mail = user.root() / "mail";
    copyCorpus(mail, {"mr_voteItems.msg", "mr_voteYes.msg", "mr_voteNo.msg", "mr_test.msg",
                      "poi_quick.msg"});
    auto dlg = user.openWindow();
    CSearchCriteriaDlg& criteria = dlg->criteriaPane();
    criteria.subjectEdit().setText("vote");
    searchFolder(*dlg, mail);
    ASSERT_TRUE(waitForSearchEnd(*dlg));
    EXPECT_EQ(dlg->resultsList().GetItemCount(), 3);

    // Sent after the day of the vote excludes that whole day.
    criteria.subjectEdit().clear();
    criteria.sentAfterCheck().setChecked(true);
    criteria.sentAfterDate().setDate(QDate(2021, 7, 29));
    ASSERT_TRUE(searchAgain(*dlg));
    EXPECT_EQ(dlg->resultsList().GetItemCount(), 0) << status(*dlg);
    criteria.sentAfterDate().setDate(QDate(2021, 7, 28));
    ASSERT_TRUE(searchAgain(*dlg));
    EXPECT_EQ(dlg->resultsList().GetItemCount(), 3);

    // File names narrow too.
    criteria.sentAfterCheck().setChecked(false);
    criteria.fileNameEdit().setText("QUICK");
    ASSERT_TRUE(searchAgain(*dlg));
    ASSERT_EQ(dlg->resultsList().GetItemCount(), 1);
    EXPECT_EQ(dlg->resultsList().GetItemText(0, 7), L"poi_quick.msg");
}

TEST(Preview, ShowsOnlyLinesWithValuesAlwaysSentAndScrollsToTheTop) {
    CPreviewDlg pane;
    pane.resize(300, 120);
    pane.show();
    CEmailMetadata record;
    record.SetStringValue(L"From", L"Ann Smith");
    record.SetStringValue(L"To", L"");
    record.SetStringValue(L"Body", L"first line\r\nsecond line\r\n" + std::wstring(4000, L'x') +
                                       L"\r\nlast line");
    record.SetSentDate(Kerf::OleDate{0.0}); // the zero date: never sent
    pane.fill(record);
    QTextBrowser& view = pane.GetPreviewControl();
    EXPECT_EQ(view.toPlainText().left(view.toPlainText().indexOf("\n\nfirst")),
              "From:\t\tAnn Smith\nSent:\t\t(not sent)");
    EXPECT_TRUE(view.toPlainText().contains("\n\nfirst line\nsecond line\n"));
    EXPECT_FALSE(view.toPlainText().contains('\r'));
    EXPECT_FALSE(view.toPlainText().contains("Subject:"));
    EXPECT_FALSE(view.toPlainText().contains("To:"));
    EXPECT_GT(view.verticalScrollBar()->maximum(), 0);
    EXPECT_EQ(view.verticalScrollBar()->value(), 0);
    EXPECT_EQ(view.textCursor().position(), 0);

    // A second fill replaces, and does so scrolled to the top again.
    view.verticalScrollBar()->setValue(view.verticalScrollBar()->maximum());
    record.SetStringValue(L"Subject", L"Hello");
    record.SetSentDate(Kerf::OleDate{Kerf::Dates::toOleDate({2009, 3, 4, 10, 11, 12})});
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    pane.fill(record);
    QLocale::setDefault(QLocale::system());
    EXPECT_TRUE(view.toPlainText().contains("\nSent:\t\t3/4/2009 10:11:12"));
    EXPECT_EQ(view.toPlainText().count("From:"), 1);
    EXPECT_TRUE(view.toPlainText().contains("\nSubject:\t\tHello\n\n"));
    EXPECT_EQ(view.verticalScrollBar()->value(), 0);
    pane.ClearText();
    EXPECT_TRUE(view.toPlainText().isEmpty());
}

TEST(TranslateWindow, TakesTheMarkOffTextsLongerThanOneCharacter) {
    QWidget window;
    auto* group = new QGroupBox("_Results", &window);
    auto* lone = new QLabel("_", &window);
    auto* inner = new QLabel("a_b", &window);
    auto* button = new QPushButton("__Twice", &window);
    auto* own = new QPushButton("_Cl&ear", &window);
    auto* keyless = new QLabel("_Keywords", &window);
    auto* field = new QLabel("_Subject:", &window);
    field->setBuddy(new QLineEdit(&window));
    TranslateWindow(&window);
    // The marked letter becomes the access key where the control takes one.
    EXPECT_EQ(group->title(), "&Results");
    EXPECT_EQ(own->text(), "Cl&ear");
    EXPECT_EQ(keyless->text(), "Keywords");
    EXPECT_EQ(field->text(), "&Subject:");
    EXPECT_EQ(lone->text(), "_");
    EXPECT_EQ(inner->text(), "a_b");
    EXPECT_EQ(button->text(), "_Twice"); // one mark only
}
