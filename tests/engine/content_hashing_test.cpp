#include "engine/content_hashing.h"

#include "base/win32_api.h"

#include <algorithm>
#include <blake3.h>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <gtest/gtest.h>
#include <optional>
#include <psapi.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/win32_handle.h"
#include "support/allocation_counter.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using Digest = std::optional<blake3_digest>;

blake3_digest blake3_of(std::string_view bytes) {
    blake3_hasher hasher;
    blake3_hasher_init(&hasher);
    blake3_hasher_update(&hasher, bytes.data(), bytes.size());
    blake3_digest digest;
    blake3_hasher_finalize(&hasher, digest.bytes.data(), digest.bytes.size());
    return digest;
}

// The sample of a file of `size` bytes that holds `contents`, put together and hashed in one piece.
blake3_digest expected_sample(std::string_view contents, std::uint64_t size) {
    std::string fed = "larkspine sample fingerprint v1";
    for (std::uint64_t rest = size, i = 0; i < 8; ++i, rest /= 256)
        fed += static_cast<char>(rest % 256);
    contents = contents.substr(0, static_cast<std::size_t>(size));
    if (size > 131'072) {
        fed += contents.substr(0, 65'536);
        fed += contents.substr(contents.size() - 65'536);
    } else {
        fed += contents;
    }
    return blake3_of(fed);
}

blake3_digest marked_digest(std::uint8_t mark) {
    blake3_digest digest;
    digest.bytes.fill(mark);
    return digest;
}

std::string hexadecimal(const Digest& digest) {
    std::string text;
    if (digest)
        for (const std::uint8_t byte : digest->bytes)
            for (const int nibble : {byte / 16, byte % 16})
                text += "0123456789abcdef"[nibble];
    return text;
}

class ContentHashingTest : public ::testing::Test {
  protected:
    // A candidate of `size` bytes, whatever the file holds.
    detail::FileCandidate& add(const std::wstring& path, std::uint64_t size) {
        detail::FileCandidate& candidate = candidates.emplace_back();
        candidate.path = path;
        candidate.size = size;
        list.push_back(&candidate);
        return candidate;
    }

    detail::FileCandidate& add_file(const wchar_t* name, std::string_view contents) {
        return add(tree.file(name, contents), contents.size());
    }

    std::vector<Digest> hash(hash_stage stage) {
        return detail::hash_candidates_parallel(list, stage, pool, statistics);
    }

    // The digest of one file that holds `contents`, recorded with `size`.
    Digest hash_one(hash_stage stage, std::string_view contents, std::uint64_t size) {
        list.clear();
        add(tree.file(L"one", contents), size);
        return hash(stage).front();
    }
    Digest hash_one(hash_stage stage, std::string_view contents) {
        return hash_one(stage, contents, contents.size());
    }

    // computed, reused, failed
    using Counts = std::vector<std::uint64_t>;
    Counts sample_counts() const {
        return {statistics.sample_hashes_computed, statistics.sample_hashes_reused,
                statistics.failures};
    }
    Counts full_counts() const {
        return {statistics.full_hashes_computed, statistics.full_hashes_reused,
                statistics.failures};
    }

    TempTree tree;
    worker_pool pool{2};
    ScanStatistics statistics;
    std::deque<detail::FileCandidate> candidates;
    std::vector<detail::FileCandidate*> list;
};

// A job would allocate memory for itself and for its result.
TEST_F(ContentHashingTest, AnEmptyListSubmitsNothing) {
    for (const hash_stage stage : {hash_stage::sample, hash_stage::full})
        EXPECT_EQ(allocations_during([&] { EXPECT_TRUE(hash(stage).empty()); }), 0U);
    EXPECT_EQ(sample_counts(), (Counts{0, 0, 0}));
}

TEST_F(ContentHashingTest, TheFullDigestIsThePlainPublishedBlake3Hash) {
    const std::pair<std::uint64_t, const char*> published[] = {
        {0, "af1349b9f5f9a1a6a0404dea36dcc9499bcb25c9adc112b7cc9a93cae41f3262"},
        {1, "2d3adedff11b61f14c886e35afa036736dcd87a74d27b5c1510225d0f592e213"},
        {1'024, "42214739f095a406f3fc83deb889744ac00df831c10daa55189b5d121c855af7"},
        {1'025, "d00278ae47eb27b34faecf67b4fe263f82d5412916c1ffd97c8cb7fb814b8444"},
        {102'400, "bc3e3d41a1146b069abffad3c0d44860cf664390afce4d9661f7902e7943e085"}};
    for (const auto& [size, digest] : published)
        EXPECT_EQ(hexadecimal(hash_one(hash_stage::full, patterned_bytes(size))), digest) << size;
}

class ContentHashingSizeTest : public ContentHashingTest,
                               public ::testing::WithParamInterface<std::uint64_t> {
  protected:
    bool is_sampled(std::uint64_t offset) const {
        return size <= 131'072 || offset < 65'536 || offset >= size - 65'536;
    }

    const std::uint64_t size = GetParam();
};

TEST_P(ContentHashingSizeTest, BothDigestsMatchThoseOfTheBytesHashedInOnePiece) {
    const std::string contents = patterned_bytes(size);
    EXPECT_EQ(hash_one(hash_stage::sample, contents), Digest(expected_sample(contents, size)));
    EXPECT_EQ(hash_one(hash_stage::full, contents), Digest(blake3_of(contents)));
}

TEST_P(ContentHashingSizeTest, AChangedByteChangesTheFullDigestAndTheSampleWhereItIsSampled) {
    const Digest full = hash_one(hash_stage::full, patterned_bytes(size));
    const Digest sample = hash_one(hash_stage::sample, patterned_bytes(size));
    EXPECT_NE(sample, full);
    for (const std::uint64_t offset : {std::uint64_t{0}, size / 2, size - 1}) {
        if (size == 0)
            break;
        const std::string changed = patterned_bytes(size, offset);
        EXPECT_NE(hash_one(hash_stage::full, changed), full) << offset;
        EXPECT_EQ(hash_one(hash_stage::sample, changed) != sample, is_sampled(offset)) << offset;
    }
}

INSTANTIATE_TEST_SUITE_P(AroundEveryBoundary, ContentHashingSizeTest,
                         ::testing::Values(0, 1, 65'535, 65'536, 65'537, 131'071, 131'072, 131'073,
                                           1'048'575, 1'048'576, 1'048'577),
                         ::testing::PrintToStringParamName());

TEST_F(ContentHashingTest, OneByteMoreThanTwoRegionsLeavesOutExactlyTheMiddleByte) {
    const Digest before = hash_one(hash_stage::sample, patterned_bytes(131'073));
    for (const std::uint64_t offset : {65'535, 65'537})
        EXPECT_NE(hash_one(hash_stage::sample, patterned_bytes(131'073, offset)), before) << offset;
    EXPECT_EQ(hash_one(hash_stage::sample, patterned_bytes(131'073, 65'536)), before);
}

TEST_F(ContentHashingTest, FilesOfDifferentRecordedSizesHaveDifferentSamples) {
    const std::string zeros(300'000, '\0');
    EXPECT_NE(hash_one(hash_stage::sample, zeros, 200'000),
              hash_one(hash_stage::sample, zeros, 200'001));
}

TEST_F(ContentHashingTest, AFileThatGrewIsSampledOverItsRecordedSizeOnly) {
    for (const std::uint64_t recorded : {1, 65'536, 131'072, 131'073, 200'000}) {
        const std::string contents = patterned_bytes(recorded + 100'000);
        EXPECT_EQ(hash_one(hash_stage::sample, contents, recorded),
                  Digest(expected_sample(contents, recorded)))
            << recorded;
    }
}

TEST_F(ContentHashingTest, TheFullDigestCoversTheWholeFileWhateverItsRecordedSize) {
    const std::string contents = patterned_bytes(3'000);
    for (const std::uint64_t recorded : {0, 1, 2'999, 3'001, 5'000'000})
        EXPECT_EQ(hash_one(hash_stage::full, contents, recorded), Digest(blake3_of(contents)))
            << recorded;
}

TEST_F(ContentHashingTest, AFileThatShrankByOneByteFailsTheSample) {
    for (const std::uint64_t recorded : {1, 65'536, 65'537, 131'072, 131'073, 200'000})
        EXPECT_EQ(hash_one(hash_stage::sample, patterned_bytes(recorded - 1), recorded),
                  std::nullopt)
            << recorded;
    EXPECT_EQ(sample_counts(), (Counts{0, 0, 6}));
}

TEST_F(ContentHashingTest, AFileThatShrankBeforeItsTailRegionFailsTheSample) {
    EXPECT_EQ(hash_one(hash_stage::sample, patterned_bytes(100'000), 200'000), std::nullopt);
}

TEST_F(ContentHashingTest, ComputedDigestsAreWrittenIntoTheirCandidates) {
    const detail::FileCandidate& file = add_file(L"a", "contents");
    const std::vector<Digest> samples = hash(hash_stage::sample);
    EXPECT_EQ(file.has_sample_digest, true);
    EXPECT_EQ(samples.front(), Digest(file.sample_digest));
    EXPECT_EQ(file.has_full_digest, false);

    const std::vector<Digest> fulls = hash(hash_stage::full);
    EXPECT_EQ(file.has_full_digest, true);
    EXPECT_EQ(fulls.front(), Digest(file.full_digest));
    EXPECT_EQ(Digest(file.sample_digest), samples.front());
}

TEST_F(ContentHashingTest, TheStagesNeverCountIntoEachOther) {
    add_file(L"a", "contents");
    (void)hash(hash_stage::sample);
    EXPECT_EQ(sample_counts(), (Counts{1, 0, 0}));
    EXPECT_EQ(full_counts(), (Counts{0, 0, 0}));
    (void)hash(hash_stage::full);
    (void)hash(hash_stage::full);
    EXPECT_EQ(sample_counts(), (Counts{1, 0, 0}));
    EXPECT_EQ(full_counts(), (Counts{1, 1, 0}));
}

TEST_F(ContentHashingTest, StoredDigestsAreReusedEvenWhenTheirFileHasDisappeared) {
    detail::FileCandidate& file = add(tree.path(L"gone"), 10);
    file.sample_digest = marked_digest(0xA5);
    file.full_digest = marked_digest(0x5A);
    file.has_sample_digest = file.has_full_digest = true;
    EXPECT_EQ(hash(hash_stage::sample).front(), Digest(marked_digest(0xA5)));
    EXPECT_EQ(sample_counts(), (Counts{0, 1, 0}));
    EXPECT_EQ(hash(hash_stage::full).front(), Digest(marked_digest(0x5A)));
    EXPECT_EQ(full_counts(), (Counts{0, 1, 0}));
}

TEST_F(ContentHashingTest, AStoredDigestOfTheOtherStageIsNotReused) {
    detail::FileCandidate& file = add_file(L"a", "contents");
    file.has_full_digest = true;
    EXPECT_EQ(hash(hash_stage::sample).front(), Digest(expected_sample("contents", 8)));
    file.has_full_digest = false;
    EXPECT_EQ(hash(hash_stage::full).front(), Digest(blake3_of("contents")));
}

// Runs both stages over one candidate that cannot be hashed.
class UnhashableFileTest : public ContentHashingTest {
  protected:
    void expect_failures(const std::wstring& path) {
        detail::FileCandidate& file = add(path, 10);
        file.sample_digest = marked_digest(1);
        file.full_digest = marked_digest(2);
        EXPECT_EQ(hash(hash_stage::sample), std::vector<Digest>(1));
        EXPECT_EQ(sample_counts(), (Counts{0, 0, 1}));
        EXPECT_EQ(hash(hash_stage::full), std::vector<Digest>(1));
        EXPECT_EQ(full_counts(), (Counts{0, 0, 2}));
        EXPECT_EQ(file.has_sample_digest, false);
        EXPECT_EQ(file.has_full_digest, false);
        EXPECT_EQ(file.sample_digest, marked_digest(1));
        EXPECT_EQ(file.full_digest, marked_digest(2));
    }
};

TEST_F(UnhashableFileTest, AFileThatVanishedLeavesItsCandidateUntouchedAndIsCounted) {
    expect_failures(tree.path(L"gone"));
}

TEST_F(UnhashableFileTest, AFileLockedWithoutSharingLeavesItsCandidateUntouchedAndIsCounted) {
    const std::wstring path = tree.file(L"locked", "0123456789");
    const unique_handle holder = own_handle(CreateFileW(
        path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(holder);
    expect_failures(path);
}

TEST_F(UnhashableFileTest, AFolderLeavesItsCandidateUntouchedAndIsCounted) {
    expect_failures(tree.folder(L"folder"));
}

TEST_F(ContentHashingTest, AFailedJobIsTriedAgainByTheNextCall) {
    add(tree.path(L"late"), 4);
    EXPECT_EQ(hash(hash_stage::sample).front(), std::nullopt);
    (void)tree.file(L"late", "here");
    EXPECT_EQ(hash(hash_stage::sample).front(), Digest(expected_sample("here", 4)));
    EXPECT_EQ(sample_counts(), (Counts{1, 0, 1}));
}

TEST_F(ContentHashingTest, AFileThatOthersMayWriteAndDeleteIsHashed) {
    const std::wstring path = tree.file(L"busy", "contents");
    const unique_handle writer =
        own_handle(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE,
                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                               OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(writer);
    add(path, 8);
    EXPECT_EQ(hash(hash_stage::sample).front(), Digest(expected_sample("contents", 8)));
    EXPECT_EQ(hash(hash_stage::full).front(), Digest(blake3_of("contents")));
}

// The memory in use by this process, in MiB.
std::size_t memory_used() {
    PROCESS_MEMORY_COUNTERS counters{};
    K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.PagefileUsage >> 20;
}

// This also ends threads with such buffers, several at a time.
TEST_F(ContentHashingTest, TheBuffersOfFullHashesAreFreedWithTheirThreads) {
    for (const wchar_t* name : {L"a", L"b", L"c", L"d", L"e", L"f", L"g", L"h"})
        add_file(name, "contents");
    const std::size_t before = memory_used();
    for (int round = 0; round < 50; ++round) {
        for (detail::FileCandidate& file : candidates)
            file.has_full_digest = false;
        worker_pool short_lived(8);
        (void)detail::hash_candidates_parallel(list, hash_stage::full, short_lived, statistics);
    }
    EXPECT_LT(memory_used(), before + 50);
    EXPECT_EQ(full_counts(), (Counts{400, 0, 0}));
}

// Far more candidates than jobs in flight. Every third one is reused, every third one is missing.
TEST_F(ContentHashingTest, ResultsStandAtTheIndexOfTheirCandidatesAndAllAreCounted) {
    constexpr std::size_t count = 60;
    std::vector<Digest> expected;
    for (std::size_t i = 0; i < count; ++i) {
        const std::wstring name(i + 1, L'n');
        if (i % 3 == 0) {
            expected.emplace_back(blake3_of(patterned_bytes(i)));
            add(tree.sized_file(name, i), i);
        } else if (i % 3 == 1) {
            expected.emplace_back();
            add(tree.path(name), i);
        } else {
            expected.emplace_back(marked_digest(static_cast<std::uint8_t>(i)));
            detail::FileCandidate& reused = add(tree.path(name), i);
            reused.full_digest = *expected.back();
            reused.has_full_digest = true;
        }
    }
    EXPECT_EQ(hash(hash_stage::full), expected);
    EXPECT_EQ(full_counts(), (Counts{count / 3, count / 3, count / 3}));
}

}  // namespace
}  // namespace larkspine::testing
