#include "app/HostProduct.h"

namespace Pellam::Quarto {

bool isRunnable() {
    return false;
}

bool fileItems(const std::vector<std::wstring>& /*paths*/) {
    return false;
}

} // namespace Pellam::Quarto
