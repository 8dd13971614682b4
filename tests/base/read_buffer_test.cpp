#include "base/read_buffer.h"

#include "base/win32_api.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <new>
#include <thread>

#include "support/import_replacement.h"

namespace larkspine::testing {
namespace {

using detail::read_buffer_size;
using detail::ThreadReadBuffer;

// The callback that was passed to the last FlsAlloc, how often it was called, and its last buffer.
PFLS_CALLBACK_FUNCTION release = nullptr;
int releases = 0;
void* released = nullptr;

void WINAPI counted_release(void* buffer) {
    ++releases;
    released = buffer;
    release(buffer);
}

class ReadBufferTest : public ::testing::Test {
  protected:
    ReadBufferTest() {
        release = nullptr;
        releases = 0;
        released = nullptr;
        hooks().FlsAlloc = [](PFLS_CALLBACK_FUNCTION callback) {
            release = callback;
            return real_imports().FlsAlloc(callback == nullptr ? nullptr : counted_release);
        };
    }
    ImportReset reset;
};

TEST_F(ReadBufferTest, AThreadGetsTheSameBufferEachTime) {
    const ThreadReadBuffer buffer;
    std::byte* const first = buffer.get();
    EXPECT_EQ(buffer.get(), first);
    EXPECT_EQ(releases, 0);
}

TEST_F(ReadBufferTest, ANewBufferIsZeroAlignedAndWritableToItsEnd) {
    const ThreadReadBuffer buffer;
    std::byte* const bytes = buffer.get();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes) % 32, 0U);
    EXPECT_EQ(alignof(detail::ReadBuffer), 32U);  // by its type, not by chance
    EXPECT_EQ(std::count(bytes, bytes + read_buffer_size, std::byte{0}),
              std::ptrdiff_t{read_buffer_size});
    std::fill(bytes, bytes + read_buffer_size, std::byte{1});
}

TEST_F(ReadBufferTest, TwoBufferObjectsOnOneThreadHaveDistinctMemory) {
    const ThreadReadBuffer first;
    const ThreadReadBuffer second;
    EXPECT_NE(first.get(), second.get());
}

TEST_F(ReadBufferTest, EachThreadHasItsOwnBufferWhichIsReleasedWhenItEnds) {
    const ThreadReadBuffer buffer;
    std::byte* const own = buffer.get();
    std::byte* other = nullptr;
    std::thread([&] { other = buffer.get(); }).join();
    EXPECT_NE(other, own);
    EXPECT_EQ(releases, 1);
    EXPECT_EQ(released, static_cast<void*>(other));
    EXPECT_EQ(buffer.get(), own);
}

TEST_F(ReadBufferTest, WithoutAnFlsSlotEveryUseThrowsBadAlloc) {
    hooks().FlsAlloc = [](PFLS_CALLBACK_FUNCTION) -> DWORD { return FLS_OUT_OF_INDEXES; };
    int stored = 0;
    hooks().FlsSetValue = [&](DWORD, PVOID) {
        ++stored;
        return FALSE;
    };
    const ThreadReadBuffer buffer;
    EXPECT_THROW((void)buffer.get(), std::bad_alloc);
    EXPECT_THROW((void)buffer.get(), std::bad_alloc);
    EXPECT_EQ(stored, 0);
}

TEST_F(ReadBufferTest, AFailureToStoreTheBufferThrowsBadAllocAndTheNextUseRetries) {
    const ThreadReadBuffer buffer;
    hooks().FlsSetValue = [](DWORD, PVOID) { return FALSE; };
    EXPECT_THROW((void)buffer.get(), std::bad_alloc);
    hooks().FlsSetValue = nullptr;
    EXPECT_NE(buffer.get(), nullptr);
}

}  // namespace
}  // namespace larkspine::testing
