#include "app/InstanceGuard.h"

#include "support/Trace.h"

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QLocalSocket>
#include <QThread>

#include <sys/un.h>

namespace {
constexpr char kRaiseRequest[] = "raise\n";
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

bool CInstanceGuard::askOwnerToRaise(int timeoutMs) const {
    QLocalSocket socket;
    socket.connectToServer(m_sSocketPath);
    if (!socket.waitForConnected(timeoutMs))
        return false;
    socket.write(kRaiseRequest);
    socket.waitForBytesWritten(kConnectTimeoutMs);
    socket.disconnectFromServer();
    return true;
}

bool CInstanceGuard::claim() {
    KERF_TRACE_ENTRY("CQoSearchApp::createMutex");
    if (Kerf::Trace::isOn()) {
        const QByteArray line = QStringLiteral("sMutexName = %1\n").arg(m_sName).toUtf8();
        Kerf::Trace::tracef("CQoSearchApp::createMutex - %s\n", line.constData());
    }
    if (askOwnerToRaise(kConnectTimeoutMs))
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
                if (askOwnerToRaise(kConnectTimeoutMs))
                    return false;
                QThread::msleep(100);
            }
        }
        Kerf::Trace::tracef("CQoSearchApp::createMutex - lock failed: %d\n",
                            static_cast<int>(lock->error()));
        return false;
    }
    m_pLock = std::move(lock);
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
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (socket->readAll().contains("raise"))
                emit raiseRequested();
        });
        // The request may have arrived before the slot was connected.
        if (socket->bytesAvailable() > 0 && socket->readAll().contains("raise"))
            emit raiseRequested();
    }
}
