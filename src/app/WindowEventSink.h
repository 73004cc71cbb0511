#pragma once
// Carries the indexer's events from its threads to the search window: each
// becomes a Qt event of type QEvent::User + the message number, carrying the
// run number, posted to the window and handled on its thread. The window
// detaches the sink before it goes, so that a late message from a thread
// still ending is dropped rather than posted to an object that no longer
// exists.

#include "search/EventSink.h"

#include <QEvent>

#include <mutex>
#include <optional>

class QObject;

class CWindowEventSink : public Kerf::Search::IEventSink {
public:
    explicit CWindowEventSink(QObject* receiver);

    bool post(const Kerf::Search::IndexerEvent& event) override;
    /// Posting stops; later messages report failure.
    void detach();

    static QEvent::Type eventType(Kerf::Search::IndexerMessage message);
    /// The indexer event a Qt event carries, if it carries one.
    static std::optional<Kerf::Search::IndexerEvent> indexerEventOf(const QEvent& event);

private:
    std::mutex m_mutex;
    QObject* m_pReceiver;
};
