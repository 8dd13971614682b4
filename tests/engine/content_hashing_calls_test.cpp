#include "base/win32_api.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "engine/content_hashing.h"
#include "support/file_calls.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using Digest = std::optional<blake3_digest>;

class ContentHashingCallsTest : public ::testing::Test {
  protected:
    detail::FileCandidate& add(const wchar_t* name, std::uint64_t size) {
        detail::FileCandidate& candidate = candidates.emplace_back();
        candidate.path = tree.sized_file(name, size);
        candidate.size = size;
        list.push_back(&candidate);
        return candidate;
    }

    detail::FileCandidate& add_reused(const wchar_t* name) {
        detail::FileCandidate& candidate = add(name, 10);
        candidate.has_sample_digest = true;
        candidate.has_full_digest = true;
        return candidate;
    }

    std::vector<Digest> hash(hash_stage stage) {
        calls.restart();
        return detail::hash_candidates_parallel(list, stage, pool, statistics);
    }

    // The calls made for one file, named f, of `size` bytes.
    Events events_of(hash_stage stage, std::uint64_t size) {
        list.clear();
        calls.pause();
        add(L"f", size);
        (void)hash(stage);
        return calls.events;
    }

    // The digest of one file of `size` bytes.
    Digest digest_of(hash_stage stage, std::uint64_t size) {
        (void)events_of(stage, size);
        const detail::FileCandidate& file = candidates.back();
        if (stage == hash_stage::sample)
            return file.has_sample_digest ? Digest(file.sample_digest) : std::nullopt;
        return file.has_full_digest ? Digest(file.full_digest) : std::nullopt;
    }

    // Makes each of the `reads` reads fail in turn, as `fault` says.
    void expect_failure_at_every_read(hash_stage stage, std::uint64_t size, std::size_t reads,
                                      const std::function<void(std::size_t)>& fault) {
        for (std::size_t number = 0; number < reads; ++number) {
            fault(number);
            EXPECT_EQ(digest_of(stage, size), std::nullopt) << "read " << number;
            EXPECT_EQ(calls.open_handles(), 0U);
            EXPECT_EQ(statistics.failures, number + 1);
        }
        fault(reads);
        EXPECT_NE(digest_of(stage, size), std::nullopt);
        EXPECT_EQ(calls.reads, reads);
    }

    TempTree tree;
    ScanStatistics statistics;
    std::deque<detail::FileCandidate> candidates;
    std::vector<detail::FileCandidate*> list;
    FileCalls calls;
    worker_pool pool{1};
};

TEST_F(ContentHashingCallsTest, TheSampleOpensThePathAsItStandsForReadingAndSharesEverything) {
    const std::wstring path = add(L"a", 10).path;
    (void)hash(hash_stage::sample);
    EXPECT_EQ(calls.opens,
              (std::vector<OpenCall>{{path, GENERIC_READ, share_everything, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr}}));
}

TEST_F(ContentHashingCallsTest, TheFullHashOpensThePathForSequentialReading) {
    const std::wstring path = add(L"a", 10).path;
    (void)hash(hash_stage::full);
    EXPECT_EQ(calls.opens, (std::vector<OpenCall>{{path, GENERIC_READ, share_everything, nullptr,
                                                   OPEN_EXISTING, 0x0800'0080, nullptr}}));
}

TEST_F(ContentHashingCallsTest, AFileOfUpTo128KiBIsSampledInRequestsOfAtMost64KiB) {
    const auto sampled = [this](std::uint64_t size) { return events_of(hash_stage::sample, size); };
    EXPECT_EQ(sampled(0), (Events{"open f", "close f"}));
    EXPECT_EQ(sampled(1), (Events{"open f", "read f 1", "close f"}));
    EXPECT_EQ(sampled(65'536), (Events{"open f", "read f 65536", "close f"}));
    EXPECT_EQ(sampled(65'537), (Events{"open f", "read f 65536", "read f 1", "close f"}));
    EXPECT_EQ(sampled(131'072), (Events{"open f", "read f 65536", "read f 65536", "close f"}));
}

TEST_F(ContentHashingCallsTest, ALargerFileIsSampledWithOneSeekToItsLast64KiB) {
    for (const std::uint64_t size : {131'073, 200'000, 3'000'000})
        EXPECT_EQ(
            events_of(hash_stage::sample, size),
            (Events{"open f", "read f 65536", "seek f " + std::to_string(size - 65'536) + " by 0",
                    "read f 65536", "close f"}));
}

TEST_F(ContentHashingCallsTest, TheTailOfAFileBeyond4GiBIsSoughtWithAll64Bits) {
    add(L"f", 70'000).size = 0x3'0000'0000;
    (void)hash(hash_stage::sample);
    EXPECT_EQ(calls.events, (Events{"open f", "read f 65536", "seek f 12884836352 by 0",
                                    "read f 65536", "close f"}));
}

TEST_F(ContentHashingCallsTest, TheFullHashReadsOneMiBAtATimeUntilTheFileEnds) {
    EXPECT_EQ(events_of(hash_stage::full, 0), (Events{"open f", "read f 1048576", "close f"}));
    EXPECT_EQ(events_of(hash_stage::full, 1'048'576),
              (Events{"open f", "read f 1048576", "read f 1048576", "close f"}));
    EXPECT_EQ(events_of(hash_stage::full, 1'048'577),
              (Events{"open f", "read f 1048576", "read f 1048576", "read f 1048576", "close f"}));
}

TEST_F(ContentHashingCallsTest, ReusedCandidatesAreNotOpened) {
    add_reused(L"a");
    for (const hash_stage stage : {hash_stage::sample, hash_stage::full}) {
        EXPECT_NE(hash(stage).front(), std::nullopt);
        EXPECT_EQ(calls.events, Events{});
    }
}

TEST_F(ContentHashingCallsTest, AnyFailingReadFailsTheSample) {
    calls.read_limit = 30'000;  // three reads for each region
    expect_failure_at_every_read(hash_stage::sample, 200'000, 6,
                                 [this](auto n) { calls.fail_read(n); });
}

TEST_F(ContentHashingCallsTest, AnyReadOfZeroBytesFailsTheSample) {
    calls.read_limit = 30'000;
    expect_failure_at_every_read(hash_stage::sample, 200'000, 6,
                                 [this](auto n) { calls.end_file_at_read(n); });
}

TEST_F(ContentHashingCallsTest, AnyFailingReadFailsTheFullHash) {
    expect_failure_at_every_read(hash_stage::full, 3'000'000, 4,
                                 [this](auto n) { calls.fail_read(n); });
}

TEST_F(ContentHashingCallsTest, AReadOfZeroBytesEndsTheFileForTheFullHash) {
    const Digest first_mebibyte = digest_of(hash_stage::full, 1'048'576);
    calls.end_file_at_read(1);
    EXPECT_EQ(digest_of(hash_stage::full, 3'000'000), first_mebibyte);
}

TEST_F(ContentHashingCallsTest, AReadOfMoreThanTheBufferHoldsFailsBothStages) {
    calls.claim_more_than_asked_for();
    EXPECT_EQ(digest_of(hash_stage::sample, 65'536), std::nullopt);
    EXPECT_EQ(digest_of(hash_stage::full, 65'536), std::nullopt);
}

TEST_F(ContentHashingCallsTest, AFailingSeekFailsTheSampleBeforeItsTailIsRead) {
    calls.seeks_work = false;
    EXPECT_EQ(digest_of(hash_stage::sample, 200'000), std::nullopt);
    EXPECT_EQ(calls.events, (Events{"open f", "read f 65536", "seek f 134464 by 0", "close f"}));
    EXPECT_EQ(statistics.failures, 1U);
}

TEST_F(ContentHashingCallsTest, ShortReadsAreFedToTheSampleAsTheyArrive) {
    const Digest undisturbed = digest_of(hash_stage::sample, 200'000);
    calls.read_limit = 40'000;
    EXPECT_EQ(digest_of(hash_stage::sample, 200'000), undisturbed);
    EXPECT_EQ(calls.events, (Events{"open f", "read f 65536", "read f 25536", "seek f 134464 by 0",
                                    "read f 65536", "read f 25536", "close f"}));
}

TEST_F(ContentHashingCallsTest, ShortReadsAreFedToTheFullHashAsTheyArrive) {
    const Digest undisturbed = digest_of(hash_stage::full, 200'000);
    calls.read_limit = 150'000;
    EXPECT_EQ(digest_of(hash_stage::full, 200'000), undisturbed);
    EXPECT_EQ(calls.events,
              (Events{"open f", "read f 1048576", "read f 1048576", "read f 1048576", "close f"}));
}

TEST_F(ContentHashingCallsTest, FullHashesOfOneThreadShareOneAlignedBuffer) {
    add(L"a", 2'000'000);
    add(L"b", 10);
    (void)hash(hash_stage::full);
    ASSERT_EQ(calls.buffers.size(), 5U);
    EXPECT_EQ(std::set<LPVOID>(calls.buffers.begin(), calls.buffers.end()).size(), 1U);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(calls.buffers.front()) % 32, 0U);
}

TEST_F(ContentHashingCallsTest, AnExceptionKeepsEarlierResultsAndTheNextCallWorks) {
    const detail::FileCandidate& before = add(L"a", 10);
    const detail::FileCandidate& throwing = add(L"b", 10);
    calls.throw_at_read(1);
    EXPECT_THROW((void)hash(hash_stage::sample), std::bad_alloc);
    EXPECT_EQ(before.has_sample_digest, true);
    EXPECT_EQ(throwing.has_sample_digest, false);

    list = {list[1]};
    calls.read_without_faults();
    EXPECT_NE(hash(hash_stage::sample).front(), std::nullopt);
    EXPECT_EQ(statistics.sample_hashes_computed, 2U);
}

// The thread that submits stores the digests of a pair before it submits the next.
TEST_F(ContentHashingCallsTest, WithOneWorkerEachPairIsAwaitedBeforeTheNextIsOpened) {
    for (int i = 0; i < 20; ++i)
        add(std::to_wstring(i).c_str(), 10);
    std::size_t opened = 0;
    calls.on_open = [&](const std::string&, DWORD) {
        for (std::size_t i = 0; i < opened / 2 * 2; ++i)
            EXPECT_TRUE(list[i]->has_sample_digest) << i << " of " << opened;
        ++opened;
        return true;
    };
    (void)hash(hash_stage::sample);
    EXPECT_EQ(opened, 20U);
}

}  // namespace
}  // namespace larkspine::testing
