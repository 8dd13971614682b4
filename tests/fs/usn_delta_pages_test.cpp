// The pages of the journal. No record reaches into the next page, so the position of a snapshot may
// lie in a gap.
#include <cstdint>
#include <gtest/gtest.h>
#include <string>

#include "support/delta_volume.h"

namespace larkspine::testing {
namespace {

constexpr std::int64_t record_size = 64;  // with a name of up to two letters

class UsnDeltaPagesTest : public DeltaVolumeTest {
  protected:
    using DeltaVolumeTest::DeltaVolumeTest;

    void SetUp() override {
        volume.write(L"a", "text");
        volume.write(L"f\\long", "text");
    }

    [[nodiscard]] std::int64_t left_of_page() const {
        return journal_page_size - volume.journal().NextUsn % journal_page_size;
    }
    // Records deletions of unknown files until `left` bytes of the page are left.
    void fill_page(std::int64_t left) {
        do
            journal_record(make_reference(900, 1), root_reference,
                           usn_reason::file_delete | usn_reason::close,
                           left_of_page() % 16 == 0 ? L"z" : L"zzz");
        while (left_of_page() != left);
    }
};

TEST_F(UsnDeltaPagesTest, ASnapshotWhosePositionBecomesAGapIsUpdatedFromThere) {
    fill_page(record_size);
    enumerate_with_digests();
    const std::int64_t position = snapshot.next_usn;
    volume.append(L"f\\long", "more");  // a record of 72 bytes
    ASSERT_EQ(volume.journalled(position).at(0).usn, position + record_size);
    ASSERT_TRUE(apply());
    EXPECT_EQ(volume.calls(Request::read_journal).at(0).journal.StartUsn, position);
    EXPECT_EQ(statistics.journal_changes, 2u);
    EXPECT_EQ(without_digests(), Paths{L"f\\long"});
    expect_as_enumerated();
}

TEST_F(UsnDeltaPagesTest, AChangeOnBothSidesOfAGapIsTakenWhole) {
    fill_page(2 * record_size);
    enumerate_with_digests();
    volume.open(L"f\\long");
    volume.append(L"f\\long", "more");
    ASSERT_LT(left_of_page(), 72);
    volume.set_attributes(L"f\\long", FILE_ATTRIBUTE_HIDDEN);
    volume.close(L"f\\long");
    ASSERT_TRUE(apply());
    EXPECT_EQ(statistics.journal_changes, 3u);
    EXPECT_EQ(entry(L"f\\long").size, 8u);
    expect_as_enumerated();
}

TEST_F(UsnDeltaPagesTest, ChangesOverManyPagesAreAllTaken) {
    enumerate_with_digests();
    const std::int64_t position = snapshot.next_usn;
    for (int i = 0; i < 60; ++i)  // 72 bytes a record: 56 of them fill a page up to a gap
        volume.write(L"f\\new" + std::to_wstring(i), std::string(1 + i % 3, 'x'));
    ASSERT_GT(volume.journal().NextUsn, position + 3 * journal_page_size);
    ASSERT_TRUE(apply());
    EXPECT_EQ(statistics.journal_changes, 180u);
    expect_as_enumerated();
}

}  // namespace
}  // namespace larkspine::testing
