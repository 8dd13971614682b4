#include "engine/candidate_pipeline.h"

#include "base/win32_api.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/path.h"
#include "fs/volume.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using Names = std::vector<std::wstring>;
using Counts = std::vector<std::uint64_t>;

class CandidatePipelineTest : public ::testing::Test {
  protected:
    detail::FileCandidate& add_path(const std::wstring& path) {
        detail::FileCandidate& candidate = candidates.emplace_back();
        candidate.path = path;
        candidate.size = size;
        list.push_back(&candidate);
        return candidate;
    }

    // A file of the bucket's size.
    detail::FileCandidate& add(std::wstring_view name, std::uint64_t changed_at = UINT64_MAX) {
        return add_path(tree.sized_file(name, size, changed_at));
    }
    detail::FileCandidate& add_missing(std::wstring_view name) { return add_path(tree.path(name)); }
    detail::FileCandidate& add_link(std::wstring_view name, const detail::FileCandidate& to) {
        return add_path(tree.hard_link(name, to.path));
    }

    // Gives a candidate an identity that no file of this test has by itself.
    static void identify(detail::FileCandidate& candidate, std::uint64_t serial, std::uint64_t low,
                         std::uint64_t high) {
        candidate.volume_serial = serial;
        candidate.file_id = {low, high};
        candidate.has_file_id = true;
    }

    void process(bool verify_bytes = false) {
        detail::process_size_group(size, list, pool, verify_bytes, statistics, results, progress);
    }
    void split(bool verify_bytes) {
        detail::split_by_content(list, size, verify_bytes, results, progress, statistics);
    }

    // The names of the survivors, in order.
    Names collapse() {
        Names names;
        for (const detail::FileCandidate* survivor : detail::collapse_hardlinks(list, statistics))
            names.push_back(survivor->path.substr(tree.root().size() + 1));
        return names;
    }

    // The names in each result group.
    std::vector<Names> groups() const {
        const std::size_t folder = strip_long_path_prefix(tree.root()).size() + 1;
        std::vector<Names> all;
        for (const DuplicateGroup& group : results) {
            Names& names = all.emplace_back();
            for (const DuplicateEntry& entry : group)
                names.push_back(entry.path.substr(folder));
        }
        return all;
    }

    // Files with several names, names dropped.
    Counts links() { return {statistics.hardlink_groups, statistics.hardlinks_collapsed}; }
    // Samples, full hashes.
    Counts hashed() { return {statistics.sample_hashes_computed, statistics.full_hashes_computed}; }

    std::uint64_t size = 1'000;
    TempTree tree;
    worker_pool pool{2};
    ScanStatistics statistics;
    ScanProgress progress;
    std::deque<detail::FileCandidate> candidates;
    std::vector<detail::FileCandidate*> list;
    std::vector<DuplicateGroup> results;
};

TEST_F(CandidatePipelineTest, FilesWithTheSameContentsAreOneGroupInPathOrder) {
    add(L"c");
    add(L"a");
    add(L"b");
    process();
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a", L"b", L"c"}}));
    EXPECT_EQ(progress.duplicates, 2U);
}

TEST_F(CandidatePipelineTest, EachRowHasTheDisplayPathAndTheSizeOfTheBucket) {
    const std::wstring shown = strip_long_path_prefix(add(L"a").path);
    add(L"b");
    process();
    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0][0].path, shown);
    EXPECT_EQ(results[0][0].path.starts_with(L"\\\\?\\"), false);
    EXPECT_EQ(results[0][0].size, 1'000U);
    EXPECT_EQ(results[0][1].size, 1'000U);
}

TEST_F(CandidatePipelineTest, FilesWithDifferentSamplesAreSeparatedWithoutAFullHash) {
    add(L"a");
    add(L"b", 999);
    process();
    EXPECT_EQ(groups(), std::vector<Names>{});
    EXPECT_EQ(hashed(), (Counts{2, 0}));
}

TEST_F(CandidatePipelineTest, FilesThatDifferOnlyInTheirMiddleAreSeparatedByTheFullHash) {
    size = 200'000;
    add(L"a");
    add(L"b", 100'000);
    process();
    EXPECT_EQ(groups(), std::vector<Names>{});
    EXPECT_EQ(hashed(), (Counts{2, 2}));
}

TEST_F(CandidatePipelineTest, OnlyFilesWhoseSampleIsSharedAreHashedInFull) {
    add(L"a");
    add(L"alone", 3);
    add(L"b");
    process();
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a", L"b"}}));
    EXPECT_EQ(hashed(), (Counts{3, 2}));
}

TEST_F(CandidatePipelineTest, OneBucketMayHoldSeveralGroups) {
    size = 200'000;
    for (const wchar_t* name : {L"a1", L"a2"})
        add(name);
    for (const wchar_t* name : {L"b1", L"b2", L"b3"})
        add(name, 7);  // another sample
    for (const wchar_t* name : {L"c1", L"c2"})
        add(name, 100'000);  // the sample of a, other contents
    process();
    std::vector<Names> found = groups();
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, (std::vector<Names>{{L"a1", L"a2"}, {L"b1", L"b2", L"b3"}, {L"c1", L"c2"}}));
    EXPECT_EQ(progress.duplicates, 4U);
}

TEST_F(CandidatePipelineTest, NewGroupsAreAppendedAndAddToTheDuplicates) {
    for (const wchar_t* name : {L"b", L"a"}) {
        list.clear();
        add(name);
        add(name + std::wstring(L"2"));
        process();
    }
    EXPECT_EQ(groups(), (std::vector<Names>{{L"b", L"b2"}, {L"a", L"a2"}}));
    EXPECT_EQ(progress.duplicates, 2U);
}

TEST_F(CandidatePipelineTest, TheReferenceIsThePathThatSortsFirstWithoutCase) {
    add(L"B.txt");
    add(L"a.txt");
    process();
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a.txt", L"B.txt"}}));
}

TEST_F(CandidatePipelineTest, TheReferenceIsNotTheOldestFile) {
    add(L"b").creation_time = 1;
    add(L"a").creation_time = 2;
    process();
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a", L"b"}}));
}

TEST_F(CandidatePipelineTest, DigestsAndIdentitiesStayWithTheCandidates) {
    const detail::FileCandidate& a = add(L"a");
    const detail::FileCandidate& b = add(L"b");
    process();
    for (const detail::FileCandidate* file : {&a, &b}) {
        EXPECT_EQ(file->has_file_id, true);
        EXPECT_EQ(file->has_sample_digest, true);
        EXPECT_EQ(file->has_full_digest, true);
    }
    EXPECT_EQ(a.full_digest, b.full_digest);
}

TEST_F(CandidatePipelineTest, DigestsFromAnEarlierScanAreReused) {
    add(L"a");
    add(L"b");
    process();
    process();
    EXPECT_EQ(hashed(), (Counts{2, 2}));
    EXPECT_EQ(statistics.sample_hashes_reused, 2U);
    EXPECT_EQ(statistics.full_hashes_reused, 2U);
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a", L"b"}, {L"a", L"b"}}));
}

TEST_F(CandidatePipelineTest, AFileDeletedSinceItWasListedDropsOutOfItsGroup) {
    add(L"a");
    add_missing(L"b");
    add(L"c");
    process();
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a", L"c"}}));
    EXPECT_EQ(statistics.failures, 1U);
}

TEST_F(CandidatePipelineTest, OneFileLeftOfAPairIsNotReported) {
    add(L"a");
    add_missing(L"b");
    process();
    EXPECT_EQ(groups(), std::vector<Names>{});
    EXPECT_EQ(progress.duplicates, 0U);
    EXPECT_EQ(hashed(), (Counts{1, 0}));
}

TEST_F(CandidatePipelineTest, AFileDeletedAfterItsSampleWasTakenDropsOutOfItsGroup) {
    detail::FileCandidate& deleted = add_missing(L"b");
    const detail::FileCandidate& a = add(L"a");
    add(L"c");
    process();
    deleted.sample_digest = a.sample_digest;
    deleted.has_sample_digest = true;
    results.clear();
    statistics.failures = 0;
    process();
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a", L"c"}}));
    EXPECT_EQ(statistics.failures, 1U);
    EXPECT_EQ(deleted.has_full_digest, false);
}

TEST_F(CandidatePipelineTest, TwoHardLinksAloneAreNotReported) {
    add_link(L"b", add(L"a"));
    process();
    EXPECT_EQ(groups(), std::vector<Names>{});
    EXPECT_EQ(links(), (Counts{1, 1}));
    EXPECT_EQ(hashed(), (Counts{0, 0}));
}

TEST_F(CandidatePipelineTest, OfThreeHardLinksWithACopyTheFirstInPathOrderIsReported) {
    const detail::FileCandidate& original = add(L"k3");
    add_link(L"k2", original);
    add(L"copy");
    add_link(L"K1", original);
    process();
    EXPECT_EQ(groups(), (std::vector<Names>{{L"copy", L"K1"}}));
    EXPECT_EQ(links(), (Counts{1, 2}));
}

TEST_F(CandidatePipelineTest, EachFileWithSeveralNamesIsCountedOnce) {
    add_link(L"a2", add(L"a1"));
    add_link(L"b2", add(L"b1"));
    add(L"single");
    EXPECT_EQ(collapse(), (Names{L"a1", L"b1", L"single"}));
    EXPECT_EQ(links(), (Counts{2, 2}));
}

TEST_F(CandidatePipelineTest, TheIdentityThatTheSystemGivesIsStored) {
    const detail::FileCandidate& file = add(L"a");
    (void)collapse();
    const std::optional<FILE_ID_INFO> identity = file_identity_of(file.path);
    ASSERT_NE(identity, std::nullopt);
    EXPECT_EQ(file.has_file_id, true);
    EXPECT_EQ(file.volume_serial, identity->VolumeSerialNumber);
    EXPECT_EQ(file.file_id, std::bit_cast<detail::FileId>(identity->FileId));
}

TEST_F(CandidatePipelineTest, AStoredIdentityIsUsedWithoutAskingForIt) {
    identify(add_missing(L"b"), 1, 2, 3);
    identify(add_missing(L"a"), 1, 2, 3);
    EXPECT_EQ(collapse(), Names{L"a"});
    EXPECT_EQ(links(), (Counts{1, 1}));
}

TEST_F(CandidatePipelineTest, EveryPartOfTheIdentityDistinguishesFiles) {
    identify(add_missing(L"a"), 1, 2, 3);
    identify(add_missing(L"b"), 9, 2, 3);
    identify(add_missing(L"c"), 1, 9, 3);
    identify(add_missing(L"d"), 1, 2, 9);
    EXPECT_EQ(collapse(), (Names{L"a", L"b", L"c", L"d"}));
    EXPECT_EQ(links(), (Counts{0, 0}));
}

// An entry of a table scan has the low half of the volume's serial number, any other all of it.
TEST_F(CandidatePipelineTest, TwoNamesOfOneFileAreNoDuplicatesWhicheverWayTheyWereFound) {
    identify(add_missing(L"b"), 0x1B0C'7D42, 2, 0);
    identify(add_missing(L"a"), 0x5EA1'90F3'1B0C'7D42, 2, 0);
    EXPECT_EQ(collapse(), Names{L"a"});
    EXPECT_EQ(links(), (Counts{1, 1}));
    EXPECT_EQ(list[0]->volume_serial, 0x1B0C'7D42u) << "what is stored stays as it was found";
    EXPECT_EQ(list[1]->volume_serial, 0x5EA1'90F3'1B0C'7D42u);
}

// A listing may be behind for a file that a program has just made and is writing.
TEST_F(CandidatePipelineTest, AFileListedAsEmptyThatIsNotIsNoDuplicateOfEmptyFiles) {
    size = 7;
    add(L"a log that is being written").size = 0;
    size = 0;
    add(L"b");
    add(L"c");
    process(true);
    EXPECT_EQ(groups(), (std::vector<Names>{{L"b", L"c"}}));
    EXPECT_EQ(statistics.empty_files_grouped, 2U);
    EXPECT_EQ(statistics.failures, 1U);
    EXPECT_FALSE(list[0]->has_file_id) << "so that the next run asks again";
}

TEST_F(CandidatePipelineTest, AFileWithoutAReadableIdentityIsKept) {
    detail::FileCandidate& missing = add_missing(L"b");
    EXPECT_EQ(collapse(), Names{L"b"});
    EXPECT_EQ(missing.has_file_id, false);
    EXPECT_EQ(statistics.failures, 0U);
}

TEST_F(CandidatePipelineTest, SurvivorsAreInPathOrderWhetherIdentifiedOrNot) {
    for (const wchar_t* name : {L"F", L"b", L"d"})
        add(name);
    for (const wchar_t* name : {L"e", L"C", L"a"})
        add_missing(name);
    EXPECT_EQ(collapse(), (Names{L"a", L"b", L"C", L"d", L"e", L"F"}));
}

class EmptyFilesTest : public CandidatePipelineTest, public ::testing::WithParamInterface<bool> {
  protected:
    EmptyFilesTest() { size = 0; }
    const bool verify_bytes = GetParam();
};

TEST_P(EmptyFilesTest, AreOneGroupWithoutBeingHashedOrCompared) {
    add(L"b\\empty");
    add(L"a\\empty");
    process(verify_bytes);
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a\\empty", L"b\\empty"}}));
    EXPECT_EQ(results[0][0].size, 0U);
    EXPECT_EQ(statistics.empty_files_grouped, 2U);
    EXPECT_EQ(hashed(), (Counts{0, 0}));
    EXPECT_EQ(statistics.byte_comparisons, 0U);
    EXPECT_EQ(progress.duplicates, 1U);
}

TEST_P(EmptyFilesTest, ThatAreNamesOfOneFileAreNotReported) {
    add_link(L"b", add(L"a"));
    process(verify_bytes);
    EXPECT_EQ(groups(), std::vector<Names>{});
    EXPECT_EQ(statistics.empty_files_grouped, 0U);
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutVerification, EmptyFilesTest, ::testing::Bool());

TEST_F(CandidatePipelineTest, FewerThanTwoCandidatesMakeNoGroup) {
    detail::emit_group(list, size, results, progress);
    add_missing(L"a");
    detail::emit_group(list, size, results, progress);
    EXPECT_EQ(results.size(), 0U);
    EXPECT_EQ(progress.duplicates, 0U);
}

TEST_F(CandidatePipelineTest, AGroupIsSortedByPathWhenItIsEmitted) {
    for (const wchar_t* name : {L"b", L"A", L"c", L"a", L"B"})
        add_missing(name);
    detail::emit_group(list, size, results, progress);
    EXPECT_EQ(groups(), (std::vector<Names>{{L"A", L"a", L"B", L"b", L"c"}}));
    EXPECT_EQ(progress.duplicates, 4U);
}

TEST_F(CandidatePipelineTest, WithoutVerificationEqualDigestsAreTrusted) {
    add(L"a");
    add(L"b", 5);
    add_missing(L"c");
    split(false);
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a", L"b", L"c"}}));
    EXPECT_EQ(statistics.byte_comparisons, 0U);
}

TEST_F(CandidatePipelineTest, VerificationComparesEveryCopyWithTheFirstFile) {
    for (const wchar_t* name : {L"a", L"b", L"c"})
        add(name);
    process(true);
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a", L"b", L"c"}}));
    EXPECT_EQ(statistics.byte_comparisons, 2U);
}

// Two contents in turns, under digests that say that all four are the same.
TEST_F(CandidatePipelineTest, VerificationSplitsEqualDigestsByContents) {
    for (const wchar_t* name : {L"A", L"B", L"C", L"D"}) {
        const bool second_kind = *name == L'B' || *name == L'D';
        detail::FileCandidate& file = add(name, second_kind ? 5 : UINT64_MAX);
        file.has_sample_digest = true;
        file.has_full_digest = true;
    }
    process(true);
    EXPECT_EQ(groups(), (std::vector<Names>{{L"A", L"C"}, {L"B", L"D"}}));
    EXPECT_EQ(statistics.byte_comparisons, 4U);
    EXPECT_EQ(progress.duplicates, 2U);
}

TEST_F(CandidatePipelineTest, VerificationDropsAFileWhoseContentsAreItsOwn) {
    add(L"a");
    add(L"b", 5);
    split(true);
    EXPECT_EQ(groups(), std::vector<Names>{});
    EXPECT_EQ(statistics.byte_comparisons, 1U);
}

TEST_F(CandidatePipelineTest, VerificationDropsAFileThatCannotBeOpened) {
    add_missing(L"a");
    add(L"b");
    add_missing(L"c");
    add(L"d");
    split(true);
    EXPECT_EQ(groups(), (std::vector<Names>{{L"b", L"d"}}));
    EXPECT_EQ(statistics.byte_comparisons, 5U);
}

}  // namespace
}  // namespace larkspine::testing
