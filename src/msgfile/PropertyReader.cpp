#include "msgfile/PropertyReader.h"

#include "support/Assert.h"
#include "support/Strings.h"
#include "support/Trace.h"

#include <cstdio>

namespace Mapi {

void throwIfFailed(const CMapiObject& object, HRESULT hr, const char* function,
                   const char* context) {
    if (!FAILED(hr))
        return;
    const std::wstring errorText = object.GetLastError(hr);
    char buffer[160];
    if (errorText.empty()) {
        std::snprintf(buffer, sizeof buffer, "COM error 0x%08X", static_cast<unsigned>(hr));
        throw CMapiException(Kerf::Util::toWide(buffer), hr);
    }
    std::snprintf(buffer, sizeof buffer, "\n\nError: 0x%X, (%d)\nFunction: %s\nContext: %s",
                  static_cast<unsigned>(hr), static_cast<int>(hr), function, context);
    throw CMapiException(errorText + Kerf::Util::toWide(buffer), hr);
}

void PropertyReader::getProperty_Throw(CMapiObject& object, ULONG tag, std::wstring& text,
                                       ULONG flags) {
    std::vector<SPropValue> values;
    const ULONG tags[] = {tag};
    const HRESULT hr = object.GetProps(tags, flags, values);
    throwIfFailed(object, hr, "Mapi::PropertyReader::getProperty_Throw", "GetProps");
    const std::size_t iValueCount = values.size();
    KERF_ASSERT(iValueCount == 1);
    if (iValueCount != 1)
        throw CMapiException(L"GetProps returned no value", MAPI_E_CALL_FAILED);

    const SPropValue& value = values.front();
    if (PROP_TYPE(value.ulPropTag) == PT_ERROR) {
        KERF_ASSERT(hr == MAPI_W_ERRORS_RETURNED);
        if (value.err() == E_OUTOFMEMORY) {
            getPropertySlow_Throw(object, tag, text, flags);
            return;
        }
        throwIfFailed(object, value.err(), "Mapi::PropertyReader::getProperty_Throw", "GetProps");
        return;
    }
    KERF_ASSERT(PROP_TYPE(value.ulPropTag) == ((flags & MAPI_UNICODE) ? PT_UNICODE : PT_STRING8));
    text = value.text;
}

void PropertyReader::getPropertySlow_Throw(CMapiObject& object, ULONG tag, std::wstring& text,
                                           ULONG flags) {
    (void)flags;
    const ULONG type = PROP_TYPE(tag);
    if (type != PT_UNICODE && type != PT_STRING8) {
        KERF_ASSERT(false);
        throw CMapiException(L"Only text properties are read as text", MAPI_E_NO_SUPPORT);
    }
    std::unique_ptr<CStream> stream;
    ULONG storedType = type;
    const HRESULT hr = object.OpenProperty(tag, stream, storedType);
    throwIfFailed(object, hr, "Mapi::PropertyReader::getPropertySlow_Throw", "OpenProperty");
    std::vector<std::uint8_t> data;
    getStreamData_Throw(object, *stream, data);
    text = decodeStoredText(data.data(), data.size(), storedType, object.codePage());
}

void PropertyReader::getStreamData_Throw(const CMapiObject& object, CStream& stream,
                                         std::vector<std::uint8_t>& data) {
    (void)object;
    // The stream's size has been checked against the file's length.
    data.resize(static_cast<std::size_t>(stream.size()));
    const std::size_t read = stream.read(data.data(), data.size());
    if (read != data.size())
        throw CMapiException(L"The property's stream ends early", MAPI_E_CORRUPT_DATA);
}

bool PropertyReader::getProperty(CMapiObject& object, ULONG tag, std::wstring& text, ULONG flags) {
    try {
        getProperty_Throw(object, tag, text, flags);
        return true;
    } catch (const std::exception& e) {
        Kerf::Trace::tracef("Mapi::PropertyReader::getProperty: %s\n", e.what());
        return false;
    }
}

} // namespace Mapi
