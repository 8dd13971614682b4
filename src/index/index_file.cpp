#include "index/index_file.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>
#include <utility>

#include "base/win32_handle.h"
#include "base/write_all.h"
#include "index/index_format.h"
#include "index/index_location.h"

namespace larkspine::detail {
namespace {

// One call's worth of bytes: the system counts them in 32 bits.
DWORD request_for(std::size_t bytes) {
    return static_cast<DWORD>(std::min<std::size_t>(bytes, std::numeric_limits<DWORD>::max()));
}

// Creates the file with these bytes, on the disk when it returns true.
bool write_flushed(const std::wstring& path, std::span<const std::byte> bytes) {
    const unique_handle file = own_handle(CreateFileW(
        path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    return file && write_all(file.get(), bytes) && FlushFileBuffers(file.get());
}

}  // namespace

std::optional<std::vector<std::byte>> read_whole_file(const std::wstring& path) {
    const unique_handle file =
        own_handle(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                               FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr));
    LARGE_INTEGER size = {};
    if (!file || !GetFileSizeEx(file.get(), &size) || size.QuadPart < 0)
        return std::nullopt;
    std::vector<std::byte> contents(static_cast<std::size_t>(size.QuadPart));
    for (std::span<std::byte> rest(contents); !rest.empty();) {
        const DWORD request = request_for(rest.size());
        DWORD got = 0;
        if (!ReadFile(file.get(), rest.data(), request, &got, nullptr) || got == 0 || got > request)
            return std::nullopt;
        rest = rest.subspan(got);
    }
    return contents;
}

std::optional<IndexSnapshot> load_index(const std::wstring& root) {
    const std::optional<std::wstring> path = index_file_path(root);
    if (!path)
        return std::nullopt;
    const std::optional<std::vector<std::byte>> contents = read_whole_file(*path);
    if (!contents)
        return std::nullopt;
    return decode_index(*contents, root);
}

bool save_index(const IndexSnapshot& snapshot) {
    const std::optional<std::wstring> path = index_file_path(snapshot.root);
    if (!path)
        return false;
    const std::optional<EncodedIndex> encoded = encode_index(snapshot);
    if (!encoded)
        return false;
    // The process identifier keeps two processes that save at once out of each other's way.
    const std::wstring temporary = *path + L".tmp-" + std::to_wstring(GetCurrentProcessId());
    if (write_flushed(temporary, encoded->span()) &&
        MoveFileExW(temporary.c_str(), path->c_str(),
                    MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        return true;
    DeleteFileW(temporary.c_str());
    return false;
}

}  // namespace larkspine::detail
