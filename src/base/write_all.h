// Writes a block to an open file in as many calls as the system needs. A leaf; any thread.
#pragma once

#include "base/win32_api.h"

#include <cstddef>
#include <span>

namespace larkspine {

// Writes all of `bytes` from the file pointer on. False as soon as a call fails, writes nothing, or
// claims to have written more than it was given; what was written before stays.
[[nodiscard]] bool write_all(HANDLE file, std::span<const std::byte> bytes);

}  // namespace larkspine
