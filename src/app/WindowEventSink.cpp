#include "app/WindowEventSink.h"

#include <QCoreApplication>

using Kerf::Search::IndexerMessage;

namespace {
constexpr int kFirstMessage = static_cast<int>(IndexerMessage::BeginWork);
constexpr int kLastMessage = static_cast<int>(IndexerMessage::EndUpdatingIndexItem);
} // namespace

CWindowEventSink::CWindowEventSink(QObject* receiver) : m_pReceiver(receiver) {}

bool CWindowEventSink::post(IndexerMessage message) {
    std::lock_guard lock(m_mutex);
    if (m_pReceiver == nullptr)
        return false;
    QCoreApplication::postEvent(m_pReceiver, new QEvent(eventType(message)));
    return true;
}

void CWindowEventSink::detach() {
    std::lock_guard lock(m_mutex);
    m_pReceiver = nullptr;
}

QEvent::Type CWindowEventSink::eventType(IndexerMessage message) {
    return static_cast<QEvent::Type>(QEvent::User + static_cast<int>(message));
}

std::optional<IndexerMessage> CWindowEventSink::messageOf(QEvent::Type type) {
    const int number = static_cast<int>(type) - QEvent::User;
    if (number < kFirstMessage || number > kLastMessage)
        return std::nullopt;
    return static_cast<IndexerMessage>(number);
}
