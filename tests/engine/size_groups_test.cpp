#include "engine/size_groups.h"

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <vector>

namespace larkspine::detail {
namespace {

class SizeGroupsTest : public ::testing::Test {
  protected:
    void add(std::uint64_t size, std::uint32_t attributes = 0,
             const wchar_t* path = L"\\\\?\\C:\\f") {
        FileCandidate entry;
        entry.path = path;
        entry.size = size;
        entry.attributes = attributes;
        entries.push_back(entry);
    }

    // The places in `entries` of the files of one size, in the order of their group.
    std::vector<std::ptrdiff_t> group_of(std::uint64_t size) {
        const SizeGroups grouped = group_by_size(entries);
        std::vector<std::ptrdiff_t> places;
        for (const SizeGroup& group : grouped.groups)
            if (group.size == size)
                for (const FileCandidate* entry : group.members)
                    places.push_back(entry - entries.data());
        return places;
    }

    // How many files of one size are still to be read.
    std::size_t unread_of(std::uint64_t size) {
        const SizeGroups grouped = group_by_size(entries);
        for (const SizeGroup& group : grouped.groups)
            if (group.size == size)
                return group.unread;
        ADD_FAILURE() << "no group of " << size << " bytes";
        return 0;
    }
    void identify(std::size_t place, std::uint64_t low, std::uint64_t high = 0,
                  std::uint64_t serial = 0) {
        entries[place].file_id = {low, high};
        entries[place].volume_serial = serial;
        entries[place].has_file_id = true;
    }

    std::size_t group_count() { return group_by_size(entries).groups.size(); }

    using Places = std::vector<std::ptrdiff_t>;
    std::vector<FileCandidate> entries;
};

TEST_F(SizeGroupsTest, NoEntriesMakeNoGroups) {
    EXPECT_EQ(group_count(), 0U);
}

TEST_F(SizeGroupsTest, EntriesOfOneSizeStandTogetherInTheOrderOfTheSnapshot) {
    add(10);
    add(20);
    add(10);
    add(20);
    add(10);
    EXPECT_EQ(group_count(), 2U);
    EXPECT_EQ(group_of(10), (Places{0, 2, 4}));
    EXPECT_EQ(group_of(20), (Places{1, 3}));
}

TEST_F(SizeGroupsTest, AFileAloneOfItsSizeIsInNoGroup) {
    add(10);
    add(20);
    add(20);
    add(30);
    EXPECT_EQ(group_count(), 1U);
    EXPECT_EQ(group_of(20), (Places{1, 2}));
}

TEST_F(SizeGroupsTest, TheGroupsAreInAscendingSizeAndHoldAllCandidates) {
    for (const std::uint64_t size : {30, 10, 20, 10, 30, 5, 30})
        add(size);
    const SizeGroups grouped = group_by_size(entries);
    ASSERT_EQ(grouped.groups.size(), 2U);
    EXPECT_EQ(grouped.groups[0].size, 10U);
    EXPECT_EQ(grouped.groups[1].size, 30U);
    EXPECT_EQ(grouped.candidates.size(), 5U);
}

TEST_F(SizeGroupsTest, EmptyFilesAreGroupedLikeAnyOtherSize) {
    add(0);
    add(0);
    EXPECT_EQ(group_of(0), (Places{0, 1}));
}

TEST_F(SizeGroupsTest, SizesDifferInAll64Bits) {
    for (int bit = 0; bit < 64; ++bit)
        for (int i = 0; i < 2; ++i)
            add(std::uint64_t{1} << bit);
    add(UINT64_MAX);
    add(UINT64_MAX);
    EXPECT_EQ(group_count(), 65U);
    EXPECT_EQ(group_of(UINT64_MAX), (Places{128, 129}));
}

TEST_F(SizeGroupsTest, AnEntryWithoutAPathIsLeftOut) {
    add(10, 0, L"");
    add(10);
    add(10);
    EXPECT_EQ(group_of(10), (Places{1, 2}));
}

TEST_F(SizeGroupsTest, OnlyTheDirectoryAndReparsePointAttributesLeaveAnEntryOut) {
    for (int bit = 0; bit < 32; ++bit) {
        entries.clear();
        const std::uint32_t attribute = std::uint32_t{1} << bit;
        add(10, attribute);
        add(10);
        const bool left_out = attribute == 0x10 || attribute == 0x400;
        EXPECT_EQ(group_of(10), left_out ? Places{} : (Places{0, 1})) << "attribute bit " << bit;
    }
}

TEST_F(SizeGroupsTest, ADirectoryOrReparsePointWithAnyFurtherAttributesIsLeftOut) {
    add(10, ~std::uint32_t{0x10});
    add(10, ~std::uint32_t{0x400});
    add(10, ~std::uint32_t{0x410});
    add(10);
    EXPECT_EQ(group_of(10), (Places{2, 3}));
}

TEST_F(SizeGroupsTest, ADigestSetThroughAGroupIsSetInTheSnapshot) {
    add(10);
    add(10);
    const SizeGroups grouped = group_by_size(entries);
    grouped.groups.at(0).members.front()->has_full_digest = true;
    EXPECT_EQ(entries[0].has_full_digest, true);
}

TEST_F(SizeGroupsTest, WithoutDigestsEveryMemberIsUnread) {
    for (int i = 0; i < 3; ++i)
        add(10);
    EXPECT_EQ(unread_of(10), 3U);
    identify(0, 1);
    identify(1, 1);
    EXPECT_EQ(unread_of(10), 3U) << "two names of one file, of which no digest is known";
}

TEST_F(SizeGroupsTest, AMemberWithAKnownSampleCountsAsRead) {
    for (int i = 0; i < 4; ++i)
        add(10);
    entries[1].has_sample_digest = true;
    entries[2].has_sample_digest = entries[2].has_full_digest = true;
    entries[3].has_full_digest = true;
    EXPECT_EQ(unread_of(10), 2U);
}

TEST_F(SizeGroupsTest, AFurtherNameOfAFileWithAKnownDigestCountsAsRead) {
    for (int i = 0; i < 6; ++i)
        add(10);
    entries[2].has_sample_digest = true;
    identify(2, 5, 6, 7);
    identify(0, 5, 6, 7);
    identify(1, 4, 6, 7);
    identify(3, 5, 5, 7);
    identify(4, 5, 6, 8);
    identify(5, 5, 6, 7);
    entries[5].has_file_id = false;
    EXPECT_EQ(unread_of(10), 4U) << "all but the file and its one further name";
    entries[2].has_file_id = false;
    EXPECT_EQ(unread_of(10), 5U);
}

TEST_F(SizeGroupsTest, FurtherNamesAreRecognisedInAnyOrderOfTheFiles) {
    for (int i = 0; i < 12; ++i)
        add(10);
    for (std::size_t i = 0; i < 6; ++i) {
        identify(i, 10 - i, i % 2, 7 - i % 3);
        entries[i].has_sample_digest = true;
        identify(11 - i, 10 - i, i % 2, 7 - i % 3);
    }
    EXPECT_EQ(unread_of(10), 0U);
    ++entries[6].file_id.low;
    EXPECT_EQ(unread_of(10), 1U);
}

TEST_F(SizeGroupsTest, AnEmptyFileWithAKnownIdentityCountsAsRead) {
    for (int i = 0; i < 3; ++i)
        add(0);
    EXPECT_EQ(unread_of(0), 3U);
    identify(1, 1);
    entries[2].has_sample_digest = true;
    EXPECT_EQ(unread_of(0), 2U);
}

TEST_F(SizeGroupsTest, EachGroupCountsItsOwnUnreadMembers) {
    for (const std::uint64_t size : {10, 10, 20, 20})
        add(size);
    for (const std::size_t place : {0, 2})
        identify(place, 1);
    entries[0].has_sample_digest = true;
    EXPECT_EQ(unread_of(10), 1U);
    EXPECT_EQ(unread_of(20), 2U);
}

}  // namespace
}  // namespace larkspine::detail
