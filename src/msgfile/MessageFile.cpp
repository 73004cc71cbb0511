#include "msgfile/MessageFile.h"

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

namespace Mapi {
namespace {

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
// let go once that file is done. A thread never opens another message file
// while it reads one, so one buffer a thread is enough.
constexpr std::size_t kKeptCapacity = 4u * 1024 * 1024;
thread_local std::vector<guint8> t_buffer;

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

} // namespace

CMessageFile::CMessageFile(const std::string& path) {
    initialiseCompoundFiles();
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (fd.get() < 0) {
        m_sError = std::string("cannot open: ") + std::strerror(errno);
        return;
    }
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) {
        m_sError = "not a regular file";
        return;
    }
    const auto size = static_cast<std::uint64_t>(info.st_size);
    m_size = size;
    if (size == 0)
        return;

    GObjectRef<GsfInput> input;
    if (size <= kWholeFileLimit) {
        input = readWhole(fd.get(), size, t_buffer);
    } else {
        Kerf::Trace::tracef("CMessageFile: reading \"%s\" piecemeal\n", path.c_str());
        if (FILE* file = ::fdopen(fd.get(), "rb")) {
            fd.release();
            input = GObjectRef<GsfInput>(gsf_input_stdio_new_FILE(path.c_str(), file, FALSE));
        }
    }
    if (!input) {
        m_sError = "the file cannot be read";
        return;
    }
    m_pStorage = CStorage::open(input.get(), m_sError);
}

CMessageFile::BufferTrim::~BufferTrim() {
    if (t_buffer.capacity() > kKeptCapacity)
        std::vector<guint8>().swap(t_buffer);
}

} // namespace Mapi
