#include "index/index_format.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "support/snapshots.h"

namespace larkspine::testing {
namespace {

using detail::decode_index;
using detail::encode_index;
using detail::EncodedIndex;
using detail::IndexSnapshot;

using Bytes = std::vector<std::byte>;

constexpr std::wstring_view root = L"\\\\?\\D:\\";

Bytes encode(const IndexSnapshot& snapshot) {
    const std::optional<EncodedIndex> encoded = encode_index(snapshot);
    if (!encoded)
        return {};
    return {encoded->span().begin(), encoded->span().end()};
}

bool decodes(const Bytes& bytes) {
    return decode_index(bytes, root).has_value();
}

template <typename T>
void put(Bytes& bytes, std::size_t offset, T value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
}

template <typename T>
T get(const Bytes& bytes, std::size_t offset) {
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

IndexSnapshot small_snapshot() {
    IndexSnapshot snapshot = snapshot_of(
        root, {full_entry(L"\\\\?\\D:\\a", L"a"), walked_file(L"\\\\?\\D:\\\u00e9\\\u4e2d", 7)});
    snapshot.journal_valid = true;
    snapshot.journal_id = 0x0102030405060708;
    snapshot.next_usn = -2;
    return snapshot;
}

TEST(IndexFormat, AnEncodedSnapshotDecodesToTheSameFields) {
    const IndexSnapshot snapshot = small_snapshot();
    const std::optional<IndexSnapshot> decoded = decode_index(encode(snapshot), root);
    ASSERT_TRUE(decoded.has_value());
    EXPECT_TRUE(same_snapshot(*decoded, snapshot));
}

TEST(IndexFormat, HeaderFieldsStandAtTheirOffsets) {
    const Bytes bytes = encode(small_snapshot());
    EXPECT_EQ(std::memcmp(bytes.data(), "LRKIDX01", 8), 0);
    EXPECT_EQ(get<std::uint32_t>(bytes, 8), 1u);
    EXPECT_EQ(get<std::uint8_t>(bytes, 12), 1);
    EXPECT_EQ(get<std::uint64_t>(bytes, 13), 0x0102030405060708u);
    EXPECT_EQ(get<std::int64_t>(bytes, 21), -2);
    EXPECT_EQ(get<std::uint64_t>(bytes, 29), 2u);
    EXPECT_EQ(get<std::uint32_t>(bytes, 37), root.size());
    EXPECT_EQ(std::memcmp(bytes.data() + 41, root.data(), 2 * root.size()), 0);
}

TEST(IndexFormat, EntryFieldsStandAtTheirOffsets) {
    const IndexSnapshot snapshot =
        snapshot_of(root, {full_entry(L"\\\\?\\D:\\folder\\name", L"name")});
    const Bytes bytes = encode(snapshot);
    const std::size_t p = snapshot.entries[0].path.size();
    const std::size_t n = 4;
    const std::size_t at = 41 + 2 * root.size();
    const std::size_t strings = at + 2 * p + 2 * n;
    ASSERT_EQ(bytes.size(), at + 143 + 2 * p + 2 * n);
    EXPECT_EQ(get<std::uint32_t>(bytes, at), p);
    EXPECT_EQ(std::memcmp(bytes.data() + at + 4, snapshot.entries[0].path.data(), 2 * p), 0);
    EXPECT_EQ(get<std::uint32_t>(bytes, at + 4 + 2 * p), n);
    EXPECT_EQ(std::memcmp(bytes.data() + at + 8 + 2 * p, L"name", 2 * n), 0);
    EXPECT_EQ(get<std::uint8_t>(bytes, strings + 8), 1);
    EXPECT_EQ(get<std::uint64_t>(bytes, strings + 9), 0x1112131415161718u);
    EXPECT_EQ(get<std::uint64_t>(bytes, strings + 17), 0x2122232425262728u);
    EXPECT_EQ(get<std::uint64_t>(bytes, strings + 25), 0x3132333435363738u);
    EXPECT_EQ(get<std::uint64_t>(bytes, strings + 33), 0x4142434445464748u);
    EXPECT_EQ(get<std::uint32_t>(bytes, strings + 41), 0x51525354u);
    EXPECT_EQ(get<std::uint64_t>(bytes, strings + 45), 0x6162636465666768u);
    EXPECT_EQ(get<std::uint64_t>(bytes, strings + 53), 0x7172737475767778u);
    EXPECT_EQ(get<std::uint64_t>(bytes, strings + 61), 0x8182838485868788u);
    EXPECT_EQ(get<std::uint64_t>(bytes, strings + 69), 0x9192939495969798u);
    EXPECT_EQ(get<std::uint8_t>(bytes, strings + 77), 1);
    EXPECT_EQ(get<std::uint8_t>(bytes, strings + 78), 0xA0);
    EXPECT_EQ(get<std::uint8_t>(bytes, strings + 109), 0xBF);
    EXPECT_EQ(get<std::uint8_t>(bytes, strings + 110), 1);
    EXPECT_EQ(get<std::uint8_t>(bytes, strings + 111), 0xC0);
    EXPECT_EQ(get<std::uint8_t>(bytes, strings + 142), 0xDF);
}

TEST(IndexFormat, DigestBytesAreKeptWhateverTheirFlagsSay) {
    IndexSnapshot snapshot = small_snapshot();
    snapshot.entries[0].has_sample_digest = false;
    snapshot.entries[0].has_full_digest = false;
    const std::optional<IndexSnapshot> decoded = decode_index(encode(snapshot), root);
    ASSERT_TRUE(decoded.has_value());
    EXPECT_TRUE(same_snapshot(*decoded, snapshot));
}

TEST(IndexFormat, ASnapshotWithoutEntriesIsItsHeaderAlone) {
    const IndexSnapshot snapshot = snapshot_of(root, {});
    const Bytes bytes = encode(snapshot);
    EXPECT_EQ(bytes.size(), 41 + 2 * root.size());
    const std::optional<IndexSnapshot> decoded = decode_index(bytes, root);
    ASSERT_TRUE(decoded.has_value());
    EXPECT_TRUE(decoded->entries.empty());
}

TEST(IndexFormat, AFileTruncatedAnywhereOrOneByteTooLongIsNoIndex) {
    const Bytes whole = encode(small_snapshot());
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(decodes(Bytes(whole.begin(), whole.begin() + static_cast<long>(size))))
            << "kept " << size << " bytes";
    Bytes longer = whole;
    longer.push_back(std::byte{0});
    EXPECT_FALSE(decodes(longer));
}

// A changed byte is either refused or decoded as its new value. The decoded snapshot then encodes
// to the changed bytes again, except that a flag byte other than zero becomes 1.
TEST(IndexFormat, AChangedByteIsRefusedOrDecodedAsItsNewValue) {
    const Bytes whole = encode(small_snapshot());
    for (std::size_t place = 0; place < whole.size(); ++place) {
        for (unsigned change = 1; change < 256; ++change) {
            Bytes changed = whole;
            changed[place] ^= static_cast<std::byte>(change);
            const std::optional<IndexSnapshot> decoded = decode_index(changed, root);
            if (!decoded)
                continue;
            const Bytes again = encode(*decoded);
            ASSERT_EQ(again.size(), changed.size()) << "byte " << place;
            for (std::size_t i = 0; i < again.size(); ++i) {
                if (again[i] != changed[i]) {
                    EXPECT_EQ(i, place);
                    EXPECT_EQ(again[i], std::byte{1}) << "byte " << place;
                }
            }
        }
    }
}

TEST(IndexFormat, AChangedByteOfMagicVersionCountOrRootLengthIsRefused) {
    const Bytes whole = encode(small_snapshot());
    for (std::size_t place = 0; place < 41; ++place) {
        if (place >= 12 && place < 29)
            continue;  // the journal fields may hold anything
        for (unsigned change = 1; change < 256; ++change) {
            Bytes changed = whole;
            changed[place] ^= static_cast<std::byte>(change);
            EXPECT_FALSE(decodes(changed)) << "byte " << place << " changed by " << change;
        }
    }
}

TEST(IndexFormat, ACountThatTheBytesCannotHoldIsRefusedBeforeAnythingIsReserved) {
    Bytes bytes = encode(small_snapshot());
    // Reserving for the second largest would take about 23 GB; a failure would throw.
    for (const std::uint64_t count :
         {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{3}, std::uint64_t{99'999'999},
          std::uint64_t{100'000'000}, std::uint64_t{100'000'001}, UINT64_MAX, UINT64_MAX / 143}) {
        put(bytes, 29, count);
        EXPECT_FALSE(decodes(bytes)) << count;
    }
}

TEST(IndexFormat, AnyNonZeroFlagByteMeansTrue) {
    IndexSnapshot snapshot = snapshot_of(root, {walked_file(L"x", 1)});
    Bytes bytes = encode(snapshot);
    const std::size_t tail = bytes.size() - 135;
    put<std::uint8_t>(bytes, 12, 0x40);
    put<std::uint8_t>(bytes, tail, 0x80);
    put<std::uint8_t>(bytes, tail + 69, 0x02);
    put<std::uint8_t>(bytes, tail + 102, 0xFF);
    const std::optional<IndexSnapshot> decoded = decode_index(bytes, root);
    ASSERT_TRUE(decoded.has_value());
    EXPECT_TRUE(decoded->journal_valid);
    EXPECT_TRUE(decoded->entries[0].has_file_id);
    EXPECT_TRUE(decoded->entries[0].has_sample_digest);
    EXPECT_TRUE(decoded->entries[0].has_full_digest);
}

TEST(IndexFormat, TheRootIsComparedAsAKeyAndKeepsItsStoredSpelling) {
    const Bytes bytes = encode(snapshot_of(L"C:\\Data", {}));
    for (const std::wstring_view asked : {L"C:\\Data", L"c:/data/", L"C:\\DATA\\\\", L"c:\\dAtA"}) {
        const std::optional<IndexSnapshot> decoded = decode_index(bytes, asked);
        ASSERT_TRUE(decoded.has_value());
        EXPECT_EQ(decoded->root, L"C:\\Data");
    }
    for (const std::wstring_view asked : {L"C:\\Data2", L"D:\\Data", L"C:\\Dat", L""})
        EXPECT_FALSE(decode_index(bytes, asked).has_value());
}

TEST(IndexFormat, StringsOfTheGreatestLengthAreKept) {
    const std::wstring longest(32'768, L'x');
    const IndexSnapshot snapshot =
        snapshot_of(longest, {full_entry(longest, longest), full_entry(L"", L"")});
    const std::optional<IndexSnapshot> decoded = decode_index(encode(snapshot), longest);
    ASSERT_TRUE(decoded.has_value());
    EXPECT_TRUE(same_snapshot(*decoded, snapshot));
}

TEST(IndexFormat, AnEntryWithAStringOverTheLimitIsNotEncoded) {
    const std::wstring too_long(32'769, L'x');
    EXPECT_FALSE(encode_index(snapshot_of(root, {full_entry(too_long, L"x")})).has_value());
    EXPECT_FALSE(encode_index(snapshot_of(root, {full_entry(L"x", too_long)})).has_value());
    EXPECT_FALSE(
        encode_index(snapshot_of(root, {full_entry(L"x", L"x"), full_entry(too_long, L"x")}))
            .has_value());
}

TEST(IndexFormat, StoredStringsOverTheLimitAreRefusedEvenWhenTheirBytesAreThere) {
    const std::wstring longest(32'768, L'x');
    // The root: one more unit than allowed, and the bytes for it.
    Bytes long_root = encode(snapshot_of(longest, {}));
    long_root.resize(long_root.size() + 2, std::byte{'x'});
    put<std::uint32_t>(long_root, 37, 32'769);
    EXPECT_FALSE(decode_index(long_root, longest + L'x').has_value());
    // A path and a name of an entry, likewise.
    for (const bool path : {true, false}) {
        Bytes bytes = encode(snapshot_of(root, {full_entry(longest, longest)}));
        const std::size_t at = 41 + 2 * root.size() + (path ? 0 : 4 + 2 * longest.size());
        bytes.insert(bytes.begin() + static_cast<long>(at) + 4, 2, std::byte{'x'});
        put<std::uint32_t>(bytes, at, 32'769);
        EXPECT_FALSE(decodes(bytes));
    }
}

TEST(IndexFormat, ForeignBytesAreNoIndex) {
    EXPECT_FALSE(decodes({}));
    EXPECT_FALSE(decodes(Bytes(7, std::byte{'L'})));
    EXPECT_FALSE(decodes(Bytes(4096, std::byte{0})));
    EXPECT_FALSE(decodes(Bytes(4096, std::byte{0xFF})));
}

}  // namespace
}  // namespace larkspine::testing
