#include "app/SaveFolder.h"

#include "stores/UserSettings.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QStandardPaths>

namespace SaveFolder {
namespace {

const QString kKey = QStringLiteral("Search/m_sSaveFolder");

} // namespace

QString start(QWidget* parent) {
    const QString last = Kerf::QuireLib::openUserSettings()->value(kKey).toString();
    if (!last.isEmpty() && QFileInfo(last).isDir())
        return last;
    const QString downloads = QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
    if (!downloads.isEmpty() && QFileInfo(downloads).isDir())
        return downloads;
    return QFileDialog::getExistingDirectory(parent, QStringLiteral("Choose a Folder to Save In"),
                                             QDir::homePath());
}

void remember(const QString& savedFile) {
    Kerf::QuireLib::openUserSettings()->setValue(kKey, QFileInfo(savedFile).absolutePath());
}

} // namespace SaveFolder
