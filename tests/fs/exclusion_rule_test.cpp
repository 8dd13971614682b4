#include "fs/exclusion_rule.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "base/path_forms.h"
#include "support/path_spellings.h"

namespace larkspine::testing {
namespace {

using Folders = std::vector<std::wstring>;

const Folders no_folders;

// The rule as plain string operations on the comparison form.
bool reference_excluded(const std::wstring& path, const Folders& folders) {
    const std::wstring n = normalize_for_compare(path);
    if (n == L"c:\\windows" || n.substr(0, 11) == L"c:\\windows\\")
        return true;
    for (const std::wstring& e : folders) {
        if (n == e)
            return true;
        if (n.size() > e.size() && n.substr(0, e.size()) == e && n[e.size()] == L'\\')
            return true;
    }
    return false;
}

std::vector<std::wstring> generated_paths() {
    return spellings_of(
        {L"", L"C:", L"C:\\", L"C:\\Windows", L"c:/WINDOWS", L"C:\\Windows.old", L"C:\\Win",
         L"D:\\Windows", L"D:", L"d:\\idx", L"D:/IDX", L"d:\\idx2", L"Srv\\Share",
         L"srv/share/Larkspine", L"srv\\share\\LarkspineData", L"C:\\Users\\\xC9"},
        {L"\\System32", L"/x/", L"\\\\x", L"x", L" "});
}

TEST(ExclusionsTest, TheSystemFolderOfDriveCAndEverythingBelowAreExcluded) {
    for (const std::wstring path :
         {L"C:\\Windows", L"c:\\WINDOWS\\", L"\\\\?\\C:\\Windows\\System32", L"C:/Windows/Temp",
          L"\\\\?\\C:\\windows", L"C:\\Windows\\\\"})
        EXPECT_TRUE(is_excluded_from(path, no_folders)) << ::testing::PrintToString(path);
}

TEST(ExclusionsTest, PathsThatOnlyResembleTheSystemFolderAreNotExcluded) {
    for (const std::wstring path :
         {L"C:\\Windows.old", L"C:\\Win", L"C:\\WindowsApps\\x", L"C:\\Data\\Windows", L"C:\\",
          L"C:", L"Windows", L"C:Windows", L"\\Windows", L"C:\\\\Windows", L""})
        EXPECT_FALSE(is_excluded_from(path, no_folders)) << ::testing::PrintToString(path);
}

TEST(ExclusionsTest, ASystemFolderOnAnotherDriveIsData) {
    for (const std::wstring path : {L"D:\\Windows", L"\\\\?\\D:\\Windows\\System32",
                                    L"\\\\?\\UNC\\C:\\Windows", L"\\\\C:\\Windows"})
        EXPECT_FALSE(is_excluded_from(path, no_folders)) << ::testing::PrintToString(path);
}

TEST(ExclusionsTest, AnIndexFolderAndEverythingBelowAreExcluded) {
    const Folders folders = {L"c:\\users\\u\\appdata\\local\\larkspine"};
    for (const std::wstring path :
         {L"C:\\Users\\u\\AppData\\Local\\Larkspine", L"C:/users/U/appdata/local/LARKSPINE/",
          L"\\\\?\\C:\\Users\\u\\AppData\\Local\\Larkspine\\indexes",
          L"\\\\?\\C:\\Users\\u\\AppData\\Local\\Larkspine\\indexes\\index-0123456789abcdef.lsi"})
        EXPECT_TRUE(is_excluded_from(path, folders)) << ::testing::PrintToString(path);
}

TEST(ExclusionsTest, TheParentAndTheSiblingsOfAnIndexFolderAreNotExcluded) {
    const Folders folders = {L"c:\\users\\u\\appdata\\local\\larkspine"};
    for (const std::wstring path :
         {L"C:\\Users\\u\\AppData\\Local\\LarkspineData", L"C:\\Users\\u\\AppData\\Local",
          L"C:\\Users\\u\\AppData\\Local\\Larkspin", L"D:\\Users\\u\\AppData\\Local\\Larkspine",
          L"C:\\Users\\u\\AppData\\Local\\Larkspine.old\\x"})
        EXPECT_FALSE(is_excluded_from(path, folders)) << ::testing::PrintToString(path);
}

TEST(ExclusionsTest, EveryIndexFolderOfTheListCounts) {
    const Folders folders = {L"c:\\app\\larkspine", L"d:\\idx"};
    EXPECT_TRUE(is_excluded_from(L"C:\\App\\Larkspine\\x", folders));
    EXPECT_TRUE(is_excluded_from(L"D:\\Idx\\x", folders));
    EXPECT_TRUE(is_excluded_from(L"C:\\Windows", folders));
    EXPECT_FALSE(is_excluded_from(L"D:\\App\\Larkspine\\x", folders));
}

TEST(ExclusionsTest, AnIndexFolderThatIsADriveRootExcludesTheRootAndNothingBelow) {
    const Folders folders = {L"d:\\"};
    EXPECT_TRUE(is_excluded_from(L"d:\\", folders));
    EXPECT_TRUE(is_excluded_from(L"\\\\?\\D:\\", folders));
    EXPECT_TRUE(is_excluded_from(L"D:/", folders));
    EXPECT_FALSE(is_excluded_from(L"d:\\x", folders));
    EXPECT_FALSE(is_excluded_from(L"\\\\?\\D:\\Data\\x", folders));
    EXPECT_FALSE(is_excluded_from(L"d:", folders));
    EXPECT_FALSE(is_excluded_from(L"e:\\", folders));
}

TEST(ExclusionsTest, APathWithTwoBackslashesAfterAnExcludedDriveRootIsExcluded) {
    EXPECT_TRUE(is_excluded_from(L"d:\\\\x", Folders{L"d:\\"}));
}

TEST(ExclusionsTest, AnIndexFolderOnTheNetworkIsExcludedInBothForms) {
    const Folders folders = {L"\\\\srv\\share\\larkspine"};
    EXPECT_TRUE(is_excluded_from(L"\\\\Srv\\Share\\Larkspine", folders));
    EXPECT_TRUE(is_excluded_from(L"\\\\?\\UNC\\srv\\share\\Larkspine\\indexes", folders));
    EXPECT_TRUE(is_excluded_from(L"//srv/share/larkspine/", folders));
    EXPECT_FALSE(is_excluded_from(L"\\\\?\\UNC\\srv\\share\\Larkspine2", folders));
    EXPECT_FALSE(is_excluded_from(L"\\\\?\\UNC\\srv\\share", folders));
    // This is not the network prefix: these letters are in lower case.
    EXPECT_FALSE(is_excluded_from(L"\\\\?\\unc\\srv\\share\\Larkspine", folders));
}

TEST(ExclusionsTest, TheCaseOfAccentedLettersDoesNotCount) {
    const Folders folders = {normalize_for_compare(L"C:\\\xC9t\xE9")};
    EXPECT_TRUE(is_excluded_from(L"c:\\\xE9T\xC9\\x", folders));
    EXPECT_FALSE(is_excluded_from(L"C:\\et\xE9\\x", folders));
}

TEST(ExclusionsTest, WithoutIndexFoldersOnlyTheSystemFolderIsExcluded) {
    EXPECT_FALSE(is_excluded_from(L"C:\\Users\\u\\AppData\\Local\\Larkspine", no_folders));
    EXPECT_TRUE(is_excluded_from(L"C:\\Windows", no_folders));
}

TEST(ExclusionsTest, EveryGeneratedPathGetsTheAnswerOfThePlainAlgorithm) {
    const std::vector<Folders> lists = {
        {},
        {L"d:\\idx"},
        {L"d:\\"},
        {L"\\\\srv\\share\\larkspine", L"c:\\win"},
        {L"c:\\users\\\xC9", L"c:\\windows.old"},
        {L""},
    };
    std::size_t excluded = 0;
    std::size_t asked = 0;
    for (const Folders& folders : lists)
        for (const std::wstring& path : generated_paths()) {
            const bool expected = reference_excluded(path, folders);
            EXPECT_EQ(is_excluded_from(path, folders), expected)
                << ::testing::PrintToString(path) << " against "
                << ::testing::PrintToString(folders);
            excluded += expected ? 1 : 0;
            ++asked;
        }
    // The comparison means something only with many paths of either kind.
    EXPECT_GT(excluded, asked / 20);
    EXPECT_LT(excluded, asked / 2);
}

}  // namespace
}  // namespace larkspine::testing
