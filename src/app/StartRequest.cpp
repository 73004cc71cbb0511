#include "app/StartRequest.h"

#include "app/MessageViewer.h"

#include <QFileInfo>
#include <QUrl>

StartRequest parseStartArguments(const QStringList& arguments) {
    StartRequest request;
    bool searchAsked = false;
    bool options = true;
    for (const QString& argument : arguments) {
        if (options && argument == QLatin1String("--")) {
            options = false;
        } else if (options && argument == QLatin1String("--search")) {
            searchAsked = true;
        } else if (!options || !argument.startsWith(QLatin1Char('-'))) {
            // A desktop may hand a file as a file: URL.
            const QUrl url(argument);
            const QString path = url.isLocalFile() ? url.toLocalFile() : argument;
            request.files << QFileInfo(path).absoluteFilePath();
        }
    }
    request.showSearch = request.files.isEmpty() || searchAsked;
    return request;
}

void openMessageFiles(const QStringList& files) {
    for (const QString& file : files) {
        auto* viewer = new CMessageViewer(file.toStdWString());
        viewer->setAttribute(Qt::WA_DeleteOnClose);
        viewer->show();
        viewer->raise();
        viewer->activateWindow();
    }
}
