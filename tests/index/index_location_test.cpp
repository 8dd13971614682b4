#include "index/index_location.h"

#include "base/win32_api.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/path_forms.h"
#include "fs/exclusion_rule.h"
#include "support/scoped_environment.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using Path = std::optional<std::wstring>;
using Folders = std::vector<std::wstring>;

bool folder_exists(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// Both variables, unset until a test sets them, and put back afterwards.
class IndexLocationTest : public ::testing::Test {
  protected:
    void set_chosen(Path value) { chosen.emplace(L"LARKSPINE_INDEX_DIRECTORY", std::move(value)); }
    void set_local_data(Path value) { local_data.emplace(L"LOCALAPPDATA", std::move(value)); }

    // A folder of the tree as a variable would name it.
    [[nodiscard]] std::wstring plain(std::wstring_view relative) const {
        return strip_long_path_prefix(tree.path(relative));
    }

    TempTree tree;

  private:
    ScopedEnvironment no_chosen{L"LARKSPINE_INDEX_DIRECTORY", std::nullopt};
    ScopedEnvironment no_local_data{L"LOCALAPPDATA", std::nullopt};
    std::optional<ScopedEnvironment> chosen;
    std::optional<ScopedEnvironment> local_data;
};

using ReadEnvironmentTest = IndexLocationTest;

TEST_F(ReadEnvironmentTest, AnUnsetVariableIsAbsent) {
    EXPECT_EQ(read_environment(L"LARKSPINE_INDEX_DIRECTORY"), std::nullopt);
}

TEST_F(ReadEnvironmentTest, AnEmptyValueCountsAsAbsent) {
    set_chosen(L"");
    EXPECT_EQ(read_environment(L"LARKSPINE_INDEX_DIRECTORY"), std::nullopt);
}

TEST_F(ReadEnvironmentTest, AValueComesBackWhole) {
    const std::wstring long_value(30'000, L'v');
    for (const std::wstring& value :
         {std::wstring(L"x"), std::wstring(L" D:\\\xC9t\xE9;\x6F22\xD83D\xDE00 "), long_value}) {
        set_chosen(value);
        EXPECT_EQ(read_environment(L"LARKSPINE_INDEX_DIRECTORY"), value);
    }
}

TEST_F(ReadEnvironmentTest, TheNameOfAVariableIgnoresCase) {
    set_chosen(L"value");
    EXPECT_EQ(read_environment(L"larkspine_index_directory"), L"value");
}

TEST_F(IndexLocationTest, ATrailingBackslashOfTheChosenFolderStaysAndIsNotDoubled) {
    tree.folder(L"idx");
    set_chosen(plain(L"idx\\"));
    EXPECT_EQ(index_directory(), plain(L"idx\\"));
    EXPECT_EQ(index_file_path(L""), plain(L"idx\\index-cbf29ce484222325.lsi"));
}

TEST_F(IndexLocationTest, AChosenFolderThatIsMissingIsMade) {
    set_chosen(plain(L"\xC9t\xE9 \x6F22"));
    EXPECT_EQ(index_directory(), plain(L"\xC9t\xE9 \x6F22"));
    EXPECT_TRUE(folder_exists(tree.path(L"\xC9t\xE9 \x6F22")));
    EXPECT_EQ(index_directory(), plain(L"\xC9t\xE9 \x6F22"));
}

TEST_F(IndexLocationTest, AChosenFolderWithoutItsParentMeansNoIndexAndNoFallBack) {
    set_chosen(plain(L"missing\\idx"));
    set_local_data(strip_long_path_prefix(tree.root()));
    EXPECT_EQ(index_directory(), std::nullopt);
    EXPECT_EQ(index_file_path(L"\\\\?\\C:\\Data"), std::nullopt);
    EXPECT_FALSE(folder_exists(tree.path(L"missing")));
    EXPECT_FALSE(folder_exists(tree.path(L"Larkspine")));
}

TEST_F(IndexLocationTest, AnEmptyChoiceMeansTheDefaultFolder) {
    set_chosen(L"");
    set_local_data(strip_long_path_prefix(tree.root()));
    EXPECT_EQ(index_directory(), plain(L"Larkspine\\indexes"));
}

TEST_F(IndexLocationTest, TheDefaultFolderIsMadeInTwoStepsBelowTheLocalData) {
    set_local_data(strip_long_path_prefix(tree.root()));
    EXPECT_EQ(index_directory(), plain(L"Larkspine\\indexes"));
    EXPECT_TRUE(folder_exists(tree.path(L"Larkspine\\indexes")));
    EXPECT_EQ(index_file_path(L""), plain(L"Larkspine\\indexes\\index-cbf29ce484222325.lsi"));
}

TEST_F(IndexLocationTest, TheChosenFolderTakesPrecedenceOverTheLocalData) {
    set_chosen(plain(L"idx"));
    set_local_data(strip_long_path_prefix(tree.root()));
    EXPECT_EQ(index_directory(), plain(L"idx"));
    EXPECT_FALSE(folder_exists(tree.path(L"Larkspine")));
}

using IndexExclusionsTest = IndexLocationTest;

TEST_F(IndexExclusionsTest, TheApplicationFolderComesBeforeTheChosenOne) {
    set_local_data(L"C:\\Users\\u\\AppData\\Local\\");
    set_chosen(L"D:/Idx/");
    EXPECT_EQ(index_exclusions(),
              (Folders{L"c:\\users\\u\\appdata\\local\\larkspine", L"d:\\idx"}));
}

TEST_F(IndexExclusionsTest, TheApplicationFolderIsTheSameForEverySpellingOfTheLocalData) {
    for (const std::wstring value :
         {L"C:\\Users\\u\\AppData\\Local", L"C:\\Users\\u\\AppData\\Local\\",
          L"C:/Users/u/AppData/Local/", L"\\\\?\\C:\\USERS\\U\\APPDATA\\LOCAL"}) {
        set_local_data(value);
        EXPECT_EQ(index_exclusions(), (Folders{L"c:\\users\\u\\appdata\\local\\larkspine"}));
    }
}

TEST_F(IndexExclusionsTest, TheChosenFolderAloneIsOneEntry) {
    set_chosen(L"D:\\");
    EXPECT_EQ(index_exclusions(), (Folders{L"d:\\"}));
    set_chosen(L"\\\\?\\UNC\\Srv\\Share\\Idx");
    EXPECT_EQ(index_exclusions(), (Folders{L"\\\\srv\\share\\idx"}));
}

TEST_F(IndexExclusionsTest, VariablesWithAnEmptyValueGiveNoEntry) {
    set_chosen(L"");
    set_local_data(L"");
    EXPECT_EQ(index_exclusions(), Folders{});
}

TEST_F(IndexExclusionsTest, TheListExcludesTheIndexFilesAndNotTheNeighbours) {
    set_local_data(L"C:\\Users\\u\\AppData\\Local\\");
    const Folders folders = index_exclusions();
    EXPECT_TRUE(is_excluded_from(L"\\\\?\\C:\\Users\\u\\AppData\\Local\\Larkspine", folders));
    EXPECT_TRUE(
        is_excluded_from(L"\\\\?\\C:\\Users\\u\\AppData\\Local\\Larkspine\\indexes\\x", folders));
    EXPECT_FALSE(is_excluded_from(L"\\\\?\\C:\\Users\\u\\AppData\\Local\\LarkspineData", folders));
}

TEST_F(IndexExclusionsTest, TheFileOfAnyRootIsInAnExcludedFolder) {
    set_local_data(strip_long_path_prefix(tree.root()));
    const Path by_default = index_file_path(L"\\\\?\\C:\\Data");
    set_chosen(plain(L"idx\\"));
    const Path by_choice = index_file_path(L"\\\\?\\C:\\Data");
    ASSERT_TRUE(by_default.has_value());
    ASSERT_TRUE(by_choice.has_value());
    EXPECT_TRUE(is_excluded_from(*by_default, index_exclusions()));
    EXPECT_TRUE(is_excluded_from(*by_choice, index_exclusions()));
}

}  // namespace
}  // namespace larkspine::testing
