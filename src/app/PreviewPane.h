#pragma once
// The "Preview" tab: the selected message as formatted, read-only text.

#include "mail/EmailMetadata.h"

#include <QWidget>

class QTextBrowser;

class CPreviewDlg : public QWidget {
    Q_OBJECT
public:
    explicit CPreviewDlg(QWidget* parent = nullptr);

    /// Shows the record (see PreviewText.h), scrolled to the top.
    void fill(const Kerf::QuireLib::CEmailMetadata& record);
    void ClearText();

    QTextBrowser& GetPreviewControl() { return *m_ctrlPreview; }

private:
    QTextBrowser* m_ctrlPreview;
};
