#include "engine/content_hashing.h"

#include <algorithm>
#include <blake3.h>
#include <cstddef>
#include <string>
#include <string_view>

#include "base/read_buffer.h"
#include "base/win32_handle.h"
#include "pool/job_batch.h"

namespace larkspine::detail {
namespace {

static_assert(sizeof(blake3_digest::bytes) == BLAKE3_OUT_LEN);

// One region of the sample. A file of up to two regions is sampled whole.
constexpr std::uint64_t sample_region = 0x10000;
constexpr std::string_view sample_prefix = "larkspine sample fingerprint v1";
static_assert(sample_prefix.size() == 31);

blake3_digest finish(const blake3_hasher& hasher) {
    blake3_digest digest;
    blake3_hasher_finalize(&hasher, digest.bytes.data(), digest.bytes.size());
    return digest;
}

// Feeds exactly `wanted` bytes from the file pointer on; false when the file ends before, a read
// fails, or the scan is to stop.
bool feed_exactly(HANDLE file, std::uint64_t wanted, const std::atomic<bool>& stop,
                  blake3_hasher& hasher) {
    std::byte buffer[sample_region];
    while (wanted > 0) {
        const auto request = static_cast<DWORD>(std::min<std::uint64_t>(wanted, sizeof buffer));
        DWORD got = 0;
        if (stop || !ReadFile(file, buffer, request, &got, nullptr) || got == 0 || got > request)
            return false;
        blake3_hasher_update(&hasher, buffer, got);
        wanted -= got;
    }
    return true;
}

std::optional<blake3_digest> sample_fingerprint(const std::wstring& path, std::uint64_t size,
                                                const std::atomic<bool>& stop) {
    const unique_handle file = open_for_reading(path, FILE_ATTRIBUTE_NORMAL);
    if (!file)
        return std::nullopt;

    blake3_hasher hasher;
    blake3_hasher_init(&hasher);
    blake3_hasher_update(&hasher, sample_prefix.data(), sample_prefix.size());
    std::uint8_t size_bytes[8];
    for (int i = 0; i < 8; ++i)
        size_bytes[i] = static_cast<std::uint8_t>(size >> (8 * i));
    blake3_hasher_update(&hasher, size_bytes, sizeof size_bytes);

    if (size <= 2 * sample_region) {
        if (!feed_exactly(file.get(), size, stop, hasher))
            return std::nullopt;
        return finish(hasher);
    }
    LARGE_INTEGER tail;
    tail.QuadPart = static_cast<LONGLONG>(size - sample_region);
    if (!feed_exactly(file.get(), sample_region, stop, hasher) ||
        !SetFilePointerEx(file.get(), tail, nullptr, FILE_BEGIN) ||
        !feed_exactly(file.get(), sample_region, stop, hasher))
        return std::nullopt;
    return finish(hasher);
}

std::optional<blake3_digest> full_hash(const std::wstring& path, const std::atomic<bool>& stop) {
    const unique_handle file =
        open_for_reading(path, FILE_FLAG_SEQUENTIAL_SCAN | FILE_ATTRIBUTE_NORMAL);
    if (!file)
        return std::nullopt;

    static const ThreadReadBuffer thread_buffer;
    std::byte* const buffer = thread_buffer.get();
    blake3_hasher hasher;
    blake3_hasher_init(&hasher);
    for (;;) {
        DWORD got = 0;
        if (stop || !ReadFile(file.get(), buffer, read_buffer_size, &got, nullptr) ||
            got > read_buffer_size)
            return std::nullopt;
        if (got == 0)
            return finish(hasher);
        blake3_hasher_update(&hasher, buffer, got);
    }
}

// What the two stages read and write differently in the same code.
struct StageFields {
    blake3_digest FileCandidate::*digest;
    bool FileCandidate::*has_digest;
    std::uint64_t ScanStatistics::*computed;
    std::uint64_t ScanStatistics::*reused;
};

constexpr StageFields fields_of(hash_stage stage) {
    if (stage == hash_stage::sample)
        return {&FileCandidate::sample_digest, &FileCandidate::has_sample_digest,
                &ScanStatistics::sample_hashes_computed, &ScanStatistics::sample_hashes_reused};
    return {&FileCandidate::full_digest, &FileCandidate::has_full_digest,
            &ScanStatistics::full_hashes_computed, &ScanStatistics::full_hashes_reused};
}

}  // namespace

std::vector<std::optional<blake3_digest>> hash_candidates_parallel(
    std::span<FileCandidate* const> candidates, hash_stage stage, worker_pool& pool,
    ScanStatistics& stats, const std::atomic<bool>& stop) {
    using Result = std::optional<blake3_digest>;
    const StageFields fields = fields_of(stage);
    std::vector<Result> results(candidates.size());

    JobBatch<std::size_t, Result> batch(pool, candidates.size());
    const auto collect = [&](std::size_t index, Result result) {
        results[index] = result;
        if (!result) {
            ++stats.failures;
            return;
        }
        FileCandidate& candidate = *candidates[index];
        candidate.*fields.digest = *result;
        candidate.*fields.has_digest = true;
        ++(stats.*fields.computed);
    };

    for (std::size_t i = 0; i < candidates.size(); ++i) {
        const FileCandidate& candidate = *candidates[i];
        if (candidate.*fields.has_digest) {
            results[i] = candidate.*fields.digest;
            ++(stats.*fields.reused);
            continue;
        }
        if (stop)
            break;
        // Apart from `stop` the job owns all that it uses: it may outlive this call when another
        // job's exception ends it first.
        batch.submit(
            i,
            [path = candidate.path, size = candidate.size, stage, &stop]() -> Result {
                if (stop)
                    return std::nullopt;
                return stage == hash_stage::sample ? sample_fingerprint(path, size, stop)
                                                   : full_hash(path, stop);
            },
            collect);
    }
    batch.drain(collect);
    return results;
}

}  // namespace larkspine::detail
