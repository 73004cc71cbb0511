#include "app/HostProduct.h"

namespace HostProduct {

bool isRunnable() {
    return false;
}

bool fileItems(const std::vector<std::wstring>& /*paths*/) {
    return false;
}

} // namespace HostProduct
