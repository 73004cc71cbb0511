#pragma once
// Makes sure one search window works on one index. The first instance listens
// on a local socket named after the index; a later start connects, asks the
// first to bring its window forward, and ends. A socket name left behind by a
// crashed instance answers nobody and is taken over.

#include <QLocalServer>
#include <QObject>
#include <QString>

class CInstanceGuard : public QObject {
    Q_OBJECT
public:
    explicit CInstanceGuard(QString name, QObject* parent = nullptr);

    /// True when this process now owns the name. False when another instance
    /// runs; it has then been asked to raise its window.
    bool claim();

    const QString& name() const { return m_sName; }

signals:
    /// Another start asked this instance to raise, activate and restore its window.
    void raiseRequested();

private:
    void onNewConnection();

    QString m_sName;
    QLocalServer m_server;
};
