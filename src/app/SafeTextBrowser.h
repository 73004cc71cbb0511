#pragma once
// A text browser for HTML written by someone else. It loads nothing from
// anywhere: no network, no local files, no devices, so a message cannot tell
// its sender that it was read, nor show or read a file of the reader's. The
// HTML is made safe and limited first (mail/ViewableHtml.h): every picture
// is renamed to one this browser serves from memory, either a picture the
// message carries itself, handed in by address, or an empty one. Links show,
// and open on the desktop only when clicked, and only web and mail links.

#include <QImage>
#include <QList>
#include <QTextBrowser>
#include <QUrl>

#include <functional>
#include <string>
#include <vector>

class CSafeTextBrowser : public QTextBrowser {
    Q_OBJECT
public:
    /// The bytes of the picture the message carries under an address its
    /// HTML gives ("cid:..."); empty when it carries none.
    using InlineSource = std::function<QByteArray(const QString& address)>;

    /// Pictures larger than this on a side, or than the pixels left to the
    /// document, stay empty: their bytes are small, what they unpack to is not.
    static constexpr int kMaxPictureSide = 8192;
    static constexpr qint64 kMaxPicturePixels = 16 * 1024 * 1024;

    explicit CSafeTextBrowser(QWidget* parent = nullptr);

    void setInlineSource(InlineSource source) { m_inlineSource = std::move(source); }

    /// Shows the HTML made safe; when it is past a limit, shows nothing and
    /// returns why (the caller shows its text instead).
    QString showHtml(const QString& html);

    /// The addresses of the pictures the document named and did not get, in order.
    const QList<QUrl>& refusedResources() const { return m_refused; }

    /// Where a clicked link goes on the desktop: web links as they are, mail
    /// links with the address alone (no attachments, no text of the
    /// sender's); empty for any other link.
    static QUrl openableLink(const QUrl& url);

protected:
    QVariant loadResource(int type, const QUrl& name) override;

private:
    QImage picture(const std::string& address);

    InlineSource m_inlineSource;
    std::vector<std::string> m_pictures;
    QList<QUrl> m_refused;
    qint64 m_iPixelsLeft = kMaxPicturePixels;
    unsigned m_iDocument = 0;
};
