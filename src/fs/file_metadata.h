// Size, times and attributes of files that are known by path alone, read without opening them.
#pragma once

#include "base/win32_api.h"

#include <optional>
#include <string>

#include "base/scan_records.h"

namespace larkspine::detail {

// What the system says about `path`; empty when it cannot be queried or has become a folder. Any
// thread.
[[nodiscard]] std::optional<WIN32_FILE_ATTRIBUTE_DATA> file_metadata_of(const std::wstring& path);

// The fields that the two hold in common, in the entry's terms.
[[nodiscard]] std::uint64_t size_of(const WIN32_FILE_ATTRIBUTE_DATA& metadata) noexcept;
[[nodiscard]] std::uint64_t last_write_time_of(const WIN32_FILE_ATTRIBUTE_DATA& metadata) noexcept;

// Stores attributes, size and both times in the entry.
void store_metadata(const WIN32_FILE_ATTRIBUTE_DATA& metadata, FileCandidate& entry);

}  // namespace larkspine::detail
