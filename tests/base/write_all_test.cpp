#include "base/write_all.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "support/file_writes.h"

namespace larkspine {
namespace {

// Records what reaches the system for a file that does not exist: the offset in the block and the
// length of each request. No byte is read.
class WriteAllTest : public ::testing::Test {
  protected:
    using Requests = std::vector<std::pair<std::uint64_t, DWORD>>;

    WriteAllTest() {
        testing::answer_writes([this](const testing::FileWrite& write,
                                      DWORD& written) -> std::optional<BOOL> {
            if (write.file != no_file)
                return std::nullopt;
            requests.emplace_back(static_cast<const std::byte*>(write.bytes) - block, write.length);
            if (requests.size() - 1 == faulty)
                return fault(write.length, written);
            written = std::min(write.length, most_taken);
            return TRUE;
        });
    }

    bool write(std::uint64_t size) {
        return write_all(no_file, std::span(block, static_cast<std::size_t>(size)));
    }

    // Reserved addresses, without memory behind them.
    static constexpr std::uint64_t reserved = 0x2'0000'0010;
    struct Release {
        void operator()(void* memory) const { VirtualFree(memory, 0, MEM_RELEASE); }
    };
    std::unique_ptr<void, Release> memory{
        VirtualAlloc(nullptr, reserved, MEM_RESERVE, PAGE_NOACCESS)};
    const std::byte* const block = static_cast<const std::byte*>(memory.get());
    const HANDLE no_file = &requests;

    Requests requests;
    DWORD most_taken = UINT32_MAX;
    std::size_t faulty = SIZE_MAX;  // the call that `fault` answers
    std::function<BOOL(DWORD length, DWORD& written)> fault;
    testing::ImportReset reset;
};

TEST_F(WriteAllTest, ABlockBeyond32BitsIsWrittenInTheLargestPossiblePieces) {
    ASSERT_NE(block, nullptr);
    EXPECT_TRUE(write(0x2'0000'0008));
    EXPECT_EQ(requests, (Requests{{0, 0xFFFFFFFF}, {0xFFFFFFFF, 0xFFFFFFFF}, {0x1'FFFF'FFFE, 10}}));
}

TEST_F(WriteAllTest, OneByteMoreThanTheLargestPieceIsWrittenByASecondCall) {
    EXPECT_TRUE(write(0x1'0000'0000));
    EXPECT_EQ(requests, (Requests{{0, 0xFFFFFFFF}, {0xFFFFFFFF, 1}}));
}

TEST_F(WriteAllTest, APartialWriteIsContinuedWhereItStopped) {
    most_taken = 0x8000'0000;
    EXPECT_TRUE(write(0x1'0000'0004));
    EXPECT_EQ(requests,
              (Requests{{0, 0xFFFFFFFF}, {0x8000'0000, 0x8000'0004}, {0x1'0000'0000, 4}}));
}

// Two calls fail, with different counts. The others succeed: one writes nothing, one reports no
// count, and one reports more than was requested.
TEST_F(WriteAllTest, AFaultAtAnyCallEndsTheWriteWithFailure) {
    most_taken = 0x8000'0000;
    const std::vector<std::function<BOOL(DWORD, DWORD&)>> faults = {
        [](DWORD, DWORD&) { return FALSE; },
        [](DWORD length, DWORD& written) { return written = length, FALSE; },
        [](DWORD, DWORD& written) { return written = 0, TRUE; },
        [](DWORD, DWORD&) { return TRUE; },
        [](DWORD length, DWORD& written) { return written = length + 1, TRUE; },
    };
    for (std::size_t kind = 0; kind < faults.size(); ++kind) {
        fault = faults[kind];
        for (faulty = 0; faulty < 3; ++faulty) {
            requests.clear();
            EXPECT_FALSE(write(0x1'8000'0000 - 1)) << "fault " << kind << " at call " << faulty;
            EXPECT_EQ(requests.size(), faulty + 1);
        }
        requests.clear();
        EXPECT_TRUE(write(0x1'8000'0000 - 1));
    }
}

TEST_F(WriteAllTest, AnEmptyBlockMakesNoSystemCall) {
    EXPECT_TRUE(write(0));
    EXPECT_EQ(requests, Requests{});
}

}  // namespace
}  // namespace larkspine
