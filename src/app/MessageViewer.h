#pragma once
// A window of the program's own that shows one saved message, for desktops
// where no application opens ".msg" files. It reads the file itself, so it
// also shows messages the index does not hold.

#include <QDialog>

#include <string>

class QTextBrowser;

class CMessageViewer : public QDialog {
    Q_OBJECT
public:
    /// Reads the message; a damaged file shows what could be read.
    explicit CMessageViewer(const std::wstring& path, QWidget* parent = nullptr);

    const std::wstring& path() const { return m_sPath; }
    QTextBrowser& GetTextControl() { return *m_pText; }

private:
    std::wstring m_sPath;
    QTextBrowser* m_pText;
};
