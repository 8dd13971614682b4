#include "base/path.h"

#include "base/win32_api.h"

#include <algorithm>
#include <cstddef>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "support/scoped_environment.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using namespace std::string_literals;

class ToLongPathTest : public ::testing::Test {
  protected:
    // The folder of this test as a user would type it.
    [[nodiscard]] std::wstring typed_root() const { return strip_long_path_prefix(tree.root()); }

    TempTree tree;
};

TEST_F(ToLongPathTest, ARelativePathStartsAtTheCurrentDirectory) {
    const ScopedCurrentDirectory here(typed_root());
    EXPECT_EQ(to_long_path(L"photos"), tree.root() + L"\\photos");
    EXPECT_EQ(to_long_path(L".\\photos"), tree.root() + L"\\photos");
    EXPECT_EQ(to_long_path(L"photos\\2024"), tree.root() + L"\\photos\\2024");
    EXPECT_EQ(to_long_path(L"."), tree.root());
}

TEST_F(ToLongPathTest, APathWithoutADriveStartsAtTheDriveOfTheCurrentDirectory) {
    const ScopedCurrentDirectory here(typed_root());
    EXPECT_EQ(to_long_path(L"\\photos"), tree.root().substr(0, 6) + L"\\photos");
}

TEST_F(ToLongPathTest, ALongRelativePathIsNotCut) {
    const ScopedCurrentDirectory here(typed_root());
    std::wstring relative = L"start";
    for (int i = 0; i < 60; ++i)
        relative += L"\\folder number";
    EXPECT_EQ(to_long_path(relative), tree.root() + L"\\" + relative);
}

TEST_F(ToLongPathTest, NamesInAnyScriptStay) {
    const ScopedCurrentDirectory here(typed_root());
    for (const std::wstring name : {L"\xC9t\xE9", L"\x6F22\x5B57", L"\xD83D\xDE00", L"a;b"})
        EXPECT_EQ(to_long_path(name), tree.root() + L"\\" + name) << ::testing::PrintToString(name);
}

TEST_F(ToLongPathTest, TheResultOpensTheFile) {
    const ScopedCurrentDirectory here(typed_root());
    tree.file(L"photos\\a.txt", "contents");
    EXPECT_EQ(read_file(to_long_path(L"photos/a.txt")), "contents");
}

TEST(ToLongPathFormsTest, AnAbsolutePathGetsThePrefix) {
    EXPECT_EQ(to_long_path(L"C:\\Data"), L"\\\\?\\C:\\Data");
    EXPECT_EQ(to_long_path(L"C:\\"), L"\\\\?\\C:\\");
}

TEST(ToLongPathFormsTest, ForwardSlashesBecomeBackslashes) {
    EXPECT_EQ(to_long_path(L"C:/Data/x"), L"\\\\?\\C:\\Data\\x");
    EXPECT_EQ(to_long_path(L"//server/share/x"), L"\\\\?\\UNC\\server\\share\\x");
}

TEST(ToLongPathFormsTest, ParentsAreResolved) {
    EXPECT_EQ(to_long_path(L"C:\\Data\\..\\x\\.\\y"), L"\\\\?\\C:\\x\\y");
}

TEST(ToLongPathFormsTest, ATrailingSeparatorIsNeitherAddedNorRemoved) {
    EXPECT_EQ(to_long_path(L"C:\\Data\\"), L"\\\\?\\C:\\Data\\");
    EXPECT_EQ(to_long_path(L"C:/Data/"), L"\\\\?\\C:\\Data\\");
    EXPECT_EQ(to_long_path(L"\\\\server\\share\\x\\"), L"\\\\?\\UNC\\server\\share\\x\\");
}

TEST(ToLongPathFormsTest, ANetworkPathGetsTheNetworkPrefix) {
    EXPECT_EQ(to_long_path(L"\\\\server\\share\\x"), L"\\\\?\\UNC\\server\\share\\x");
}

TEST(ToLongPathFormsTest, ADevicePathIsTakenForANetworkPath) {
    EXPECT_EQ(to_long_path(L"\\\\.\\C:\\x"), L"\\\\?\\UNC\\.\\C:\\x");
}

TEST(ToLongPathFormsTest, APathWithTheLongPrefixIsReturnedUnchanged) {
    for (const std::wstring path :
         {L"\\\\?\\C:\\x", L"\\\\?\\C:\\a\\..\\b/./c\\\\", L"\\\\?\\UNC\\server\\share\\",
          L"\\\\?\\unc\\server", L"\\\\?\\", L"\\\\?\\relative"})
        EXPECT_EQ(to_long_path(path), path) << ::testing::PrintToString(path);
}

TEST(ToLongPathFormsTest, AnEmptyPathStaysEmpty) {
    EXPECT_EQ(to_long_path(L""), L"");
}

// In ascending order; no two are equal.
const std::vector<std::wstring> ordered = {
    L"",
    L"1",
    L"10",
    L"2",
    L"A",
    L"a",
    L"a\0b"s,
    L"a\0c"s,
    L"a b",
    L"a.txt",
    L"AB",
    L"Ab",
    L"aB",
    L"ab",
    L"AZ",
    L"a\\b",
    L"a_b",
    L"B",
    L"b",
    L"Z",
    L"z",
    L"\\\\?\\C:\\A.txt",
    L"\\\\?\\C:\\a.txt",
    L"\\\\?\\C:\\B.txt",
    L"\\\\?\\C:\\b.TXT",
    L"\\\\?\\C:\\b.txt",
    L"\\\\?\\C:\\b.txt2",
    L"\\\\?\\UNC\\srv\\share",
    L"\xC9",
    L"\xE9",
    L"\x6F22",
    L"\xD800",
    L"\xD800x",
    L"\xD83D",
    L"\xD83D\xDE00",
    L"\xDC00",
    L"\xFF21",
    L"\xFFFD",
};

TEST(PathLessTest, EveryPairOfTheOrderedTableComparesInItsOrder) {
    for (std::size_t i = 0; i < ordered.size(); ++i)
        for (std::size_t j = 0; j < ordered.size(); ++j)
            EXPECT_EQ(path_less(ordered[i], ordered[j]), i < j)
                << ::testing::PrintToString(ordered[i]) << " and "
                << ::testing::PrintToString(ordered[j]);
}

// The requirements of std::sort, over all triples of paths that are equal, nearly equal or
// unrelated.
TEST(PathLessTest, IsAStrictWeakOrdering) {
    const std::vector<std::wstring> paths = {
        L"",      L"a",      L"A",      L"a",       L"aB",    L"Ab",     L"a\\b", L"A\\B", L"\xC9",
        L"\xE9",  L"\xD800", L"\xDC00", L"\xD800x", L"a\0b"s, L"\x131",  L"I",    L"i",    L"\x130",
        L"\x17F", L"s",      L"S",      L"\xDF",    L"ss",    L"\x212A", L"K"};
    const auto equivalent = [](const std::wstring& a, const std::wstring& b) {
        return !path_less(a, b) && !path_less(b, a);
    };
    for (const std::wstring& a : paths) {
        EXPECT_FALSE(path_less(a, a));
        for (const std::wstring& b : paths) {
            EXPECT_EQ(equivalent(a, b), a == b);
            EXPECT_FALSE(path_less(a, b) && path_less(b, a));
            for (const std::wstring& c : paths)
                EXPECT_FALSE(path_less(a, b) && path_less(b, c) && !path_less(a, c));
        }
    }
}

// The three keys of the order, each compared by a call of the system.
bool less_by_three_keys(const std::wstring& a, const std::wstring& b) {
    const int a_length = static_cast<int>(a.size());
    const int b_length = static_cast<int>(b.size());
    for (const BOOL ignore_case : {TRUE, FALSE}) {
        const int order =
            CompareStringOrdinal(a.c_str(), a_length, b.c_str(), b_length, ignore_case);
        if (order != CSTR_EQUAL)
            return order == CSTR_LESS_THAN;
    }
    return a < b;
}

TEST(PathLessTest, OrdersEveryPairAsTheSystemDoes) {
    // Around the letters of ASCII, with and without case, and beyond.
    const std::wstring units = L"aAzZbB@[_`{\\. 0\x7F\x80\xE9\xC9\x131\xD800\xFFFF";
    std::mt19937 random(1);
    std::vector<std::wstring> paths;
    for (int i = 0; i < 400; ++i) {
        std::wstring& path = paths.emplace_back();
        for (auto length = random() % 5; length > 0; --length)
            path.push_back(units[random() % (i % 2 == 0 ? 6 : units.size())]);
    }
    for (const std::wstring& a : paths)
        for (const std::wstring& b : paths)
            ASSERT_EQ(path_less(a, b), less_by_three_keys(a, b))
                << ::testing::PrintToString(a) << " and " << ::testing::PrintToString(b);
}

TEST(PathLessTest, ACommonPrefixOfAnyLengthDoesNotAffectTheOrder) {
    const std::vector<std::wstring> ends = {L"",  L"a", L"A",  L"b",      L"\xE9",       L"\xC9",
                                            L"_", L"[", L"aB", L"A\xE9b", L"a\xC9\xFFFF"};
    for (std::size_t length = 0; length < 10; ++length) {
        const std::wstring begin = std::wstring(L"C:\\d\xE9\\F\xC9o").substr(0, length);
        for (const std::wstring& a : ends)
            for (const std::wstring& b : ends)
                EXPECT_EQ(path_less(begin + a, begin + b), less_by_three_keys(begin + a, begin + b))
                    << ::testing::PrintToString(begin + a) << ::testing::PrintToString(begin + b);
    }
}

TEST(PathLessTest, AViewWithNullDataSortsBeforeEveryPath) {
    EXPECT_TRUE(path_less({}, L"a"));
    EXPECT_FALSE(path_less(L"a", {}));
    EXPECT_FALSE(path_less({}, {}));
}

TEST(PathLessTest, ReadsNothingBeyondTheEndOfTheView) {
    const std::wstring_view a = std::wstring_view(L"same-1").substr(0, 4);
    const std::wstring_view b = std::wstring_view(L"same-2").substr(0, 4);
    EXPECT_FALSE(path_less(a, b));
    EXPECT_FALSE(path_less(b, a));
    // What follows the shorter view in memory is what the longer one has there.
    const std::wstring longer = L"C:\\same-text";
    const std::wstring copy = longer;
    for (std::size_t length = 0; length < longer.size(); ++length) {
        const std::wstring_view shorter = std::wstring_view(copy).substr(0, length);
        EXPECT_TRUE(path_less(shorter, longer)) << length;
        EXPECT_FALSE(path_less(longer, shorter)) << length;
    }
}

}  // namespace
}  // namespace larkspine::testing
