// How the driver falls back on a whole NTFS volume: from the journal to the table, from the table
// to the walk, without a message and with the same groups.
#include "base/win32_api.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <ostream>
#include <stdexcept>
#include <string>

#include "support/fake_clock.h"
#include "support/import_replacement.h"
#include "support/scanned_volume.h"

namespace larkspine::testing {
namespace {

using detail::save_index;

class ScanDriverFallBackTest : public ScannedVolumeTest {
  protected:
    void SetUp() override {
        volume.write(L"a", "same");
        volume.write(L"f\\b", "same");
        volume.write(L"x", "other");
        volume.write(L"y", "other");
    }

    // The scan falls back to `way`, and its statistics show nothing of the failed attempt.
    void expect_fallen_back(Way way) {
        const ScanResult result = run();
        EXPECT_EQ(way_of(result), way);
        EXPECT_TRUE(result.statistics.index_loaded);
        EXPECT_EQ(result.statistics.journal_changes, 0u);
        EXPECT_EQ(result.failures, 0u);
        EXPECT_EQ(result.statistics.failures, 0u);
        EXPECT_EQ(result.statistics.files, volume.files().size());
        EXPECT_EQ(result.statistics.directories, volume.folders().size() + 1);
        EXPECT_EQ(progress.documents, volume.files().size());
        computed = result.statistics.sample_hashes_computed;
        reused = result.statistics.sample_hashes_reused;
        EXPECT_EQ(groups_of(result), expected());

        const detail::IndexSnapshot saved = stored();
        EXPECT_EQ(saved.journal_valid, way == Way::table);
        if (way == Way::table) {
            EXPECT_EQ(saved.next_usn, volume.journal().NextUsn);
            EXPECT_EQ(saved.journal_id, volume.journal().UsnJournalID);
        }
    }
    // After a table scan no digest is reused; after a walk those of every unchanged file are.
    void expect_all_hashed_anew() {
        EXPECT_EQ(computed, 4u);
        EXPECT_EQ(reused, 0u);
    }
    void expect_hashed_anew(std::uint64_t files) {
        EXPECT_EQ(computed, files);
        EXPECT_EQ(reused, 4u - files);
    }
    void move_index_to(std::int64_t usn) {
        detail::IndexSnapshot snapshot = stored();
        snapshot.next_usn = usn;
        ASSERT_TRUE(save_index(snapshot));
    }

    std::uint64_t computed = 0;
    std::uint64_t reused = 0;
};

// ---- an index whose journal cannot be used ------------------------------------------------------

TEST_F(ScanDriverFallBackTest, AnIndexOfAWalkLeadsToTheTable) {
    volume.set_file_system(L"exFAT");
    EXPECT_EQ(way_of(run()), Way::walk);
    EXPECT_FALSE(stored().journal_valid);
    volume.set_file_system(L"NTFS");
    expect_fallen_back(Way::table);
    expect_all_hashed_anew();
    EXPECT_EQ(volume.count(Request::open_volume), 1u) << "for the table";
    EXPECT_EQ(volume.count(Request::query_journal), 1u);
}

TEST_F(ScanDriverFallBackTest, AVolumeThatIsNoLongerNtfsIsWalkedAndKeepsItsDigests) {
    (void)run();
    volume.set_file_system(L"FAT32");
    expect_fallen_back(Way::walk);
    expect_hashed_anew(0);
    EXPECT_EQ(volume.count(Request::open_volume), 0u);
    volume.overwrite(L"a", 0, "S");
    expect_fallen_back(Way::walk);
    expect_hashed_anew(1);
}

TEST_F(ScanDriverFallBackTest, AVolumeThatMayNotBeOpenedIsWalked) {
    (void)run();
    volume.append(L"a", " and alone of its size");
    volume.plant(failing(Request::open_volume, every_call, ERROR_ACCESS_DENIED));
    expect_fallen_back(Way::walk);
    EXPECT_EQ(computed, 0u);
    EXPECT_EQ(reused, 2u);
}

TEST_F(ScanDriverFallBackTest, WithoutAJournalTheVolumeIsWalked) {
    (void)run();
    volume.delete_journal();
    expect_fallen_back(Way::walk);
    expect_hashed_anew(0);
}

TEST_F(ScanDriverFallBackTest, AFailedFirstJournalQueryLeadsToTheTable) {
    (void)run();
    volume.plant(failing(Request::query_journal, 0, ERROR_JOURNAL_DELETE_IN_PROGRESS));
    expect_fallen_back(Way::table);
}

// ---- an index that the journal does not cover ---------------------------------------------------

TEST_F(ScanDriverFallBackTest, AJournalWithAnotherIdentifierCausesAFullEnumeration) {
    (void)run();
    volume.restamp_journal();
    expect_fallen_back(Way::table);
    expect_all_hashed_anew();
    EXPECT_EQ(way_of(run()), Way::unchanged);
}

TEST_F(ScanDriverFallBackTest, AnIndexOlderThanTheJournalCausesAFullEnumeration) {
    (void)run();
    volume.write(L"z", "same");
    volume.purge_journal();
    ASSERT_GT(volume.journal().FirstUsn, stored().next_usn);
    expect_fallen_back(Way::table);
    EXPECT_EQ(volume.count(Request::volume_information), 3u) << "no delta was tried";
    EXPECT_EQ(volume.count(Request::read_journal), 0u);
}

TEST_F(ScanDriverFallBackTest, AnIndexAheadOfTheJournalCausesAFullEnumeration) {
    (void)run();
    move_index_to(volume.journal().NextUsn + 1);
    expect_fallen_back(Way::table);
    EXPECT_EQ(volume.count(Request::volume_information), 3u) << "no delta was tried";
    EXPECT_EQ(volume.count(Request::read_journal), 0u);
}

TEST_F(ScanDriverFallBackTest, TheVolumeIsClosedBeforeItIsEnumerated) {
    (void)run();
    volume.restamp_journal();
    std::size_t open = 1;
    volume.plant(doing(Request::open_volume, 1, [&] { open = volume.open_handles(); }));
    expect_fallen_back(Way::table);
    EXPECT_EQ(open, 0u);
}

// ---- a delta that fails -------------------------------------------------------------------------

struct DeltaFault {
    const char* name;
    Fault (*fault)();
};
void PrintTo(const DeltaFault& fault, std::ostream* out) {
    *out << fault.name;
}

class ScanDriverFailingDeltaTest : public ScanDriverFallBackTest,
                                   public ::testing::WithParamInterface<DeltaFault> {};

TEST_P(ScanDriverFailingDeltaTest, AFailingDeltaLeadsToTheTable) {
    (void)run();
    volume.write(L"z", "same");
    volume.plant(GetParam().fault());
    expect_fallen_back(Way::table);
    EXPECT_EQ(computed, 5u);
    EXPECT_EQ(reused, 0u);
    EXPECT_EQ(volume.count(Request::open_volume), 2u);
    EXPECT_EQ(way_of(run()), Way::unchanged);
}

TEST_P(ScanDriverFailingDeltaTest, AFailingDeltaLeadsToTheWalkWhenTheTableFailsToo) {
    (void)run();
    volume.write(L"z", "same");
    volume.plant(GetParam().fault());
    volume.plant(failing(Request::list_table, 0, ERROR_INVALID_FUNCTION));
    expect_fallen_back(Way::walk);
    EXPECT_EQ(computed, 1u);
    EXPECT_EQ(reused, 4u);
}

// Other faults are tested with the delta itself.
INSTANTIATE_TEST_SUITE_P(BeforeAndWhileItIsRead, ScanDriverFailingDeltaTest,
                         ::testing::Values(DeltaFault{"no root",
                                                      [] {
                                                          return failing(Request::open_file, 0,
                                                                         ERROR_ACCESS_DENIED);
                                                      }},
                                           DeltaFault{"version 3", [] {
                                                          return damaging(Request::read_journal, 0,
                                                                          RecordDamage::version_3,
                                                                          last_record);
                                                      }}));

// ---- a table that fails -------------------------------------------------------------------------

class ScanDriverFailingTableTest : public ScanDriverFallBackTest,
                                   public ::testing::WithParamInterface<DeltaFault> {};

TEST_P(ScanDriverFailingTableTest, AFailingTableLeadsToTheWalk) {
    volume.plant(GetParam().fault());
    const ScanResult result = run();
    EXPECT_EQ(way_of(result), Way::walk);
    EXPECT_EQ(result.failures, 0u);
    EXPECT_EQ(result.statistics.directories, 2u);
    EXPECT_EQ(result.statistics.files, 4u);
    EXPECT_EQ(progress.documents, 4u);
    EXPECT_EQ(groups_of(result), expected());
    EXPECT_FALSE(stored().journal_valid);
    EXPECT_EQ(stored().entries.size(), 4u);
}

INSTANTIATE_TEST_SUITE_P(BeforeAndWhileItIsRead, ScanDriverFailingTableTest,
                         ::testing::Values(DeltaFault{"no rights",
                                                      [] {
                                                          return failing(Request::open_volume, 0,
                                                                         ERROR_ACCESS_DENIED);
                                                      }},
                                           DeltaFault{"version 3 at the end", [] {
                                                          return damaging(Request::list_table, 0,
                                                                          RecordDamage::version_3,
                                                                          last_record);
                                                      }}));

// ---- every way fails ----------------------------------------------------------------------------

TEST_F(ScanDriverFallBackTest, ARootThatCannotBeReadInAnyWayThrowsAndKeepsItsIndex) {
    (void)run();
    const std::string before = index_bytes();
    volume.append(L"a", "x");
    volume.plant(failing(Request::open_volume, every_call, ERROR_ACCESS_DENIED));
    volume.plant(failing(Request::list_folder, 0, ERROR_ACCESS_DENIED));
    try {
        (void)run();
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "root directory is not readable");
    }
    EXPECT_EQ(index_bytes(), before);
}

TEST_F(ScanDriverFallBackTest, TheTimeOfTheIndexPhaseOutlivesAFallBack) {
    (void)run();
    volume.restamp_journal();
    FakeClock clock;
    hooks().CreateFileW = [&, next = hooks().CreateFileW](LPCWSTR path, auto... rest) {
        if (std::wstring_view(path).starts_with(indexes.root()))
            clock.advance(std::chrono::milliseconds(30));
        return next(path, rest...);
    };
    const ScanResult result = run();
    EXPECT_EQ(way_of(result), Way::table);
    EXPECT_GE(result.statistics.index_ms, 30u);
    EXPECT_TRUE(result.statistics.index_loaded);
}

// The table knows only the low half of the volume's serial number, the walk knows all of it.
TEST_F(ScanDriverFallBackTest, ALinkToAFileOfTheTableIsCollapsedAfterAFallBackToTheWalk) {
    volume.link(L"a", L"f\\link of a");
    (void)run();
    volume.set_file_system(L"FAT32");
    const ScanResult result = run();
    EXPECT_EQ(way_of(result), Way::walk);
    EXPECT_EQ(result.statistics.hardlinks_collapsed, 1u);
    EXPECT_EQ(groups_of(result), expected());
}

TEST_F(ScanDriverFallBackTest, AFileMovedBeforeAFallBackToTheWalkIsNotReadAgain) {
    (void)run();
    volume.move(L"f\\b", L"");
    volume.set_file_system(L"FAT32");
    expect_fallen_back(Way::walk);
    expect_hashed_anew(0);
}

}  // namespace
}  // namespace larkspine::testing
