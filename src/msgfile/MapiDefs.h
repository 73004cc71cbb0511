#pragma once
// The MAPI vocabulary the message reader speaks: property tags (type in the
// low word, identifier in the high word), property types, result codes and
// the flags the reader passes.

#include <cstdint>

namespace Mapi {

using ULONG = std::uint32_t;
using HRESULT = std::int32_t;

constexpr ULONG PROP_TYPE(ULONG tag) {
    return tag & 0xFFFFu;
}
constexpr ULONG PROP_ID(ULONG tag) {
    return tag >> 16;
}
constexpr ULONG PROP_TAG(ULONG type, ULONG id) {
    return (id << 16) | type;
}
constexpr ULONG CHANGE_PROP_TYPE(ULONG tag, ULONG type) {
    return (tag & 0xFFFF0000u) | type;
}

// Property types.
constexpr ULONG PT_UNSPECIFIED = 0x0000;
constexpr ULONG PT_I2 = 0x0002;
constexpr ULONG PT_LONG = 0x0003;
constexpr ULONG PT_FLOAT = 0x0004;
constexpr ULONG PT_DOUBLE = 0x0005;
constexpr ULONG PT_CURRENCY = 0x0006;
constexpr ULONG PT_APPTIME = 0x0007;
constexpr ULONG PT_ERROR = 0x000A;
constexpr ULONG PT_BOOLEAN = 0x000B;
constexpr ULONG PT_OBJECT = 0x000D;
constexpr ULONG PT_I8 = 0x0014;
constexpr ULONG PT_STRING8 = 0x001E;
constexpr ULONG PT_UNICODE = 0x001F;
constexpr ULONG PT_SYSTIME = 0x0040;
constexpr ULONG PT_CLSID = 0x0048;
constexpr ULONG PT_BINARY = 0x0102;

// Properties the reader uses.
constexpr ULONG PR_SUBJECT_W = 0x0037001F;
constexpr ULONG PR_CLIENT_SUBMIT_TIME = 0x00390040;
constexpr ULONG PR_SENDER_NAME_W = 0x0C1A001F;
constexpr ULONG PR_DISPLAY_BCC_W = 0x0E02001F;
constexpr ULONG PR_DISPLAY_CC_W = 0x0E03001F;
constexpr ULONG PR_DISPLAY_TO_W = 0x0E04001F;
constexpr ULONG PR_NORMALIZED_SUBJECT_W = 0x0E1D001F;
constexpr ULONG PR_BODY_W = 0x1000001F;
constexpr ULONG PR_RTF_COMPRESSED = 0x10090102;
constexpr ULONG PR_HTML = 0x10130102;
constexpr ULONG PR_DISPLAY_NAME_W = 0x3001001F;
constexpr ULONG PR_ATTACH_SIZE = 0x0E200003;
constexpr ULONG PR_ATTACH_DATA_BIN = 0x37010102;
constexpr ULONG PR_ATTACH_DATA_OBJ = 0x3701000D;
constexpr ULONG PR_ATTACH_FILENAME_W = 0x3704001F;
constexpr ULONG PR_ATTACH_METHOD = 0x37050003;
constexpr ULONG PR_ATTACH_LONG_FILENAME_W = 0x3707001F;
constexpr ULONG PR_ATTACH_MIME_TAG_W = 0x370E001F;
constexpr ULONG PR_ATTACH_CONTENT_ID_W = 0x3712001F;
constexpr ULONG PR_RECIPIENT_TYPE = 0x0C150003;
constexpr ULONG PR_INTERNET_CPID = 0x3FDE0003;
constexpr ULONG PR_MESSAGE_LOCALE_ID = 0x3FF10003;
constexpr ULONG PR_MESSAGE_CODEPAGE = 0x3FFD0003;

// PR_ATTACH_METHOD values.
constexpr std::int32_t ATTACH_BY_VALUE = 1;
constexpr std::int32_t ATTACH_EMBEDDED_MSG = 5;
constexpr std::int32_t ATTACH_OLE = 6;

// Flags.
constexpr ULONG MAPI_UNICODE = 0x80000000u;

// Result codes.
constexpr HRESULT S_OK = 0;
constexpr HRESULT MAPI_W_ERRORS_RETURNED = 0x00040380;
constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
constexpr HRESULT MAPI_E_NOT_ENOUGH_MEMORY = E_OUTOFMEMORY;
constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
constexpr HRESULT MAPI_E_NO_SUPPORT = static_cast<HRESULT>(0x80040102u);
constexpr HRESULT MAPI_E_NOT_FOUND = static_cast<HRESULT>(0x8004010Fu);
constexpr HRESULT MAPI_E_CORRUPT_DATA = static_cast<HRESULT>(0x8004011Bu);
constexpr HRESULT MAPI_E_CALL_FAILED = static_cast<HRESULT>(0x80004005u);

constexpr bool FAILED(HRESULT hr) {
    return hr < 0;
}

} // namespace Mapi
