#include "msgfile/MessageAttachments.h"

#include "msgfile/MessageFile.h"
#include "msgfile/MessageFileWriter.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <gsf/gsf-input-memory.h>
#include <gsf/gsf-input-stdio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Kerf::QuireLib {
namespace {

using namespace Mapi;

// The bytes in a block the memory input frees itself, so that the storages
// opened on it keep it alive for as long as any of them lives.
GObjectRef<GsfInput> ownedMemoryInput(const std::uint8_t* data, std::size_t size) {
    auto* copy = static_cast<guint8*>(g_try_malloc(size > 0 ? size : 1));
    if (copy == nullptr)
        return {};
    if (size > 0)
        std::memcpy(copy, data, size);
    return GObjectRef<GsfInput>(
        gsf_input_memory_new(copy, static_cast<gsf_off_t>(size), /*needs_free=*/TRUE));
}

GObjectRef<GsfInput> readFileInput(const std::string& path, std::string& error) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd < 0) {
        error = std::strerror(errno);
        return {};
    }
    struct stat info {};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(fd);
        error = "not a regular file";
        return {};
    }
    const auto size = static_cast<std::uint64_t>(info.st_size);
    if (size > CMessageFile::kWholeFileLimit) {
        ::close(fd);
        GError* gerror = nullptr;
        GObjectRef<GsfInput> input(gsf_input_stdio_new(path.c_str(), &gerror));
        if (gerror != nullptr) {
            error = gerror->message;
            g_error_free(gerror);
        }
        return input;
    }
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
    std::size_t got = 0;
    while (got < bytes.size()) {
        const ssize_t n = ::read(fd, bytes.data() + got, bytes.size() - got);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        got += static_cast<std::size_t>(n);
    }
    ::close(fd);
    return ownedMemoryInput(bytes.data(), got);
}

std::shared_ptr<CMessageAttachments> openInput(GObjectRef<GsfInput> input, std::string& error) {
    if (!input) {
        if (error.empty())
            error = "the data cannot be read";
        return nullptr;
    }
    std::shared_ptr<CStorage> storage = CStorage::open(input.get(), error);
    if (!storage)
        return nullptr;
    auto message = std::make_shared<CMessageAttachments>(std::move(storage), MessageKind::File, 0);
    if (!message->opened()) {
        error = "the file holds no message";
        return nullptr;
    }
    return message;
}

std::wstring firstText(std::vector<SPropValue>& values, std::initializer_list<std::size_t> order) {
    for (std::size_t i : order)
        if (PROP_TYPE(values[i].ulPropTag) == PT_UNICODE && !values[i].text.empty())
            return std::move(values[i].text);
    return {};
}

} // namespace

std::shared_ptr<CMessageAttachments> CMessageAttachments::openFile(const std::wstring& path,
                                                                   std::string& error) {
    KERF_TRACE_ENTRY("Kerf::QuireLib::CMessageAttachments::openFile");
    initialiseCompoundFiles();
    return openInput(readFileInput(Util::toPath(path).string(), error), error);
}

std::shared_ptr<CMessageAttachments>
CMessageAttachments::openBytes(std::span<const std::uint8_t> bytes, std::string& error) {
    initialiseCompoundFiles();
    return openInput(ownedMemoryInput(bytes.data(), bytes.size()), error);
}

CMessageAttachments::CMessageAttachments(std::shared_ptr<CStorage> storage, MessageKind kind,
                                         int depth)
    : m_pStorage(std::move(storage)), m_kind(kind), m_iDepth(depth) {
    if (kind == MessageKind::File && m_pStorage)
        for (int i = 0; i < m_pStorage->childCount(); ++i)
            if (m_pStorage->childName(i) == "__nameid_version1.0")
                m_pNameIds = m_pStorage->openStorage(i);
    try {
        if (!FAILED(CMessage::OpenIMsgOnIStg(m_pStorage, m_pMessage, kind)))
            listAttachments();
    } catch (const std::exception& e) {
        Trace::tracef("CMessageAttachments: %s\n", e.what());
    }
}

void CMessageAttachments::listAttachments() {
    static constexpr std::array<ULONG, 7> kColumns = {
        PR_ATTACH_LONG_FILENAME_W, PR_ATTACH_FILENAME_W, PR_DISPLAY_NAME_W,
        PR_ATTACH_MIME_TAG_W,      PR_ATTACH_METHOD,     PR_ATTACH_SIZE,
        PR_ATTACH_CONTENT_ID_W};
    const int count = m_pMessage->GetAttachmentCount();
    m_attachments.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        CAttachmentInfo info;
        std::unique_ptr<CAttach> attach;
        std::vector<SPropValue> values;
        // An attachment that cannot be opened is still listed, without a name.
        if (!FAILED(m_pMessage->OpenAttach(i, attach)) &&
            !FAILED(attach->GetProps(kColumns, MAPI_UNICODE, values)) &&
            values.size() == kColumns.size()) {
            info.name = firstText(values, {0, 1, 2});
            info.mimeType = firstText(values, {3});
            info.contentId = firstText(values, {6});
            if (values[4].ulPropTag == PR_ATTACH_METHOD)
                info.method = values[4].l();
            if (values[5].ulPropTag == PR_ATTACH_SIZE && values[5].l() > 0)
                info.size = static_cast<std::uint64_t>(values[5].l());
            std::unique_ptr<CStream> data;
            ULONG storedType = PT_BINARY;
            if (!FAILED(attach->OpenProperty(PR_ATTACH_DATA_BIN, data, storedType)))
                info.size = data->size();
            info.isMessage = info.method == ATTACH_EMBEDDED_MSG && attach->OpenDataObject();
        }
        m_attachments.push_back(std::move(info));
    }
}

bool CMessageAttachments::readData(std::size_t index, std::vector<std::uint8_t>& data,
                                   std::uint64_t limit) const {
    data.clear();
    // Read piece by piece, so that an attachment over the limit costs no
    // more than the limit before it is given up.
    const bool whole = copyData(index, [&data, limit](std::span<const std::uint8_t> piece) {
        if (data.size() + piece.size() > limit)
            return false;
        data.insert(data.end(), piece.begin(), piece.end());
        return true;
    });
    if (!whole)
        data.clear();
    return whole;
}

bool CMessageAttachments::copyData(
    std::size_t index, const std::function<bool(std::span<const std::uint8_t>)>& sink) const {
    constexpr std::size_t kPiece = 1u << 20;
    if (!m_pMessage || index >= m_attachments.size())
        return false;
    try {
        std::unique_ptr<CAttach> attach;
        std::unique_ptr<CStream> stream;
        ULONG storedType = PT_BINARY;
        if (FAILED(m_pMessage->OpenAttach(static_cast<int>(index), attach)) ||
            FAILED(attach->OpenProperty(PR_ATTACH_DATA_BIN, stream, storedType)))
            return false;
        std::vector<std::uint8_t> piece(
            static_cast<std::size_t>(std::min<std::uint64_t>(stream->size(), kPiece)));
        for (std::uint64_t left = stream->size(); left > 0;) {
            const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(left, kPiece));
            if (stream->read(piece.data(), count) != count || !sink({piece.data(), count}))
                return false;
            left -= count;
        }
        return true;
    } catch (const std::exception& e) {
        Trace::tracef("CMessageAttachments::copyData: %s\n", e.what());
        return false;
    }
}

std::shared_ptr<CMessageAttachments> CMessageAttachments::openMessage(std::size_t index) const {
    if (!m_pMessage || index >= m_attachments.size() || !m_attachments[index].isMessage ||
        m_iDepth + 1 > kMaxDepth)
        return nullptr;
    try {
        std::unique_ptr<CAttach> attach;
        if (FAILED(m_pMessage->OpenAttach(static_cast<int>(index), attach)))
            return nullptr;
        std::shared_ptr<CStorage> storage = attach->OpenDataObject();
        if (!storage)
            return nullptr;
        auto message = std::make_shared<CMessageAttachments>(std::move(storage),
                                                             MessageKind::Attached, m_iDepth + 1);
        message->m_pNameIds = m_pNameIds;
        return message->opened() ? message : nullptr;
    } catch (const std::exception& e) {
        Trace::tracef("CMessageAttachments::openMessage: %s\n", e.what());
        return nullptr;
    }
}

bool CMessageAttachments::messageFileBytes(std::size_t index, std::vector<std::uint8_t>& bytes,
                                           std::string& error) const {
    bytes.clear();
    if (!m_pMessage || index >= m_attachments.size() || !m_attachments[index].isMessage) {
        error = "the attachment is no message";
        return false;
    }
    try {
        std::unique_ptr<CAttach> attach;
        std::shared_ptr<CStorage> storage;
        if (FAILED(m_pMessage->OpenAttach(static_cast<int>(index), attach)) ||
            !(storage = attach->OpenDataObject())) {
            error = "the attached message cannot be read";
            return false;
        }
        return Mapi::writeMessageFile(*storage, m_pNameIds.get(), bytes, error);
    } catch (const std::exception& e) {
        error = e.what();
        return false;
    }
}

int CMessageAttachments::codePage() const {
    return m_pMessage ? m_pMessage->codePage() : 1252;
}

} // namespace Kerf::QuireLib
