#include "msgfile/MessageFileWriter.h"

#include "msgfile/MapiObject.h"

#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-outfile.h>
#include <gsf/gsf-output-memory.h>

#include <cstring>

namespace Mapi {

namespace {

constexpr const char* kPropertiesStream = "__properties_version1.0";
constexpr const char* kNameIdStorage = "__nameid_version1.0";
// Storages nest this deep at most (a message attached to a message attached
// to ...); deeper is no file of ours.
constexpr int kMaxNesting = 32;
// The class of a saved message file's root storage, as it is stored on disk.
constexpr guint8 kMessageClassId[16] = {0x0B, 0x0D, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00,
                                        0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46};

class Copier {
public:
    Copier(std::uint64_t limit, std::string& error) : m_iLimit(limit), m_error(error) {}

    /// Copies every child of `from` into `to`; at the message's own level
    /// the property header is widened to a file's.
    bool copyChildren(const CStorage& from, GsfOutfile* to, int depth, bool messageRoot) {
        if (depth > kMaxNesting)
            return fail("the attached message is nested too deeply");
        for (int i = 0; i < from.childCount(); ++i) {
            const std::string name(from.childName(i));
            if (messageRoot && name == kNameIdStorage)
                continue; // an attached message has none; the file's is copied instead
            if (auto storage = from.openStorage(i)) {
                if (!copyStorage(*storage, name, to, depth + 1))
                    return false;
                continue;
            }
            auto stream = from.openStream(i);
            if (!stream)
                return fail("part \"" + name + "\" of the attached message cannot be read");
            const bool widen = messageRoot && name == kPropertiesStream;
            if (!copyStream(*stream, name, to, widen))
                return false;
        }
        return true;
    }

    bool copyStorage(const CStorage& from, const std::string& name, GsfOutfile* to, int depth) {
        GsfOutput* child = gsf_outfile_new_child(to, name.c_str(), TRUE);
        if (child == nullptr)
            return fail("the message file cannot be written");
        const bool copied = copyChildren(from, GSF_OUTFILE(child), depth, false);
        gsf_output_close(child);
        g_object_unref(child);
        return copied;
    }

private:
    bool copyStream(CStream& from, const std::string& name, GsfOutfile* to, bool widenHeader) {
        m_iWritten += from.size() + (widenHeader ? 8 : 0);
        if (m_iWritten > m_iLimit)
            return fail("the attached message is too large to be saved");
        std::vector<std::uint8_t> data(static_cast<std::size_t>(from.size()));
        if (from.read(data.data(), data.size()) != data.size())
            return fail("part \"" + name + "\" of the attached message cannot be read");
        constexpr std::size_t kHeader = CMapiObject::kEmbeddedMessageHeaderSize;
        if (widenHeader && data.size() >= kHeader)
            data.insert(data.begin() + kHeader, CMapiObject::kMessageHeaderSize - kHeader, 0);
        GsfOutput* child = gsf_outfile_new_child(to, name.c_str(), FALSE);
        if (child == nullptr)
            return fail("the message file cannot be written");
        const bool written = data.empty() || gsf_output_write(child, data.size(), data.data());
        gsf_output_close(child);
        g_object_unref(child);
        return written || fail("the message file cannot be written");
    }

    bool fail(const std::string& reason) {
        m_error = reason;
        return false;
    }

    std::uint64_t m_iLimit;
    std::uint64_t m_iWritten = 0;
    std::string& m_error;
};

} // namespace

bool writeMessageFile(const CStorage& message, const CStorage* nameIds,
                      std::vector<std::uint8_t>& bytes, std::string& error, std::uint64_t limit) {
    bytes.clear();
    initialiseCompoundFiles();
    GObjectRef<GsfOutput> memory(gsf_output_memory_new());
    GObjectRef<GsfOutfile> file(gsf_outfile_msole_new(memory.get()));
    if (!memory || !file) {
        error = "the message file cannot be written";
        return false;
    }
    gsf_outfile_msole_set_class_id(GSF_OUTFILE_MSOLE(file.get()), kMessageClassId);
    Copier copier(limit, error);
    bool copied = copier.copyChildren(message, file.get(), 0, true);
    if (copied && nameIds != nullptr)
        copied = copier.copyStorage(*nameIds, kNameIdStorage, file.get(), 1);
    gsf_output_close(GSF_OUTPUT(file.get()));
    file.reset();
    if (!copied)
        return false;
    const gsf_off_t size = gsf_output_size(memory.get());
    const guint8* data = gsf_output_memory_get_bytes(GSF_OUTPUT_MEMORY(memory.get()));
    if (data == nullptr || size <= 0) {
        error = "the message file cannot be written";
        return false;
    }
    bytes.assign(data, data + size);
    return true;
}

} // namespace Mapi
