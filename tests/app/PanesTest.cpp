// The criteria pane and the preview: date pickers, criteria in a search, records, marked words.

#include "SharedFiles.h"
#include "WindowTestSupport.h"

#include "app/PreviewDlg.h"
#include "app/PreviewText.h"
#include "app/SearchCriteriaDlg.h"
#include "app/TranslateWindow.h"

#include <QGroupBox>
#include <QLocale>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextBrowser>

using namespace WindowTest;
using Kerf::QuireLib::CEmailMetadata;
using Kerf::QuireLib::SearchCriteria;

namespace {

// The highlighted stretches of the document, as the user reads them.
QStringList highlighted(const QTextBrowser& view) {
    QStringList words;
    const QBrush mark = matchFormat().background();
    for (QTextBlock block = view.document()->begin(); block.isValid(); block = block.next())
        for (auto it = block.begin(); !it.atEnd(); ++it)
            if (it.fragment().charFormat().background() == mark)
                words << it.fragment().text();
    return words;
}

CEmailMetadata message(const std::wstring& body) {
    CEmailMetadata record;
    record.SetStringValue(L"From", L"Kevin Roast <kevin@example.com>");
    record.SetStringValue(L"To", L"Mike Farman");
    record.SetStringValue(L"Subject", L"Test the content transformer");
    record.SetStringValue(L"Body", body);
    record.SetAttachmentNames({L"Budget 2012.xlsx"});
    record.SetSentDate(Kerf::OleDate{Kerf::Dates::toOleDate({2012, 5, 6, 7, 8, 9})});
    return record;
}

} // namespace

QO_TESTS_READ_SHARED(Corpus, "CriteriaPaneSearch.*");

TEST(CriteriaPane, DatePickersFollowTheirCheckBoxesAndKeepTheTimeOfDayAndClearKeepsTheDates) {
    CSearchCriteriaDlg pane;
    pane.show();
    SearchCriteria c;
    c.m_bSentBefore = true;
    c.m_dtSentAfter = {2019, 3, 4, 10, 11, 12};
    c.m_dtSentBefore = {2020, 5, 6, 7, 8, 9};
    pane.set(c);
    EXPECT_TRUE(pane.sentBeforeDate().isEnabled());
    EXPECT_FALSE(pane.sentAfterDate().isEnabled());

    // The picker gives the day; the time of day is kept.
    pane.sentAfterDate().setDate(QDate(2019, 3, 9));
    EXPECT_EQ(pane.get().m_dtSentAfter, (Kerf::DateTime{2019, 3, 9, 10, 11, 12}));

    pane.clearCriteria();
    const SearchCriteria cleared = pane.get();
    EXPECT_FALSE(cleared.m_bSentBefore);
    EXPECT_FALSE(pane.sentBeforeDate().isEnabled());
    EXPECT_EQ(cleared.m_dtSentBefore, c.m_dtSentBefore);

    // Each check box switches its own picker: after, before, after again.
    for (const auto& [box, after, before] : {std::tuple{&pane.sentAfterCheck(), true, false},
                                             std::tuple{&pane.sentBeforeCheck(), true, true},
                                             std::tuple{&pane.sentAfterCheck(), false, true}}) {
        QTest::mouseClick(box, Qt::LeftButton);
        EXPECT_EQ(pane.sentAfterDate().isEnabled(), after);
        EXPECT_EQ(pane.sentBeforeDate().isEnabled(), before);
        EXPECT_EQ(std::pair(pane.get().m_bSentAfter, pane.get().m_bSentBefore),
                  std::pair(after, before));
    }
}

using CriteriaPaneSearch = SearchedWindow;

TEST_F(CriteriaPaneSearch, TheCriteriaNarrowTheSearchAndThePreviewMarksTheirWords) {
    CSearchCriteriaDlg& criteria = dlg->criteriaPane();
    criteria.subjectEdit().setText("vot");
    ASSERT_TRUE(searchAgain(*dlg));
    EXPECT_EQ(found(),
              (std::set<std::string>{"mr_voteItems.msg", "mr_voteYes.msg", "mr_voteNo.msg"}));
    // The preview marks the words of the search made, not those of criteria changed since.
    criteria.subjectEdit().setText("items");
    list().setCurrentIndex(list().model()->index(row("mr_voteYes.msg"), 0));
    EXPECT_EQ(highlighted(dlg->previewPane().GetPreviewControl()), QStringList{"vote"});

    // File names narrow too.
    criteria.subjectEdit().clear();
    criteria.fileNameEdit().setText("QUICK");
    ASSERT_TRUE(searchAgain(*dlg));
    EXPECT_EQ(found(), std::set<std::string>{"poi_quick.msg"});
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
    // Labels bold, values regular, nothing italic.
    QStringList bold;
    for (auto it = view.document()->firstBlock().begin(); !it.atEnd(); ++it) {
        if (it.fragment().charFormat().fontWeight() == QFont::Bold)
            bold << it.fragment().text();
        EXPECT_FALSE(it.fragment().charFormat().fontItalic()) << it.fragment().text().toStdString();
    }
    EXPECT_EQ(bold, QStringList{"From:\t\t"});
    EXPECT_TRUE(view.toPlainText().contains("\n\nfirst line\nsecond line\n"));
    for (const char* absent : {"\r", "Subject:", "To:"})
        EXPECT_FALSE(view.toPlainText().contains(absent)) << absent;
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
}

TEST(TranslateWindow, TakesTheMarkOffTextsLongerThanOneCharacter) {
    QWidget window;
    auto* field = new QLabel("_Subject:", &window);
    field->setBuddy(new QLineEdit(&window));
    // The marked letter becomes the access key where the control takes one.
    const std::pair<QWidget*, const char*> controls[] = {
        {new QGroupBox("_Results", &window), "&Results"},
        {new QPushButton("_Cl&ear", &window), "Cl&ear"},
        {new QLabel("_Keywords", &window), "Keywords"},
        {field, "&Subject:"},
        {new QLabel("_", &window), "_"},
        {new QLabel("a_b", &window), "a_b"},
        {new QPushButton("__Twice", &window), "_Twice"}, // one mark only
    };
    TranslateWindow(&window);
    for (const auto& [control, shown] : controls)
        EXPECT_EQ(shownText(control), shown);
}

// Which words match is the search words' rule; the preview marks them in values, never labels.
TEST(PreviewHighlight, MarksTheMatchedWordsInHeaderLinesAndBody) {
    SearchCriteria criteria;
    criteria.m_sSubject = L"transf";
    criteria.m_sBody = L"QUI fox sent";
    criteria.m_sFrom = L"kev";
    criteria.m_sTo = L"farman";
    criteria.m_sAttachment = L"budg";
    CPreviewDlg pane;
    pane.show();
    pane.fill(message(L"The quick brown fox.\r\nfoxes\r\nSentence"),
              Kerf::QuireLib::searchWords(criteria));
    const QStringList expected{"Kevin", "kevin", "Farman", "transformer", "Budget",
                               "quick", "fox",   "foxes",  "Sentence"};
    EXPECT_EQ(highlighted(pane.GetPreviewControl()), expected);
    EXPECT_EQ(pane.matches().size(), static_cast<size_t>(expected.size()));
}

TEST(PreviewHighlight, ShowsTheFirstMatchAndStepsThroughThemWithF3) {
    CPreviewDlg pane;
    pane.resize(300, 120);
    pane.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&pane, 30000));
    SearchCriteria criteria;
    criteria.m_sBody = L"needle";
    pane.fill(message(std::wstring(3000, L'x') + L"\r\nneedles\r\n" + std::wstring(3000, L'y') +
                      L"\r\nneedle"),
              Kerf::QuireLib::searchWords(criteria));
    QTextBrowser& view = pane.GetPreviewControl();
    ASSERT_EQ(pane.matches().size(), 2u);
    // Scrolled down to the first match, far below the header lines.
    EXPECT_GT(view.verticalScrollBar()->value(), 0);
    EXPECT_TRUE(view.viewport()->rect().contains(view.cursorRect().center()));

    const auto press = [&](Qt::KeyboardModifiers modifiers) {
        QTest::keyClick(&view, Qt::Key_F3, modifiers);
        return std::pair{pane.currentMatch(), view.textCursor().selectedText()};
    };
    EXPECT_EQ(press(Qt::NoModifier), std::pair(0, QString("needles")));
    EXPECT_EQ(press(Qt::NoModifier), std::pair(1, QString("needle")));
    EXPECT_TRUE(view.viewport()->rect().contains(view.cursorRect().center()));
    EXPECT_EQ(press(Qt::NoModifier), std::pair(0, QString("needles"))); // round at the end
    EXPECT_EQ(press(Qt::ShiftModifier), std::pair(1, QString("needle")));

    pane.ClearText();
    EXPECT_FALSE(pane.findNext());
}
