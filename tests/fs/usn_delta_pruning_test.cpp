// Journal records of files that do not belong in the snapshot: outside the tree, in loops,
// excluded, deleted since or unknown.
#include "base/win32_api.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>

#include "fs/usn_delta.h"
#include "support/delta_volume.h"

namespace larkspine::testing {
namespace {

constexpr std::uint32_t folder_attribute = FILE_ATTRIBUTE_DIRECTORY;
constexpr std::uint32_t created = usn_reason::file_create;
constexpr std::uint32_t deleted = usn_reason::file_delete | usn_reason::close;
constexpr std::uint32_t renamed = usn_reason::rename_new_name;

class UsnDeltaPruningTest : public DeltaVolumeTest {
  protected:
    using DeltaVolumeTest::DeltaVolumeTest;

    void SetUp() override { enumerate_two_files(); }

    // The records change nothing in the snapshot but are counted.
    void expect_unchanged_by(std::uint64_t records) {
        const Paths before = paths();
        ASSERT_TRUE(apply());
        EXPECT_FALSE(changed);
        EXPECT_EQ(paths(), before);
        EXPECT_EQ(without_digests(), Paths{});
        EXPECT_EQ(asked_for, Paths{});
        EXPECT_EQ(statistics.journal_changes, records);
        EXPECT_EQ(statistics.failures, 0u);
        EXPECT_EQ(snapshot.next_usn, volume.journal().NextUsn);
    }

    const std::uint64_t unknown = make_reference(700, 1);
    const std::uint64_t other = make_reference(701, 1);
};

TEST_F(UsnDeltaPruningTest, TheDeletionOfAnUnknownFileChangesNothing) {
    journal_record(unknown, root_reference, deleted, L"x");
    expect_unchanged_by(1);
}

// The record number is in use again: the deleted file is an earlier one.
TEST_F(UsnDeltaPruningTest, TheDeletionOfAnEarlierFileOfTheSameRecordChangesNothing) {
    const std::uint64_t a = volume.reference_of(L"a");
    journal_record(make_reference(record_number(a), 0x7FFF), root_reference, deleted, L"x");
    expect_unchanged_by(1);
}

TEST_F(UsnDeltaPruningTest, AFileMadeOutsideTheTreeIsNoEntry) {
    journal_record(unknown, other, created, L"x");
    expect_unchanged_by(1);
}

TEST_F(UsnDeltaPruningTest, KnownFoldersThatBecomeALoopAreGoneWithAllBelow) {
    volume.write(L"g\\c", "text");
    enumerate_with_digests();
    const std::uint64_t f = volume.reference_of(L"f");
    const std::uint64_t g = volume.reference_of(L"g");
    journal_record(f, g, renamed, L"f", folder_attribute);
    journal_record(g, f, renamed, L"g", folder_attribute);
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"a"}));
    EXPECT_EQ(statistics.failures, 0u);
}

TEST_F(UsnDeltaPruningTest, AFileThatLeavesTheTreeIsGone) {
    journal_record(volume.reference_of(L"a"), other, renamed, L"a");
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"f", L"f\\b"}));
    EXPECT_EQ(statistics.failures, 0u);
    EXPECT_FALSE(changed) << "nothing of it is left to save";
}

TEST_F(UsnDeltaPruningTest, AFolderThatBecomesAReparsePointIsGone) {
    volume.make_folder(L"g");
    enumerate_with_digests();
    journal_record(volume.reference_of(L"g"), root_reference, usn_reason::reparse_point_change,
                   L"g", 0x410);
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"a", L"f", L"f\\b"}));
}

// The reparse point is no entry, so no chain of parents leads from below it to the root.
TEST_F(UsnDeltaPruningTest, EntriesListedBelowAReparsePointAreGone) {
    const std::uint64_t cloud = volume.plant_child(root_reference, L"cloud", 0x410);
    volume.plant_child(cloud, L"below", folder_attribute);
    enumerate_with_digests();
    ASSERT_EQ(paths(), (Paths{L"", L"a", L"cloud\\below", L"f", L"f\\b"}));
    volume.append(L"a", "x");
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"a", L"f", L"f\\b"}));
}

TEST_F(UsnDeltaPruningTest, AnEntryWithoutAnIdentityDoesNotSurvive) {
    entry(L"a").has_file_id = false;
    volume.append(L"f\\b", "x");
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"f", L"f\\b"}));
}

TEST_F(UsnDeltaPruningTest, AMissingRootIsMade) {
    snapshot.entries.erase(snapshot.entries.begin());
    volume.append(L"a", "x");
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(paths(), (Paths{L"", L"a", L"f", L"f\\b"}));
}

TEST_F(UsnDeltaPruningTest, ARecordOfTheRootItselfLeavesThePathsAsTheyAre) {
    journal_record(root_reference, root_reference, usn_reason::basic_info_change, L".", 0x16);
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"a", L"f", L"f\\b"}));
    EXPECT_EQ(entry(L"").attributes, 0x16u);
    EXPECT_EQ(asked_for, Paths{});
    EXPECT_TRUE(changed);
}

// ---- files that change between journal and metadata ---------------------------------------------

TEST_F(UsnDeltaPruningTest, AChangedFileThatVanishedIsGoneAndCounted) {
    volume.append(L"a", "x");
    volume.plant_vanishing(L"a");
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"f", L"f\\b"}));
    EXPECT_EQ(counts(), (Counts{2, 1, 0, 1, 3}));
    EXPECT_FALSE(changed) << "the journal reports it again";
    ASSERT_TRUE(apply());
    expect_as_enumerated();
}

TEST_F(UsnDeltaPruningTest, AChangedFileThatBecameAFolderIsGoneUntilTheNextDelta) {
    volume.append(L"a", "x");
    volume.plant_becoming_a_folder(L"a");
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"f", L"f\\b"}));
    EXPECT_EQ(statistics.failures, 1u);
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(entry(L"a").attributes, folder_attribute);
}

// The table leaves out the folder, whose record is too new, so its files have no path to the root.
// The journal then reports the folder alone. Only another enumeration finds the files.
TEST_F(UsnDeltaPruningTest, FilesOfAFolderRenamedDuringTheEnumerationAreNotFoundByADelta) {
    volume.plant(doing(Request::list_table, 0, [this] { volume.rename(L"f", L"h"); }));
    enumerate_with_digests();
    EXPECT_EQ(paths(), (Paths{L"", L"a"}));
    EXPECT_EQ(statistics.failures, 1u);
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"a", L"h"}));
    EXPECT_EQ(statistics.failures, 0u);
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths(), (Paths{L"", L"a", L"h", L"h\\b"}));
}

// ---- excluded folders ---------------------------------------------------------------------------

class UsnDeltaOnDriveCTest : public UsnDeltaPruningTest {
  protected:
    UsnDeltaOnDriveCTest() : UsnDeltaPruningTest(on_drive(L'C')) {
        volume.write(L"Windows\\sub\\x", "text");
    }
};

TEST_F(UsnDeltaOnDriveCTest, AFileMadeInAnExcludedFolderIsNoEntry) {
    volume.write(L"Windows\\new", "x");
    volume.append(L"Windows\\sub\\x", "x");
    expect_unchanged_by(5);
}

TEST_F(UsnDeltaOnDriveCTest, AFileMadeInAnIndexFolderIsNoEntry) {
    volume.write(index_folder() + L"\\indexes\\an index", "x");
    ASSERT_TRUE(apply());
    EXPECT_EQ(asked_for, Paths{});
    expect_as_enumerated();
}

// The record of the folder makes it an entry, so its files have a chain of parents.
TEST_F(UsnDeltaOnDriveCTest, AnExcludedFolderThatChangesIsPrunedWithItsFiles) {
    volume.write(L"Windows\\new", "x");
    volume.set_attributes(L"Windows", FILE_ATTRIBUTE_HIDDEN);
    expect_unchanged_by(5);
    volume.set_attributes(L"Windows", FILE_ATTRIBUTE_NORMAL);
}

TEST_F(UsnDeltaOnDriveCTest, AFolderThatGetsAnExcludedNameIsGoneWithAllBelow) {
    volume.rename(L"Windows", L"old");
    volume.rename(L"f", L"windows");
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"a", L"old"}));
    EXPECT_EQ(statistics.failures, 0u);
}

TEST_F(UsnDeltaOnDriveCTest, AFolderMovedIntoAnExcludedOneIsGone) {
    volume.move(L"f", L"Windows");
    ASSERT_TRUE(apply());
    // Windows itself is no entry, so that nothing below it reaches the root.
    EXPECT_EQ(paths(), (Paths{L"", L"a"}));
    expect_as_enumerated();
}

TEST_F(UsnDeltaOnDriveCTest, AFileMovedOutOfAnExcludedFolderIsAnEntry) {
    volume.move(L"Windows\\sub\\x", L"");
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(without_digests(), Paths{L"x"});
}

// Its files have no entries and no records: only a full enumeration finds them.
TEST_F(UsnDeltaOnDriveCTest, AFolderMovedOutOfAnExcludedOneIsAnEntryWithoutItsFiles) {
    volume.move(L"Windows\\sub", L"");
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"a", L"f", L"f\\b", L"sub"}));
    EXPECT_EQ(statistics.failures, 0u);
    EXPECT_TRUE(changed);
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths(), (Paths{L"", L"a", L"f", L"f\\b", L"sub", L"sub\\x"}));
}

}  // namespace
}  // namespace larkspine::testing
