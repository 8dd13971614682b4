// Limits of the index that need a larger file than a test can afford to write. The file is reserved
// address space, and only its first page has memory behind it.
#include "base/win32_api.h"

#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <span>

#include "index/index_format.h"
#include "support/snapshots.h"

namespace larkspine::testing {
namespace {

using detail::decode_index;
using detail::encode_index;
using detail::EncodedIndex;
using detail::max_index_entries;

TEST(IndexFormatLimitsTest, ACountAboveTheLimitIsRefusedEvenWhenTheFileIsLongEnough) {
    constexpr std::size_t page = 4096;
    constexpr std::uint64_t count = max_index_entries + 1;
    static_assert(max_index_entries == 100'000'000);
    const std::size_t size = page + 143 * static_cast<std::size_t>(count);
    const auto release = [](void* memory) { VirtualFree(memory, 0, MEM_RELEASE); };
    const std::unique_ptr<void, decltype(release)> memory(
        VirtualAlloc(nullptr, size, MEM_RESERVE, PAGE_NOACCESS), release);
    auto* const bytes = static_cast<std::byte*>(memory.get());
    ASSERT_NE(VirtualAlloc(bytes, page, MEM_COMMIT, PAGE_READWRITE), nullptr);

    const std::optional<EncodedIndex> header = encode_index(snapshot_of(L"D:\\", {}));
    ASSERT_TRUE(header.has_value());
    std::memcpy(bytes, header->span().data(), header->span().size());
    std::memcpy(bytes + 29, &count, sizeof count);
    EXPECT_FALSE(decode_index(std::span(bytes, size), L"D:\\").has_value());
}

}  // namespace
}  // namespace larkspine::testing
