#include "app/PreviewPane.h"

#include "app/PreviewText.h"
#include "support/Trace.h"

#include <QTextBrowser>
#include <QVBoxLayout>

CPreviewDlg::CPreviewDlg(QWidget* parent) : QWidget(parent), m_ctrlPreview(new QTextBrowser) {
    m_ctrlPreview->setObjectName(QStringLiteral("preview"));
    m_ctrlPreview->setReadOnly(true);
    m_ctrlPreview->setOpenLinks(false);
    m_ctrlPreview->setUndoRedoEnabled(false);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_ctrlPreview);
}

void CPreviewDlg::fill(const Kerf::QuireLib::CEmailMetadata& record) {
    KERF_TRACE_ENTRY("CPreviewDlg::fill");
    fillPreview(*m_ctrlPreview, record);
}

void CPreviewDlg::ClearText() {
    m_ctrlPreview->clear();
}
