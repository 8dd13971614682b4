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
        const SizeMap groups = group_by_size(entries);
        const auto found = groups.find(size);
        std::vector<std::ptrdiff_t> places;
        if (found != groups.end())
            for (const FileCandidate* entry : found->second)
                places.push_back(entry - entries.data());
        return places;
    }

    std::size_t group_count() { return group_by_size(entries).size(); }

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

TEST_F(SizeGroupsTest, AFileAloneOfItsSizeIsAGroupOfOne) {
    add(10);
    EXPECT_EQ(group_of(10), Places{0});
}

TEST_F(SizeGroupsTest, EmptyFilesAreGroupedLikeAnyOtherSize) {
    add(0);
    add(0);
    EXPECT_EQ(group_of(0), (Places{0, 1}));
}

TEST_F(SizeGroupsTest, SizesDifferInAll64Bits) {
    for (int bit = 0; bit < 64; ++bit)
        add(std::uint64_t{1} << bit);
    add(UINT64_MAX);
    EXPECT_EQ(group_count(), 65U);
    EXPECT_EQ(group_of(UINT64_MAX), Places{64});
}

TEST_F(SizeGroupsTest, AnEntryWithoutAPathIsLeftOut) {
    add(10, 0, L"");
    add(10);
    EXPECT_EQ(group_of(10), Places{1});
}

TEST_F(SizeGroupsTest, OnlyTheDirectoryAndReparsePointAttributesLeaveAnEntryOut) {
    for (int bit = 0; bit < 32; ++bit) {
        entries.clear();
        const std::uint32_t attribute = std::uint32_t{1} << bit;
        add(10, attribute);
        const bool left_out = attribute == 0x10 || attribute == 0x400;
        EXPECT_EQ(group_of(10), left_out ? Places{} : Places{0}) << "attribute bit " << bit;
    }
}

TEST_F(SizeGroupsTest, FurtherAttributesDoNotBringADirectoryOrReparsePointIn) {
    add(10, ~std::uint32_t{0x10});
    add(10, ~std::uint32_t{0x400});
    add(10, ~std::uint32_t{0x410});
    EXPECT_EQ(group_of(10), Places{2});
}

TEST_F(SizeGroupsTest, WhatIsWrittenThroughAGroupLandsInTheSnapshot) {
    add(10);
    const SizeMap groups = group_by_size(entries);
    groups.at(10).front()->has_full_digest = true;
    EXPECT_EQ(entries[0].has_full_digest, true);
}

}  // namespace
}  // namespace larkspine::detail
