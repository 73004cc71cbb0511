#pragma once
// An event sink for a front end without an event loop of its own: indexer
// threads post, and the front end's thread takes the messages in order.

#include "search/EventSink.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>

namespace Kerf::Search {

class CQueuedEventSink : public IEventSink {
public:
    bool post(const IndexerEvent& event) override {
        {
            std::lock_guard lock(m_mutex);
            m_messages.push_back(event);
        }
        m_ready.notify_one();
        return true;
    }

    /// The next event, waiting for one up to the timeout.
    std::optional<IndexerEvent> take(std::chrono::milliseconds timeout) {
        std::unique_lock lock(m_mutex);
        if (!m_ready.wait_for(lock, timeout, [this] { return !m_messages.empty(); }))
            return std::nullopt;
        const IndexerEvent event = m_messages.front();
        m_messages.pop_front();
        return event;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_ready;
    std::deque<IndexerEvent> m_messages;
};

} // namespace Kerf::Search
