// The system calls of the pipeline, and files that change while it runs.
#include "base/win32_api.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "engine/pipeline_fixture.h"
#include "support/file_calls.h"

namespace larkspine::testing {
namespace {

bool is_full_read(DWORD flags) {
    return (flags & FILE_FLAG_SEQUENTIAL_SCAN) != 0;
}

// Before the pool, whose threads may call until they end.
struct WithFileCalls {
    FileCalls calls;
};

class CandidatePipelineCallsTest : protected WithFileCalls, public PipelineTest {
  protected:
    CandidatePipelineCallsTest() : PipelineTest(1) {}

    // A file whose identity is already known.
    detail::FileCandidate& add_identified(std::wstring_view name,
                                          std::uint64_t changed_at = UINT64_MAX) {
        return identify(add(name, changed_at), 0, candidates.size());
    }
    // A file with digests too, the same as those of all others.
    detail::FileCandidate& add_hashed(std::wstring_view name,
                                      std::uint64_t changed_at = UINT64_MAX) {
        detail::FileCandidate& candidate = add_identified(name, changed_at);
        candidate.has_sample_digest = candidate.has_full_digest = true;
        return candidate;
    }

    void process(bool verify_bytes = false) {
        calls.restart();
        PipelineTest::process(verify_bytes);
        EXPECT_EQ(calls.open_handles(), 0U);
    }
};

TEST_F(CandidatePipelineCallsTest, EmptyFilesAreOpenedForTheirIdentityOnly) {
    size = 0;
    add(L"a");
    add(L"b");
    process(true);
    EXPECT_EQ(calls.events,
              (Events{"open a", "query a 18 24", "close a", "open b", "query b 18 24", "close b"}));
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a", L"b"}}));
}

TEST_F(CandidatePipelineCallsTest, EmptyFilesWithAKnownIdentityAreNotOpenedAtAll) {
    size = 0;
    add_identified(L"a");
    add_identified(L"b");
    process(true);
    EXPECT_EQ(calls.events, Events{});
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a", L"b"}}));
}

TEST_F(CandidatePipelineCallsTest, NamesOfOneFileWithoutAReadableIdentityAreTreatedAsTwoFiles) {
    add_link(L"b", add(L"a"));
    calls.queries_work = false;
    process();
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a", L"b"}}));
    EXPECT_EQ(statistics.hardlink_groups, 0U);
    EXPECT_EQ(statistics.failures, 0U);
}

TEST_F(CandidatePipelineCallsTest, AFurtherNameOfAFileIsNotOpened) {
    detail::FileCandidate& kept = add_identified(L"a");
    add_identified(L"b").file_id = kept.file_id;
    add_identified(L"c");
    process();
    EXPECT_EQ(std::count(calls.events.begin(), calls.events.end(), "open b"), 0);
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a", L"c"}}));
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
    EXPECT_EQ(groups(), (std::vector<Names>{{L"a", L"c"}}));
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
    EXPECT_EQ(groups(), std::vector<Names>{});
    EXPECT_EQ(progress.duplicates, 0U);
    EXPECT_EQ(statistics.failures, 1U);
}

// Two contents in turns, with digests that claim that all four files are the same.
TEST_F(CandidatePipelineCallsTest, VerificationComparesWithTheFirstOfEachClassInOrder) {
    add_hashed(L"A");
    add_hashed(L"B", 5);
    add_hashed(L"C");
    add_hashed(L"D", 5);
    process(true);
    Events opened;
    std::copy_if(calls.events.begin(), calls.events.end(), std::back_inserter(opened),
                 [](const std::string& event) { return event.starts_with("open"); });
    EXPECT_EQ(opened, (Events{"open A", "open B", "open A", "open C", "open A", "open D", "open B",
                              "open D"}));
    EXPECT_EQ(statistics.byte_comparisons, 4U);
    EXPECT_EQ(groups(), (std::vector<Names>{{L"A", L"C"}, {L"B", L"D"}}));
    EXPECT_EQ(progress.duplicates, 2U);
}

// The system compares paths that differ beyond ASCII, so its calls count the comparisons.
TEST_F(CandidatePipelineCallsTest, RowsThatComeSortedAreComparedOnceEachAndOthersAreSorted) {
    for (wchar_t letter = 0x660; letter < 0x66A; ++letter) {
        candidates.emplace_back().path = tree.path(std::wstring(1, letter));
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
    Names sorted;
    for (wchar_t letter = 0x660; letter < 0x66A; ++letter)
        sorted.emplace_back(1, letter);
    EXPECT_EQ(groups(), std::vector<Names>(2, sorted));
}

// So many names that they are sorted in three runs, which are then merged.
class ManyNamesTest : public CandidatePipelineCallsTest {
  protected:
    static constexpr std::size_t files = 70'000;

    // Names that differ in two characters beyond ASCII, so that the system compares them. They are
    // given in another order than that of their paths.
    ManyNamesTest() : many_(files) {
        for (std::size_t place = 0; place < files; ++place) {
            const std::size_t i = place * 7'919 % files;
            many_[place].path = {static_cast<wchar_t>(0x4E00 + i / units),
                                 static_cast<wchar_t>(0x4E00 + i % units)};
            group_.push_back(&identify(many_[place], 0, place));
        }
        hooks().CompareStringOrdinal = [this](auto... arguments) {
            if (++comparisons == stop_at)
                stop_ = true;
            return real_imports().CompareStringOrdinal(arguments...);
        };
    }

    // The paths of the survivors.
    std::vector<std::wstring> collapse() {
        comparisons = 0;
        std::vector<std::wstring> paths;
        for (const auto* survivor : detail::collapse_hardlinks(group_, statistics, stop_))
            paths.push_back(survivor->path);
        return paths;
    }

    std::size_t comparisons = 0;
    std::size_t stop_at = SIZE_MAX;

  private:
    static constexpr std::size_t units = 20'000;
    std::vector<detail::FileCandidate> many_;
    std::vector<detail::FileCandidate*> group_;
    std::atomic<bool> stop_{false};
};

TEST_F(ManyNamesTest, TheSurvivorsAreInPathOrder) {
    const std::vector<std::wstring> paths = collapse();
    EXPECT_EQ(paths.size(), files);
    EXPECT_TRUE(std::ranges::is_sorted(paths));
    EXPECT_EQ(std::ranges::adjacent_find(paths), paths.end());
}

// Sorting two million names takes nine seconds: too long to wait after Ctrl+C.
TEST_F(ManyNamesTest, AStopWhileTheRunsAreSortedEndsTheSortEarly) {
    stop_at = 1;
    EXPECT_TRUE(collapse().empty());
    EXPECT_LT(comparisons, files * 10);
}

TEST_F(ManyNamesTest, AStopWhileTheRunsAreMergedEndsTheSortEarly) {
    collapse();
    const std::size_t all = comparisons;
    stop_at = all - files * 3 / 2;  // the first of two merges, each of up to one comparison a name
    EXPECT_TRUE(collapse().empty());
    EXPECT_LT(comparisons, all);
}

}  // namespace
}  // namespace larkspine::testing
