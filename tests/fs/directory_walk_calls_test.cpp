#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "support/listed_folders.h"

namespace larkspine::testing {
namespace {

using Names = std::vector<std::wstring>;
using DirectoryWalkCallsTest = ListedFolders;

TEST_F(DirectoryWalkCallsTest, AListingRequestsBasicInformationInLargeFetches) {
    listing(L"\\\\?\\D:\\Data\\*", {file(L"a")});
    EXPECT_TRUE(walk(L"\\\\?\\D:\\Data"));
    EXPECT_EQ(calls,
              (std::vector<FindCall>{{L"\\\\?\\D:\\Data\\*", FindExInfoBasic, FindExSearchNameMatch,
                                      false, FIND_FIRST_EX_LARGE_FETCH}}));
    EXPECT_EQ(files_opened, 0);
}

TEST_F(DirectoryWalkCallsTest, ARootWithOrWithoutABackslashGivesTheSamePaths) {
    listing(L"\\\\?\\D:\\*", {folder(L"Data")});
    listing(L"\\\\?\\D:\\Data\\*", {file(L"a")});
    EXPECT_TRUE(walk(L"\\\\?\\D:\\"));
    EXPECT_TRUE(walk(L"\\\\?\\D:\\Data"));
    EXPECT_TRUE(walk(L"\\\\?\\D:\\Data\\"));
    EXPECT_EQ(found(), (Names(3, L"\\\\?\\D:\\Data\\a")));
}

TEST_F(DirectoryWalkCallsTest, TheLastListedFolderIsWalkedFirstWithItsWholeSubtree) {
    listing(L"R:\\d\\*", {folder(L"1"), file(L"a"), folder(L"2"), folder(L"3"), file(L"b")});
    listing(L"R:\\d\\1\\*", {file(L"in1")});
    listing(L"R:\\d\\2\\*", {folder(L"x"), file(L"in2"), folder(L"y")});
    listing(L"R:\\d\\3\\*", {file(L"in3")});
    listing(L"R:\\d\\2\\x\\*", {file(L"inx")});
    listing(L"R:\\d\\2\\y\\*", {file(L"iny")});
    EXPECT_TRUE(walk(L"R:\\d"));
    EXPECT_EQ(patterns(), (Names{L"R:\\d\\*", L"R:\\d\\3\\*", L"R:\\d\\2\\*", L"R:\\d\\2\\y\\*",
                                 L"R:\\d\\2\\x\\*", L"R:\\d\\1\\*"}));
    EXPECT_EQ(found(), (Names{L"R:\\d\\a", L"R:\\d\\b", L"R:\\d\\3\\in3", L"R:\\d\\2\\in2",
                              L"R:\\d\\2\\y\\iny", L"R:\\d\\2\\x\\inx", L"R:\\d\\1\\in1"}));
}

TEST_F(DirectoryWalkCallsTest, AnExcludedRootIsNotListed) {
    listing(L"\\\\?\\C:\\Windows\\*", {file(L"a")});
    EXPECT_TRUE(walk(L"\\\\?\\C:\\Windows"));
    EXPECT_TRUE(calls.empty());
    EXPECT_EQ(statistics.excluded_entries, 1u);
    EXPECT_EQ(statistics.directories, 0u);
}

TEST_F(DirectoryWalkCallsTest, AThousandNestedFoldersAreWalkedToTheLast) {
    std::wstring path = L"R:\\d";
    for (int level = 0; level < 1000; ++level) {
        listing(path + L"\\*", {folder(L"f")});
        path += L"\\f";
    }
    listing(path + L"\\*", {file(L"a")});
    EXPECT_TRUE(walk(L"R:\\d"));
    EXPECT_EQ(found(), (Names{path + L"\\a"}));
    EXPECT_EQ(statistics.directories, 1001u);
    EXPECT_EQ(closings(), std::vector<int>(1001, 1));
}

// The longest path that the system takes has 32,767 units.
TEST_F(DirectoryWalkCallsTest, AChainOfFoldersIsWalkedToTheLongestPath) {
    std::wstring path = L"\\\\?\\D:";
    const std::wstring name(255, L'n');
    while (32'767 - path.size() > 1 + name.size()) {
        listing(path + L"\\*", {folder(name)});
        path += L"\\" + name;
    }
    const std::wstring last(32'767 - path.size() - 1, L'f');
    ASSERT_LE(last.size(), 255u);
    listing(path + L"\\*", {file(last), file(L"a")});
    EXPECT_TRUE(walk(L"\\\\?\\D:"));
    ASSERT_EQ(found(), (Names{path + L"\\" + last, path + L"\\a"}));
    EXPECT_EQ(files[0].path.size(), 32'767u);
    EXPECT_EQ(files[0].name, last);
    EXPECT_EQ(statistics.failures, 0u);
}

TEST_F(DirectoryWalkCallsTest, ARootThatCannotBeListedEndsTheWalk) {
    for (const DWORD error : {ERROR_ACCESS_DENIED, ERROR_PATH_NOT_FOUND, ERROR_NO_MORE_FILES})
        for (const wchar_t* root : {L"R:\\d", L"\\\\?\\R:"}) {
            no_listing(root + std::wstring(L"\\*"), error);
            EXPECT_FALSE(walk(root)) << error;
        }
    EXPECT_EQ(statistics.failures, 6u);
    EXPECT_EQ(statistics.directories, 6u);
    EXPECT_TRUE(files.empty());
    EXPECT_TRUE(closings().empty());
}

TEST_F(DirectoryWalkCallsTest, AFolderThatCannotBeListedIsCountedAndItsSiblingsAreWalked) {
    listing(L"R:\\d\\*", {folder(L"first"), folder(L"denied"), folder(L"gone"), file(L"a")});
    no_listing(L"R:\\d\\denied\\*", ERROR_ACCESS_DENIED);
    listing(L"R:\\d\\first\\*", {file(L"b")});
    EXPECT_TRUE(walk(L"R:\\d"));
    EXPECT_EQ(found(), (Names{L"R:\\d\\a", L"R:\\d\\first\\b"}));
    EXPECT_EQ(statistics.failures, 2u);
    EXPECT_EQ(statistics.directories, 4u);
    EXPECT_EQ(closings(), (std::vector<int>{1, 1}));
}

TEST_F(DirectoryWalkCallsTest, AListingThatBreaksOffIsCountedAndItsEntriesAreKept) {
    listing(L"R:\\d\\*", {folder(L"inner"), file(L"a")}, ERROR_NETNAME_DELETED);
    listing(L"R:\\d\\inner\\*", {file(L"b")}, ERROR_ACCESS_DENIED);
    EXPECT_TRUE(walk(L"R:\\d"));
    EXPECT_EQ(found(), (Names{L"R:\\d\\a", L"R:\\d\\inner\\b"}));
    EXPECT_EQ(statistics.failures, 2u);
    EXPECT_EQ(closings(), (std::vector<int>{1, 1}));
}

TEST_F(DirectoryWalkCallsTest, AListingThatBreaksOffWithNoErrorCodeIsCounted) {
    listing(L"R:\\d\\*", {file(L"a")}, ERROR_SUCCESS);
    EXPECT_TRUE(walk(L"R:\\d"));
    EXPECT_EQ(statistics.failures, 1u);
}

// The root folder of a volume has no "." and no "..", so an empty one has no first entry. On some
// file systems this is so for every folder.
TEST_F(DirectoryWalkCallsTest, ARootWithoutAFirstFileIsAnEmptyRootWhateverItsKind) {
    const std::vector<std::wstring> roots = {
        L"\\\\?\\R:\\",
        L"R:\\",
        L"r:\\",
        L"\\\\?\\R:\\d",
        L"\\\\?\\UNC\\srv\\share",
        L"\\\\?\\Volume{2c6a8f1e-0000-0000-0000-100000000000}\\"};
    for (const std::wstring& root : roots) {
        no_listing(root + (root.ends_with(L'\\') ? L"*" : L"\\*"), ERROR_FILE_NOT_FOUND);
        EXPECT_TRUE(walk(root)) << ::testing::PrintToString(root);
    }
    EXPECT_TRUE(files.empty());
    EXPECT_EQ(statistics.directories, roots.size());
    EXPECT_EQ(statistics.failures, 0u);
    EXPECT_EQ(progress.entries_seen, 0u);
    EXPECT_TRUE(closings().empty());
}

TEST_F(DirectoryWalkCallsTest, AnInnerFolderWithoutAFirstFileIsAnEmptyFolder) {
    listing(L"\\\\?\\R:\\*", {folder(L"d"), file(L"a")});
    no_listing(L"\\\\?\\R:\\d\\*", ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(walk(L"\\\\?\\R:\\"));
    EXPECT_EQ(found(), (Names{L"\\\\?\\R:\\a"}));
    EXPECT_EQ(statistics.directories, 2u);
    EXPECT_EQ(statistics.failures, 0u);
}

}  // namespace
}  // namespace larkspine::testing
