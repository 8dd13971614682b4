// Files of several names that lose one of them. The journal reports a lost name in the same way as
// an added one.
#include "base/win32_api.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>

#include "support/delta_volume.h"

namespace larkspine::testing {
namespace {

class UsnDeltaLostNamesTest : public DeltaVolumeTest {
  protected:
    void SetUp() override {
        volume.write(L"kept", "old text");
        volume.link(L"kept", L"f\\lost");
        volume.write(L"other", "text");
        enumerate_with_digests();
    }

    // How many entries have that path.
    std::size_t named(std::wstring_view relative) {
        const Paths all = paths();
        return static_cast<std::size_t>(std::count(all.begin(), all.end(), relative));
    }
};

TEST_F(UsnDeltaLostNamesTest, ALostNameThatARenamedFileTookBelongsToThatFileAlone) {
    const std::uint64_t taker = volume.reference_of(L"other");
    volume.remove(L"f\\lost");
    volume.rename(L"other", L"f\\lost");
    ASSERT_TRUE(apply());
    EXPECT_EQ(named(L"f\\lost"), 1u);
    EXPECT_EQ(entry(L"f\\lost").file_id.low, taker);
    EXPECT_EQ(entry(L"f\\lost").size, 4u);
    EXPECT_TRUE(changed);
}

TEST_F(UsnDeltaLostNamesTest, ALostNameThatANewFileTakesBeforeALaterDeltaBelongsToThatFileAlone) {
    volume.remove(L"f\\lost");
    ASSERT_TRUE(apply());
    volume.write(L"f\\lost", "new");
    ASSERT_TRUE(apply());
    EXPECT_EQ(named(L"f\\lost"), 1u);
    EXPECT_EQ(entry(L"f\\lost").size, 3u);
    EXPECT_TRUE(changed);
}

TEST_F(UsnDeltaLostNamesTest, ALostNameThatAFolderTookIsNoFile) {
    volume.remove(L"f\\lost");
    volume.make_folder(L"f\\lost");
    volume.write(L"f\\lost\\below", "new");
    ASSERT_TRUE(apply());
    EXPECT_EQ(named(L"f\\lost"), 1u);
    EXPECT_EQ(entry(L"f\\lost").attributes, FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(named(L"f\\lost\\below"), 1u);
    EXPECT_TRUE(changed);
}

TEST_F(UsnDeltaLostNamesTest, ALostNameThatAFolderTakesBeforeALaterDeltaIsNoFile) {
    volume.remove(L"f\\lost");
    ASSERT_TRUE(apply());
    volume.make_folder(L"f\\lost");
    ASSERT_TRUE(apply());
    EXPECT_EQ(named(L"f\\lost"), 1u);
    EXPECT_EQ(entry(L"f\\lost").attributes, FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_TRUE(changed);
}

// A handle that was opened by the lost name still journals under it.
TEST_F(UsnDeltaLostNamesTest, AFolderKeepsItsNameAgainstALaterRecordOfAFile) {
    const std::uint64_t file = volume.reference_of(L"f\\lost");
    volume.remove(L"f\\lost");
    volume.make_folder(L"f\\lost");
    volume.write(L"f\\lost\\below", "new");
    journal_record(file, volume.reference_of(L"f"), usn_reason::security_change, L"lost");
    ASSERT_TRUE(apply());
    EXPECT_EQ(named(L"f\\lost"), 1u);
    EXPECT_EQ(entry(L"f\\lost").attributes, FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_EQ(named(L"f\\lost\\below"), 1u);
}

TEST_F(UsnDeltaLostNamesTest, AFileMissingFromTheSnapshotIsNotAddedUnderALostName) {
    std::erase_if(snapshot.entries, [](const auto& held) { return held.name == L"kept"; });
    volume.remove(L"f\\lost");
    volume.write(L"f\\lost", "new");
    ASSERT_TRUE(apply());
    EXPECT_EQ(named(L"f\\lost"), 1u);
    EXPECT_EQ(entry(L"f\\lost").size, 3u);
    EXPECT_EQ(asked_for, Paths{L"f\\lost"}) << "once, for the file that exists";
}

TEST_F(UsnDeltaLostNamesTest, EntriesOfTheSameNameInAnotherFolderOrCaseStay) {
    volume.write(L"f\\kept", "text");
    journal_record(volume.reference_of(L"other"), root_reference, usn_reason::security_change,
                   L"KEPT");
    ASSERT_TRUE(apply());
    EXPECT_EQ(named(L"kept") + named(L"KEPT") + named(L"f\\kept"), 3u);
}

}  // namespace
}  // namespace larkspine::testing
