#pragma once
// The "Preview" tab: the selected message as formatted, read-only text, the
// words of the search highlighted. F3 and Shift+F3 step through them.

#include "app/PreviewText.h"
#include "mail/EmailMetadata.h"
#include "mail/SearchWords.h"

#include <QWidget>

#include <vector>

class CSafeTextBrowser;
class QTextBrowser;

class CPreviewDlg : public QWidget {
    Q_OBJECT
public:
    explicit CPreviewDlg(QWidget* parent = nullptr);

    /// Shows the record (see PreviewText.h) with the words highlighted,
    /// scrolled to the first of them (to the top when there is none).
    void fill(const Kerf::QuireLib::CEmailMetadata& record,
              const std::vector<Kerf::QuireLib::SearchWord>& words = {});
    void ClearText();

    /// Selects the next (previous) highlighted word, round at the ends;
    /// false when there is none.
    bool findNext();
    bool findPrevious();
    const std::vector<PreviewMatch>& matches() const { return m_matches; }
    /// The highlighted word selected last, -1 before the first.
    int currentMatch() const { return m_iCurrent; }

    QTextBrowser& GetPreviewControl();

private:
    void showMatch(int index);

    // Shows the sender's text: loads nothing, whatever that text names.
    CSafeTextBrowser* m_ctrlPreview;
    std::vector<PreviewMatch> m_matches;
    int m_iCurrent = -1;
};
