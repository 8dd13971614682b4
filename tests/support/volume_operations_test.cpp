#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/journalled_volume.h"

namespace larkspine::testing {
namespace {

using VolumeOperationsTest = JournalledVolumeTest;

TEST_F(VolumeOperationsTest, WritingANewFileJournalsCreateExtendAndClose) {
    volume.write(L"a.txt", "text");
    EXPECT_EQ(contents(L"a.txt"), "text");
    EXPECT_EQ(changes(), (Changes{{0x100, L"a.txt"}, {0x102, L"a.txt"}, {0x80000102, L"a.txt"}}));
}

TEST_F(VolumeOperationsTest, WritingAnEmptyFileJournalsCreateAndClose) {
    volume.write(L"a", "");
    EXPECT_EQ(changes(), (Changes{{0x100, L"a"}, {0x80000100, L"a"}}));
}

TEST_F(VolumeOperationsTest, MissingParentFoldersAreCreatedFirst) {
    volume.write(L"a\\b\\c.txt", "x");
    const std::uint64_t a = volume.reference_of(L"a");
    const std::uint64_t b = volume.reference_of(L"a\\b");
    EXPECT_EQ(changes(), (Changes{{0x100, L"a"},
                                  {0x80000100, L"a"},
                                  {0x100, L"b", a},
                                  {0x80000100, L"b", a},
                                  {0x100, L"c.txt", b},
                                  {0x102, L"c.txt", b},
                                  {0x80000102, L"c.txt", b}}));
}

TEST_F(VolumeOperationsTest, ARewrittenFileIsTruncatedAndExtended) {
    volume.write(L"a", "one");
    const std::uint64_t reference = volume.reference_of(L"a");
    forget();
    volume.write(L"a", "two!");
    EXPECT_EQ(contents(L"a"), "two!");
    EXPECT_EQ(volume.reference_of(L"a"), reference);
    EXPECT_EQ(changes(), (Changes{{0x4, L"a"}, {0x6, L"a"}, {0x80000006, L"a"}}));
}

TEST_F(VolumeOperationsTest, AppendOverwriteAndTruncateEachJournalTheirOwnReason) {
    volume.write(L"a", "0123456789");
    forget();
    volume.append(L"a", "ab");
    EXPECT_EQ(contents(L"a"), "0123456789ab");
    EXPECT_EQ(changes(), (Changes{{0x2, L"a"}, {0x80000002, L"a"}}));
    volume.overwrite(L"a", 3, "xyz");
    EXPECT_EQ(contents(L"a"), "012xyz6789ab");
    EXPECT_EQ(changes(), (Changes{{0x1, L"a"}, {0x80000001, L"a"}}));
    volume.truncate(L"a", 4);
    EXPECT_EQ(contents(L"a"), "012x");
    EXPECT_EQ(changes(), (Changes{{0x4, L"a"}, {0x80000004, L"a"}}));
}

TEST_F(VolumeOperationsTest, OperationsBeyondTheEndOrOnMissingFilesAreRefused) {
    volume.write(L"a", "0123");
    forget();
    EXPECT_THROW(volume.overwrite(L"a", 3, "xy"), std::runtime_error);
    EXPECT_THROW(volume.truncate(L"a", 5), std::runtime_error);
    EXPECT_THROW(volume.append(L"b", "x"), std::runtime_error);
    EXPECT_THROW(volume.remove(L"b"), std::runtime_error);
    EXPECT_THROW(volume.rename(L"b", L"c"), std::runtime_error);
    EXPECT_EQ(changes(), Changes{});
    EXPECT_EQ(contents(L"a"), "0123");
}

TEST_F(VolumeOperationsTest, AChangeThatTheHostDoesNotTimestampAdvancesTheWriteTimeByOneStep) {
    volume.write(L"a", "0123");
    const std::uint64_t before = write_time(L"a");
    volume.append(L"a", "");  // the host does not change the time for this
    EXPECT_EQ(write_time(L"a"), before + 1);
}

TEST_F(VolumeOperationsTest, ChangingAFileWithAFutureWriteTimeSetsAnEarlierOne) {
    volume.write(L"a", "0123");
    volume.set_write_time(L"a", 0x01F0'0000'0000'0000);
    volume.overwrite(L"a", 0, "x");
    EXPECT_LT(write_time(L"a"), 0x01F0'0000'0000'0000u);
}

TEST_F(VolumeOperationsTest, WritingAStreamJournalsANamedDataChange) {
    volume.write(L"a", "0123");
    forget();
    volume.write_stream(L"a");
    EXPECT_EQ(changes(), (Changes{{0x20, L"a"}, {0x80000020, L"a"}}));
}

TEST_F(VolumeOperationsTest, ARenameJournalsOldNameNewNameAndClose) {
    volume.write(L"f\\a", "x");
    volume.make_folder(L"g");
    const std::uint64_t f = volume.reference_of(L"f");
    const std::uint64_t g = volume.reference_of(L"g");
    const std::uint64_t reference = volume.reference_of(L"f\\a");
    forget();
    volume.rename(L"f\\a", L"g\\b");
    EXPECT_EQ(changes(), (Changes{{0x1000, L"a", f}, {0x2000, L"b", g}, {0x80002000, L"b", g}}));
    EXPECT_EQ(volume.reference_of(L"g\\b"), reference);
    EXPECT_FALSE(exists(L"f\\a"));
    EXPECT_EQ(contents(L"g\\b"), "x");
}

TEST_F(VolumeOperationsTest, MovingAFolderJournalsNoRecordForItsContents) {
    volume.write(L"f\\g\\a", "x");
    volume.make_folder(L"h");
    const std::uint64_t file = volume.reference_of(L"f\\g\\a");
    const std::uint64_t h = volume.reference_of(L"h");
    forget();
    volume.move(L"f", L"h");
    EXPECT_EQ(changes(), (Changes{{0x1000, L"f"}, {0x2000, L"f", h}, {0x80002000, L"f", h}}));
    EXPECT_EQ(volume.reference_of(L"h\\f\\g\\a"), file);
    EXPECT_EQ(contents(L"h\\f\\g\\a"), "x");
}

TEST_F(VolumeOperationsTest, MovingAFolderIntoItselfIsRefused) {
    volume.make_folder(L"f\\g");
    forget();
    EXPECT_THROW(volume.move(L"f", L"f\\g"), std::runtime_error);
    EXPECT_EQ(changes(), Changes{});
}

TEST_F(VolumeOperationsTest, ARenameOverAFileDeletesTheReplacedFileFirst) {
    volume.write(L"a", "new");
    volume.write(L"b", "old");
    forget();
    volume.rename(L"a", L"b");
    EXPECT_EQ(contents(L"b"), "new");
    EXPECT_EQ(changes(),
              (Changes{{0x80000200, L"b"}, {0x1000, L"a"}, {0x2000, L"b"}, {0x80002000, L"b"}}));
}

TEST_F(VolumeOperationsTest, ARenameMayChangeTheCaseAlone) {
    volume.write(L"a", "x");
    forget();
    volume.rename(L"a", L"A");
    EXPECT_EQ(volume.files(), (std::vector<std::wstring>{L"A"}));
    EXPECT_EQ(changes(), (Changes{{0x1000, L"a"}, {0x2000, L"A"}, {0x80002000, L"A"}}));
}

TEST_F(VolumeOperationsTest, ADeletionJournalsOneRecordAndFreesTheTableRecord) {
    volume.write(L"a", "x");
    const std::uint64_t reference = volume.reference_of(L"a");
    forget();
    volume.remove(L"a");
    EXPECT_FALSE(exists(L"a"));
    EXPECT_EQ(changes(), (Changes{{0x80000200, L"a"}}));
    volume.write(L"b", "x");
    EXPECT_EQ(volume.reference_of(L"b"), reference + make_reference(0, 1));
}

TEST_F(VolumeOperationsTest, AFolderThatHoldsSomethingIsNotDeleted) {
    volume.write(L"f\\a", "x");
    forget();
    EXPECT_THROW(volume.remove(L"f"), std::runtime_error);
    EXPECT_EQ(changes(), Changes{});
}

TEST_F(VolumeOperationsTest, ATreeIsDeletedFromItsLeavesToItsTop) {
    volume.write(L"f\\g\\a", "x");
    volume.write(L"f\\z", "x");
    const std::uint64_t f = volume.reference_of(L"f");
    const std::uint64_t g = volume.reference_of(L"f\\g");
    forget();
    volume.remove_tree(L"f");
    EXPECT_EQ(changes(), (Changes{{0x80000200, L"z", f},
                                  {0x80000200, L"a", g},
                                  {0x80000200, L"g", f},
                                  {0x80000200, L"f"}}));
    EXPECT_TRUE(volume.folders().empty());
}

TEST_F(VolumeOperationsTest, AReadOnlyFileIsMadeWritableBeforeItIsDeleted) {
    volume.write(L"a", "x");
    volume.set_attributes(L"a", FILE_ATTRIBUTE_READONLY);
    forget();
    volume.remove(L"a");
    EXPECT_EQ(changes(), (Changes{{0x8000, L"a"}, {0x80008000, L"a"}, {0x80000200, L"a"}}));
}

TEST_F(VolumeOperationsTest, AddingALinkJournalsALinkChangeUnderTheNewName) {
    volume.write(L"a", "x");
    volume.make_folder(L"f");
    const std::uint64_t f = volume.reference_of(L"f");
    forget();
    volume.link(L"a", L"f\\b");
    EXPECT_EQ(changes(), (Changes{{0x80010000, L"b", f}}));
    EXPECT_EQ(volume.reference_of(L"f\\b"), volume.reference_of(L"a"));
    EXPECT_EQ(contents(L"f\\b"), "x");
}

TEST_F(VolumeOperationsTest, RemovingOneOfSeveralNamesJournalsALinkChangeUnderThatName) {
    volume.write(L"a", "x");
    volume.link(L"a", L"b");
    const std::uint64_t reference = volume.reference_of(L"a");
    forget();
    volume.remove(L"a");
    EXPECT_EQ(changes(), (Changes{{0x80010000, L"a"}}));
    EXPECT_EQ(volume.reference_of(L"b"), reference);
    volume.remove(L"b");
    EXPECT_EQ(changes(), (Changes{{0x80000200, L"b"}}));
}

TEST_F(VolumeOperationsTest, ChangingAttributesOrTimesJournalsABasicInformationChange) {
    volume.write(L"a", "x");
    forget();
    volume.set_attributes(L"a", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_ARCHIVE);
    EXPECT_EQ(changes(), (Changes{{0x8000, L"a"}, {0x80008000, L"a"}}));
    EXPECT_EQ(volume.journalled().back().attributes, 0x22u);
    EXPECT_EQ(GetFileAttributesW(volume.path(L"a").c_str()), 0x22u);
    volume.set_write_time(L"a", 0x01D0'0000'1234'5678);
    EXPECT_EQ(changes(), (Changes{{0x8000, L"a"}, {0x80008000, L"a"}}));
    EXPECT_EQ(write_time(L"a"), 0x01D0'0000'1234'5678u);
    volume.set_creation_time(L"a", 0x01C0'0000'1234'5678);
    EXPECT_EQ(changes(), (Changes{{0x8000, L"a"}, {0x80008000, L"a"}}));
}

TEST_F(VolumeOperationsTest, DeletingTheJournalStopsRecordingAndClearsAllUsns) {
    volume.write(L"a", "x");
    volume.delete_journal();
    EXPECT_EQ(volume.usn_of(L"a"), 0);
    volume.append(L"a", "y");
    EXPECT_EQ(volume.usn_of(L"a"), 0);
    volume.create_journal();
    EXPECT_TRUE(volume.journalled().empty());
    volume.append(L"a", "z");
    EXPECT_EQ(volume.journalled().at(0).usn, 0);
    EXPECT_EQ(volume.usn_of(L"a"), 64);
}

TEST(AdoptedTreeTest, ExistingFilesAreInTheTableInNameOrder) {
    TempTree tree;
    tree.file(L"b\\y.txt", "1");
    tree.hard_link(L"z.txt", tree.path(L"b\\y.txt"));
    tree.file(L"a.txt", "2");
    FakeVolume volume(tree);
    EXPECT_EQ(volume.reference_of(L"a.txt"), make_reference(24, 1));
    EXPECT_EQ(volume.reference_of(L"b"), make_reference(25, 1));
    EXPECT_EQ(volume.reference_of(L"b\\y.txt"), make_reference(26, 1));
    EXPECT_EQ(volume.reference_of(L"z.txt"), make_reference(26, 1));
    EXPECT_EQ(volume.usn_of(L"a.txt"), 0);
    EXPECT_TRUE(volume.journalled().empty());
    EXPECT_EQ(volume.files(), (std::vector<std::wstring>{L"a.txt", L"b\\y.txt", L"z.txt"}));
}

}  // namespace
}  // namespace larkspine::testing
