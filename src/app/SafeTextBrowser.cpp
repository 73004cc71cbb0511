#include "app/SafeTextBrowser.h"

#include "text/ViewableHtml.h"

#include <QBuffer>
#include <QDesktopServices>
#include <QImageReader>
#include <QPixmap>

namespace {

// Qt looks for a picture under its name in the file system before it asks
// the document; a name in Qt's own resources (":/") keeps it out of there.
// The document caches pictures by name: each document shown gets names of its own.
const QString kPicturePath = QStringLiteral("/qosearch-picture/%1/");

QPixmap emptyPicture() {
    QPixmap pixmap(1, 1);
    pixmap.fill(Qt::transparent);
    return pixmap;
}

} // namespace

CSafeTextBrowser::CSafeTextBrowser(QWidget* parent) : QTextBrowser(parent) {
    // Following a link inside the browser would load it as a document.
    setOpenLinks(false);
    setOpenExternalLinks(false);
    connect(this, &QTextBrowser::anchorClicked, this, [](const QUrl& url) {
        const QUrl target = openableLink(url);
        if (!target.isEmpty())
            QDesktopServices::openUrl(target);
    });
}

QUrl CSafeTextBrowser::openableLink(const QUrl& url) {
    const QString scheme = url.scheme().toLower();
    if (scheme == QLatin1String("http") || scheme == QLatin1String("https"))
        return url;
    if (scheme != QLatin1String("mailto") || url.path().isEmpty())
        return {};
    QUrl address;
    address.setScheme(QStringLiteral("mailto"));
    address.setPath(url.path());
    return address;
}

QString CSafeTextBrowser::showHtml(const QString& html) {
    ++m_iDocument;
    Kerf::Html::ViewLimits limits;
    limits.imagePrefix = (QLatin1Char(':') + kPicturePath.arg(m_iDocument)).toStdString();
    Kerf::Html::ViewableHtml view = Kerf::Html::makeViewable(html.toUtf8().toStdString(), limits);
    clear();
    m_refused.clear();
    m_iPixelsLeft = kMaxPicturePixels;
    m_pictures = std::move(view.images);
    if (!view.refusal.empty())
        return QString::fromStdString(view.refusal);
    setHtml(QString::fromStdString(view.html));
    return {};
}

QVariant CSafeTextBrowser::loadResource(int type, const QUrl& name) {
    // Whatever is asked for, an answer: given nothing, Qt would load the
    // name itself.
    if (type != QTextDocument::ImageResource)
        return QString();
    const QString prefix = kPicturePath.arg(m_iDocument);
    bool numbered = false;
    const std::size_t index =
        name.path().startsWith(prefix) ? name.path().mid(prefix.size()).toULong(&numbered) : 0;
    if (!numbered || index >= m_pictures.size()) {
        m_refused.push_back(name);
        return emptyPicture();
    }
    const std::string& address = m_pictures[index];
    const QImage image = picture(address);
    if (image.isNull()) {
        m_refused.push_back(QUrl(QString::fromStdString(address)));
        return emptyPicture();
    }
    return QPixmap::fromImage(image);
}

QImage CSafeTextBrowser::picture(const std::string& address) {
    if (!m_inlineSource)
        return {};
    QByteArray bytes = m_inlineSource(QString::fromStdString(address));
    if (bytes.isEmpty())
        return {};
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    const QSize size = reader.size();
    const qint64 pixels = qint64(size.width()) * size.height();
    if (!size.isValid() || size.width() > kMaxPictureSide || size.height() > kMaxPictureSide ||
        pixels > m_iPixelsLeft)
        return {};
    QImage image = reader.read();
    if (!image.isNull())
        m_iPixelsLeft -= pixels;
    return image;
}
