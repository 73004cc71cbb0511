#include "app/PreviewDlg.h"

#include "app/SafeTextBrowser.h"
#include "support/Trace.h"

#include <QShortcut>
#include <QTextBrowser>
#include <QVBoxLayout>

CPreviewDlg::CPreviewDlg(QWidget* parent) : QWidget(parent), m_ctrlPreview(new CSafeTextBrowser) {
    m_ctrlPreview->setObjectName(QStringLiteral("preview"));
    m_ctrlPreview->setReadOnly(true);
    m_ctrlPreview->setUndoRedoEnabled(false);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_ctrlPreview);
    // Anywhere in the window while the preview shows, not only in the text.
    for (const auto& [key, step] :
         {std::pair{QKeySequence(Qt::Key_F3), &CPreviewDlg::findNext},
          std::pair{QKeySequence(Qt::SHIFT | Qt::Key_F3), &CPreviewDlg::findPrevious}}) {
        auto* shortcut = new QShortcut(key, this);
        shortcut->setContext(Qt::WindowShortcut);
        connect(shortcut, &QShortcut::activated, this, step);
    }
}

void CPreviewDlg::fill(const Kerf::QuireLib::CEmailMetadata& record,
                       const std::vector<Kerf::QuireLib::SearchWord>& words) {
    KERF_TRACE_ENTRY("CPreviewDlg::fill");
    m_matches = fillPreview(*m_ctrlPreview, record, words);
    m_iCurrent = -1;
    if (!m_matches.empty()) {
        // In view, but not yet selected: F3 selects it.
        QTextCursor cursor(m_ctrlPreview->document());
        cursor.setPosition(m_matches.front().start);
        m_ctrlPreview->setTextCursor(cursor);
        m_ctrlPreview->ensureCursorVisible();
    }
}

QTextBrowser& CPreviewDlg::GetPreviewControl() {
    return *m_ctrlPreview;
}

void CPreviewDlg::ClearText() {
    m_ctrlPreview->clear();
    m_matches.clear();
    m_iCurrent = -1;
}

bool CPreviewDlg::findNext() {
    if (m_matches.empty())
        return false;
    showMatch(m_iCurrent + 1 >= static_cast<int>(m_matches.size()) ? 0 : m_iCurrent + 1);
    return true;
}

bool CPreviewDlg::findPrevious() {
    if (m_matches.empty())
        return false;
    showMatch(m_iCurrent <= 0 ? static_cast<int>(m_matches.size()) - 1 : m_iCurrent - 1);
    return true;
}

void CPreviewDlg::showMatch(int index) {
    m_iCurrent = index;
    const PreviewMatch& match = m_matches[static_cast<size_t>(index)];
    QTextCursor cursor(m_ctrlPreview->document());
    cursor.setPosition(match.start);
    cursor.setPosition(match.start + match.length, QTextCursor::KeepAnchor);
    m_ctrlPreview->setTextCursor(cursor);
    m_ctrlPreview->ensureCursorVisible();
}
