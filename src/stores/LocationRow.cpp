#include "stores/LocationRow.h"

#include "support/Strings.h"

namespace Kerf::QuireLib {
namespace {

bool startsWithNoCase(const std::wstring& text, std::wstring_view prefix) {
    return text.size() >= prefix.size() &&
           Util::compareNoCase(std::wstring_view(text).substr(0, prefix.size()), prefix) == 0;
}

} // namespace

LocationKind locationKindOf(const std::wstring& sPath) {
    if (startsWithNoCase(sPath, L"Outlook:\\\\"))
        return eMailClientFolder;
    if (sPath.starts_with(L"\\\\") || startsWithNoCase(sPath, L"File:\\\\") ||
        sPath.starts_with(L"/") || (sPath.size() >= 3 && sPath.compare(1, 2, L":\\") == 0))
        return eFileSystemFolder;
    return eOtherLocation;
}

} // namespace Kerf::QuireLib
