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

TEST_F(SizeGroupsTest, TheGroupsComeBySizeAndHoldAllCandidates) {
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

TEST_F(SizeGroupsTest, FurtherAttributesDoNotBringADirectoryOrReparsePointIn) {
    add(10, ~std::uint32_t{0x10});
    add(10, ~std::uint32_t{0x400});
    add(10, ~std::uint32_t{0x410});
    add(10);
    EXPECT_EQ(group_of(10), (Places{2, 3}));
}

TEST_F(SizeGroupsTest, WhatIsWrittenThroughAGroupLandsInTheSnapshot) {
    add(10);
    add(10);
    const SizeGroups grouped = group_by_size(entries);
    grouped.groups.at(0).members.front()->has_full_digest = true;
    EXPECT_EQ(entries[0].has_full_digest, true);
}

}  // namespace
}  // namespace larkspine::detail
