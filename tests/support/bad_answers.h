// Invalid answers of a volume to requests for its table and its journal, and checks of the buffer
// for them. Both are read in the same way. For programs with replaced imports.
#pragma once

#include "base/win32_api.h"

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <ostream>
#include <vector>

#include "support/import_replacement.h"
#include "support/planted_faults.h"
#include "support/usn_record_writer.h"

namespace larkspine::testing {

inline constexpr DWORD volume_buffer_size = 1'048'576;

struct BadAnswer {
    const char* name;
    Fault (*fault)(Request request, std::size_t call);
};
inline void PrintTo(const BadAnswer& answer, std::ostream* out) {
    *out << answer.name;
}

inline constexpr BadAnswer bad_answers[] = {
    {"a failure", [](Request r, std::size_t c) { return failing(r, c, ERROR_ACCESS_DENIED); }},
    {"more data to come", [](Request r, std::size_t c) { return failing(r, c, ERROR_MORE_DATA); }},
    {"deleted records",
     [](Request r, std::size_t c) { return failing(r, c, ERROR_JOURNAL_ENTRY_DELETED); }},
    {"nothing returned", [](Request r, std::size_t c) { return claiming(r, c, 0); }},
    {"seven bytes", [](Request r, std::size_t c) { return claiming(r, c, 7); }},
    {"a cut record", [](Request r, std::size_t c) { return claiming(r, c, 9); }},
    {"more bytes than the buffer holds",
     [](Request r, std::size_t c) { return claiming(r, c, volume_buffer_size + 1); }},
    {"the largest size", [](Request r, std::size_t c) { return claiming(r, c, 0xFFFF'FFFF); }},
    {"an unchanged continuation", [](Request r, std::size_t c) { return not_rising(r, c); }},
    {"an earlier continuation", [](Request r, std::size_t c) { return falling(r, c); }},
    {"zero as the continuation", [](Request r, std::size_t c) { return going_on_at(r, c, 0); }},
};

// Makes answers to that control code claim one record that ends 8 bytes beyond the buffer.
inline void claim_a_record_beyond_the_room(DWORD code) {
    hooks().DeviceIoControl = [code, next = hooks().DeviceIoControl](
                                  HANDLE device, DWORD asked, LPVOID in, DWORD in_size, LPVOID out,
                                  DWORD out_size, LPDWORD returned, LPOVERLAPPED overlapped) {
        const BOOL done = next(device, asked, in, in_size, out, out_size, returned, overlapped);
        if (done && asked == code) {
            store_little_endian(static_cast<std::byte*>(out) + 8, volume_buffer_size, 4);
            *returned = volume_buffer_size + 8;
        }
        return done;
    };
}

// Records the buffers of requests with that control code, in order.
inline void note_buffers(DWORD code, std::vector<LPVOID>& buffers) {
    hooks().DeviceIoControl = [code, &buffers, next = hooks().DeviceIoControl](
                                  HANDLE device, DWORD asked, LPVOID in, DWORD in_size, LPVOID out,
                                  auto... rest) {
        if (asked == code)
            buffers.push_back(out);
        return next(device, asked, in, in_size, out, rest...);
    };
}
inline void expect_one_aligned_buffer(const std::vector<LPVOID>& buffers, std::size_t uses) {
    ASSERT_EQ(buffers.size(), uses);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffers[0]) % 32, 0u);
    EXPECT_EQ(buffers, std::vector<LPVOID>(uses, buffers[0]));
}

}  // namespace larkspine::testing
