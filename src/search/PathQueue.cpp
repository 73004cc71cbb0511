#include "search/PathQueue.h"

#include "support/Strings.h"

#include <algorithm>
#include <cstring>

namespace Kerf::Search {

CPathQueue::CPathQueue(std::size_t capacityBytes)
    : m_iCapacityBytes(capacityBytes == 0 ? 1 : capacityBytes) {}

bool CPathQueue::push(const std::wstring& path) {
    const std::string bytes = Util::toNarrow(path);
    const std::size_t need = entryBytes(bytes.size());
    std::unique_lock lock(m_mutex);
    // An empty queue takes a path of any length, so none can wait forever.
    m_notFull.wait(
        lock, [&] { return m_bClosed || m_iBytes == 0 || m_iBytes + need <= m_iCapacityBytes; });
    if (m_bClosed)
        return false;
    append(bytes);
    m_notEmpty.notify_one();
    return true;
}

std::optional<std::wstring> CPathQueue::pop() {
    std::string bytes;
    {
        std::unique_lock lock(m_mutex);
        m_notEmpty.wait(lock, [this] { return m_bClosed || m_bFinished || m_iCount != 0; });
        if (m_bClosed || m_iCount == 0)
            return std::nullopt;
        bytes = takeOldest();
        m_notFull.notify_one();
    }
    return Util::toWide(bytes);
}

void CPathQueue::append(std::string_view path) {
    const std::size_t need = entryBytes(path.size());
    if (m_blocks.empty() || m_blocks.back().size - m_blocks.back().used < need) {
        Block block;
        block.size = std::max(kBlockSize, need);
        block.data = std::make_unique_for_overwrite<char[]>(block.size);
        m_blocks.push_back(std::move(block));
    }
    Block& tail = m_blocks.back();
    const auto length = static_cast<Length>(path.size());
    std::memcpy(tail.data.get() + tail.used, &length, sizeof length);
    std::memcpy(tail.data.get() + tail.used + sizeof length, path.data(), path.size());
    tail.used += need;
    ++m_iCount;
    m_iBytes += need;
}

std::string CPathQueue::takeOldest() {
    // A path never spans blocks, so a block read to its last path is done.
    while (m_blocks.front().read == m_blocks.front().used)
        m_blocks.pop_front();
    Block& head = m_blocks.front();
    Length length = 0;
    std::memcpy(&length, head.data.get() + head.read, sizeof length);
    std::string path(head.data.get() + head.read + sizeof length, length);
    head.read += entryBytes(length);
    --m_iCount;
    m_iBytes -= entryBytes(length);
    if (head.read == head.used) {
        // The last block is kept and filled again from its start, so that a
        // walk just ahead of the reader does not allocate a block per lap.
        if (m_blocks.size() == 1)
            head.read = head.used = 0;
        else
            m_blocks.pop_front();
    }
    return path;
}

void CPathQueue::finish() {
    std::lock_guard lock(m_mutex);
    m_bFinished = true;
    m_notEmpty.notify_all();
}

void CPathQueue::close() {
    std::deque<Block> dropped;
    {
        std::lock_guard lock(m_mutex);
        m_bClosed = true;
        dropped.swap(m_blocks);
        m_iCount = 0;
        m_iBytes = 0;
        m_notEmpty.notify_all();
        m_notFull.notify_all();
    }
    // The blocks are freed outside the lock: they may be many.
}

void CPathQueue::reset() {
    std::deque<Block> dropped;
    std::lock_guard lock(m_mutex);
    dropped.swap(m_blocks);
    m_iCount = 0;
    m_iBytes = 0;
    m_bClosed = false;
    m_bFinished = false;
}

std::size_t CPathQueue::size() const {
    std::lock_guard lock(m_mutex);
    return m_iCount;
}

std::size_t CPathQueue::bytes() const {
    std::lock_guard lock(m_mutex);
    return m_iBytes;
}

void CPathQueue::setCapacity(std::size_t capacityBytes) {
    std::lock_guard lock(m_mutex);
    m_iCapacityBytes = capacityBytes == 0 ? 1 : capacityBytes;
    m_notFull.notify_all();
}

} // namespace Kerf::Search
