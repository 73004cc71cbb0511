#pragma once
// A saved message file opened as compound storage, to be read on this thread.
// The file is opened without blocking, so that a FIFO named like a message
// cannot stall the reader, and only when it is a regular file. Files up to
// kWholeFileLimit are read in one go into a buffer the thread keeps and parsed
// there; longer ones are read piecemeal as the parser asks.

#include "msgfile/CompoundStorage.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace Mapi {

class CMessageFile {
public:
    static constexpr std::uint64_t kWholeFileLimit = 64ull * 1024 * 1024;

    /// Opens, measures and parses the file; storage() is null when it cannot
    /// be read or holds no compound storage, and error() then says why (it
    /// says nothing for an empty file).
    explicit CMessageFile(const std::string& path);
    CMessageFile(const CMessageFile&) = delete;
    CMessageFile& operator=(const CMessageFile&) = delete;

    /// The storage reads this thread's buffer: it must not outlive this
    /// object, and no other message file may be opened on the thread meanwhile.
    const std::shared_ptr<CStorage>& storage() const { return m_pStorage; }
    /// The file's length, once the open file could be measured.
    std::optional<std::uint64_t> size() const { return m_size; }
    const std::string& error() const { return m_sError; }

private:
    // Lets go of this thread's buffer if an unusually large file grew it,
    // once the storage over it is gone (members go in reverse order), also
    // when the constructor throws.
    struct BufferTrim {
        BufferTrim() = default;
        BufferTrim(const BufferTrim&) = delete;
        BufferTrim& operator=(const BufferTrim&) = delete;
        ~BufferTrim();
    } m_trim;
    std::shared_ptr<CStorage> m_pStorage;
    std::optional<std::uint64_t> m_size;
    std::string m_sError;
};

} // namespace Mapi
