#pragma once
// Carries the indexer's messages from its threads to the search window: each
// becomes a Qt event of type QEvent::User + the message number, posted to the
// window and handled on its thread. The window detaches the sink before it
// goes, so that a late message from a thread still ending is dropped rather
// than posted to an object that no longer exists.

#include "search/EventSink.h"

#include <QEvent>

#include <mutex>
#include <optional>

class QObject;

class CWindowEventSink : public Kerf::Search::IEventSink {
public:
    explicit CWindowEventSink(QObject* receiver);

    bool post(Kerf::Search::IndexerMessage message) override;
    /// Posting stops; later messages report failure.
    void detach();

    static QEvent::Type eventType(Kerf::Search::IndexerMessage message);
    /// The indexer message an event carries, if it carries one.
    static std::optional<Kerf::Search::IndexerMessage> messageOf(QEvent::Type type);

private:
    std::mutex m_mutex;
    QObject* m_pReceiver;
};
