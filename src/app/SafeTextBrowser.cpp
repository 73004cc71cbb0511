#include "app/SafeTextBrowser.h"

#include <QDesktopServices>

CSafeTextBrowser::CSafeTextBrowser(QWidget* parent) : QTextBrowser(parent) {
    // Following a link inside the browser would load it as a document.
    setOpenLinks(false);
    setOpenExternalLinks(false);
    connect(this, &QTextBrowser::anchorClicked, this, [](const QUrl& url) {
        if (isOpenableLink(url))
            QDesktopServices::openUrl(url);
    });
}

bool CSafeTextBrowser::isOpenableLink(const QUrl& url) {
    const QString scheme = url.scheme().toLower();
    return scheme == QLatin1String("http") || scheme == QLatin1String("https") ||
           scheme == QLatin1String("mailto");
}

QVariant CSafeTextBrowser::loadResource(int type, const QUrl& name) {
    if (type == QTextDocument::ImageResource && m_inlineSource &&
        name.scheme().compare(QLatin1String("cid"), Qt::CaseInsensitive) == 0) {
        const QByteArray picture = m_inlineSource(name.path());
        if (!picture.isEmpty())
            return picture;
    }
    m_refused.push_back(name);
    return {};
}
