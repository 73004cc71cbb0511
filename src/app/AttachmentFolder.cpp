#include "app/AttachmentFolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QRegularExpression>
#include <QSaveFile>
#include <QTemporaryDir>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <sys/stat.h>
#include <unistd.h>

namespace AttachmentFolder {
namespace {

constexpr QFile::Permissions kOwnerOnly = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner |
                                          QFile::ReadUser | QFile::WriteUser | QFile::ExeUser;
// The longest file name Linux file systems take, in bytes.
constexpr qsizetype kMaxNameBytes = 255;
// A longer "extension" is part of the name.
constexpr qsizetype kMaxExtensionLength = 16;

const QString kFolderPrefix = QStringLiteral("qosearch-");

const QTemporaryDir& processFolder() {
    // QTemporaryDir creates its folder with mode 0700; set again below in
    // case the umask or the file system says otherwise.
    static const QTemporaryDir folder(QDir::tempPath() + QLatin1Char('/') + kFolderPrefix +
                                      QString::number(::getpid()) + QStringLiteral("-XXXXXX"));
    static const bool restricted =
        folder.isValid() && QFile::setPermissions(folder.path(), kOwnerOnly);
    (void)restricted;
    return folder;
}

// Letters that reorder the text around them, so that a name ending in
// "<right-to-left override>txt.exe" reads as ending in "exe.txt".
bool isDirectionControl(QChar c) {
    const char16_t u = c.unicode();
    return u == 0x061C || u == 0x200E || u == 0x200F || (u >= 0x202A && u <= 0x202E) ||
           (u >= 0x2066 && u <= 0x2069);
}

bool processRuns(qint64 pid) {
    return pid > 0 && (::kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM);
}

} // namespace

QString safeFileName(const QString& name) {
    QString safe;
    safe.reserve(name.size());
    for (const QChar c : name) {
        if (c == QLatin1Char('/') || c == QLatin1Char('\\') || c.category() == QChar::Other_Control)
            safe += QLatin1Char('_');
        else
            safe += c;
    }
    safe = safe.trimmed();
    if (safe.isEmpty() || safe == QLatin1String(".") || safe == QLatin1String(".."))
        safe = QStringLiteral("attachment");
    if (safe.toUtf8().size() <= kMaxNameBytes)
        return safe;
    const qsizetype dot = safe.lastIndexOf(QLatin1Char('.'));
    const QString extension =
        dot > 0 && safe.size() - dot <= kMaxExtensionLength + 1 ? safe.mid(dot) : QString();
    QString stem = safe.left(safe.size() - extension.size());
    const qsizetype room = kMaxNameBytes - extension.toUtf8().size();
    while (!stem.isEmpty() && stem.toUtf8().size() > room) {
        stem.chop(1);
        if (!stem.isEmpty() && stem.back().isHighSurrogate())
            stem.chop(1);
    }
    return stem.trimmed() + extension;
}

QString write(const QString& name, const std::function<bool(QIODevice&)>& fill) {
    const QTemporaryDir& folder = processFolder();
    if (!folder.isValid())
        return {};
    static std::atomic<int> next{0};
    const QString own = folder.filePath(QString::number(++next));
    if (!QDir().mkdir(own) || !QFile::setPermissions(own, kOwnerOnly))
        return {};
    QSaveFile file(own + QLatin1Char('/') + safeFileName(name));
    if (!file.open(QIODevice::WriteOnly))
        return {};
    QFile::setPermissions(file.fileName(), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser |
                                               QFile::WriteUser);
    if (!fill(file) || !file.commit())
        return {};
    QFile::setPermissions(file.fileName(), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser |
                                               QFile::WriteUser);
    return file.fileName();
}

QString openingRisk(const QString& path) {
    const QString name = QFileInfo(path).fileName();
    if (std::any_of(name.begin(), name.end(), isDirectionControl))
        return QStringLiteral("Its name holds characters that change the direction of the text, "
                              "so it may not end as it appears to.");
    static const QStringList programSuffixes = {
        QStringLiteral("desktop"), QStringLiteral("sh"),       QStringLiteral("bash"),
        QStringLiteral("zsh"),     QStringLiteral("csh"),      QStringLiteral("ksh"),
        QStringLiteral("py"),      QStringLiteral("pl"),       QStringLiteral("rb"),
        QStringLiteral("php"),     QStringLiteral("js"),       QStringLiteral("jar"),
        QStringLiteral("run"),     QStringLiteral("appimage"), QStringLiteral("deb"),
        QStringLiteral("rpm"),     QStringLiteral("exe"),      QStringLiteral("msi"),
        QStringLiteral("bat"),     QStringLiteral("cmd"),      QStringLiteral("com"),
        QStringLiteral("scr"),     QStringLiteral("vbs"),      QStringLiteral("ps1"),
        QStringLiteral("lnk")};
    const QMimeType type = QMimeDatabase().mimeTypeForFile(path);
    for (const char* program :
         {"application/x-executable", "application/x-sharedlib", "application/x-desktop",
          "application/x-shellscript", "application/x-ms-dos-executable", "application/x-msi",
          "application/x-java-archive", "application/x-perl", "text/x-python", "application/x-ruby",
          "application/javascript", "application/x-appimage"})
        if (type.inherits(QLatin1String(program)))
            return QStringLiteral("It is a program or a script (%1): opening it may run it.")
                .arg(type.comment());
    if (programSuffixes.contains(QFileInfo(name).suffix().toLower()))
        return QStringLiteral("It may be a program or a script: opening it may run it.");
    return {};
}

int clearStale(const QString& parent) {
    static const QRegularExpression ownName(
        QStringLiteral("^qosearch-(\\d{1,10})-[A-Za-z0-9]{6}$"));
    int removed = 0;
    const QStringList names =
        QDir(parent).entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden);
    for (const QString& name : names) {
        const QRegularExpressionMatch match = ownName.match(name);
        if (!match.hasMatch() || processRuns(match.captured(1).toLongLong()))
            continue;
        const QString path = parent + QLatin1Char('/') + name;
        struct stat info {};
        if (::lstat(QFile::encodeName(path).constData(), &info) != 0 || !S_ISDIR(info.st_mode) ||
            info.st_uid != ::getuid() || (info.st_mode & 07777) != 0700)
            continue;
        // Links inside are removed, never followed.
        if (QDir(path).removeRecursively())
            ++removed;
    }
    return removed;
}

} // namespace AttachmentFolder
