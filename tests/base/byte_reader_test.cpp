#include "base/byte_reader.h"

#include <array>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <span>

namespace larkspine::testing {
namespace {

constexpr std::array<std::byte, 5> five{std::byte{1}, std::byte{2}, std::byte{3}, std::byte{4},
                                        std::byte{5}};

TEST(ByteReader, IntegersAreLittleEndian) {
    ByteReader reader(five);
    EXPECT_EQ(reader.read<std::uint32_t>(), 0x04030201u);
    EXPECT_EQ(reader.read<std::uint8_t>(), 5);
    EXPECT_TRUE(reader.ok());
    EXPECT_EQ(reader.remaining(), 0u);
}

TEST(ByteReader, AnIntegerOneByteTooLongReadsAsZeroAndFails) {
    ByteReader reader(std::span{five}.first(3));
    EXPECT_EQ(reader.read<std::uint32_t>(), 0u);
    EXPECT_FALSE(reader.ok());
}

TEST(ByteReader, AFailedReaderStaysFailedForSmallerReads) {
    ByteReader reader(five);
    EXPECT_EQ(reader.take(6), nullptr);
    EXPECT_EQ(reader.take(1), nullptr);
    EXPECT_EQ(reader.take(0), nullptr);
    EXPECT_EQ(reader.read<std::uint8_t>(), 0);
    EXPECT_EQ(reader.remaining(), 0u);
    EXPECT_FALSE(reader.ok());
}

TEST(ByteReader, AHugeCountDoesNotWrap) {
    ByteReader reader(five);
    ASSERT_NE(reader.take(2), nullptr);
    EXPECT_EQ(reader.take(std::numeric_limits<std::size_t>::max()), nullptr);
    EXPECT_FALSE(reader.ok());
}

TEST(ByteReader, TakingAllRemainingBytesSucceeds) {
    ByteReader reader(five);
    EXPECT_EQ(reader.take(5), five.data());
    EXPECT_TRUE(reader.ok());
    EXPECT_NE(reader.take(0), nullptr);
}

TEST(ByteReader, AReaderFailedByItsCallerStaysFailed) {
    ByteReader reader(five);
    reader.fail();
    EXPECT_FALSE(reader.ok());
    EXPECT_EQ(reader.take(1), nullptr);
}

}  // namespace
}  // namespace larkspine::testing
