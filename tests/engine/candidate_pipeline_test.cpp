#include "engine/candidate_pipeline.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "engine/pipeline_fixture.h"

namespace larkspine::testing {
namespace {

class CandidatePipelineTest : public PipelineTest {
  protected:
    void split(bool verify_bytes) {
        detail::split_by_content(list, size, verify_bytes, results, progress, statistics);
    }
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

TEST_F(CandidatePipelineTest, TheReferenceIsNotTheOldestFile) {
    add(L"b").creation_time = 1;
    add(L"a").creation_time = 2;
    process();
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a", L"b"}}));
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

TEST_F(CandidatePipelineTest, FewerThanTwoCandidatesMakeNoGroup) {
    detail::emit_group(list, size, results, progress);
    add_missing(L"a");
    detail::emit_group(list, size, results, progress);
    EXPECT_EQ(results.size(), 0U);
    EXPECT_EQ(progress.duplicates, 0U);
}

TEST_F(CandidatePipelineTest, TheReferenceIsThePathThatSortsFirstWithoutCase) {
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

TEST_F(CandidatePipelineTest, VerificationDropsAFileThatEqualsNoOther) {
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
    EXPECT_EQ(statistics.failures, 0U);
}

}  // namespace
}  // namespace larkspine::testing
