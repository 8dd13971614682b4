#include "fs/directory_walk.h"

#include "base/win32_api.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using detail::FileCandidate;
using detail::walk_directory_tree;

using Paths = std::vector<std::wstring>;

class DirectoryWalkTest : public ::testing::Test {
  protected:
    bool walk(const std::wstring& root) {
        return walk_directory_tree(root, files, statistics, progress);
    }
    bool walk() { return walk(tree.root()); }

    // The full paths of the files found, sorted: the order within a folder is the file system's.
    [[nodiscard]] Paths found() const {
        Paths paths;
        for (const FileCandidate& file : files)
            paths.push_back(file.path);
        std::sort(paths.begin(), paths.end());
        return paths;
    }

    // Makes these files, each as many bytes long as its relative path, and returns their paths
    // sorted.
    Paths make_files(const Paths& relative) const {
        Paths paths;
        for (const std::wstring& path : relative)
            paths.push_back(tree.sized_file(path, path.size()));
        std::sort(paths.begin(), paths.end());
        return paths;
    }

    TempTree tree;
    std::vector<FileCandidate> files;
    ScanStatistics statistics;
    ScanProgress progress;
};

TEST_F(DirectoryWalkTest, AnEmptyRootIsOneFolderWithoutFiles) {
    EXPECT_TRUE(walk());
    EXPECT_TRUE(files.empty());
    EXPECT_EQ(statistics.directories, 1u);
    EXPECT_EQ(statistics.files, 0u);
    EXPECT_EQ(statistics.failures, 0u);
    EXPECT_EQ(statistics.excluded_entries, 0u);
    EXPECT_EQ(progress.entries_seen, 0u);
}

TEST_F(DirectoryWalkTest, ARootThatDoesNotExistIsAFailure) {
    EXPECT_FALSE(walk(tree.path(L"missing")));
    EXPECT_TRUE(files.empty());
    EXPECT_EQ(statistics.directories, 1u);
    EXPECT_EQ(statistics.failures, 1u);
}

TEST_F(DirectoryWalkTest, EveryFileBelowTheRootIsFoundOnce) {
    const Paths made = make_files({L"a", L"b.txt", L"x\\a", L"x\\y\\a", L"x\\y\\z\\c", L"w\\a"});
    tree.folder(L"empty\\emptier");
    EXPECT_TRUE(walk());
    EXPECT_EQ(found(), made);
    EXPECT_EQ(statistics.files, 6u);
    EXPECT_EQ(statistics.directories, 7u);
    EXPECT_EQ(statistics.failures, 0u);
}

TEST_F(DirectoryWalkTest, ASecondWalkAddsToTheFilesAndCounters) {
    make_files({L"a", L"x\\a"});
    EXPECT_TRUE(walk());
    EXPECT_TRUE(walk());
    EXPECT_EQ(files.size(), 4u);
    EXPECT_EQ(statistics.files, 4u);
    EXPECT_EQ(statistics.directories, 4u);
    EXPECT_EQ(progress.entries_seen, 6u);
    EXPECT_EQ(progress.documents, 4u);
}

TEST_F(DirectoryWalkTest, HiddenSystemAndReadOnlyFilesAreRecorded) {
    const Paths made = make_files({L"hidden", L"read only", L"system"});
    SetFileAttributesW(made[0].c_str(), FILE_ATTRIBUTE_HIDDEN);
    SetFileAttributesW(made[1].c_str(), FILE_ATTRIBUTE_READONLY);
    SetFileAttributesW(made[2].c_str(), FILE_ATTRIBUTE_SYSTEM);
    EXPECT_TRUE(walk());
    EXPECT_EQ(found(), made);
}

TEST_F(DirectoryWalkTest, NamesInAnyScriptComeBackUnitByUnit) {
    const Paths made = make_files({L"\xC9t\xE9 pass\xE9.txt", L"\x6F22\x5B57\\\x65E5\x672C.txt",
                                   L"\xD83D\xDE00\\\xD83D\xDE01", L"a;b;c.csv", L";", L".hidden",
                                   L"..double", L" lead", L"a'b&c%d", L"e\x301"});
    EXPECT_TRUE(walk());
    EXPECT_EQ(found(), made);
    for (const FileCandidate& file : files)
        EXPECT_EQ(file.name, file.path.substr(file.path.rfind(L'\\') + 1));
}

TEST_F(DirectoryWalkTest, PathsBeyondTwoHundredAndSixtyUnitsAreWalked) {
    std::wstring deep;
    for (int level = 0; level < 12; ++level)
        deep += std::wstring(80, static_cast<wchar_t>(L'a' + level)) + L"\\";
    const Paths made = make_files({deep + L"end.txt", deep + std::wstring(200, L'n')});
    ASSERT_GT(made[0].size(), 900u);
    EXPECT_TRUE(walk());
    EXPECT_EQ(found(), made);
    EXPECT_EQ(statistics.directories, 13u);
}

TEST_F(DirectoryWalkTest, ARootInsideAnExcludedFolderIsExcludedToo) {
    EXPECT_TRUE(walk(L"\\\\?\\C:\\Windows\\System32"));
    EXPECT_TRUE(files.empty());
    EXPECT_EQ(statistics.excluded_entries, 1u);
}

}  // namespace
}  // namespace larkspine::testing
