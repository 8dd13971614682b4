#include "support/usn_record_writer.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>

namespace larkspine::testing {
namespace {

template <std::size_t Size>
std::array<unsigned, Size> bytes_of(const UsnRecordFields& record) {
    std::array<std::byte, Size> bytes;
    bytes.fill(std::byte{0xEE});
    EXPECT_LE(write_usn_record(record, bytes.data()), Size);
    std::array<unsigned, Size> numbers{};
    std::transform(bytes.begin(), bytes.end(), numbers.begin(),
                   [](std::byte byte) { return std::to_integer<unsigned>(byte); });
    return numbers;
}

TEST(UsnRecordWriterTest, EveryFieldStandsAtItsOffsetLittleEndian) {
    UsnRecordFields record;
    record.reference = 0x1112'1314'1516'1718;
    record.parent = 0x2122'2324'2526'2728;
    record.usn = 0x3132'3334'3536'3738;
    record.time_stamp = 0x4142'4344'4546'4748;
    record.reason = 0x5152'5354;
    record.source = 0x6162'6364;
    record.security = 0x7172'7374;
    record.attributes = 0x8182'8384;
    record.name = L"a\u20AC";
    const std::array<unsigned, 66> expected = {
        64,   0,    0,    0,    2,    0,    0,    0,     // length, version
        0x18, 0x17, 0x16, 0x15, 0x14, 0x13, 0x12, 0x11,  // reference
        0x28, 0x27, 0x26, 0x25, 0x24, 0x23, 0x22, 0x21,  // parent
        0x38, 0x37, 0x36, 0x35, 0x34, 0x33, 0x32, 0x31,  // USN
        0x48, 0x47, 0x46, 0x45, 0x44, 0x43, 0x42, 0x41,  // time
        0x54, 0x53, 0x52, 0x51, 0x64, 0x63, 0x62, 0x61,  // reason, source
        0x74, 0x73, 0x72, 0x71, 0x84, 0x83, 0x82, 0x81,  // security, attributes
        4,    0,    60,   0,    'a',  0,    0xAC, 0x20,  // name
        0xEE, 0xEE};
    EXPECT_EQ(bytes_of<66>(record), expected);
}

TEST(UsnRecordWriterTest, ANameThatEndsOffABoundaryIsPaddedWithZeros) {
    UsnRecordFields record;
    record.name = L"abc";
    const auto bytes = bytes_of<80>(record);
    EXPECT_EQ(bytes[0], 72u);
    EXPECT_EQ(bytes[56], 6u);
    EXPECT_EQ((std::array{bytes[66], bytes[67], bytes[71], bytes[72]}),
              (std::array{0u, 0u, 0u, 0xEEu}));
}

TEST(UsnRecordWriterTest, LengthsAreMultiplesOfEight) {
    EXPECT_EQ(usn_record_length(0), 64u);
    EXPECT_EQ(usn_record_length(2), 64u);
    EXPECT_EQ(usn_record_length(3), 72u);
    EXPECT_EQ(usn_record_length(6), 72u);
    EXPECT_EQ(usn_record_length(255), 576u);
}

TEST(UsnRecordWriterTest, AReferenceIsARecordNumberBelowASequenceNumber) {
    EXPECT_EQ(make_reference(0x1234'5678'9ABC, 0xFEDC), 0xFEDC'1234'5678'9ABCu);
    EXPECT_EQ(record_number(0xFEDC'1234'5678'9ABC), 0x1234'5678'9ABCu);
    EXPECT_EQ(sequence_number(0xFEDC'1234'5678'9ABC), 0xFEDC);
    EXPECT_EQ(root_reference, 0x0005'0000'0000'0005u);
}

}  // namespace
}  // namespace larkspine::testing
