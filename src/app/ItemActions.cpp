#include "app/ItemActions.h"

#include "app/MessageViewer.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <QDesktopServices>
#include <QMap>
#include <QProcess>
#include <QUrl>

#include <set>

namespace ItemActions {

bool hasDesktopApplicationFor(const QString& mimeType) {
    static QMap<QString, bool> known;
    const auto it = known.constFind(mimeType);
    if (it != known.constEnd())
        return *it;
    QProcess query;
    query.start(QStringLiteral("xdg-mime"),
                {QStringLiteral("query"), QStringLiteral("default"), mimeType});
    bool found = false;
    if (query.waitForStarted(3000) && query.waitForFinished(5000) &&
        query.exitStatus() == QProcess::NormalExit && query.exitCode() == 0)
        found = !query.readAllStandardOutput().trimmed().isEmpty();
    else if (query.state() != QProcess::NotRunning)
        query.kill();
    known.insert(mimeType, found);
    return found;
}

int openMessages(const std::vector<std::wstring>& paths, QWidget* parent) {
    const bool desktop = hasDesktopApplicationFor(QLatin1String(kMessageMimeType));
    int shownHere = 0;
    for (const std::wstring& path : paths) {
        const QUrl url = QUrl::fromLocalFile(QString::fromStdWString(path));
        if (desktop && QDesktopServices::openUrl(url))
            continue;
        auto* viewer = new CMessageViewer(path, parent);
        viewer->show();
        ++shownHere;
    }
    return shownHere;
}

std::vector<std::wstring> exploreFolders(const std::vector<std::wstring>& folders) {
    std::set<std::wstring> opened; // folders compare as the file system compares them
    std::vector<std::wstring> order;
    for (const std::wstring& folder : folders) {
        if (!opened.insert(folder).second)
            continue;
        order.push_back(folder);
        if (!QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdWString(folder))))
            Kerf::Trace::tracef("No application opened the folder %s\n",
                                Kerf::Util::toNarrow(folder).c_str());
    }
    return order;
}

} // namespace ItemActions
