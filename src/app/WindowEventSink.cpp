#include "app/WindowEventSink.h"

#include <QCoreApplication>

using Kerf::Search::IndexerEvent;
using Kerf::Search::IndexerMessage;

namespace {
constexpr int kFirstMessage = static_cast<int>(IndexerMessage::BeginWork);
constexpr int kLastMessage = static_cast<int>(IndexerMessage::RowsArrived);

/// A Qt event that keeps the indexer event it was made from.
class IndexerQtEvent : public QEvent {
public:
    explicit IndexerQtEvent(const IndexerEvent& event)
        : QEvent(CWindowEventSink::eventType(event.message)), m_event(event) {}
    const IndexerEvent& indexerEvent() const { return m_event; }

private:
    IndexerEvent m_event;
};
} // namespace

CWindowEventSink::CWindowEventSink(QObject* receiver) : m_pReceiver(receiver) {}

bool CWindowEventSink::post(const IndexerEvent& event) {
    std::lock_guard lock(m_mutex);
    if (m_pReceiver == nullptr)
        return false;
    QCoreApplication::postEvent(m_pReceiver, new IndexerQtEvent(event));
    return true;
}

void CWindowEventSink::detach() {
    std::lock_guard lock(m_mutex);
    m_pReceiver = nullptr;
}

QEvent::Type CWindowEventSink::eventType(IndexerMessage message) {
    return static_cast<QEvent::Type>(QEvent::User + static_cast<int>(message));
}

std::optional<IndexerEvent> CWindowEventSink::indexerEventOf(const QEvent& event) {
    const int number = static_cast<int>(event.type()) - QEvent::User;
    if (number < kFirstMessage || number > kLastMessage)
        return std::nullopt;
    // Only this sink posts events of these types, always as IndexerQtEvent.
    const auto* carried = dynamic_cast<const IndexerQtEvent*>(&event);
    if (carried == nullptr)
        return std::nullopt;
    return carried->indexerEvent();
}
