#include "base/win32_api.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <gtest/gtest.h>
#include <iterator>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/candidate_pipeline.h"
#include "support/file_calls.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

constexpr DWORD share_all = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

bool is_full_read(DWORD flags) {
    return (flags & FILE_FLAG_SEQUENTIAL_SCAN) != 0;
}

class CandidatePipelineCallsTest : public ::testing::Test {
  protected:
    // A file of the bucket's size.
    detail::FileCandidate& add(std::wstring_view name, std::uint64_t changed_at = UINT64_MAX) {
        detail::FileCandidate& candidate = candidates.emplace_back();
        candidate.path = tree.sized_file(name, size, changed_at);
        candidate.size = size;
        list.push_back(&candidate);
        return candidate;
    }

    // One whose identity is already known.
    detail::FileCandidate& add_identified(std::wstring_view name,
                                          std::uint64_t changed_at = UINT64_MAX) {
        detail::FileCandidate& candidate = add(name, changed_at);
        candidate.file_id.low = candidates.size();
        candidate.has_file_id = true;
        return candidate;
    }

    void process(bool verify_bytes = false) {
        pool.submit([] {}).get();  // after jobs that an exception left behind
        calls.restart();
        detail::process_size_group(size, list, pool, verify_bytes, statistics, results, progress);
        EXPECT_EQ(calls.open_handles(), 0U);
    }

    // The last letters of the paths in each result group.
    std::vector<std::wstring> groups() const {
        std::vector<std::wstring> all;
        for (const DuplicateGroup& group : results) {
            std::wstring& letters = all.emplace_back();
            for (const DuplicateEntry& entry : group)
                letters += entry.path.back();
        }
        return all;
    }

    // How many files were opened to be hashed in full.
    std::size_t full_opens() const {
        return static_cast<std::size_t>(
            std::count_if(calls.opens.begin(), calls.opens.end(),
                          [](const OpenCall& call) { return is_full_read(call.flags); }));
    }

    std::uint64_t size = 1'000;
    TempTree tree;
    ScanStatistics statistics;
    ScanProgress progress;
    std::deque<detail::FileCandidate> candidates;
    std::vector<detail::FileCandidate*> list;
    std::vector<DuplicateGroup> results;
    FileCalls calls;
    worker_pool pool{1};
};

TEST_F(CandidatePipelineCallsTest, EmptyFilesAreOpenedForTheirIdentityOnly) {
    size = 0;
    const std::wstring path = add(L"a").path;
    add(L"b");
    process(true);
    EXPECT_EQ(calls.events,
              (Events{"open a", "query a 18 24", "close a", "open b", "query b 18 24", "close b"}));
    EXPECT_EQ(calls.opens.front(), (OpenCall{path, GENERIC_READ, share_all, nullptr, OPEN_EXISTING,
                                             FILE_ATTRIBUTE_NORMAL, nullptr}));
    EXPECT_EQ(groups(), std::vector<std::wstring>{L"ab"});
}

TEST_F(CandidatePipelineCallsTest, EmptyFilesWithAKnownIdentityAreNotOpenedAtAll) {
    size = 0;
    add_identified(L"a");
    add_identified(L"b");
    process(true);
    EXPECT_EQ(calls.events, Events{});
    EXPECT_EQ(groups(), std::vector<std::wstring>{L"ab"});
}

TEST_F(CandidatePipelineCallsTest, AnIdentityIsAskedForOnce) {
    size = 0;
    add(L"a");
    add(L"b");
    process();
    process();
    EXPECT_EQ(calls.events, Events{});
}

TEST_F(CandidatePipelineCallsTest, AFileWhoseIdentityIsRefusedIsKept) {
    const detail::FileCandidate& a = add(L"a");
    add(L"b");
    calls.queries_work = false;
    process();
    EXPECT_EQ(groups(), std::vector<std::wstring>{L"ab"});
    EXPECT_EQ(a.has_file_id, false);
    EXPECT_EQ(a.volume_serial, 0U);
    EXPECT_EQ(a.file_id, detail::FileId{});
    EXPECT_EQ(statistics.failures, 0U);
}

TEST_F(CandidatePipelineCallsTest, AFileThatCannotBeOpenedForItsIdentityIsKept) {
    add(L"a");
    add(L"b");
    calls.on_open = [first = true](const std::string& name, DWORD) mutable {
        return name != "a" || !std::exchange(first, false);
    };
    process();
    EXPECT_EQ(groups(), std::vector<std::wstring>{L"ab"});
    EXPECT_EQ(list[0]->has_file_id, false);
    EXPECT_EQ(list[1]->has_file_id, true);
}

TEST_F(CandidatePipelineCallsTest, NamesOfOneFileWithoutAReadableIdentityAreTreatedAsTwoFiles) {
    const std::wstring path = add(L"a").path;
    add(L"b");
    tree.remove_file(L"b");
    (void)tree.hard_link(L"b", path);
    calls.queries_work = false;
    process();
    EXPECT_EQ(groups(), std::vector<std::wstring>{L"ab"});
    EXPECT_EQ(statistics.hardlink_groups, 0U);
}

TEST_F(CandidatePipelineCallsTest, ANameThatIsDroppedIsNotRead) {
    detail::FileCandidate& kept = add_identified(L"a");
    add_identified(L"b").file_id = kept.file_id;
    add_identified(L"c");
    process();
    EXPECT_EQ(std::count(calls.events.begin(), calls.events.end(), "open b"), 0);
    EXPECT_EQ(groups(), std::vector<std::wstring>{L"ac"});
}

TEST_F(CandidatePipelineCallsTest, ASampleThatNobodySharesIsNotFollowedByAFullRead) {
    add_identified(L"a");
    add_identified(L"b", 5);
    process();
    EXPECT_EQ(full_opens(), 0U);
}

TEST_F(CandidatePipelineCallsTest, EverySurvivorOfTheSamplesIsReadInFullOnce) {
    for (const wchar_t* name : {L"a", L"b"})
        add_identified(name);
    process();
    EXPECT_EQ(calls.events,
              (Events{"open a", "read a 1000", "close a", "open b", "read b 1000", "close b",
                      "open a", "read a 1048576", "read a 1048576", "close a", "open b",
                      "read b 1048576", "read b 1048576", "close b"}));
}

TEST_F(CandidatePipelineCallsTest, AFileDeletedBetweenTheStagesDropsOut) {
    for (const wchar_t* name : {L"a", L"b", L"c"})
        add_identified(name);
    calls.on_open = [this](const std::string& name, DWORD flags) {
        if (name == "b" && is_full_read(flags))
            tree.remove_file(L"b");
        return true;
    };
    process();
    EXPECT_EQ(groups(), std::vector<std::wstring>{L"ac"});
    EXPECT_EQ(statistics.failures, 1U);
    EXPECT_EQ(list[1]->has_sample_digest, true);
    EXPECT_EQ(list[1]->has_full_digest, false);
}

TEST_F(CandidatePipelineCallsTest, AFileThatCannotBeReadInFullLeavesNoGroupOfOne) {
    for (const wchar_t* name : {L"a", L"b"})
        add_identified(name);
    calls.on_open = [](const std::string& name, DWORD flags) {
        return name != "a" || !is_full_read(flags);
    };
    process();
    EXPECT_EQ(groups(), std::vector<std::wstring>{});
    EXPECT_EQ(progress.duplicates, 0U);
    EXPECT_EQ(statistics.failures, 1U);
}

TEST_F(CandidatePipelineCallsTest, AnExceptionOfAHashingJobPassesThrough) {
    for (const wchar_t* name : {L"a", L"b"})
        add_identified(name);
    for (const std::size_t read : {0U, 2U}) {  // in a sample, in a full hash
        calls.throw_at_read(read);
        EXPECT_THROW(process(), std::bad_alloc) << "read " << read;
    }
    EXPECT_EQ(groups(), std::vector<std::wstring>{});
}

// Two contents in turns, under digests that say that all four are the same.
TEST_F(CandidatePipelineCallsTest, VerificationComparesWithTheFirstOfEachClassInOrder) {
    for (const wchar_t* name : {L"A", L"B", L"C", L"D"}) {
        const bool second_kind = *name == L'B' || *name == L'D';
        detail::FileCandidate& file = add_identified(name, second_kind ? 5 : UINT64_MAX);
        file.has_sample_digest = true;
        file.has_full_digest = true;
    }
    process(true);
    Events opened;
    std::copy_if(calls.events.begin(), calls.events.end(), std::back_inserter(opened),
                 [](const std::string& event) { return event.starts_with("open"); });
    EXPECT_EQ(opened, (Events{"open A", "open B", "open A", "open C", "open A", "open D", "open B",
                              "open D"}));
    EXPECT_EQ(statistics.byte_comparisons, 4U);
    EXPECT_EQ(groups(), (std::vector<std::wstring>{L"AC", L"BD"}));
}

TEST_F(CandidatePipelineCallsTest, AFailedComparisonIsCountedAndIsolatesTheFile) {
    for (const wchar_t* name : {L"a", L"b", L"c"}) {
        detail::FileCandidate& file = add_identified(name);
        file.has_sample_digest = true;
        file.has_full_digest = true;
    }
    calls.on_open = [](const std::string& name, DWORD) { return name != "b"; };
    process(true);
    EXPECT_EQ(groups(), std::vector<std::wstring>{L"ac"});
    EXPECT_EQ(statistics.byte_comparisons, 2U);
    EXPECT_EQ(statistics.failures, 0U);
}

// Paths that differ beyond ASCII are compared by the system, which is how comparisons are counted.
TEST_F(CandidatePipelineCallsTest, RowsThatComeSortedAreComparedOnceEachAndOthersAreSorted) {
    for (wchar_t letter = 0x660; letter < 0x66A; ++letter) {
        candidates.emplace_back().path = std::wstring(L"\\\\?\\C:\\") + letter;
        list.push_back(&candidates.back());
    }
    std::uint64_t comparisons = 0;
    hooks().CompareStringOrdinal = [&](auto... arguments) {
        ++comparisons;
        return real_imports().CompareStringOrdinal(arguments...);
    };
    detail::emit_group(list, size, results, progress);
    EXPECT_EQ(comparisons, list.size() - 1);
    std::ranges::reverse(list);
    detail::emit_group(list, size, results, progress);
    EXPECT_EQ(groups(), std::vector<std::wstring>(2,
                                                  L"\u0660\u0661\u0662\u0663\u0664"
                                                  L"\u0665\u0666\u0667\u0668\u0669"));
}

}  // namespace
}  // namespace larkspine::testing
