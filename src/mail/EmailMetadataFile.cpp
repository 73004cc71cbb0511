#include "mail/EmailMetadataFile.h"

#include "support/Strings.h"
#include "support/Trace.h"

#include <gsf/gsf-input-memory.h>
#include <gsf/gsf-input-stdio.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace Kerf::QuireLib {
namespace {

using Mapi::GObjectRef;

class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : m_fd(fd) {}
    ~FileDescriptor() {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int get() const { return m_fd; }
    int release() { return std::exchange(m_fd, -1); }

private:
    int m_fd;
};

// Each reading thread keeps one buffer for the bytes of the file in hand:
// a fresh block for every message, freed straight after, costs more than
// parsing a short message. A buffer grown for an unusually large file is
// let go once that file is done. A record never reads another file while
// it reads its own, so one buffer a thread is enough.
class FileBuffer {
public:
    static constexpr std::size_t kKeptCapacity = 4u * 1024 * 1024;

    FileBuffer() = default;
    ~FileBuffer() {
        if (t_bytes.capacity() > kKeptCapacity)
            std::vector<guint8>().swap(t_bytes);
    }
    FileBuffer(const FileBuffer&) = delete;
    FileBuffer& operator=(const FileBuffer&) = delete;

    std::vector<guint8>& bytes() { return t_bytes; }

private:
    static thread_local std::vector<guint8> t_bytes;
};

thread_local std::vector<guint8> FileBuffer::t_bytes;

// The whole file into `buffer`, and an input over it that must not outlive it.
GObjectRef<GsfInput> readWhole(int fd, std::uint64_t size, std::vector<guint8>& buffer) {
    try {
        buffer.resize(static_cast<std::size_t>(size));
    } catch (const std::bad_alloc&) {
        return {};
    }
    std::uint64_t got = 0;
    while (got < size) {
        const ssize_t n = ::read(fd, buffer.data() + got, static_cast<std::size_t>(size - got));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        got += static_cast<std::uint64_t>(n);
    }
    // A file that shrank while being read is parsed as far as it goes.
    return GObjectRef<GsfInput>(
        gsf_input_memory_new(buffer.data(), static_cast<gsf_off_t>(got), /*needs_free=*/FALSE));
}

std::int32_t lowBits(std::uint64_t size) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(size & 0xFFFFFFFFu));
}

} // namespace

CEmailMetadata_File::CEmailMetadata_File(const std::wstring& path, bool CountAttachments)
    : CEmailMetadata_Message(CountAttachments) {
    KERF_TRACE_ENTRY("Kerf::QuireLib::CEmailMetadata_File::CEmailMetadata_File");
    SetStringValue(L"Location", path);
    std::optional<std::uint64_t> size;
    try {
        m_bMessageRead = RetrieveData(path, size);
    } catch (const std::exception& e) {
        Trace::tracef("CEmailMetadata_File: \"%s\": %s\n", Util::toNarrow(path).c_str(), e.what());
    }
    if (!size) {
        // The file could not be opened; it may still be there to measure.
        struct stat info {};
        if (::stat(Util::toPath(path).c_str(), &info) == 0)
            size = static_cast<std::uint64_t>(info.st_size);
    }
    SetSize(lowBits(size.value_or(0)));
}

bool CEmailMetadata_File::RetrieveData(const std::wstring& path,
                                       std::optional<std::uint64_t>& fileSize) {
    KERF_TRACE_ENTRY("Kerf::QuireLib::CEmailMetadata_File::RetrieveData");
    const std::string narrow = Util::toPath(path).string();
    // Non-blocking, so that a FIFO named like a message cannot stall the reader.
    FileDescriptor fd(::open(narrow.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (fd.get() < 0) {
        Trace::tracef("CEmailMetadata_File::RetrieveData: cannot open \"%s\": %s\n", narrow.c_str(),
                      std::strerror(errno));
        return false;
    }
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) {
        Trace::tracef("CEmailMetadata_File::RetrieveData: \"%s\" is not a regular file\n",
                      narrow.c_str());
        return false;
    }
    const auto size = static_cast<std::uint64_t>(info.st_size);
    fileSize = size;
    if (size == 0)
        return false;

    FileBuffer buffer;
    GObjectRef<GsfInput> input;
    if (size <= kWholeFileLimit) {
        input = readWhole(fd.get(), size, buffer.bytes());
    } else {
        Trace::tracef("CEmailMetadata_File::RetrieveData: reading \"%s\" piecemeal\n",
                      narrow.c_str());
        if (FILE* file = ::fdopen(fd.get(), "rb")) {
            fd.release();
            input = GObjectRef<GsfInput>(gsf_input_stdio_new_FILE(narrow.c_str(), file, FALSE));
        }
    }
    if (!input)
        return false;

    std::string error;
    std::shared_ptr<Mapi::CStorage> storage = Mapi::CStorage::open(input.get(), error);
    if (!storage) {
        Trace::tracef("CEmailMetadata_File::RetrieveData: \"%s\": %s\n", narrow.c_str(),
                      error.c_str());
        return false;
    }
    if (!ReadMessage(storage)) {
        Trace::tracef("CEmailMetadata_File::RetrieveData: \"%s\" holds no message\n",
                      narrow.c_str());
        return false;
    }
    if (CountAttachments())
        ReadAttachments(std::move(storage));
    return true;
}

} // namespace Kerf::QuireLib
