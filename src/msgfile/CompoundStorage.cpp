#include "msgfile/CompoundStorage.h"

#include "msgfile/GLibLogRouting.h"

#include <gsf/gsf-infile-msole.h>
#include <gsf/gsf-input-memory.h>
#include <gsf/gsf-input-stdio.h>
#include <gsf/gsf-shared-memory.h>
#include <gsf/gsf-utils.h>

#include <algorithm>
#include <cstring>
#include <mutex>

namespace Mapi {
namespace {

constexpr std::size_t kHeaderSize = 512;
constexpr std::size_t kDirectoryEntrySize = 128;

std::uint16_t le16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}
std::uint32_t le32(const std::uint8_t* p) {
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

// The compound-file reader keeps a bit per allocation-table entry on the
// stack while it follows a chain, sized by the table count in the header
// before that count has been checked against the data. Real files use
// 512- or 4096-byte sectors, and a table count whose bit map would pass
// 256 KiB needs a file of more than a gigabyte; anything else is refused here.
bool headerCountsPlausible(const std::uint8_t* header, std::string& error) {
    const unsigned shift = le16(header + 0x1E);
    if (shift != 9 && shift != 12) {
        error = "unsupported sector size";
        return false;
    }
    const std::uint64_t tableSectors = le32(header + 0x2C);
    const std::uint64_t entriesPerSector = (std::uint64_t{1} << shift) / 4;
    if (tableSectors * entriesPerSector / 8 > 256 * 1024) {
        error = "the allocation table is larger than any message file";
        return false;
    }
    return true;
}

// The root entry of the directory has no siblings in a valid file. The
// compound-file reader builds entries it finds beside the root but never
// frees them, so such a file is refused here.
bool rootEntryPlausible(GsfInput* source, const std::uint8_t* header, std::uint64_t fileSize,
                        std::string& error) {
    constexpr std::uint32_t kNoStream = 0xFFFFFFFFu;
    const std::uint64_t sectorSize = std::uint64_t{1} << le16(header + 0x1E);
    const std::uint64_t directorySector = le32(header + 0x30);
    const std::uint64_t offset =
        std::max<std::uint64_t>(kHeaderSize, sectorSize) + directorySector * sectorSize;
    const std::uint8_t* entry = nullptr;
    if (offset + kDirectoryEntrySize <= fileSize &&
        !gsf_input_seek(source, static_cast<gsf_off_t>(offset), G_SEEK_SET))
        entry = gsf_input_read(source, kDirectoryEntrySize, nullptr);
    if (entry == nullptr) {
        error = "the directory lies outside the file";
        return false;
    }
    if (le32(entry + 0x44) != kNoStream || le32(entry + 0x48) != kNoStream) {
        error = "the root directory entry has siblings";
        return false;
    }
    return true;
}

} // namespace

void initialiseCompoundFiles() {
    static std::once_flag once;
    std::call_once(once, [] {
        Kerf::GLibLog::routeToTrace();
        gsf_init();
        // libgsf registers each of its object types the first time one is
        // made, without a lock; two reading threads making their first
        // memory input at once register it twice and the second gets a
        // broken type. Registering every type used here once, before any
        // thread reads, leaves nothing to race on.
        for (GType type :
             {gsf_input_get_type(), gsf_input_memory_get_type(), gsf_input_stdio_get_type(),
              gsf_shared_memory_get_type(), gsf_infile_get_type(), gsf_infile_msole_get_type()})
            g_type_class_unref(g_type_class_ref(type));
    });
}

CStream::CStream(GObjectRef<GsfInput> input) : m_input(std::move(input)) {
    const gsf_off_t size = gsf_input_size(m_input.get());
    m_iSize = size > 0 ? static_cast<std::uint64_t>(size) : 0;
}

const std::uint8_t* CStream::readView(std::size_t count) {
    if (count == 0)
        return reinterpret_cast<const std::uint8_t*>("");
    if (gsf_input_remaining(m_input.get()) < static_cast<gsf_off_t>(count))
        return nullptr;
    return gsf_input_read(m_input.get(), count, nullptr);
}

std::size_t CStream::read(std::uint8_t* buffer, std::size_t count) {
    const gsf_off_t remaining = gsf_input_remaining(m_input.get());
    if (remaining <= 0 || count == 0)
        return 0;
    if (static_cast<std::uint64_t>(remaining) < count)
        count = static_cast<std::size_t>(remaining);
    if (gsf_input_read(m_input.get(), count, buffer) == nullptr)
        return 0;
    return count;
}

std::shared_ptr<CStorage> CStorage::open(GsfInput* source, std::string& error) {
    initialiseCompoundFiles();
    const gsf_off_t size = gsf_input_size(source);
    if (size < static_cast<gsf_off_t>(kHeaderSize)) {
        error = size == 0 ? "the file is empty" : "the file is too short to be a compound file";
        return nullptr;
    }
    const std::uint8_t* header = gsf_input_read(source, kHeaderSize, nullptr);
    if (header == nullptr) {
        error = "the file header cannot be read";
        return nullptr;
    }
    static const std::uint8_t signature[] = {0xD0, 0xCF, 0x11, 0xE0, 0xA1, 0xB1, 0x1A, 0xE1};
    if (std::memcmp(header, signature, sizeof signature) != 0) {
        error = "the file is not a compound file";
        return nullptr;
    }
    if (!headerCountsPlausible(header, error) ||
        !rootEntryPlausible(source, header, static_cast<std::uint64_t>(size), error))
        return nullptr;
    if (gsf_input_seek(source, 0, G_SEEK_SET)) {
        error = "the file cannot be read from its start";
        return nullptr;
    }
    GError* gerror = nullptr;
    GObjectRef<GsfInfile> infile(gsf_infile_msole_new(source, &gerror));
    if (!infile) {
        error = gerror != nullptr ? gerror->message : "the compound file cannot be opened";
        if (gerror != nullptr)
            g_error_free(gerror);
        return nullptr;
    }
    if (gerror != nullptr)
        g_error_free(gerror);
    return std::make_shared<CStorage>(std::move(infile), static_cast<std::uint64_t>(size));
}

std::shared_ptr<CStorage> CStorage::openMemory(const std::uint8_t* data, std::size_t size,
                                               std::string& error) {
    initialiseCompoundFiles();
    GObjectRef<GsfInput> input(
        gsf_input_memory_new(data, static_cast<gsf_off_t>(size), /*needs_free=*/FALSE));
    if (!input) {
        error = "the data cannot be read";
        return nullptr;
    }
    return open(input.get(), error);
}

CStorage::CStorage(GObjectRef<GsfInfile> infile, std::uint64_t fileSize)
    : m_infile(std::move(infile)), m_iFileSize(fileSize) {
    const int count = gsf_infile_num_children(m_infile.get());
    m_names.reserve(count > 0 ? static_cast<std::size_t>(count) : 0);
    for (int i = 0; i < count; ++i) {
        // The names live as long as the infile does.
        const char* name = gsf_infile_name_by_index(m_infile.get(), i);
        m_names.emplace_back(name != nullptr ? name : "");
    }
}

GObjectRef<GsfInput> CStorage::openChild(int index) const {
    if (index < 0 || index >= childCount())
        return {};
    return GObjectRef<GsfInput>(gsf_infile_child_by_index(m_infile.get(), index));
}

std::shared_ptr<CStorage> CStorage::openStorage(int index) const {
    GObjectRef<GsfInput> child = openChild(index);
    if (!child || !GSF_IS_INFILE(child.get()) ||
        gsf_infile_num_children(GSF_INFILE(child.get())) < 0)
        return nullptr;
    GObjectRef<GsfInfile> infile(GSF_INFILE(child.get()));
    g_object_ref(infile.get());
    return std::make_shared<CStorage>(std::move(infile), m_iFileSize);
}

std::unique_ptr<CStream> CStorage::openStream(int index) const {
    GObjectRef<GsfInput> child = openChild(index);
    if (!child)
        return nullptr;
    if (GSF_IS_INFILE(child.get()) && gsf_infile_num_children(GSF_INFILE(child.get())) >= 0)
        return nullptr;
    const gsf_off_t size = gsf_input_size(child.get());
    if (size < 0 || static_cast<std::uint64_t>(size) > m_iFileSize)
        return nullptr;
    return std::make_unique<CStream>(std::move(child));
}

} // namespace Mapi
