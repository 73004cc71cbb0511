#pragma once
// A MAPI property object over one storage of a saved message: the message
// itself, a recipient or an attachment. Fixed-size properties come from the
// storage's "__properties_version1.0" stream (a header, then 16 bytes per
// property); variable-size ones from "__substg1.0_PPPPTTTT" streams.

#include "msgfile/CompoundStorage.h"
#include "msgfile/MapiDefs.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace Mapi {

/// One property value as GetProps returns it. Text is held wide whichever
/// form it was stored in; fixed-size values keep their raw 64 bits.
struct SPropValue {
    ULONG ulPropTag = 0;
    std::uint64_t raw = 0;
    std::wstring text;
    std::vector<std::uint8_t> bin;

    std::int32_t l() const { return static_cast<std::int32_t>(raw & 0xFFFFFFFFu); }
    HRESULT err() const { return static_cast<HRESULT>(raw & 0xFFFFFFFFu); }
    /// FILETIME: 100 ns ticks since 1601 UTC.
    std::uint64_t ft() const { return raw; }
};

class CMapiObject {
public:
    /// Size of the "__properties_version1.0" header for each kind of object.
    static constexpr std::size_t kMessageHeaderSize = 32;
    static constexpr std::size_t kEmbeddedMessageHeaderSize = 24;
    static constexpr std::size_t kSubObjectHeaderSize = 8;

    /// Values larger than this are not returned by GetProps (it reports
    /// MAPI_E_NOT_ENOUGH_MEMORY for them); OpenProperty reads them as streams.
    static constexpr std::uint64_t kGetPropsLimit = 64 * 1024;

    CMapiObject(std::shared_ptr<CStorage> storage, std::size_t headerSize, int codePage);
    virtual ~CMapiObject() = default;
    CMapiObject(const CMapiObject&) = delete;
    CMapiObject& operator=(const CMapiObject&) = delete;

    /// One value per tag, in order. A property that is missing, too large or
    /// unreadable comes back as a PT_ERROR value, and the call then returns
    /// MAPI_W_ERRORS_RETURNED. With MAPI_UNICODE text is reported as
    /// PT_UNICODE, otherwise as PT_STRING8.
    HRESULT GetProps(std::span<const ULONG> tags, ULONG flags, std::vector<SPropValue>& values);

    /// Opens a variable-size property as a stream. A text property asked for
    /// in one form may be stored in the other; `storedType` says which.
    HRESULT OpenProperty(ULONG tag, std::unique_ptr<CStream>& stream, ULONG& storedType);

    /// A text for the last failure, empty when there is none.
    std::wstring GetLastError(HRESULT hr) const;

    int codePage() const { return m_iCodePage; }
    /// Whether the storage holds any property at all.
    bool HasProperties() const { return !m_fixed.empty() || !m_streams.empty(); }

protected:
    struct FixedProp {
        ULONG tag;
        std::uint64_t value;
    };

    /// The fixed-size entry with the identifier of `tag` and its type.
    const FixedProp* findFixed(ULONG tag) const;
    /// The child index of the "__substg1.0_" stream for exactly `tag`, or -1.
    int findStream(ULONG tag) const;
    /// Child storages whose names begin with `prefix`, in name order.
    std::vector<int> childStoragesNamed(std::string_view prefix) const;

    void setCodePage(int codePage) { m_iCodePage = codePage; }
    HRESULT fail(HRESULT hr, std::wstring text);

    std::shared_ptr<CStorage> m_pStorage;

private:
    void readFixedProperties(std::size_t headerSize);
    void indexStreams();
    SPropValue readValue(ULONG tag, ULONG flags);
    bool readText(int child, ULONG storedType, std::wstring& text);

    std::vector<FixedProp> m_fixed;
    std::vector<std::pair<ULONG, int>> m_streams;
    int m_iCodePage = 1252;
    HRESULT m_hrLast = S_OK;
    std::wstring m_sLastError;
};

/// Text as stored: UTF-16LE for PT_UNICODE, the code page's bytes for
/// PT_STRING8; in both cases cut at the first NUL.
std::wstring decodeStoredText(const std::uint8_t* data, std::size_t size, ULONG storedType,
                              int codePage);

} // namespace Mapi
