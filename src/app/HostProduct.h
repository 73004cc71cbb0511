#pragma once
// The bridge to the host filing product, which can send links to filed
// messages. The product does not run on this platform, so the bridge says so
// and the results list offers no "Send <product> Link".

#include <string>
#include <vector>

namespace HostProduct {

/// Whether the host product is installed and can be started.
bool isRunnable();

/// Hands the message paths to the host product; false when it cannot take them.
bool fileItems(const std::vector<std::wstring>& paths);

} // namespace HostProduct
