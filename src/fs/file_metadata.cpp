#include "fs/file_metadata.h"

#include "base/entries.h"
#include "base/win32_handle.h"

namespace larkspine::detail {

std::optional<WIN32_FILE_ATTRIBUTE_DATA> file_metadata_of(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA metadata = {};
    if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &metadata) ||
        is_folder(metadata.dwFileAttributes))
        return std::nullopt;
    return metadata;
}

std::uint64_t size_of(const WIN32_FILE_ATTRIBUTE_DATA& metadata) noexcept {
    return join_halves(metadata.nFileSizeHigh, metadata.nFileSizeLow);
}

std::uint64_t last_write_time_of(const WIN32_FILE_ATTRIBUTE_DATA& metadata) noexcept {
    return filetime_value(metadata.ftLastWriteTime);
}

void store_metadata(const WIN32_FILE_ATTRIBUTE_DATA& metadata, FileCandidate& entry) {
    entry.attributes = metadata.dwFileAttributes;
    entry.size = size_of(metadata);
    entry.creation_time = filetime_value(metadata.ftCreationTime);
    entry.last_write_time = last_write_time_of(metadata);
}

}  // namespace larkspine::detail
