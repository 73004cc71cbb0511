#pragma once
// Writing a whole buffer to a file descriptor (a pipe, a memory file), going
// on where a signal or a full pipe cut a write short.

#include <cstddef>

namespace Kerf::Util {

/// Writes all `size` bytes; false when the descriptor refuses them.
bool writeAll(int fd, const void* data, std::size_t size);

} // namespace Kerf::Util
