#include "cycle/UserPlaces.h"

#include "support/Paths.h"
#include "support/Strings.h"

namespace Kerf::QuireLib::UserPlaces {

std::wstring buildIndexRootDirectory() {
    return Kerf::Paths::makerDataDirectory() + Kerf::Paths::productName() + L"/Index/";
}

std::wstring buildIndexDirectory() {
    return buildIndexRootDirectory() + kIndexFormatVersion;
}

std::wstring buildInstanceName(const std::wstring& indexDirectory) {
    std::wstring lower = Kerf::Util::toLower(indexDirectory);
    if (lower.size() > 250)
        lower = lower.substr(lower.size() - 250);
    std::wstring name = L"QOSEARCH_" + lower;
    for (auto& c : name)
        if (c == L'/' || c == L'\\')
            c = L'_';
    return name;
}

} // namespace Kerf::QuireLib::UserPlaces
