#pragma once
// The paths the walk has found and the reading stage has yet to read, oldest
// first. The walk should run ahead of the reader on any ordinary tree, so
// that the count of files found is known early; the queue may therefore hold
// hundreds of thousands of paths. Each is kept as its UTF-8 bytes in a few
// large blocks (a path's length and a few bytes a file, not a string of its
// own), and the queue is bounded by the bytes it holds, so memory stays flat
// on a tree of any size: only a walk that gets that far ahead waits.
//
// One thread adds and one takes; both wait on condition variables. Closing
// wakes every waiter at once and drops what is left, so a stop can never
// strand a thread.

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace Kerf::Search {

class CPathQueue {
public:
    /// Paths share blocks of this size; a longer path gets a block of its own.
    static constexpr std::size_t kBlockSize = 1 << 20;

    explicit CPathQueue(std::size_t capacityBytes);
    CPathQueue(const CPathQueue&) = delete;
    CPathQueue& operator=(const CPathQueue&) = delete;

    /// Waits while the path would take the queue past its capacity (an empty
    /// queue takes any path). False when the queue was closed (before or
    /// while waiting): the path is then dropped.
    bool push(const std::wstring& path);

    /// Waits for the oldest path. Empty once the producer has finished and
    /// everything was taken, or at once when the queue is closed.
    std::optional<std::wstring> pop();

    /// The producer will add nothing more; the consumer takes what is left.
    void finish();
    /// Stops both sides: waiters return at once and the contents are dropped.
    void close();
    /// Empties the queue and makes it usable for a new run.
    void reset();

    /// Paths held.
    std::size_t size() const;
    /// Bytes the paths take in the queue, which the capacity bounds.
    std::size_t bytes() const;
    void setCapacity(std::size_t capacityBytes);

private:
    using Length = std::uint32_t;

    struct Block {
        std::unique_ptr<char[]> data;
        std::size_t size = 0;
        std::size_t used = 0;
        std::size_t read = 0;
    };

    static std::size_t entryBytes(std::size_t pathBytes) { return sizeof(Length) + pathBytes; }
    void append(std::string_view path);
    std::string takeOldest();
    void dropAll();

    mutable std::mutex m_mutex;
    std::condition_variable m_notEmpty;
    std::condition_variable m_notFull;
    std::deque<Block> m_blocks;
    std::size_t m_iCount = 0;
    std::size_t m_iBytes = 0;
    std::size_t m_iCapacityBytes;
    bool m_bFinished = false;
    bool m_bClosed = false;
};

} // namespace Kerf::Search
