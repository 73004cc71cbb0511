#include "app/AttachmentFolder.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QTemporaryDir>

#include <atomic>

namespace AttachmentFolder {
namespace {

constexpr QFile::Permissions kOwnerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                          QFile::ReadUser | QFile::WriteUser | QFile::ExeUser;

const QTemporaryDir& processFolder() {
    // QTemporaryDir creates its folder with mode 0700; set again below in
    // case the umask or the file system says otherwise.
    static const QTemporaryDir folder(QDir::tempPath() + QStringLiteral("/qosearch-XXXXXX"));
    static const bool restricted =
        folder.isValid() && QFile::setPermissions(folder.path(), kOwnerOnly);
    (void)restricted;
    return folder;
}

} // namespace

QString safeFileName(const QString& name) {
    QString safe = name;
    safe.replace(QLatin1Char('/'), QLatin1Char('_'));
    safe.replace(QLatin1Char('\\'), QLatin1Char('_'));
    safe.remove(QChar(0));
    safe = safe.trimmed();
    if (safe.isEmpty() || safe == QLatin1String(".") || safe == QLatin1String(".."))
        safe = QStringLiteral("attachment");
    return safe;
}

QString write(const QString& name, const QByteArray& data) {
    const QTemporaryDir& folder = processFolder();
    if (!folder.isValid())
        return {};
    static std::atomic<int> next{0};
    const QString own = folder.filePath(QString::number(++next));
    if (!QDir().mkdir(own) || !QFile::setPermissions(own, kOwnerOnly))
        return {};
    QSaveFile file(own + QLatin1Char('/') + safeFileName(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(data) != data.size() || !file.commit())
        return {};
    QFile::setPermissions(file.fileName(), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser |
                                               QFile::WriteUser);
    return file.fileName();
}

} // namespace AttachmentFolder
