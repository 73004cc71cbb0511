#include "app/FileMovement.h"

#include "support/Strings.h"
#include "support/Trace.h"

#include <QClipboard>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMimeData>
#include <QUrl>

namespace {

QString toQString(const std::wstring& path) {
    return QString::fromStdWString(path);
}

} // namespace

QMimeData* CFileMovement::buildMimeData(const std::vector<std::wstring>& paths, bool cut) {
    QList<QUrl> urls;
    QStringList lines;
    QByteArray gnome = cut ? "cut" : "copy";
    for (const std::wstring& path : paths) {
        const QUrl url = QUrl::fromLocalFile(toQString(path));
        urls.push_back(url);
        lines.push_back(toQString(path));
        gnome += '\n' + url.toEncoded();
    }
    auto* data = new QMimeData;
    data->setUrls(urls);
    data->setData(QStringLiteral("x-special/gnome-copied-files"), gnome);
    data->setData(QStringLiteral("application/x-kde-cutselection"), cut ? "1" : "0");
    data->setText(lines.join(QLatin1Char('\n')));
    return data;
}

void CFileMovement::Cut(const std::vector<std::wstring>& paths) {
    QGuiApplication::clipboard()->setMimeData(buildMimeData(paths, true));
}

void CFileMovement::Copy(const std::vector<std::wstring>& paths) {
    QGuiApplication::clipboard()->setMimeData(buildMimeData(paths, false));
}

std::vector<std::wstring> CFileMovement::Delete(const std::vector<std::wstring>& paths) {
    std::vector<std::wstring> failed;
    for (const std::wstring& path : paths) {
        QFile file(toQString(path));
        if (!file.moveToTrash()) {
            Kerf::Trace::tracef("Could not move %s to the trash: %s\n",
                                Kerf::Util::toNarrow(path).c_str(),
                                file.errorString().toUtf8().constData());
            failed.push_back(path);
        }
    }
    return failed;
}

bool CFileMovement::IsFileReadable(const std::wstring& path) {
    const QFileInfo info(toQString(path));
    return info.isFile() && info.isReadable();
}
