#include "fs/usn_record.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace larkspine::testing {
namespace {

using detail::parse_usn_record_v2;
using detail::RecordStatus;
using detail::UsnRecord;

using Bytes = std::vector<std::byte>;

// The bytes of one record, field by field, as the volume lays them out.
class RecordBytes {
  public:
    explicit RecordBytes(std::wstring_view name) : bytes_((60 + 2 * name.size() + 7) / 8 * 8) {
        put<std::uint32_t>(0, static_cast<std::uint32_t>(bytes_.size()));
        put<std::uint16_t>(4, 2);
        put<std::uint64_t>(8, 0x0002000000001234);
        put<std::uint64_t>(16, 0x0005000000000005);
        put<std::int64_t>(24, 0x1122334455667788);
        put<std::uint64_t>(32, 0x99);
        put<std::uint32_t>(40, 0x80000102);
        put<std::uint32_t>(44, 0x77);
        put<std::uint32_t>(48, 0x66);
        put<std::uint32_t>(52, 0x20);
        put<std::uint16_t>(56, static_cast<std::uint16_t>(2 * name.size()));
        put<std::uint16_t>(58, 60);
        std::memcpy(bytes_.data() + 60, name.data(), 2 * name.size());
    }
    template <typename T>
    RecordBytes& put(std::size_t offset, T value) {
        std::memcpy(bytes_.data() + offset, &value, sizeof value);
        return *this;
    }
    RecordBytes& resize(std::size_t size) {
        bytes_.resize(size);
        return put<std::uint32_t>(0, static_cast<std::uint32_t>(size));
    }
    // Copied to a block of exactly that size, so that the sanitizers see a read beyond it.
    [[nodiscard]] RecordStatus parse(std::size_t available, UsnRecord& parsed) const {
        const Bytes exact(bytes_.begin(), bytes_.begin() + static_cast<long>(available));
        return parse_usn_record_v2(exact.data(), exact.size(), parsed);
    }
    [[nodiscard]] RecordStatus parse() const {
        UsnRecord parsed;
        return parse(bytes_.size(), parsed);
    }
    [[nodiscard]] std::size_t size() const { return bytes_.size(); }

  private:
    Bytes bytes_;
};

TEST(UsnRecord, EveryFieldIsReadFromItsPlace) {
    UsnRecord parsed;
    const RecordBytes record(L"\u00e9t\u00e9.jpg");
    ASSERT_EQ(record.parse(record.size(), parsed), RecordStatus::ok);
    EXPECT_EQ(parsed.record_length, 80u);
    EXPECT_EQ(parsed.file_reference, 0x0002000000001234u);
    EXPECT_EQ(parsed.parent_reference, 0x0005000000000005u);
    EXPECT_EQ(parsed.usn, 0x1122334455667788);
    EXPECT_EQ(parsed.reason, 0x80000102u);
    EXPECT_EQ(parsed.attributes, 0x20u);
    EXPECT_EQ(parsed.name, L"\u00e9t\u00e9.jpg");
}

TEST(UsnRecord, AnEmptyNameIsDecoded) {
    UsnRecord parsed;
    parsed.name = L"left over";
    const RecordBytes record(L"");
    ASSERT_EQ(record.parse(record.size(), parsed), RecordStatus::ok);
    EXPECT_EQ(parsed.name, L"");
}

TEST(UsnRecord, ANameMayBeginAfterTheHeaderAndEndBeforeTheRecord) {
    UsnRecord parsed;
    RecordBytes record(L"xxab");
    record.put<std::uint16_t>(58, 64).put<std::uint16_t>(56, 4);
    ASSERT_EQ(record.parse(record.size(), parsed), RecordStatus::ok);
    EXPECT_EQ(parsed.name, L"ab");
}

TEST(UsnRecord, BytesAfterTheRecordAreIgnored) {
    UsnRecord parsed;
    RecordBytes record(L"abcd");
    record.resize(200).put<std::uint32_t>(0, 72);
    ASSERT_EQ(record.parse(200, parsed), RecordStatus::ok);
    EXPECT_EQ(parsed.record_length, 72u);
}

TEST(UsnRecord, ARecordCutAnywhereIsMalformed) {
    const RecordBytes record(L"name");
    for (std::size_t available = 0; available < record.size(); ++available) {
        UsnRecord parsed;
        EXPECT_EQ(record.parse(available, parsed), RecordStatus::malformed)
            << available << " bytes";
    }
}

TEST(UsnRecord, ANullPointerIsMalformed) {
    UsnRecord parsed;
    EXPECT_EQ(parse_usn_record_v2(nullptr, 100, parsed), RecordStatus::malformed);
    EXPECT_EQ(parse_usn_record_v2(nullptr, 0, parsed), RecordStatus::malformed);
}

TEST(UsnRecord, ARecordOfAnotherVersionIsUnsupportedAndItsLengthIsDecoded) {
    for (const int version : {0, 1, 3, 4, 0x0200, 0xFFFF}) {
        UsnRecord parsed;
        RecordBytes record(L"name");
        record.put(4, static_cast<std::uint16_t>(version));
        EXPECT_EQ(record.parse(record.size(), parsed), RecordStatus::unsupported_version);
        EXPECT_EQ(parsed.record_length, record.size());
    }
}

// A record of another version may be shorter than version 2 can be.
TEST(UsnRecord, TheVersionIsCheckedBeforeTheMinimumLengthOfVersionTwo) {
    UsnRecord parsed;
    RecordBytes record(L"");
    record.put<std::uint32_t>(0, 8).put<std::uint16_t>(4, 3);
    EXPECT_EQ(record.parse(8, parsed), RecordStatus::unsupported_version);
    EXPECT_EQ(parsed.record_length, 8u);
    record.put<std::uint16_t>(4, 2);
    EXPECT_EQ(record.parse(8, parsed), RecordStatus::malformed);
}

TEST(UsnRecord, LengthsThatMakeNoSenseAreMalformed) {
    for (const std::uint32_t length : {0u, 1u, 7u, 73u, 80u, 0x80000000u, 0xFFFFFFFFu})
        EXPECT_EQ(RecordBytes(L"name").put(0, length).parse(), RecordStatus::malformed) << length;
    for (const std::uint32_t length : {8u, 59u})
        EXPECT_EQ(RecordBytes(L"name").put(0, length).parse(), RecordStatus::malformed) << length;
    EXPECT_EQ(RecordBytes(L"").put<std::uint32_t>(0, 60).parse(), RecordStatus::ok);
}

TEST(UsnRecord, NamesThatDoNotLieInTheRecordAreMalformed) {
    const auto with_name = [](std::uint16_t length, std::uint16_t offset) {
        return RecordBytes(L"name").put(56, length).put(58, offset).parse();
    };
    EXPECT_EQ(with_name(8, 60), RecordStatus::ok);
    EXPECT_EQ(with_name(12, 60), RecordStatus::ok) << "up to the end of the record of 72 bytes";
    EXPECT_EQ(with_name(0, 72), RecordStatus::ok);
    for (const auto& [length, offset] :
         std::initializer_list<std::pair<int, int>>{{7, 60},
                                                    {8, 61},
                                                    {8, 58},
                                                    {8, 0},
                                                    {0, 74},
                                                    {2, 72},
                                                    {14, 60},
                                                    {0xFFFE, 60},
                                                    {8, 0xFFFE},
                                                    {0xFFFE, 0xFFFE}})
        EXPECT_EQ(with_name(static_cast<std::uint16_t>(length), static_cast<std::uint16_t>(offset)),
                  RecordStatus::malformed)
            << length << " bytes at " << offset;
}

TEST(UsnRecord, AnyChangedByteIsDecodedOrRefusedWithoutReadingBeyond) {
    const RecordBytes whole(L"name");
    for (std::size_t place = 0; place < whole.size(); ++place) {
        for (unsigned value = 0; value < 256; ++value) {
            UsnRecord parsed;
            RecordBytes changed = whole;
            changed.put(place, static_cast<std::uint8_t>(value));
            const RecordStatus status = changed.parse(whole.size(), parsed);
            EXPECT_TRUE(status == RecordStatus::malformed ||
                        (parsed.record_length >= 8 && parsed.record_length <= whole.size()));
        }
    }
}

// These are the minor version, time stamp, source and security identifier.
TEST(UsnRecord, FieldsThatAreNotReadMayHoldAnything) {
    const RecordBytes whole(L"name");
    for (const auto& [first, end] :
         std::initializer_list<std::pair<std::size_t, std::size_t>>{{6, 8}, {32, 40}, {44, 52}}) {
        for (std::size_t place = first; place < end; ++place) {
            UsnRecord parsed;
            RecordBytes changed = whole;
            changed.put<std::uint8_t>(place, 0xA5);
            ASSERT_EQ(changed.parse(whole.size(), parsed), RecordStatus::ok) << place;
            EXPECT_EQ(parsed.file_reference, 0x0002000000001234u) << place;
            EXPECT_EQ(parsed.usn, 0x1122334455667788) << place;
            EXPECT_EQ(parsed.reason, 0x80000102u) << place;
            EXPECT_EQ(parsed.attributes, 0x20u) << place;
            EXPECT_EQ(parsed.name, L"name") << place;
        }
    }
}

}  // namespace
}  // namespace larkspine::testing
