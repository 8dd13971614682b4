// How the change journal updates a snapshot. After every kind of change it must equal a fresh
// enumeration, with the digests of all unchanged files.
#include "fs/usn_delta.h"

#include "base/win32_api.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>

#include "support/delta_volume.h"

namespace larkspine::testing {
namespace {

using detail::apply_usn_delta;

constexpr std::uint32_t folder_attribute = FILE_ATTRIBUTE_DIRECTORY;

class UsnDeltaTest : public DeltaVolumeTest {
  protected:
    using DeltaVolumeTest::DeltaVolumeTest;

    void SetUp() override {
        volume.write(L"a", "text");
        volume.write(L"f\\b", "text");
        volume.write(L"f\\g\\c", "text");
        enumerate_with_digests();
    }
};

// ---- contents -----------------------------------------------------------------------------------

TEST_F(UsnDeltaTest, AnOverwrittenFileLosesItsDigestsAndNoOtherIsQueried) {
    volume.overwrite(L"f\\b", 1, "X");
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_TRUE(changed);
    EXPECT_EQ(without_digests(), Paths{L"f\\b"});
    EXPECT_EQ(asked_for, Paths{L"f\\b"});
    EXPECT_EQ(statistics.journal_changes, 2u);
}

TEST_F(UsnDeltaTest, ALongerFileHasItsNewSize) {
    volume.append(L"a", "more");
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(entry(L"a").size, 8u);
    EXPECT_EQ(without_digests(), Paths{L"a"});
}

TEST_F(UsnDeltaTest, ARewrittenFileWithManyRecordsIsQueriedOnce) {
    for (const char* contents : {"1", "22", "333"})
        volume.write(L"a", contents);
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(statistics.journal_changes, 9u);
    EXPECT_EQ(asked_for, Paths{L"a"});
}

TEST_F(UsnDeltaTest, AChangedFileThatIsStillOpenIsUpToDate) {
    volume.open(L"a");
    volume.append(L"a", "more");
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(entry(L"a").size, 8u);
}

// It does not matter which stream was written: it may be the main one.
TEST_F(UsnDeltaTest, AFileWithAWrittenStreamLosesItsDigests) {
    volume.write_stream(L"a");
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(without_digests(), Paths{L"a"});
    EXPECT_TRUE(changed);
}

// ---- attributes and times -----------------------------------------------------------------------

TEST_F(UsnDeltaTest, ChangedAttributesAreReadAgainAndTheDigestsKept) {
    volume.set_attributes(L"a", FILE_ATTRIBUTE_READONLY);
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(entry(L"a").attributes & FILE_ATTRIBUTE_READONLY, DWORD{FILE_ATTRIBUTE_READONLY});
    EXPECT_EQ(without_digests(), Paths{});
    EXPECT_EQ(asked_for, Paths{L"a"});
    EXPECT_TRUE(changed);
    volume.set_attributes(L"a", FILE_ATTRIBUTE_NORMAL);
}

TEST_F(UsnDeltaTest, AnotherCreationTimeKeepsTheDigests) {
    volume.set_creation_time(L"a", 0x01D0'0000'0000'0000);
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(without_digests(), Paths{});
    EXPECT_TRUE(changed);
}

TEST_F(UsnDeltaTest, AnotherWriteTimeCostsTheDigests) {
    volume.set_write_time(L"a", 0x01D0'0000'0000'0000);
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(entry(L"a").last_write_time, 0x01D0'0000'0000'0000u);
    EXPECT_EQ(without_digests(), Paths{L"a"});
}

TEST_F(UsnDeltaTest, AFolderWithChangedAttributesIsNotQueried) {
    volume.set_attributes(L"f", FILE_ATTRIBUTE_HIDDEN);
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(entry(L"f").attributes, DWORD{FILE_ATTRIBUTE_HIDDEN} | folder_attribute);
    EXPECT_EQ(asked_for, Paths{});
    EXPECT_TRUE(changed);
    volume.set_attributes(L"f", FILE_ATTRIBUTE_NORMAL);
}

TEST_F(UsnDeltaTest, ASecurityChangeOnlyUpdatesTheStamp) {
    const std::int64_t usn = journal_record(volume.reference_of(L"a"), root_reference,
                                            usn_reason::security_change, L"a");
    ASSERT_TRUE(apply());
    EXPECT_FALSE(changed);
    EXPECT_EQ(entry(L"a").record_stamp, static_cast<std::uint64_t>(usn));
    EXPECT_EQ(without_digests(), Paths{});
    EXPECT_EQ(asked_for, Paths{});
    EXPECT_EQ(statistics.journal_changes, 1u);
}

// ---- names --------------------------------------------------------------------------------------

TEST_F(UsnDeltaTest, ARenamedFileKeepsItsDigestsUnderItsNewName) {
    volume.rename(L"f\\b", L"f\\z");
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(paths(), (Paths{L"", L"a", L"f", L"f\\g", L"f\\g\\c", L"f\\z"}));
    EXPECT_EQ(entry(L"f\\z").name, L"z");
    EXPECT_EQ(without_digests(), Paths{});
    EXPECT_EQ(asked_for, Paths{L"f\\z"});
    EXPECT_TRUE(changed);
}

TEST_F(UsnDeltaTest, FilesThatSwapTheirNamesKeepTheirOwnDigests) {
    entry(L"a").full_digest = digest_from(0x11);
    entry(L"f\\b").full_digest = digest_from(0x22);
    volume.rename(L"a", L"t");
    volume.rename(L"f\\b", L"a");
    volume.rename(L"t", L"f\\b");
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(entry(L"a").full_digest, digest_from(0x22));
    EXPECT_EQ(entry(L"f\\b").full_digest, digest_from(0x11));
    EXPECT_EQ(without_digests(), Paths{});
}

// ---- new and deleted files ----------------------------------------------------------------------

TEST_F(UsnDeltaTest, ANewFileInNewFoldersIsAnEntryWithoutDigests) {
    volume.write(L"n\\m\\new", "12345");
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(entry(L"n\\m\\new").size, 5u);
    EXPECT_EQ(without_digests(), Paths{L"n\\m\\new"});
    EXPECT_EQ(asked_for, Paths{L"n\\m\\new"});
    EXPECT_EQ(counts(), (Counts{5, 4, 0, 0, 9}));
}

TEST_F(UsnDeltaTest, ADeletedFileIsGoneAndNothingIsQueried) {
    volume.remove(L"f\\b");
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_TRUE(changed);
    EXPECT_EQ(asked_for, Paths{});
    EXPECT_EQ(counts(), (Counts{3, 2, 0, 0, 5}));
}

TEST_F(UsnDeltaTest, AFileMadeAndDeletedMeanwhileLeavesNoTrace) {
    volume.write(L"short", "x");
    volume.remove(L"short");
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(statistics.failures, 0u);
    EXPECT_EQ(asked_for, Paths{});
}

TEST_F(UsnDeltaTest, AReusedRecordIsAnotherFile) {
    const std::uint64_t before = volume.reference_of(L"a");
    volume.remove(L"a");
    volume.write(L"new", "xy");
    ASSERT_EQ(record_number(volume.reference_of(L"new")), record_number(before));
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(without_digests(), Paths{L"new"});
}

TEST_F(UsnDeltaTest, ManyChangesAtOnceGiveTheSameAsAFreshEnumeration) {
    volume.rename(L"f", L"h");
    volume.write(L"h\\g\\new", "1");
    volume.rename(L"h\\g", L"g");
    volume.remove(L"g\\c");
    volume.write(L"f\\again", "22");
    volume.append(L"h\\b", "more");
    volume.rename(L"a", L"f\\a");
    ASSERT_TRUE(apply());
    expect_as_enumerated();
    EXPECT_EQ(paths(), (Paths{L"", L"f", L"f\\a", L"f\\again", L"g", L"g\\new", L"h", L"h\\b"}));
    EXPECT_EQ(without_digests(), (Paths{L"f\\again", L"g\\new", L"h\\b"}));
}

TEST_F(UsnDeltaTest, FoldersAndFilesAreCountedAnewAndFailuresAreAdded) {
    volume.append(L"a", "x");
    volume.plant_vanishing(L"a");
    const unique_handle device = own_handle(open_volume(volume.root()));
    statistics.directories = statistics.files = statistics.failures = 9;
    ASSERT_TRUE(apply_usn_delta(volume.root(), device.get(), volume.journal(), snapshot, statistics,
                                progress, pool, changed));
    EXPECT_EQ(counts(), (Counts{3, 2, 0, 10, 5}));
}

// ---- links --------------------------------------------------------------------------------------
// A journal record names one link of its file. An entry has one name: that of the last record. A
// fresh enumeration lists the name that the table has.

TEST_F(UsnDeltaTest, AFileWithAnAddedLinkIsKnownByTheAddedName) {
    volume.link(L"a", L"f\\link");
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"f", L"f\\b", L"f\\g", L"f\\g\\c", L"f\\link"}));
    EXPECT_EQ(without_digests(), Paths{});
    EXPECT_EQ(asked_for, Paths{});
    EXPECT_FALSE(changed);
    EXPECT_EQ(statistics.journal_changes, 1u);
}

TEST_F(UsnDeltaTest, AFileThatLostOneOfItsNamesIsKnownByTheLostOne) {
    volume.link(L"a", L"f\\link");
    enumerate_with_digests();
    ASSERT_EQ(entry(L"a").name, L"a");
    volume.remove(L"f\\link");
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"f", L"f\\b", L"f\\g", L"f\\g\\c", L"f\\link"}));
    EXPECT_EQ(without_digests(), Paths{});
    EXPECT_FALSE(changed);
    EXPECT_EQ(statistics.failures, 0u);
}

TEST_F(UsnDeltaTest, AFileWrittenAfterItLostALinkIsListedUnderTheRemainingName) {
    volume.link(L"a", L"f\\link");
    enumerate_with_digests();
    volume.remove(L"f\\link");
    volume.append(L"a", "more");
    ASSERT_TRUE(apply());
    expect_as_enumerated();
}

TEST_F(UsnDeltaTest, AFileWrittenBeforeItLostALinkIsErasedAndCounted) {
    volume.link(L"a", L"f\\link");
    enumerate_with_digests();
    volume.append(L"a", "more");
    volume.remove(L"f\\link");
    ASSERT_TRUE(apply());
    EXPECT_EQ(paths(), (Paths{L"", L"f", L"f\\b", L"f\\g", L"f\\g\\c"}));
    EXPECT_EQ(statistics.failures, 1u);
    EXPECT_FALSE(changed);
}

}  // namespace
}  // namespace larkspine::testing
