// The words of the search highlighted in the preview: which words, the
// first one scrolled into view, F3 and Shift+F3 stepping through them, and
// the window handing its search's words to the preview.

#include "SharedFiles.h"
#include "WindowTestSupport.h"

#include "app/PreviewDlg.h"
#include "app/PreviewText.h"
#include "app/SearchCriteriaDlg.h"

#include <QScrollBar>
#include <QTextBlock>
#include <QTextBrowser>

#include <functional>

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

QO_TESTS_READ_SHARED(Corpus, "PreviewHighlight.TheWindowHighlightsTheWordsOfItsSearch");

TEST(PreviewHighlight, MarksTheWholeWordsTheSearchMatchedInHeaderLinesAndBody) {
    struct Case {
        const char* what;
        std::function<void(SearchCriteria&)> search;
        QStringList expected;
    };
    const std::vector<Case> cases{
        {"subject prefix", [](auto& c) { c.m_sSubject = L"transf"; }, {"transformer"}},
        {"body prefixes, not in the labels",
         [](auto& c) { c.m_sBody = L"QUI fox sent"; },
         {"quick", "fox", "foxes", "Sentence"}},
        {"sender and recipient",
         [](auto& c) {
             c.m_sFrom = L"kev";
             c.m_sTo = L"farman";
         },
         {"Kevin", "kevin", "Farman"}},
        {"attachment name", [](auto& c) { c.m_sAttachment = L"budg"; }, {"Budget"}},
        {"keywords: whole words anywhere",
         [](auto& c) { c.m_sKeywords = L"the fox"; },
         {"the", "The", "fox"}},
        {"no search, nothing marked", [](auto&) {}, {}},
    };
    CPreviewDlg pane;
    pane.show();
    for (const Case& c : cases) {
        SearchCriteria criteria;
        c.search(criteria);
        pane.fill(message(L"The quick brown fox.\r\nfoxes\r\nSentence"),
                  Kerf::QuireLib::searchWords(criteria));
        EXPECT_EQ(highlighted(pane.GetPreviewControl()), c.expected) << c.what;
        EXPECT_EQ(pane.matches().size(), static_cast<size_t>(c.expected.size())) << c.what;
    }
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

    const auto selected = [&] { return view.textCursor().selectedText(); };
    const auto press = [&](Qt::KeyboardModifiers modifiers) {
        QTest::keyClick(&view, Qt::Key_F3, modifiers);
        return std::pair{pane.currentMatch(), selected()};
    };
    EXPECT_EQ(press(Qt::NoModifier), std::pair(0, QString("needles")));
    EXPECT_EQ(press(Qt::NoModifier), std::pair(1, QString("needle")));
    EXPECT_TRUE(view.viewport()->rect().contains(view.cursorRect().center()));
    EXPECT_EQ(press(Qt::NoModifier), std::pair(0, QString("needles"))); // round at the end
    EXPECT_EQ(press(Qt::ShiftModifier), std::pair(1, QString("needle")));

    pane.ClearText();
    EXPECT_FALSE(pane.findNext());
}

TEST(PreviewHighlight, TheWindowHighlightsTheWordsOfItsSearch) {
    User user;
    const fs::path mail = user.root() / "mail";
    copyCorpus(mail, {"mr_voteYes.msg", "poi_quick.msg"});
    auto dlg = user.openWindow();
    dlg->criteriaPane().subjectEdit().setText("vot");
    searchFolder(*dlg, mail);
    ASSERT_TRUE(waitForSearchEnd(*dlg));
    ASSERT_EQ(dlg->resultsList().GetItemCount(), 1);
    // The criteria changed after the search do not change what it found.
    dlg->criteriaPane().subjectEdit().setText("items");
    dlg->resultsList().setCurrentIndex(dlg->resultsList().model()->index(0, 0));
    EXPECT_EQ(highlighted(dlg->previewPane().GetPreviewControl()), QStringList{"vote"});
}
