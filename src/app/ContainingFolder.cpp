#include "app/ContainingFolder.h"

#include "app/DesktopAssociation.h"
#include "app/ItemActions.h"
#include "controls/ResultsRow.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QMessageBox>
#include <QStandardPaths>
#include <QStringList>
#include <QUrl>

namespace ContainingFolder {

namespace {

constexpr const char* kService = "org.freedesktop.FileManager1";
constexpr const char* kPath = "/org/freedesktop/FileManager1";
// A file manager that is started for the call answers within this time.
constexpr int kCallLimitMs = 5000;

bool showItemsOverTheBus(const std::vector<std::wstring>& files) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || bus.interface() == nullptr)
        return false;
    const QString service = QLatin1String(kService);
    if (!bus.interface()->isServiceRegistered(service).value() &&
        !bus.interface()->activatableServiceNames().value().contains(service))
        return false;
    QStringList uris;
    for (const std::wstring& file : files)
        uris << QUrl::fromLocalFile(QString::fromStdWString(file)).toString(QUrl::FullyEncoded);
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, QLatin1String(kPath), service, "ShowItems");
    call << uris << QString();
    return bus.call(call, QDBus::Block, kCallLimitMs).type() == QDBusMessage::ReplyMessage;
}

} // namespace

void tellWhatToInstall(QWidget* parent, const QString& what, const QString& install) {
    auto* box = new QMessageBox(QMessageBox::Information, QStringLiteral("QoSearch"),
                                what + QStringLiteral("\n\n") + install, QMessageBox::Ok, parent);
    box->setObjectName(QStringLiteral("programMissing"));
    box->setTextFormat(Qt::PlainText); // it names files
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

bool show(const std::vector<std::wstring>& files, QWidget* parent,
          const CDesktopAssociation& fileManager) {
    if (files.empty() || showItemsOverTheBus(files))
        return true;
    const QString what = QStringLiteral("The folder could not be opened: no file manager is "
                                        "set up on this computer.");
    if (QStandardPaths::findExecutable(QStringLiteral("xdg-open")).isEmpty() &&
        fileManager.answer() == std::optional<bool>(false)) {
        tellWhatToInstall(parent, what,
                          QStringLiteral("Install the desktop's opener and a file manager, for "
                                         "example: sudo apt install xdg-utils nautilus"));
        return false;
    }
    if (fileManager.answer() == std::optional<bool>(false)) {
        tellWhatToInstall(parent, what,
                          QStringLiteral("Install a file manager, for example: sudo apt install "
                                         "nautilus (or dolphin, thunar, pcmanfm)."));
        return false;
    }
    std::vector<std::wstring> folders;
    for (const std::wstring& file : files)
        folders.push_back(Kerf::QuireLib::ResultsRow::directoryOf(file));
    if (ItemActions::exploreFolders(folders).empty())
        return true;
    tellWhatToInstall(parent, what,
                      QStringLiteral("Install a file manager and the desktop's opener, for "
                                     "example: sudo apt install xdg-utils nautilus"));
    return false;
}

bool show(const std::vector<std::wstring>& files, QWidget* parent) {
    return show(files, parent, fileManagers());
}

CDesktopAssociation& fileManagers() {
    static CDesktopAssociation association{QStringLiteral("inode/directory")};
    association.start();
    return association;
}

} // namespace ContainingFolder
