#include "engine/byte_verification.h"

#include <cstring>

#include "base/read_buffer.h"
#include "base/win32_handle.h"

namespace larkspine::detail {
namespace {

unique_handle open_for_comparison(const std::wstring& path) {
    return open_for_reading(path, FILE_FLAG_SEQUENTIAL_SCAN | FILE_ATTRIBUTE_NORMAL);
}

bool read_block(HANDLE file, std::byte* buffer, DWORD& got) {
    return ReadFile(file, buffer, read_buffer_size, &got, nullptr) && got <= read_buffer_size;
}

}  // namespace

bool files_identical(const std::wstring& first, const std::wstring& second,
                     const std::atomic<bool>& stop) {
    const unique_handle first_file = open_for_comparison(first);
    if (!first_file)
        return false;
    const unique_handle second_file = open_for_comparison(second);
    if (!second_file)
        return false;

    static const ThreadReadBuffer first_thread_buffer;
    static const ThreadReadBuffer second_thread_buffer;
    std::byte* const first_buffer = first_thread_buffer.get();
    std::byte* const second_buffer = second_thread_buffer.get();
    for (;;) {
        DWORD first_got = 0;
        DWORD second_got = 0;
        if (stop || !read_block(first_file.get(), first_buffer, first_got) ||
            !read_block(second_file.get(), second_buffer, second_got))
            return false;
        // A short read on one side counts as a difference. Local files give short reads only at
        // their end, and a wrong "different" is the harmless answer.
        if (first_got != second_got)
            return false;
        if (first_got == 0)
            return true;
        if (std::memcmp(first_buffer, second_buffer, first_got) != 0)
            return false;
    }
}

}  // namespace larkspine::detail
