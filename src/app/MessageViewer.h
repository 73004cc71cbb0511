#pragma once
// A window of the program's own that shows one saved message whole, for
// desktops where no application opens ".msg" files: the header lines, the
// body as it was written (HTML shown safely, else the text) and the
// attachments, which can be saved or opened. It reads the file itself, so it
// also shows messages the index does not hold.

#include "app/PreviewText.h"
#include "mail/SearchWords.h"

#include <QDialog>

#include <memory>
#include <string>
#include <vector>

class CSafeTextBrowser;
class QIODevice;
class QLabel;
class QPushButton;
class QTextDocument;
class QTreeWidget;

namespace Kerf::QuireLib {
class CMessageDocument;
}

class CMessageViewer : public QDialog {
    Q_OBJECT
public:
    /// Reads the message file; a damaged file shows what could be read.
    explicit CMessageViewer(const std::wstring& path, QWidget* parent = nullptr);
    /// Shows a message already read (an attached message).
    CMessageViewer(std::shared_ptr<const Kerf::QuireLib::CMessageDocument> document,
                   QWidget* parent);
    ~CMessageViewer() override;

    /// The file shown; empty for an attached message.
    const std::wstring& path() const { return m_sPath; }
    CSafeTextBrowser& GetTextControl() { return *m_pBody; }
    QLabel& headerLabel() { return *m_pHeader; }
    /// Says when the message is damaged; hidden otherwise.
    QLabel& noteLabel() { return *m_pNote; }
    QTreeWidget& attachmentList() { return *m_pAttachments; }

    /// Asks where to save the attachment of the row, then writes it there.
    void saveAttachment(int row);
    /// Opens the row's attachment: an attached message in a viewer of its
    /// own, a file with the desktop's program after writing it into a
    /// folder only this user can read.
    void openAttachment(int row);

    /// Highlights the words of a search in the body; F3 and Shift+F3 step
    /// through them. Returns how many there are.
    int markSearchWords(const std::vector<Kerf::QuireLib::SearchWord>& words);
    /// Selects the next (previous) highlighted word, round at the ends.
    bool findNext();
    bool findPrevious();
    /// The header and the body on paper, or in a PDF file (the print
    /// dialog offers both).
    void print();
    /// The header and body as they are printed.
    std::unique_ptr<QTextDocument> printedDocument() const;

private:
    void build();
    void showHeader();
    /// Shows the body; says why when its HTML is shown as plain text.
    QString showBody();
    void listAttachments();
    void updateAttachmentButtons();
    enum class Copy { Done, ReadFailed, WriteFailed };
    /// Copies the attachment into `device` a piece at a time, whatever its
    /// size; the user is told when it cannot be read.
    Copy copyAttachment(int row, QIODevice& device);

    std::wstring m_sPath;
    std::shared_ptr<const Kerf::QuireLib::CMessageDocument> m_pDocument;
    QLabel* m_pHeader;
    QLabel* m_pNote;
    CSafeTextBrowser* m_pBody;
    QTreeWidget* m_pAttachments;
    QPushButton* m_pSaveAs;
    QPushButton* m_pOpen;
    std::vector<PreviewMatch> m_matches;
    int m_iCurrent = -1;
};
