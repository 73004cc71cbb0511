#include "MsgWriter.h"

#include <gsf/gsf-outfile-msole.h>
#include <gsf/gsf-outfile.h>
#include <gsf/gsf-output-memory.h>
#include <gsf/gsf-output-stdio.h>
#include <gsf/gsf-utils.h>

#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <stdexcept>

namespace QoMsg {
namespace {

constexpr std::uint32_t PT_STRING8 = 0x001E;
constexpr std::uint32_t PT_UNICODE = 0x001F;

// Readable and writable, as a mail client marks its properties.
constexpr std::uint32_t kPropertyFlags = 6;

// {00020D0B-0000-0000-C000-000000000046}: the class of a saved message.
constexpr guint8 kMessageClassId[16] = {0x0B, 0x0D, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00,
                                        0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46};

enum class Kind { TopMessage, EmbeddedMessage, SubObject };

void putLe32(std::vector<std::uint8_t>& out, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}
void putLe64(std::vector<std::uint8_t>& out, std::uint64_t v) {
    for (int i = 0; i < 8; ++i)
        out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

std::vector<std::uint8_t> utf16le(const std::wstring& text) {
    std::vector<std::uint8_t> out;
    out.reserve(text.size() * 2);
    for (wchar_t wc : text) {
        auto cp = static_cast<std::uint32_t>(wc);
        auto unit = [&](std::uint32_t u) {
            out.push_back(static_cast<std::uint8_t>(u & 0xFF));
            out.push_back(static_cast<std::uint8_t>(u >> 8));
        };
        if (cp >= 0x10000) {
            cp -= 0x10000;
            unit(0xD800 + (cp >> 10));
            unit(0xDC00 + (cp & 0x3FF));
        } else {
            unit(cp);
        }
    }
    return out;
}

std::vector<std::uint8_t> encode8bit(const std::wstring& text, std::uint32_t codePage) {
    const std::string name = codePage == 65001 ? "UTF-8" : "CP" + std::to_string(codePage);
    iconv_t cd = iconv_open(name.c_str(), "WCHAR_T");
    if (cd == reinterpret_cast<iconv_t>(-1))
        throw std::runtime_error("no iconv converter for " + name);
    std::vector<std::uint8_t> out(text.size() * 4 + 16);
    char* in = reinterpret_cast<char*>(const_cast<wchar_t*>(text.data()));
    size_t inLeft = text.size() * sizeof(wchar_t);
    char* outPtr = reinterpret_cast<char*>(out.data());
    size_t outLeft = out.size();
    const size_t rc = iconv(cd, &in, &inLeft, &outPtr, &outLeft);
    iconv_close(cd);
    if (rc == static_cast<size_t>(-1))
        throw std::runtime_error("text cannot be written in code page " + name);
    out.resize(out.size() - outLeft);
    return out;
}

class PropertyWriter {
public:
    PropertyWriter(GsfOutfile* storage, bool unicode, std::uint32_t codePage)
        : m_pStorage(storage), m_bUnicode(unicode), m_iCodePage(codePage) {}

    void fixed(std::uint32_t tag, std::uint64_t value) {
        putLe32(m_entries, tag);
        putLe32(m_entries, kPropertyFlags);
        putLe64(m_entries, value);
    }

    void text(std::uint32_t id, const std::optional<std::wstring>& value) {
        if (value)
            text(id, *value);
    }
    void text(std::uint32_t id, const std::wstring& value) {
        if (m_bUnicode) {
            variable(id << 16 | PT_UNICODE, utf16le(value), 2);
        } else {
            variable(id << 16 | PT_STRING8, encode8bit(value, m_iCodePage), 1);
        }
    }
    void ascii(std::uint32_t id, const std::string& value) {
        text(id, std::wstring(value.begin(), value.end()));
    }
    void binary(std::uint32_t tag, const std::vector<std::uint8_t>& data) {
        variable(tag, data, 0);
    }
    /// A PT_OBJECT entry, whose storage the caller writes.
    void object(std::uint32_t tag) {
        putLe32(m_entries, tag);
        putLe32(m_entries, kPropertyFlags);
        putLe32(m_entries, 0xFFFFFFFFu);
        putLe32(m_entries, 0);
    }

    /// Writes "__properties_version1.0" with the header for this kind of object.
    void finish(Kind kind, std::uint32_t recipients, std::uint32_t attachments) {
        std::vector<std::uint8_t> stream;
        if (kind == Kind::SubObject) {
            stream.assign(8, 0);
        } else {
            stream.assign(8, 0);
            putLe32(stream, recipients);  // next recipient id
            putLe32(stream, attachments); // next attachment id
            putLe32(stream, recipients);
            putLe32(stream, attachments);
            if (kind == Kind::TopMessage)
                stream.resize(stream.size() + 8, 0);
        }
        stream.insert(stream.end(), m_entries.begin(), m_entries.end());
        writeStream(m_pStorage, "__properties_version1.0", stream);
    }

    static void writeStream(GsfOutfile* storage, const std::string& name,
                            const std::vector<std::uint8_t>& data) {
        GsfOutput* child = gsf_outfile_new_child(storage, name.c_str(), FALSE);
        if (child == nullptr)
            throw std::runtime_error("cannot create stream " + name);
        const bool ok = data.empty() || gsf_output_write(child, data.size(), data.data());
        gsf_output_close(child);
        g_object_unref(child);
        if (!ok)
            throw std::runtime_error("cannot write stream " + name);
    }

private:
    void variable(std::uint32_t tag, const std::vector<std::uint8_t>& data,
                  std::uint32_t terminator) {
        char name[32];
        std::snprintf(name, sizeof name, "__substg1.0_%08X", tag);
        writeStream(m_pStorage, name, data);
        putLe32(m_entries, tag);
        putLe32(m_entries, kPropertyFlags);
        putLe32(m_entries, static_cast<std::uint32_t>(data.size()) + terminator);
        putLe32(m_entries, 0);
    }

    GsfOutfile* m_pStorage;
    bool m_bUnicode;
    std::uint32_t m_iCodePage;
    std::vector<std::uint8_t> m_entries;
};

GsfOutfile* newStorage(GsfOutfile* parent, const std::string& name) {
    GsfOutput* child = gsf_outfile_new_child(parent, name.c_str(), TRUE);
    if (child == nullptr)
        throw std::runtime_error("cannot create storage " + name);
    return GSF_OUTFILE(child);
}

void closeStorage(GsfOutfile* storage) {
    gsf_output_close(GSF_OUTPUT(storage));
    g_object_unref(storage);
}

void writeMessage(GsfOutfile* storage, const MsgMessage& message, Kind kind);

void writeRecipient(GsfOutfile* parent, const MsgRecipient& recipient, std::uint32_t index,
                    const MsgMessage& message) {
    char name[64];
    std::snprintf(name, sizeof name, "__recip_version1.0_#%08X", index);
    GsfOutfile* storage = newStorage(parent, name);
    PropertyWriter props(storage, message.unicode, message.textCodePage);
    props.fixed(0x30000003, index);             // PR_ROWID
    props.fixed(0x0C150003, recipient.type);    // PR_RECIPIENT_TYPE
    props.fixed(0x0FFE0003, 6);                 // PR_OBJECT_TYPE: MAPI_MAILUSER
    props.text(0x3001, recipient.displayName);  // PR_DISPLAY_NAME
    props.text(0x3002, recipient.addressType);  // PR_ADDRTYPE
    props.text(0x3003, recipient.emailAddress); // PR_EMAIL_ADDRESS
    props.text(0x39FE, recipient.smtpAddress);  // PR_SMTP_ADDRESS
    props.finish(Kind::SubObject, 0, 0);
    closeStorage(storage);
}

void writeAttachment(GsfOutfile* parent, const MsgAttachment& attachment, std::uint32_t index,
                     const MsgMessage& message) {
    char name[64];
    std::snprintf(name, sizeof name, "__attach_version1.0_#%08X", index);
    GsfOutfile* storage = newStorage(parent, name);
    PropertyWriter props(storage, message.unicode, message.textCodePage);
    props.fixed(0x0E210003, index);                                         // PR_ATTACH_NUM
    props.fixed(0x37050003, static_cast<std::uint32_t>(attachment.method)); // PR_ATTACH_METHOD
    props.fixed(0x0FFE0003, 7);              // PR_OBJECT_TYPE: MAPI_ATTACH
    props.fixed(0x370B0003, 0xFFFFFFFFu);    // PR_RENDERING_POSITION
    props.text(0x3704, attachment.fileName); // PR_ATTACH_FILENAME
    props.text(0x3707, attachment.fileName); // PR_ATTACH_LONG_FILENAME
    props.text(0x3001, attachment.fileName); // PR_DISPLAY_NAME
    if (!attachment.contentId.empty())
        props.text(0x3712, attachment.contentId); // PR_ATTACH_CONTENT_ID
    if (attachment.method == 5 && attachment.embedded) {
        props.object(0x3701000D); // PR_ATTACH_DATA_OBJ
        GsfOutfile* inner = newStorage(storage, "__substg1.0_3701000D");
        gsf_outfile_msole_set_class_id(GSF_OUTFILE_MSOLE(inner), kMessageClassId);
        writeMessage(inner, *attachment.embedded, Kind::EmbeddedMessage);
        closeStorage(inner);
    } else if (attachment.method == 6) {
        // An OLE object keeps its own storage with the object's streams.
        props.object(0x3701000D);
        GsfOutfile* inner = newStorage(storage, "__substg1.0_3701000D");
        PropertyWriter::writeStream(inner, "\x01Ole", std::vector<std::uint8_t>(20, 0));
        PropertyWriter::writeStream(inner, "CONTENTS", attachment.data);
        closeStorage(inner);
    } else {
        props.binary(0x37010102, attachment.data); // PR_ATTACH_DATA_BIN
    }
    props.finish(Kind::SubObject, 0, 0);
    closeStorage(storage);
}

void writeMessage(GsfOutfile* storage, const MsgMessage& message, Kind kind) {
    // Named-property mapping, present in every saved message (empty here).
    if (kind == Kind::TopMessage) {
        GsfOutfile* nameid = newStorage(storage, "__nameid_version1.0");
        for (const char* name :
             {"__substg1.0_00020102", "__substg1.0_00030102", "__substg1.0_00040102"})
            PropertyWriter::writeStream(nameid, name, {});
        closeStorage(nameid);
    }

    PropertyWriter props(storage, message.unicode, message.textCodePage);
    props.ascii(0x001A, message.messageClass);                    // PR_MESSAGE_CLASS
    props.fixed(0x0E070003, 1);                                   // PR_MESSAGE_FLAGS: read
    props.fixed(0x00170003, 1);                                   // PR_IMPORTANCE: normal
    props.fixed(0x0E1B000B, message.attachments.empty() ? 0 : 1); // PR_HASATTACH
    if (message.submitTime) {
        props.fixed(0x00390040, *message.submitTime); // PR_CLIENT_SUBMIT_TIME
        props.fixed(0x0E060040, *message.submitTime); // PR_MESSAGE_DELIVERY_TIME
    }
    if (message.codePage)
        props.fixed(0x3FFD0003, *message.codePage);
    if (message.localeId)
        props.fixed(0x3FF10003, *message.localeId);
    if (message.internetCodePage)
        props.fixed(0x3FDE0003, *message.internetCodePage);
    props.text(0x0037, message.subject);
    props.text(0x0E1D, message.normalizedSubject);
    props.text(0x0C1A, message.senderName);
    props.text(0x0042, message.senderName); // PR_SENT_REPRESENTING_NAME
    props.text(0x0C1F, message.senderEmail);
    props.text(0x0C1E, message.senderAddressType);
    props.text(0x5D01, message.senderSmtpAddress);
    props.text(0x5D02, message.representingSmtpAddress);
    props.text(0x0E04, message.displayTo);
    props.text(0x0E03, message.displayCc);
    props.text(0x0E02, message.displayBcc);
    props.text(0x1000, message.body);
    if (message.html)
        props.binary(0x10130102,
                     std::vector<std::uint8_t>(message.html->begin(), message.html->end()));
    if (message.compressedRtf)
        props.binary(0x10090102, *message.compressedRtf);

    for (std::size_t i = 0; i < message.recipients.size(); ++i)
        writeRecipient(storage, message.recipients[i], static_cast<std::uint32_t>(i), message);
    for (std::size_t i = 0; i < message.attachments.size(); ++i)
        writeAttachment(storage, message.attachments[i], static_cast<std::uint32_t>(i), message);
    props.finish(kind, static_cast<std::uint32_t>(message.recipients.size()),
                 static_cast<std::uint32_t>(message.attachments.size()));
}

void writeTo(GsfOutput* sink, const MsgMessage& message) {
    GsfOutfile* root = gsf_outfile_msole_new(sink);
    if (root == nullptr)
        throw std::runtime_error("cannot start a compound file");
    gsf_outfile_msole_set_class_id(GSF_OUTFILE_MSOLE(root), kMessageClassId);
    try {
        writeMessage(root, message, Kind::TopMessage);
    } catch (...) {
        closeStorage(root);
        throw;
    }
    closeStorage(root);
}

void initialise() {
    static std::once_flag once;
    std::call_once(once, [] { gsf_init(); });
}

} // namespace

std::vector<std::uint8_t> writeMsgBytes(const MsgMessage& message) {
    initialise();
    GsfOutput* sink = gsf_output_memory_new();
    writeTo(sink, message);
    const guint8* bytes = gsf_output_memory_get_bytes(GSF_OUTPUT_MEMORY(sink));
    const gsf_off_t size = gsf_output_size(sink);
    std::vector<std::uint8_t> out(bytes, bytes + size);
    g_object_unref(sink);
    return out;
}

void writeMsgFile(const std::filesystem::path& path, const MsgMessage& message) {
    initialise();
    GError* error = nullptr;
    GsfOutput* sink = gsf_output_stdio_new(path.c_str(), &error);
    if (sink == nullptr) {
        const std::string reason = error != nullptr ? error->message : "unknown error";
        if (error != nullptr)
            g_error_free(error);
        throw std::runtime_error("cannot create " + path.string() + ": " + reason);
    }
    // Closing the compound file closes the file under it.
    writeTo(sink, message);
    const bool closed = gsf_output_is_closed(sink) && gsf_output_error(sink) == nullptr;
    g_object_unref(sink);
    if (!closed)
        throw std::runtime_error("cannot write " + path.string());
}

std::uint64_t fileTimeFromUtc(int year, int month, int day, int hour, int minute, int second) {
    // Days from 1601-01-01 by the proleptic Gregorian calendar.
    const int y = year - (month <= 2 ? 1 : 0);
    const int era = (y >= 0 ? y : y - 399) / 400;
    const int yoe = y - era * 400;
    const int doy = (153 * ((month + 9) % 12) + 2) / 5 + day - 1;
    const int doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    const std::int64_t daysFrom1970 = static_cast<std::int64_t>(era) * 146097 + doe - 719468;
    const std::int64_t seconds =
        (daysFrom1970 + 134774) * 86400 + hour * 3600 + minute * 60 + second;
    return static_cast<std::uint64_t>(seconds) * 10000000ULL;
}

std::vector<std::uint8_t> storedRtf(const std::string& rtf, bool compress) {
    std::vector<std::uint8_t> body;
    if (compress) {
        // Runs of eight literals behind a zero control byte, then a
        // reference to the current write position, which ends the data.
        std::size_t writePos = 207;
        for (std::size_t i = 0; i < rtf.size(); i += 8) {
            const std::size_t run = std::min<std::size_t>(8, rtf.size() - i);
            body.push_back(0);
            body.insert(body.end(), rtf.begin() + static_cast<std::ptrdiff_t>(i),
                        rtf.begin() + static_cast<std::ptrdiff_t>(i + run));
            writePos = (writePos + run) % 4096;
            if (run < 8 && i + run == rtf.size()) {
                body[body.size() - run - 1] = static_cast<std::uint8_t>(1u << run);
                body.push_back(static_cast<std::uint8_t>(writePos >> 4));
                body.push_back(static_cast<std::uint8_t>((writePos & 0x0F) << 4));
                writePos = 4096; // written
            }
        }
        if (writePos != 4096) {
            body.push_back(1);
            body.push_back(static_cast<std::uint8_t>(writePos >> 4));
            body.push_back(static_cast<std::uint8_t>((writePos & 0x0F) << 4));
        }
    } else {
        body.assign(rtf.begin(), rtf.end());
    }
    std::vector<std::uint8_t> out;
    putLe32(out, static_cast<std::uint32_t>(body.size() + 12));
    putLe32(out, static_cast<std::uint32_t>(rtf.size()));
    putLe32(out, compress ? 0x75465A4Cu : 0x414C454Du);
    putLe32(out, 0); // CRC: left zero, readers do not check it
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

} // namespace QoMsg
