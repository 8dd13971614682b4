#include "base/path_forms.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "support/path_spellings.h"

namespace larkspine::testing {
namespace {

// The comparison form, made step by step on a copy: slow, but easy to check.
std::wstring reference_normalize(const std::wstring& path) {
    std::wstring form = path;
    if (form.substr(0, 8) == L"\\\\?\\UNC\\")
        form = L"\\\\" + form.substr(8);
    else if (form.substr(0, 4) == L"\\\\?\\")
        form = form.substr(4);
    for (wchar_t& unit : form) {
        if (unit == L'/')
            unit = L'\\';
        else if (unit >= L'A' && unit <= L'Z')
            unit = static_cast<wchar_t>(unit - L'A' + L'a');
        else if (unit == 0xC9)  // the one letter outside ASCII among the generated paths
            unit = 0xE9;
    }
    while (form.size() > 3 && form.back() == L'\\')
        form.pop_back();
    return form;
}

std::vector<std::wstring> generated_paths() {
    return spellings_of(
        {L"", L"C", L"C:", L"C:/", L"ab", L"abc", L"D:/Data/PHOTOS", L"Srv\\Share", L"\xC9\xE9"},
        {L"\\/\\X"});
}

TEST(StartsWithTest, ATextStartsWithItselfAndWithItsFirstUnits) {
    EXPECT_TRUE(starts_with(L"abc", L"abc"));
    EXPECT_TRUE(starts_with(L"abc", L"ab"));
    EXPECT_TRUE(starts_with(L"abc", L""));
    EXPECT_TRUE(starts_with(L"", L""));
}

TEST(StartsWithTest, ALongerPrefixOrAnotherCaseDoesNotMatch) {
    EXPECT_FALSE(starts_with(L"ab", L"abc"));
    EXPECT_FALSE(starts_with(L"", L"a"));
    EXPECT_FALSE(starts_with(L"Abc", L"ab"));
    EXPECT_FALSE(starts_with(L"xab", L"ab"));
}

TEST(IsSeparatorTest, OnlySlashAndBackslashAreSeparators) {
    for (unsigned value = 0; value <= 0xFFFF; ++value)
        EXPECT_EQ(is_separator(static_cast<wchar_t>(value)), value == 0x5C || value == 0x2F)
            << value;
}

TEST(StripLongPathPrefixTest, ALocalPathLosesThePrefix) {
    EXPECT_EQ(strip_long_path_prefix(L"\\\\?\\C:\\x"), L"C:\\x");
    EXPECT_EQ(strip_long_path_prefix(L"\\\\?\\"), L"");
}

TEST(StripLongPathPrefixTest, ANetworkPathGetsItsTwoBackslashesBack) {
    EXPECT_EQ(strip_long_path_prefix(L"\\\\?\\UNC\\server\\share"), L"\\\\server\\share");
    EXPECT_EQ(strip_long_path_prefix(L"\\\\?\\UNC\\"), L"\\\\");
}

TEST(StripLongPathPrefixTest, PrefixesAreComparedCodeUnitByCodeUnit) {
    EXPECT_EQ(strip_long_path_prefix(L"\\\\?\\unc\\server\\share"), L"unc\\server\\share");
    EXPECT_EQ(strip_long_path_prefix(L"\\\\?\\UNC"), L"UNC");
    EXPECT_EQ(strip_long_path_prefix(L"//?/C:/x"), L"//?/C:/x");
}

TEST(StripLongPathPrefixTest, OnlyOnePrefixIsTakenAway) {
    EXPECT_EQ(strip_long_path_prefix(L"\\\\?\\\\\\?\\C:\\x"), L"\\\\?\\C:\\x");
}

TEST(StripLongPathPrefixTest, APathWithoutThePrefixIsReturnedUnchanged) {
    for (const std::wstring path :
         {L"", L"photos", L"C:\\x\\", L"C:/X", L"\\\\server\\share", L"\\\\.\\C:", L"\\\\?"})
        EXPECT_EQ(strip_long_path_prefix(path), path);
}

TEST(NormalizeForCompareTest, PrefixCaseSlashesAndTrailingSeparatorsDoNotCount) {
    EXPECT_EQ(normalize_for_compare(L"\\\\?\\C:\\Windows\\"), L"c:\\windows");
    EXPECT_EQ(normalize_for_compare(L"\\\\?\\UNC\\Srv\\Share\\"), L"\\\\srv\\share");
    EXPECT_EQ(normalize_for_compare(L"D:/Data\\Photos//"), L"d:\\data\\photos");
}

TEST(NormalizeForCompareTest, ADriveRootKeepsItsBackslash) {
    for (const auto& [path, form] : drive_roots)
        EXPECT_EQ(normalize_for_compare(path), form) << ::testing::PrintToString(path);
    EXPECT_EQ(normalize_for_compare(L"\\\\?\\C:\\"), L"c:\\");
}

TEST(NormalizeForCompareTest, TrimmingStopsAtThreeCodeUnits) {
    for (const auto& [path, form] : trimmed_paths)
        EXPECT_EQ(normalize_for_compare(path), form) << ::testing::PrintToString(path);
}

TEST(NormalizeForCompareTest, InnerDoubledSeparatorsStay) {
    EXPECT_EQ(normalize_for_compare(L"C:\\a//b"), L"c:\\a\\\\b");
}

TEST(NormalizeForCompareTest, LettersOutsideAsciiLoseTheirCaseToo) {
    EXPECT_EQ(normalize_for_compare(L"C:\\\xC9T\xC9\\\x6F22"), L"c:\\\xE9t\xE9\\\x6F22");
    EXPECT_EQ(normalize_for_compare(L"\xD83D\xDE00X\xD800"), L"\xD83D\xDE00x\xD800");
}

TEST(NormalizeForCompareTest, EveryGeneratedPathMatchesTheReferenceAlgorithm) {
    for (const std::wstring& path : generated_paths())
        EXPECT_EQ(normalize_for_compare(path), reference_normalize(path))
            << ::testing::PrintToString(path);
}

TEST(NormalizeForCompareTest, NormalizingTheFormOfAnOrdinaryPathAgainChangesNothing) {
    for (const std::wstring path : {L"\\\\?\\C:\\A\\", L"D:/", L"Photos//", L"\\\\Srv\\Share\\"}) {
        const std::wstring form = normalize_for_compare(path);
        EXPECT_EQ(normalize_for_compare(form), form);
    }
}

TEST(ComparisonViewTest, ReadsTheCodeUnitsOfTheComparisonForm) {
    for (const std::wstring& path : generated_paths()) {
        const std::wstring form = reference_normalize(path);
        const ComparisonForm view(path);
        ASSERT_EQ(view.size(), form.size()) << ::testing::PrintToString(path);
        for (std::size_t i = 0; i < form.size(); ++i)
            EXPECT_EQ(view.at(i), form[i]) << ::testing::PrintToString(path) << " at " << i;
    }
}

TEST(ComparisonViewTest, StartsWithEveryPrefixOfTheFormAndNothingLonger) {
    for (const std::wstring& path : generated_paths()) {
        const std::wstring form = reference_normalize(path);
        const ComparisonForm view(path);
        for (std::size_t length = 0; length <= form.size(); ++length)
            EXPECT_TRUE(view.starts_with(form.substr(0, length))) << ::testing::PrintToString(path);
        EXPECT_FALSE(view.starts_with(form + L"x")) << ::testing::PrintToString(path);
        // Trimmed separators lie beyond the view's end.
        EXPECT_FALSE(view.starts_with(form + L"\\")) << ::testing::PrintToString(path);
    }
}

TEST(ComparisonViewTest, APrefixWithAnyUnitChangedDoesNotMatch) {
    const std::wstring form = L"\\\\srv\\share";
    const ComparisonForm view(L"\\\\?\\UNC\\Srv/Share");
    for (std::size_t i = 0; i < form.size(); ++i) {
        std::wstring other = form;
        other[i] = L'!';
        EXPECT_FALSE(view.starts_with(other)) << i;
    }
}

TEST(ComparisonViewTest, TwoViewsAreEqualExactlyWhenTheirFormsAreEqual) {
    const std::vector<std::wstring> paths = generated_paths();
    for (const std::wstring& a : paths)
        for (const std::wstring& b : paths)
            if ((ComparisonForm(a) == ComparisonForm(b)) !=
                (reference_normalize(a) == reference_normalize(b)))
                ADD_FAILURE() << ::testing::PrintToString(a) << " and "
                              << ::testing::PrintToString(b);
}

TEST(JoinPathTest, ExactlyOneBackslashStandsBetweenFolderAndName) {
    EXPECT_EQ(join_path(L"C:\\Data", L"a.txt"), L"C:\\Data\\a.txt");
    EXPECT_EQ(join_path(L"C:\\", L"a.txt"), L"C:\\a.txt");
    EXPECT_EQ(join_path(L"\\\\?\\UNC\\srv\\share", L"a"), L"\\\\?\\UNC\\srv\\share\\a");
}

TEST(JoinPathTest, AFolderEndingInAForwardSlashStillGetsABackslash) {
    EXPECT_EQ(join_path(L"C:/Data/", L"a"), L"C:/Data/\\a");
}

TEST(JoinPathTest, AnEmptyFolderYieldsABackslashAndTheName) {
    EXPECT_EQ(join_path(L"", L"a.txt"), L"\\a.txt");
    // The character before an empty view is not part of it.
    EXPECT_EQ(join_path(std::wstring_view(L"\\").substr(1), L"a.txt"), L"\\a.txt");
}

TEST(JoinPathTest, AnEmptyNameLeavesTheFolderWithItsSeparator) {
    EXPECT_EQ(join_path(L"C:\\Data", L""), L"C:\\Data\\");
}

}  // namespace
}  // namespace larkspine::testing
