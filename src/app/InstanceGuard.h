#pragma once
// Makes sure one search window works on one index. The first instance listens
// on a local socket named after the index; a later start connects, asks the
// first to bring its window forward, and ends. A socket name left behind by a
// crashed instance answers nobody and is taken over. A start that was given
// message files hands them to the first instance, which opens them, instead
// of asking it to raise its window.
//
// The name derived from the index path can be far longer than a local socket
// path may be, so the socket file is named by a fixed-length digest of it, in
// the user's runtime folder. Which start owns the name is decided by a lock
// file beside the socket, held for the owner's lifetime: two starts at the
// same moment cannot both remove a socket and listen.

#include <QLocalServer>
#include <QLockFile>
#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

class QLocalSocket;

class CInstanceGuard : public QObject {
    Q_OBJECT
public:
    explicit CInstanceGuard(QString name, QObject* parent = nullptr);

    /// True when this process now owns the name. False when another instance
    /// runs; it has then been asked to open the files, or with none to raise
    /// its window.
    bool claim(const QStringList& files = {});

    const QString& name() const { return m_sName; }
    /// Where the socket lives: a digest of the name in $XDG_RUNTIME_DIR, or
    /// in the temporary folder when that is unset or too long for a socket.
    static QString socketPath(const QString& name);

signals:
    /// Another start asked this instance to raise, activate and restore its window.
    void raiseRequested();
    /// Another start asked this instance to open these files.
    void openRequested(const QStringList& files);

private:
    void onNewConnection();
    /// Hands the request to an owner listening on the socket.
    bool askOwner(const QByteArray& request, int timeoutMs) const;
    /// Acts on the complete lines a connection has sent.
    void readRequests(QLocalSocket& socket);

    QString m_sName;
    QString m_sSocketPath;
    std::unique_ptr<QLockFile> m_pLock;
    QLocalServer m_server;
};
