#pragma once
// Reading single properties of a MAPI object, throwing CMapiException
// (support/Exception.h) on failure.

#include "msgfile/MapiObject.h"
#include "support/Exception.h"

#include <string>
#include <vector>

namespace Mapi {

using Kerf::CMapiException;

/// Does nothing for a success code; otherwise throws a CMapiException whose
/// text comes from the object's GetLastError when it has one.
void throwIfFailed(const CMapiObject& object, HRESULT hr, const char* function,
                   const char* context);

class PropertyReader {
public:
    /// One text property through GetProps; a value too large for GetProps is
    /// read through getPropertySlow_Throw.
    static void getProperty_Throw(CMapiObject& object, ULONG tag, std::wstring& text, ULONG flags);
    /// One text property opened and read whole as a stream.
    static void getPropertySlow_Throw(CMapiObject& object, ULONG tag, std::wstring& text,
                                      ULONG flags);
    /// Reads a property stream to its end.
    static void getStreamData_Throw(const CMapiObject& object, CStream& stream,
                                    std::vector<std::uint8_t>& data);
    /// getProperty_Throw that reports failure as false instead.
    static bool getProperty(CMapiObject& object, ULONG tag, std::wstring& text, ULONG flags);
};

} // namespace Mapi
