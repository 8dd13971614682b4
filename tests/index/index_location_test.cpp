#include "index/index_location.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/path_forms.h"
#include "base/win32_handle.h"
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

TEST_F(ReadEnvironmentTest, AVariableThatIsNotSetIsEmpty) {
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

TEST_F(ReadEnvironmentTest, TheNameIsReadInAnyCase) {
    set_chosen(L"value");
    EXPECT_EQ(read_environment(L"larkspine_index_directory"), L"value");
}

TEST_F(IndexLocationTest, WithoutEitherVariableThereIsNoDirectory) {
    EXPECT_EQ(index_directory(), std::nullopt);
    EXPECT_EQ(index_file_path(L"\\\\?\\C:\\Data"), std::nullopt);
}

TEST_F(IndexLocationTest, AChosenFolderThatExistsIsUsedAsItIs) {
    tree.folder(L"idx");
    set_chosen(plain(L"idx"));
    EXPECT_EQ(index_directory(), plain(L"idx"));
    EXPECT_EQ(index_file_path(L""), plain(L"idx\\index-cbf29ce484222325.lsi"));
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

TEST_F(IndexLocationTest, AChosenFolderInLongFormIsUsedAsItIs) {
    set_chosen(tree.path(L"idx"));
    EXPECT_EQ(index_directory(), tree.path(L"idx"));
    EXPECT_TRUE(folder_exists(tree.path(L"idx")));
}

TEST_F(IndexLocationTest, ARelativeChosenFolderIsMadeInTheCurrentDirectory) {
    const ScopedCurrentDirectory here(strip_long_path_prefix(tree.root()));
    set_chosen(L"idx");
    EXPECT_EQ(index_file_path(L""), L"idx\\index-cbf29ce484222325.lsi");
    EXPECT_TRUE(folder_exists(tree.path(L"idx")));
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

TEST_F(IndexLocationTest, ATrailingBackslashOfTheLocalDataIsNotDoubled) {
    set_local_data(plain(L""));
    EXPECT_EQ(index_directory(), plain(L"Larkspine\\indexes"));
}

TEST_F(IndexLocationTest, FoldersThatExistAlreadyServe) {
    tree.folder(L"Larkspine\\indexes");
    set_local_data(strip_long_path_prefix(tree.root()));
    EXPECT_EQ(index_directory(), plain(L"Larkspine\\indexes"));
}

TEST_F(IndexLocationTest, LocalDataThatIsMissingMeansNoIndex) {
    set_local_data(plain(L"missing"));
    EXPECT_EQ(index_directory(), std::nullopt);
    EXPECT_FALSE(folder_exists(tree.path(L"missing")));
}

TEST_F(IndexLocationTest, TheChosenFolderGoesBeforeTheLocalData) {
    set_chosen(plain(L"idx"));
    set_local_data(strip_long_path_prefix(tree.root()));
    EXPECT_EQ(index_directory(), plain(L"idx"));
    EXPECT_FALSE(folder_exists(tree.path(L"Larkspine")));
}

TEST_F(IndexLocationTest, SpellingsOfOneRootShareAnIndexFile) {
    set_chosen(plain(L"idx"));
    const Path file = index_file_path(L"c:\\data\\photos");
    ASSERT_TRUE(file.has_value());
    EXPECT_EQ(index_file_path(L"C:/Data/Photos/"), file);
    EXPECT_EQ(index_file_path(L"C:\\DATA\\PHOTOS\\\\"), file);
}

TEST_F(IndexLocationTest, OtherRootsHaveOtherIndexFiles) {
    set_chosen(plain(L"idx"));
    EXPECT_NE(index_file_path(L"c:\\"), index_file_path(L"c:"));
    EXPECT_NE(index_file_path(L"C:\\\xC9t\xE9"), index_file_path(L"C:\\\xE9t\xE9"));
    EXPECT_NE(index_file_path(L"C:\\Data"), index_file_path(L"D:\\Data"));
}

TEST_F(IndexLocationTest, AFileCanBeWrittenAtThePathOfTheIndex) {
    set_local_data(strip_long_path_prefix(tree.root()));
    const Path path = index_file_path(tree.root());
    ASSERT_TRUE(path.has_value());
    EXPECT_EQ(path->size(), plain(L"Larkspine\\indexes\\index-0123456789abcdef.lsi").size());
    const unique_handle file =
        own_handle(CreateFileW(path->c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, 0, nullptr));
    EXPECT_NE(file, nullptr);
}

using IndexExclusionsTest = IndexLocationTest;

TEST_F(IndexExclusionsTest, WithoutEitherVariableTheListIsEmpty) {
    EXPECT_EQ(index_exclusions(), Folders{});
}

TEST_F(IndexExclusionsTest, TheApplicationFolderComesBeforeTheChosenOne) {
    set_local_data(L"C:\\Users\\u\\AppData\\Local\\");
    set_chosen(L"D:/Idx/");
    EXPECT_EQ(index_exclusions(),
              (Folders{L"c:\\users\\u\\appdata\\local\\larkspine", L"d:\\idx"}));
}

TEST_F(IndexExclusionsTest, TheApplicationFolderAloneIsTheSameForAnyTrailingSeparator) {
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

TEST_F(IndexExclusionsTest, NothingIsMadeOnTheDisk) {
    set_chosen(plain(L"idx"));
    set_local_data(strip_long_path_prefix(tree.root()));
    EXPECT_EQ(index_exclusions().size(), 2u);
    EXPECT_FALSE(folder_exists(tree.path(L"idx")));
    EXPECT_FALSE(folder_exists(tree.path(L"Larkspine")));
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
