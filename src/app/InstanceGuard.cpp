#include "app/InstanceGuard.h"

#include "support/Trace.h"

#include <QLocalSocket>

namespace {
constexpr char kRaiseRequest[] = "raise\n";
constexpr int kConnectTimeoutMs = 1000;
} // namespace

CInstanceGuard::CInstanceGuard(QString name, QObject* parent)
    : QObject(parent), m_sName(std::move(name)) {
    connect(&m_server, &QLocalServer::newConnection, this, &CInstanceGuard::onNewConnection);
}

bool CInstanceGuard::claim() {
    KERF_TRACE_ENTRY("CQoSearchApp::createMutex");
    if (Kerf::Trace::isOn()) {
        const QByteArray line = QStringLiteral("sMutexName = %1\n").arg(m_sName).toUtf8();
        Kerf::Trace::tracef("CQoSearchApp::createMutex - %s\n", line.constData());
    }
    {
        QLocalSocket socket;
        socket.connectToServer(m_sName);
        if (socket.waitForConnected(kConnectTimeoutMs)) {
            socket.write(kRaiseRequest);
            socket.waitForBytesWritten(kConnectTimeoutMs);
            socket.disconnectFromServer();
            return false;
        }
    }
    // Nobody answers: any socket file under this name is a leftover.
    QLocalServer::removeServer(m_sName);
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server.listen(m_sName)) {
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
