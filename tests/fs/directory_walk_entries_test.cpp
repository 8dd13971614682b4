#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "support/listed_folders.h"

namespace larkspine::testing {
namespace {

using Names = std::vector<std::wstring>;
using detail::FileCandidate;
using DirectoryWalkEntriesTest = ListedFolders;

TEST_F(DirectoryWalkEntriesTest, DotAndDotDotAreSkippedWithoutBeingCounted) {
    listing(L"R:\\d\\*", {folder(L"."), folder(L".."), file(L"..a"), folder(L"...")});
    listing(L"R:\\d\\...\\*", {folder(L"."), folder(L"..")});
    EXPECT_TRUE(walk(L"R:\\d"));
    EXPECT_EQ(patterns(), (Names{L"R:\\d\\*", L"R:\\d\\...\\*"}));
    EXPECT_EQ(progress.entries_seen, 2u);
    EXPECT_EQ(statistics.directories, 2u);
}

TEST_F(DirectoryWalkEntriesTest, AnUnpairedSurrogateStaysInPathAndName) {
    listing(L"R:\\d\\*", {file(L"a\xD800z"), folder(L"\xDC00")});
    listing(L"R:\\d\\\xDC00\\*", {file(L"\xDE00\xD83D")});
    EXPECT_TRUE(walk(L"R:\\d"));
    EXPECT_EQ(found(), (Names{L"R:\\d\\a\xD800z", L"R:\\d\\\xDC00\\\xDE00\xD83D"}));
    EXPECT_EQ(files.at(0).name, L"a\xD800z");
    EXPECT_EQ(files.at(1).name, L"\xDE00\xD83D");
}

TEST_F(DirectoryWalkEntriesTest, ANameThatFillsItsFieldIsTakenWhole) {
    const std::wstring longest(MAX_PATH - 1, L'n');
    listing(L"R:\\d\\*", {file(longest)});
    EXPECT_TRUE(walk(L"R:\\d"));
    EXPECT_EQ(found(), (Names{L"R:\\d\\" + longest}));
}

TEST_F(DirectoryWalkEntriesTest, JunctionsAreNeitherFollowedNorCountedAsFolders) {
    listing(L"R:\\d\\*", {junction(L"back to the root"), file(L"a")});
    listing(L"R:\\d\\back to the root\\*", {junction(L"back to the root"), file(L"a")});
    EXPECT_TRUE(walk(L"R:\\d"));
    EXPECT_EQ(patterns(), (Names{L"R:\\d\\*"}));
    EXPECT_EQ(found(), (Names{L"R:\\d\\a"}));
    EXPECT_EQ(statistics.directories, 1u);
    EXPECT_EQ(statistics.excluded_entries, 0u);
    EXPECT_EQ(progress.entries_seen, 2u);
}

TEST_F(DirectoryWalkEntriesTest, AFileThatIsALinkIsSeenButNeitherRecordedNorCountedAsAFile) {
    listing(L"R:\\d\\*", {file_link(L"link"), file(L"a")});
    EXPECT_TRUE(walk(L"R:\\d"));
    EXPECT_EQ(found(), (Names{L"R:\\d\\a"}));
    EXPECT_EQ(statistics.files, 1u);
    EXPECT_EQ(progress.documents, 1u);
    EXPECT_EQ(progress.entries_seen, 2u);
}

TEST_F(DirectoryWalkEntriesTest, TheSystemFolderOfDriveCIsCountedAsExcludedAndNeverListed) {
    listing(L"\\\\?\\C:\\*", {folder(L"Windows"), folder(L"Windows.old"), file(L"a")});
    listing(L"\\\\?\\C:\\Windows\\*", {file(L"system")});
    listing(L"\\\\?\\C:\\Windows.old\\*", {file(L"old"), folder(L"Windows")});
    listing(L"\\\\?\\C:\\Windows.old\\Windows\\*", {file(L"older")});
    EXPECT_TRUE(walk(L"\\\\?\\C:\\"));
    EXPECT_EQ(patterns(), (Names{L"\\\\?\\C:\\*", L"\\\\?\\C:\\Windows.old\\*",
                                 L"\\\\?\\C:\\Windows.old\\Windows\\*"}));
    EXPECT_EQ(found(), (Names{L"\\\\?\\C:\\a", L"\\\\?\\C:\\Windows.old\\old",
                              L"\\\\?\\C:\\Windows.old\\Windows\\older"}));
    EXPECT_EQ(statistics.excluded_entries, 1u);
    EXPECT_EQ(statistics.directories, 3u);
    EXPECT_EQ(progress.entries_seen, 6u);
}

TEST_F(DirectoryWalkEntriesTest, AnExcludedPathIsCountedWhateverKindOfEntryItIs) {
    listing(L"\\\\?\\C:\\*",
            {file(L"Windows"), junction(L"WINDOWS"), file_link(L"windows"), folder(L"wiNdows")});
    EXPECT_TRUE(walk(L"\\\\?\\C:\\"));
    EXPECT_EQ(statistics.excluded_entries, 4u);
    EXPECT_EQ(statistics.files, 0u);
    EXPECT_EQ(progress.entries_seen, 4u);
    EXPECT_EQ(progress.documents, 0u);
}

TEST_F(DirectoryWalkEntriesTest, SizeTimesAndAttributesComeFromTheListingAndAllElseIsZero) {
    WIN32_FIND_DATAW data = sized(file(L"big.bin"), 0x12, 0xF0000001);
    data.dwFileAttributes = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
    data.ftCreationTime = {0x89ABCDEF, 0x01234567};
    data.ftLastWriteTime = {0xFFFFFFFF, 0x7FFFFFFF};
    data.ftLastAccessTime = {0x55555555, 0x55555555};
    listing(L"R:\\d\\*", {data});
    EXPECT_TRUE(walk(L"R:\\d"));
    ASSERT_EQ(files.size(), 1u);
    const FileCandidate& found = files[0];
    EXPECT_EQ(found.size, 0x12F0000001u);
    EXPECT_EQ(found.attributes, 6u);
    EXPECT_EQ(found.creation_time, 0x0123456789ABCDEFu);
    EXPECT_EQ(found.last_write_time, 0x7FFFFFFFFFFFFFFFu);
    EXPECT_EQ(found.volume_serial, 0u);
    EXPECT_EQ(found.file_id, detail::FileId{});
    EXPECT_EQ(found.has_file_id, false);
    EXPECT_EQ(found.record_id, 0u);
    EXPECT_EQ(found.record_stamp, 0u);
    EXPECT_EQ(found.sample_digest, blake3_digest{});
    EXPECT_EQ(found.full_digest, blake3_digest{});
    EXPECT_EQ(found.has_sample_digest, false);
    EXPECT_EQ(found.has_full_digest, false);
}

TEST_F(DirectoryWalkEntriesTest, SizesOfZeroAndAroundFourGigabytesAreExact) {
    listing(L"R:\\d\\*", {sized(file(L"a"), 0, 0), sized(file(L"b"), 0, 0xFFFFFFFF),
                          sized(file(L"c"), 1, 0), sized(file(L"d"), 0x7FFFFFFF, 0xFFFFFFFF)});
    EXPECT_TRUE(walk(L"R:\\d"));
    std::vector<std::uint64_t> sizes;
    for (const FileCandidate& file : files)
        sizes.push_back(file.size);
    EXPECT_EQ(sizes, (std::vector<std::uint64_t>{0, 0xFFFFFFFF, 0x100000000, 0x7FFFFFFFFFFFFFFF}));
}

}  // namespace
}  // namespace larkspine::testing
