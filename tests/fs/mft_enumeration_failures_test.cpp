// What stops the enumeration of a master file table, and what it leaves out and counts.
#include "base/win32_api.h"

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "base/win32_handle.h"
#include "fs/mft_enumeration.h"
#include "fs/record_paths.h"
#include "fs/volume.h"
#include "support/bad_answers.h"
#include "support/enumerated_volume.h"

namespace larkspine::testing {
namespace {

using detail::enumerate_usn_records;
using detail::MftRecordMap;
using detail::PathCache;
using detail::resolve_record_path;

constexpr std::uint32_t folder_attribute = FILE_ATTRIBUTE_DIRECTORY;

class MftFailureTest : public EnumeratedVolumeTest {
  protected:
    MftFailureTest() {
        volume.write(L"a.txt", "text");
        snapshot = before;
    }

    // The enumeration gives up after these calls and leaves everything as it was.
    void expect_given_up_after(const std::vector<Request>& made) {
        expect_given_up();
        EXPECT_EQ(volume.requests(), made);
    }
    void expect_given_up() {
        EXPECT_FALSE(enumerate());
        EXPECT_TRUE(same_snapshot(snapshot, before));
        EXPECT_EQ(counts(), Counts{});
        EXPECT_FALSE(statistics.mft_used);
        EXPECT_EQ(volume.open_handles(), 0u);
        EXPECT_EQ(volume.count(Request::query_attributes), 0u);
    }

    const detail::IndexSnapshot before = snapshot_of(L"old", {full_entry(L"old\\x", L"x")});
};

TEST_F(MftFailureTest, AnotherFileSystemIsRefusedAndNothingIsOpened) {
    volume.set_file_system(L"FAT32");
    expect_given_up_after({Request::volume_information});
}

TEST_F(MftFailureTest, AVolumeThatMayNotBeOpenedIsRefused) {
    volume.plant(failing(Request::open_volume, 0, ERROR_ACCESS_DENIED));
    expect_given_up_after({Request::volume_information, Request::open_volume});
}

TEST_F(MftFailureTest, WithoutTheRootTheSerialNumberOrTheJournalNoTableIsRead) {
    for (const Fault& fault : {failing(Request::open_file, 0, ERROR_ACCESS_DENIED),
                               failing(Request::identify_file, 0, ERROR_INVALID_FUNCTION),
                               failing(Request::volume_information, 1, ERROR_NOT_READY),
                               failing(Request::query_journal, 0, ERROR_JOURNAL_NOT_ACTIVE),
                               claiming(Request::query_journal, 0, 55)}) {
        SCOPED_TRACE("request " + std::to_string(static_cast<int>(fault.request)));
        volume.plant(fault);
        expect_given_up();
        EXPECT_EQ(volume.count(Request::list_table), 0u);
        EXPECT_EQ(volume.faults_left(), 0u);
        volume.clear_faults();
    }
}

TEST_F(MftFailureTest, ProgressThatWasMadeStaysCounted) {
    fill_several_answers();
    volume.plant(failing(Request::list_table, 1, ERROR_ACCESS_DENIED));
    expect_given_up();
    EXPECT_GT(progress.entries_seen, 1000u);
    EXPECT_EQ(progress.documents, 0u);
}

// ---- answers of the table that make no sense, at the first call and at a later one ----------

class MftBadAnswerTest : public MftFailureTest,
                         public ::testing::WithParamInterface<std::tuple<BadAnswer, std::size_t>> {
};

TEST_P(MftBadAnswerTest, ABadAnswerStopsTheEnumeration) {
    const auto& [answer, call] = GetParam();
    fill_several_answers();
    volume.plant(answer.fault(Request::list_table, call));
    expect_given_up();
    EXPECT_EQ(volume.count(Request::list_table), call + 1);
}

INSTANTIATE_TEST_SUITE_P(Table, MftBadAnswerTest,
                         ::testing::Combine(::testing::ValuesIn(bad_answers),
                                            ::testing::Values(0, 1)));

TEST_F(MftFailureTest, AnAnswerShorterThanItsContinuationFieldIsRefused) {
    volume.plant(claiming(Request::list_table, 0, 7));
    expect_given_up();
    EXPECT_EQ(progress.entries_seen, 0u);
}

TEST_F(MftFailureTest, AnAnswerLargerThanTheBufferIsRefused) {
    claim_a_record_beyond_the_room(FSCTL_ENUM_USN_DATA);
    expect_given_up();
    EXPECT_EQ(volume.count(Request::list_table), 1u);
}

TEST_F(MftFailureTest, TheNextReferenceIsUnsigned) {
    volume.plant(going_on_at(Request::list_table, 0, std::numeric_limits<std::uint64_t>::max()));
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(volume.calls(Request::list_table).at(1).table.StartFileReferenceNumber,
              std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(paths(), (Paths{L"", L"a.txt"}));
}

TEST_F(MftFailureTest, AnAnswerWithoutRecordsEndsTheTable) {
    volume.plant(claiming(Request::list_table, 0, 8));
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(volume.count(Request::list_table), 1u);
    EXPECT_EQ(paths(), Paths{L""});
}

// ---- records that cannot be decoded -------------------------------------------------------------

class MftBadRecordTest : public MftFailureTest,
                         public ::testing::WithParamInterface<RecordDamage> {};

TEST_P(MftBadRecordTest, ADamagedLastRecordOfALaterAnswerStopsTheEnumeration) {
    fill_several_answers();
    volume.plant(damaging(Request::list_table, 1, GetParam(), last_record));
    expect_given_up();
    EXPECT_EQ(progress.entries_seen, 2501u) << "all but that one of 2502";
}

INSTANTIATE_TEST_SUITE_P(EveryDamage, MftBadRecordTest, ::testing::ValuesIn(every_record_damage));

// ---- records without a path to the root ---------------------------------------------------------

TEST_F(MftFailureTest, ARecordWhoseParentIsMissingIsCountedAndLeftOut) {
    const std::uint64_t folder = volume.plant_orphan(L"lost", folder_attribute);
    volume.plant_child(folder, L"below");
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths(), (Paths{L"", L"a.txt"}));
    EXPECT_EQ(counts(), (Counts{1, 1, 0, 2, 2}));
}

TEST_F(MftFailureTest, EveryRecordInOrBelowALoopIsCountedForItself) {
    const auto [first, second] = volume.plant_loop(L"x", L"y");
    const std::uint64_t below = volume.plant_child(second, L"z", folder_attribute);
    volume.plant_child(below, L"file");
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths(), (Paths{L"", L"a.txt"}));
    EXPECT_EQ(counts(), (Counts{1, 1, 0, 4, 2}));
}

// The system's root is its own parent; another record that claims to be is taken for the root.
TEST_F(MftFailureTest, ARecordThatIsItsOwnParentHasThePathOfTheRoot) {
    volume.plant_record(
        {make_reference(500, 1), make_reference(500, 1), 0, 0, 0, 0, 0, folder_attribute, L"odd"});
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths(), (Paths{L"", L"", L"a.txt"}));
    EXPECT_EQ(statistics.failures, 0u);
}

// Folders inside each other, and nothing else.
class MftChainTest : public MftFailureTest {
  protected:
    std::uint64_t make_chain(std::size_t folders) {
        deepest = volume.make_chain(folders);
        return volume.reference_of(deepest);
    }

    // The records as the table lists them.
    MftRecordMap records() {
        MftRecordMap found;
        const unique_handle device = own_handle(open_volume(volume.root()));
        EXPECT_TRUE(enumerate_usn_records(device.get(), volume.journal(), found, progress));
        return found;
    }

    std::wstring deepest;
};

class MftShortChainTest : public MftChainTest, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(MftShortChainTest, AChainOfUpTo257FoldersIsFollowedToItsEnd) {
    const std::uint64_t reference = make_chain(GetParam());
    PathCache cache = {{root_reference, volume.root()}};
    const MftRecordMap table_records = records();
    const std::wstring* const path =
        resolve_record_path(reference, volume.root(), table_records, cache);
    ASSERT_NE(path, nullptr);
    EXPECT_EQ(*path, volume.path(deepest));
    EXPECT_EQ(cache.size(), GetParam() + 1);

    ASSERT_TRUE(enumerate());
    EXPECT_EQ(counts(), (Counts{GetParam() + 1, 1, 0, 0, GetParam() + 2}));
}

INSTANTIATE_TEST_SUITE_P(UpToTheBound, MftShortChainTest, ::testing::Values(1, 2, 255, 256, 257));

TEST_F(MftChainTest, AFolderOneLevelTooDeepHasNoPathAndCachesNothing) {
    const std::uint64_t reference = make_chain(258);
    PathCache cache = {{root_reference, volume.root()}};
    const MftRecordMap table_records = records();
    EXPECT_EQ(resolve_record_path(reference, volume.root(), table_records, cache), nullptr);
    EXPECT_EQ(cache.size(), 1u);
}

// The order of the map decides whether the deepest folder is visited before one above it.
TEST_F(MftChainTest, AFolderOneLevelTooDeepIsEitherAnEntryOrAFailure) {
    make_chain(258);
    ASSERT_TRUE(enumerate());
    EXPECT_LE(statistics.failures, 1u);
    EXPECT_EQ(statistics.failures + snapshot.entries.size(), 260u);
}

// ---- files that change between table and metadata -----------------------------------------------

class MftMetadataTest : public MftFailureTest {
  protected:
    void SetUp() override {
        volume.write(L"f\\b", "x");
        volume.write(L"f\\c", "x");
    }
};

TEST_F(MftMetadataTest, AFileThatVanishedIsLeftOutAndCounted) {
    volume.plant_vanishing(L"f\\b");
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths(), (Paths{L"", L"a.txt", L"f", L"f\\c"}));
    EXPECT_EQ(counts(), (Counts{2, 2, 0, 1, 4}));
    EXPECT_EQ(progress.documents, 2u);
    EXPECT_EQ(entry(L"a.txt").size, 4u);
    EXPECT_EQ(entry(L"f\\c").size, 1u);
    EXPECT_EQ(queried(), (Paths{L"a.txt", L"f\\b", L"f\\c"}));
}

TEST_F(MftMetadataTest, VanishedFilesAreLeftOutAndTheOthersKeepTheirOrder) {
    for (int i = 0; i < 30; ++i)
        volume.write(L"g\\" + std::to_wstring(10 + i),
                     std::string(static_cast<std::size_t>(i), 'x'));
    ASSERT_TRUE(enumerate());
    std::vector<std::wstring> expected;
    for (const detail::FileCandidate& kept : snapshot.entries)
        if (!kept.path.ends_with(L'7') && !kept.path.ends_with(L'2'))
            expected.push_back(kept.path);
    for (const wchar_t* gone : {L"g\\12", L"g\\17", L"g\\22", L"g\\27", L"g\\32", L"g\\37"})
        volume.plant(failing_at(Request::query_attributes, gone, ERROR_FILE_NOT_FOUND));
    ASSERT_TRUE(enumerate());
    std::vector<std::wstring> found;
    for (const detail::FileCandidate& kept : snapshot.entries)
        found.push_back(kept.path);
    EXPECT_EQ(found, expected);
    EXPECT_EQ(entry(L"g\\11").size, 1u);
    EXPECT_EQ(entry(L"g\\39").size, 29u);
    EXPECT_EQ(statistics.failures, 6u);
}

TEST_F(MftMetadataTest, AFolderThatVanishesStaysAnEntry) {
    volume.plant(doing(Request::query_attributes, 0, [this] { volume.remove_tree(L"f"); }));
    ASSERT_TRUE(enumerate());
    EXPECT_EQ(paths().size(), 1u + 1u + statistics.files)
        << "the root, the folder, the files found";
    EXPECT_EQ(statistics.directories, 2u);
    EXPECT_EQ(statistics.files + statistics.failures, 3u);
}

}  // namespace
}  // namespace larkspine::testing
