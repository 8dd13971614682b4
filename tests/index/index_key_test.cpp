#include "index/index_key.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/path_spellings.h"

namespace larkspine::testing {
namespace {

// 64-bit FNV-1a over bytes, written from the algorithm's definition.
std::uint64_t fnv1a_of_bytes(const std::vector<unsigned>& bytes) {
    std::uint64_t hash = 14695981039346656037u;
    for (const unsigned byte : bytes) {
        hash ^= byte;
        hash *= 1099511628211u;
    }
    return hash;
}

std::vector<unsigned> utf16le_bytes(std::wstring_view text) {
    std::vector<unsigned> bytes;
    for (const wchar_t unit : text) {
        bytes.push_back(static_cast<unsigned>(unit) & 0xFFu);
        bytes.push_back(static_cast<unsigned>(unit) >> 8);
    }
    return bytes;
}

std::wstring file_of(std::wstring_view root) {
    return index_file_name(hash_index_key(normalize_index_key(root)));
}

TEST(IndexKeyTest, ForwardSlashesBecomeBackslashes) {
    EXPECT_EQ(normalize_index_key(L"c:/a\\b/c"), L"c:\\a\\b\\c");
}

TEST(IndexKeyTest, OnlyTheAsciiCapitalsAreLowered) {
    for (unsigned value = 0; value <= 0xFFFF; ++value) {
        if (value == 0x2F)
            continue;
        const bool capital = value >= 0x41 && value <= 0x5A;
        const std::wstring expected(1, static_cast<wchar_t>(capital ? value + 32 : value));
        EXPECT_EQ(normalize_index_key(std::wstring(1, static_cast<wchar_t>(value))), expected)
            << value;
    }
}

TEST(IndexKeyTest, TrailingBackslashesAreRemovedDownToThreeCodeUnits) {
    for (const auto& [path, form] : trimmed_paths)
        EXPECT_EQ(normalize_index_key(path), form) << ::testing::PrintToString(path);
}

TEST(IndexKeyTest, ADriveRootKeepsItsBackslash) {
    for (const auto& [path, form] : drive_roots)
        EXPECT_EQ(normalize_index_key(path), form) << ::testing::PrintToString(path);
}

TEST(IndexKeyTest, TheLongPathPrefixIsPartOfTheKey) {
    EXPECT_EQ(normalize_index_key(L"\\\\?\\C:\\Data\\"), L"\\\\?\\c:\\data");
    EXPECT_EQ(normalize_index_key(L"\\\\?\\C:\\"), L"\\\\?\\c:");
    EXPECT_EQ(normalize_index_key(L"\\\\?\\UNC\\Srv\\Share"), L"\\\\?\\unc\\srv\\share");
}

TEST(IndexKeyTest, AnEmptyRootHasAnEmptyKey) {
    EXPECT_EQ(normalize_index_key(L""), L"");
}

TEST(IndexKeyTest, NormalizingAKeyAgainChangesNothing) {
    for (const std::wstring root :
         {L"C:/Data/Photos/", L"\\\\?\\C:\\", L"\\\\?\\UNC\\Srv\\Share\\"})
        EXPECT_EQ(normalize_index_key(normalize_index_key(root)), normalize_index_key(root));
}

TEST(IndexKeyHashTest, AnEmptyKeyHashesToTheOffsetBasis) {
    EXPECT_EQ(hash_index_key(L""), 0xcbf29ce484222325u);
}

// Published values of the 64-bit variant. A code unit is two bytes, low one first, so the ASCII
// texts "fo", "foob", "foobar", "a\0" and "f\0" are all keys.
TEST(IndexKeyHashTest, KeysWhoseBytesArePublishedTextsHaveThePublishedHashes) {
    const std::vector<std::pair<std::wstring, std::uint64_t>> vectors = {
        {L"\x6F66", 0x08985907b541d342},
        {L"\x6F66\x626F", 0xdd120e790c2512af},
        {L"\x6F66\x626F\x7261", 0x85944171f73967e8},
        {L"a", 0x089be207b544f1e4},
        {L"f", 0x08987c07b5420ebb},
    };
    for (const auto& [key, hash] : vectors)
        EXPECT_EQ(hash_index_key(key), hash) << ::testing::PrintToString(key);
}

TEST(IndexKeyHashTest, EveryCodeUnitIsHashedLowByteFirstThenHighByte) {
    for (unsigned value = 0; value <= 0xFFFF; ++value) {
        const std::wstring key(1, static_cast<wchar_t>(value));
        EXPECT_EQ(hash_index_key(key), fnv1a_of_bytes({value & 0xFF, value >> 8})) << value;
    }
}

TEST(IndexKeyHashTest, AKeyHashesLikeItsUtf16Bytes) {
    using namespace std::string_literals;
    for (const std::wstring& key : {L"\\\\?\\c:\\data"s, L"c:\\"s, L"\xC9t\xE9"s, L"\xD83D\xDE00"s,
                                    L"\xD800"s, L"a\0b"s, std::wstring(5000, L'x')})
        EXPECT_EQ(hash_index_key(key), fnv1a_of_bytes(utf16le_bytes(key)));
}

TEST(IndexKeyHashTest, TheHashDependsOnTheOrderOfTheCodeUnits) {
    EXPECT_NE(hash_index_key(L"ab"), hash_index_key(L"ba"));
    EXPECT_NE(hash_index_key(L"\x0102"), hash_index_key(L"\x0201"));
}

TEST(IndexFileNameTest, TheNameHasSixteenLowerCaseDigitsPaddedWithZeros) {
    EXPECT_EQ(index_file_name(0), L"index-0000000000000000.lsi");
    EXPECT_EQ(index_file_name(1), L"index-0000000000000001.lsi");
    EXPECT_EQ(index_file_name(0x0123456789abcdef), L"index-0123456789abcdef.lsi");
    EXPECT_EQ(index_file_name(0xcbf29ce484222325), L"index-cbf29ce484222325.lsi");
    EXPECT_EQ(index_file_name(0xffffffffffffffff), L"index-ffffffffffffffff.lsi");
}

TEST(IndexFileNameTest, EachHexadecimalDigitHasItsPlace) {
    for (std::size_t place = 0; place < 16; ++place) {
        std::wstring expected = L"index-0000000000000000.lsi";
        expected[21 - place] = L'1';
        EXPECT_EQ(index_file_name(std::uint64_t{1} << (4 * place)), expected);
    }
}

TEST(IndexFileNameTest, SpellingsOfOneRootShareAFile) {
    const std::wstring file = file_of(L"c:\\data\\photos");
    EXPECT_EQ(file_of(L"C:/Data/Photos/"), file);
    EXPECT_EQ(file_of(L"C:\\DATA\\PHOTOS\\\\"), file);
}

TEST(IndexFileNameTest, ADriveRootAndItsBareLetterHaveDifferentFiles) {
    EXPECT_NE(file_of(L"c:\\"), file_of(L"c:"));
    EXPECT_EQ(file_of(L"c:\\"), file_of(L"C:/"));
}

TEST(IndexFileNameTest, RootsThatDifferInTheCaseOfAnAccentedLetterHaveDifferentFiles) {
    EXPECT_NE(file_of(L"C:\\\xC9t\xE9"), file_of(L"C:\\\xE9t\xE9"));
}

TEST(IndexFileNameTest, LocalAndLongFormsHaveDifferentFiles) {
    EXPECT_NE(file_of(L"C:\\Data"), file_of(L"\\\\?\\C:\\Data"));
}

}  // namespace
}  // namespace larkspine::testing
