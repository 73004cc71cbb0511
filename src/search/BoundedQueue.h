#pragma once
// A first-in, first-out hand-over between one producing and one consuming
// thread that holds at most a fixed number of items, so that a fast producer
// waits for a slow consumer instead of filling memory. Both sides wait on
// condition variables, never by polling. Closing the queue wakes every waiter
// at once and drops what is left, so a stop can never strand a thread.

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>

namespace Kerf::Search {

template <typename T> class BoundedQueue {
public:
    explicit BoundedQueue(std::size_t capacity) : m_capacity(capacity == 0 ? 1 : capacity) {}
    BoundedQueue(const BoundedQueue&) = delete;
    BoundedQueue& operator=(const BoundedQueue&) = delete;

    /// Waits while the queue is full. False when the queue was closed
    /// (before or while waiting): the item is then dropped.
    bool push(T item) {
        std::unique_lock lock(m_mutex);
        m_notFull.wait(lock, [this] { return m_bClosed || m_items.size() < m_capacity; });
        if (m_bClosed)
            return false;
        m_items.push_back(std::move(item));
        m_notEmpty.notify_one();
        return true;
    }

    /// Waits for the oldest item. Empty once the producer has finished and
    /// everything was taken, or at once when the queue is closed.
    std::optional<T> pop() {
        std::unique_lock lock(m_mutex);
        m_notEmpty.wait(lock, [this] { return m_bClosed || m_bFinished || !m_items.empty(); });
        if (m_bClosed || m_items.empty())
            return std::nullopt;
        T item = std::move(m_items.front());
        m_items.pop_front();
        m_notFull.notify_one();
        return item;
    }

    /// The producer will add nothing more; the consumer takes what is left.
    void finish() {
        std::lock_guard lock(m_mutex);
        m_bFinished = true;
        m_notEmpty.notify_all();
    }

    /// Stops both sides: waiters return at once and the contents are dropped.
    void close() {
        std::deque<T> dropped;
        {
            std::lock_guard lock(m_mutex);
            m_bClosed = true;
            dropped.swap(m_items);
            m_notEmpty.notify_all();
            m_notFull.notify_all();
        }
        // The items are destroyed outside the lock: they may be large.
    }

    /// Empties the queue and makes it usable for a new run.
    void reset() {
        std::deque<T> dropped;
        std::lock_guard lock(m_mutex);
        dropped.swap(m_items);
        m_bClosed = false;
        m_bFinished = false;
    }

    std::size_t size() const {
        std::lock_guard lock(m_mutex);
        return m_items.size();
    }

    std::size_t capacity() const { return m_capacity; }

    void setCapacity(std::size_t capacity) {
        std::lock_guard lock(m_mutex);
        m_capacity = capacity == 0 ? 1 : capacity;
        m_notFull.notify_all();
    }

private:
    mutable std::mutex m_mutex;
    std::condition_variable m_notEmpty;
    std::condition_variable m_notFull;
    std::deque<T> m_items;
    std::size_t m_capacity;
    bool m_bFinished = false;
    bool m_bClosed = false;
};

} // namespace Kerf::Search
