#include "app/InstanceGuard.h"

#include "support/Trace.h"

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QLocalSocket>
#include <QThread>
#include <QUrl>

#include <sys/un.h>

namespace {
// One request a line: "raise", or "open " and a file's URL (percent-encoded,
// so that no name can break the line).
constexpr char kRaiseRequest[] = "raise\n";
constexpr char kOpenRequest[] = "open ";
// A request line longer than this is no request of ours.
constexpr qsizetype kLongestRequest = 64 * 1024;
constexpr int kConnectTimeoutMs = 1000;
/// How long a start that lost the claim waits for the owner to listen.
constexpr int kOwnerStartTimeoutMs = 10000;

bool fitsSocketAddress(const QString& path) {
    return static_cast<std::size_t>(QFile::encodeName(path).size()) < sizeof(sockaddr_un::sun_path);
}
} // namespace

CInstanceGuard::CInstanceGuard(QString name, QObject* parent)
    : QObject(parent), m_sName(std::move(name)), m_sSocketPath(socketPath(m_sName)) {
    connect(&m_server, &QLocalServer::newConnection, this, &CInstanceGuard::onNewConnection);
}

QString CInstanceGuard::socketPath(const QString& name) {
    const QString file =
        "qosearch-" +
        QString::fromLatin1(
            QCryptographicHash::hash(name.toUtf8(), QCryptographicHash::Sha256).toHex().left(32));
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QDir(runtime).exists()) {
        const QString path = QDir(runtime).filePath(file);
        if (fitsSocketAddress(path))
            return path;
    }
    return QDir(QDir::tempPath()).filePath(file);
}

bool CInstanceGuard::askOwner(const QByteArray& request, int timeoutMs) const {
    QLocalSocket socket;
    socket.connectToServer(m_sSocketPath);
    if (!socket.waitForConnected(timeoutMs))
        return false;
    socket.write(request);
    socket.waitForBytesWritten(kConnectTimeoutMs);
    socket.disconnectFromServer();
    return true;
}

bool CInstanceGuard::claim(const QStringList& files) {
    QByteArray request;
    for (const QString& file : files)
        request += kOpenRequest + QUrl::fromLocalFile(file).toEncoded() + '\n';
    if (files.isEmpty())
        request = kRaiseRequest;
    KERF_TRACE_ENTRY("CQoSearchApp::createMutex");
    if (Kerf::Trace::isOn()) {
        const QByteArray line = QStringLiteral("sMutexName = %1\n").arg(m_sName).toUtf8();
        Kerf::Trace::tracef("CQoSearchApp::createMutex - %s\n", line.constData());
    }
    if (askOwner(request, kConnectTimeoutMs))
        return false;
    // The lock decides between starts at the same moment; a lock left by a
    // process that no longer runs is taken over, however old.
    auto lock = std::make_unique<QLockFile>(m_sSocketPath + ".lock");
    lock->setStaleLockTime(0);
    if (!lock->tryLock(0)) {
        if (lock->error() == QLockFile::LockFailedError) {
            // Another start owns the name and is about to listen.
            const QDeadlineTimer deadline(kOwnerStartTimeoutMs);
            while (!deadline.hasExpired()) {
                if (askOwner(request, kConnectTimeoutMs))
                    return false;
                QThread::msleep(100);
            }
        }
        Kerf::Trace::tracef("CQoSearchApp::createMutex - lock failed: %d\n",
                            static_cast<int>(lock->error()));
        return false;
    }
    m_pLock = std::move(lock);
    // QLockFile makes the file readable to all; it names this process and
    // host, and is the user's own like every file the program writes.
    QFile::setPermissions(m_sSocketPath + ".lock",
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    // Nobody answers and nobody else holds the lock: any socket file under
    // this name is a leftover.
    QLocalServer::removeServer(m_sSocketPath);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server.listen(m_sSocketPath)) {
        Kerf::Trace::tracef("CQoSearchApp::createMutex - listen failed: %s\n",
                            m_server.errorString().toUtf8().constData());
        return false;
    }
    return true;
}

void CInstanceGuard::onNewConnection() {
    while (QLocalSocket* socket = m_server.nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] { readRequests(*socket); });
        // The request may have arrived before the slot was connected.
        readRequests(*socket);
    }
}

void CInstanceGuard::readRequests(QLocalSocket& socket) {
    QStringList files;
    bool raise = false;
    while (socket.canReadLine()) {
        const QByteArray line = socket.readLine(kLongestRequest).trimmed();
        if (line == QByteArray(kRaiseRequest).trimmed()) {
            raise = true;
        } else if (line.startsWith(kOpenRequest)) {
            const QUrl url = QUrl::fromEncoded(line.mid(qsizetype(sizeof kOpenRequest) - 1));
            if (url.isLocalFile())
                files << url.toLocalFile();
        }
    }
    if (socket.bytesAvailable() > kLongestRequest)
        socket.abort(); // not one of ours
    if (!files.isEmpty())
        emit openRequested(files);
    if (raise)
        emit raiseRequested();
}
