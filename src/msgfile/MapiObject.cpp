#include "msgfile/MapiObject.h"

#include "text/CodePages.h"

#include <algorithm>
#include <cstring>

namespace Mapi {
namespace {

constexpr std::string_view kPropertiesStream = "__properties_version1.0";
constexpr std::string_view kSubstgPrefix = "__substg1.0_";
constexpr std::size_t kFixedEntrySize = 16;

bool startsWithNoCase(std::string_view name, std::string_view prefix) {
    if (name.size() < prefix.size())
        return false;
    for (std::size_t i = 0; i < prefix.size(); ++i) {
        char a = name[i];
        char b = prefix[i];
        if (a >= 'A' && a <= 'Z')
            a = static_cast<char>(a - 'A' + 'a');
        if (b >= 'A' && b <= 'Z')
            b = static_cast<char>(b - 'A' + 'a');
        if (a != b)
            return false;
    }
    return true;
}

bool parseHexTag(std::string_view digits, ULONG& tag) {
    if (digits.size() != 8)
        return false;
    ULONG value = 0;
    for (char c : digits) {
        unsigned digit = 0;
        if (c >= '0' && c <= '9')
            digit = static_cast<unsigned>(c - '0');
        else if (c >= 'A' && c <= 'F')
            digit = static_cast<unsigned>(c - 'A' + 10);
        else if (c >= 'a' && c <= 'f')
            digit = static_cast<unsigned>(c - 'a' + 10);
        else
            return false;
        value = (value << 4) | digit;
    }
    tag = value;
    return true;
}

std::uint64_t le64(const std::uint8_t* p) {
    std::uint64_t v = 0;
    for (int i = 7; i >= 0; --i)
        v = (v << 8) | p[i];
    return v;
}

bool isFixedSizeType(ULONG type) {
    switch (type) {
    case PT_I2:
    case PT_LONG:
    case PT_FLOAT:
    case PT_DOUBLE:
    case PT_CURRENCY:
    case PT_APPTIME:
    case PT_ERROR:
    case PT_BOOLEAN:
    case PT_I8:
    case PT_SYSTIME:
        return true;
    default:
        return false;
    }
}

SPropValue errorValue(ULONG tag, HRESULT hr) {
    SPropValue value;
    value.ulPropTag = CHANGE_PROP_TYPE(tag, PT_ERROR);
    value.raw = static_cast<std::uint32_t>(hr);
    return value;
}

} // namespace

std::wstring decodeStoredText(const std::uint8_t* data, std::size_t size, ULONG storedType,
                              int codePage) {
    if (storedType == PT_UNICODE)
        return Kerf::CodePages::decodeUtf16le(data, size, /*stopAtNul=*/true);
    const void* nul = std::memchr(data, 0, size);
    const std::size_t end = nul != nullptr ? static_cast<const std::uint8_t*>(nul) - data : size;
    return Kerf::CodePages::decode(std::string_view(reinterpret_cast<const char*>(data), end),
                                   codePage);
}

CMapiObject::CMapiObject(std::shared_ptr<CStorage> storage, std::size_t headerSize, int codePage)
    : m_pStorage(std::move(storage)), m_iCodePage(codePage) {
    indexStreams();
    readFixedProperties(headerSize);
}

void CMapiObject::indexStreams() {
    for (int i = 0; i < m_pStorage->childCount(); ++i) {
        const std::string_view name = m_pStorage->childName(i);
        ULONG tag = 0;
        // Multi-valued properties carry an "-index" suffix; they are not read.
        if (startsWithNoCase(name, kSubstgPrefix) &&
            parseHexTag(name.substr(kSubstgPrefix.size()), tag))
            m_streams.emplace_back(tag, i);
    }
    std::stable_sort(m_streams.begin(), m_streams.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
}

void CMapiObject::readFixedProperties(std::size_t headerSize) {
    int index = -1;
    for (int i = 0; i < m_pStorage->childCount() && index < 0; ++i)
        if (m_pStorage->childName(i).size() == kPropertiesStream.size() &&
            startsWithNoCase(m_pStorage->childName(i), kPropertiesStream))
            index = i;
    if (index < 0)
        return;
    std::unique_ptr<CStream> stream = m_pStorage->openStream(index);
    if (!stream || stream->size() <= headerSize)
        return;
    const std::size_t size = static_cast<std::size_t>(stream->size());
    const std::uint8_t* data = stream->readView(size);
    if (data == nullptr)
        return;
    m_fixed.reserve((size - headerSize) / kFixedEntrySize);
    for (std::size_t pos = headerSize; pos + kFixedEntrySize <= size; pos += kFixedEntrySize) {
        const ULONG tag = static_cast<ULONG>(le64(data + pos) & 0xFFFFFFFFu);
        if (isFixedSizeType(PROP_TYPE(tag)))
            m_fixed.push_back(FixedProp{tag, le64(data + pos + 8)});
    }
}

const CMapiObject::FixedProp* CMapiObject::findFixed(ULONG tag) const {
    for (const FixedProp& prop : m_fixed)
        if (prop.tag == tag)
            return &prop;
    return nullptr;
}

int CMapiObject::findStream(ULONG tag) const {
    const auto it = std::lower_bound(m_streams.begin(), m_streams.end(), tag,
                                     [](const auto& entry, ULONG t) { return entry.first < t; });
    return it != m_streams.end() && it->first == tag ? it->second : -1;
}

std::vector<int> CMapiObject::childStoragesNamed(std::string_view prefix) const {
    std::vector<int> children;
    for (int i = 0; i < m_pStorage->childCount(); ++i)
        if (startsWithNoCase(m_pStorage->childName(i), prefix))
            children.push_back(i);
    std::stable_sort(children.begin(), children.end(), [this](int a, int b) {
        return m_pStorage->childName(a) < m_pStorage->childName(b);
    });
    return children;
}

HRESULT CMapiObject::fail(HRESULT hr, std::wstring text) {
    m_hrLast = hr;
    m_sLastError = std::move(text);
    return hr;
}

std::wstring CMapiObject::GetLastError(HRESULT hr) const {
    return hr == m_hrLast ? m_sLastError : std::wstring();
}

SPropValue CMapiObject::readValue(ULONG tag, ULONG flags) {
    const ULONG type = PROP_TYPE(tag);
    if (isFixedSizeType(type)) {
        const FixedProp* fixed = findFixed(tag);
        if (fixed == nullptr)
            return errorValue(tag, MAPI_E_NOT_FOUND);
        SPropValue value;
        value.ulPropTag = tag;
        value.raw = fixed->value;
        return value;
    }
    if (type != PT_UNICODE && type != PT_STRING8 && type != PT_BINARY && type != PT_CLSID)
        return errorValue(tag, MAPI_E_NO_SUPPORT);

    std::unique_ptr<CStream> stream;
    ULONG storedType = type;
    const HRESULT hr = OpenProperty(tag, stream, storedType);
    if (FAILED(hr))
        return errorValue(tag, hr);
    if (stream->size() > kGetPropsLimit)
        return errorValue(tag, MAPI_E_NOT_ENOUGH_MEMORY);
    const std::size_t size = static_cast<std::size_t>(stream->size());
    const std::uint8_t* data = stream->readView(size);
    if (data == nullptr)
        return errorValue(tag, MAPI_E_CORRUPT_DATA);

    SPropValue value;
    if (type == PT_UNICODE || type == PT_STRING8) {
        value.ulPropTag = CHANGE_PROP_TYPE(tag, (flags & MAPI_UNICODE) ? PT_UNICODE : PT_STRING8);
        value.text = decodeStoredText(data, size, storedType, m_iCodePage);
    } else {
        value.ulPropTag = tag;
        value.bin.assign(data, data + size);
    }
    return value;
}

HRESULT CMapiObject::GetProps(std::span<const ULONG> tags, ULONG flags,
                              std::vector<SPropValue>& values) {
    values.clear();
    values.reserve(tags.size());
    bool anyError = false;
    for (ULONG tag : tags) {
        values.push_back(readValue(tag, flags));
        anyError = anyError || PROP_TYPE(values.back().ulPropTag) == PT_ERROR;
    }
    return anyError ? MAPI_W_ERRORS_RETURNED : S_OK;
}

HRESULT CMapiObject::OpenProperty(ULONG tag, std::unique_ptr<CStream>& stream, ULONG& storedType) {
    stream.reset();
    const ULONG type = PROP_TYPE(tag);
    int child = findStream(tag);
    storedType = type;
    if (child < 0 && (type == PT_UNICODE || type == PT_STRING8)) {
        storedType = type == PT_UNICODE ? PT_STRING8 : PT_UNICODE;
        child = findStream(CHANGE_PROP_TYPE(tag, storedType));
    }
    if (type != PT_UNICODE && type != PT_STRING8 && type != PT_BINARY && type != PT_CLSID)
        return fail(MAPI_E_NO_SUPPORT, L"The property cannot be opened as a stream.");
    if (child < 0)
        return fail(MAPI_E_NOT_FOUND, L"The property is not in the message.");
    stream = m_pStorage->openStream(child);
    if (!stream)
        return fail(MAPI_E_CORRUPT_DATA, L"The property's stream cannot be read.");
    return S_OK;
}

} // namespace Mapi
