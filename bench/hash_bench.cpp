// How fast are contents hashed?
//
// full-hash    eight large files of the same size, SIZE MiB in all, one worker; beside, two ways:
//              a loop that reads the same files in blocks of 1 MiB, and BLAKE3 over the same
//              blocks in memory, the slower one first. One worker does both in turn, so the
//              target allows for the share of the slower one and for all of the other
// full-hash-2  two workers; beside: one
// samples      SIZE files of ordinary sizes (made_files.h), in folders of 100, one worker; beside:
//              opening, reading and closing the same regions
//
// Seed 1 for sizes and contents. All files are in the cache.
#include <blake3.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "base/path.h"
#include "base/read_buffer.h"
#include "base/win32_handle.h"
#include "engine/content_hashing.h"
#include "made_files.h"
#include "rounds.h"

namespace {

using namespace larkspine;
using namespace larkspine::bench;
using detail::FileCandidate;

constexpr std::uint64_t mebibyte = 1'048'576;

FileCandidate candidate_at(const std::wstring& path, std::uint64_t size) {
    FileCandidate candidate;
    candidate.path = path;
    candidate.size = size;
    return candidate;
}

std::vector<FileCandidate> make_large_files(std::uint64_t mebibytes) {
    constexpr std::uint64_t count = 8;
    const std::wstring root =
        to_long_path(scratch_folder() + L"\\large" + std::to_wstring(mebibytes));
    make_folder(root);
    FileMaker maker(1);
    std::vector<FileCandidate> files;
    for (std::uint64_t i = 0; i < count; ++i) {
        files.push_back(
            candidate_at(root + L"\\" + std::to_wstring(i), mebibytes * mebibyte / count));
        maker.make(files.back().path, files.back().size, i);
    }
    return files;
}

std::vector<FileCandidate> make_ordinary_files(std::uint64_t count) {
    const std::wstring root =
        to_long_path(scratch_folder() + L"\\ordinary" + std::to_wstring(count));
    const std::vector<std::wstring> folders = make_folders(root, (count + 99) / 100);
    FileMaker maker(1);
    std::mt19937_64 random(1);
    std::vector<FileCandidate> files;
    for (std::uint64_t i = 0; i < count; ++i) {
        files.push_back(candidate_at(folders[i / 100] + L"\\" + std::to_wstring(i) + L".data",
                                     ordinary_size(random)));
        maker.make(files.back().path, files.back().size, i);
    }
    return files;
}

double hash_all(std::vector<FileCandidate>& files, hash_stage stage, worker_pool& pool) {
    std::vector<FileCandidate*> candidates;
    for (FileCandidate& file : files) {
        file.has_sample_digest = file.has_full_digest = false;
        candidates.push_back(&file);
    }
    ScanStatistics statistics;
    const double seconds = seconds_for(
        [&] { (void)detail::hash_candidates_parallel(candidates, stage, pool, statistics); });
    require(statistics.failures == 0 &&
                statistics.full_hashes_computed + statistics.sample_hashes_computed == files.size(),
            "hashing");
    return seconds;
}

unique_handle open(const std::wstring& path, DWORD flags) {
    unique_handle file = open_for_reading(path, flags);
    require(file != nullptr, "opening a file");
    return file;
}

DWORD read(HANDLE file, std::byte* bytes, DWORD wanted) {
    DWORD got = 0;
    require(ReadFile(file, bytes, wanted, &got, nullptr) != 0, "reading a file");
    return got;
}

// Reads all files in blocks; returns the seconds that `use` of the blocks took.
template <typename Use>
double read_all(const std::vector<FileCandidate>& files, detail::ReadBuffer& buffer, Use&& use) {
    double used = 0;
    for (const FileCandidate& candidate : files) {
        const unique_handle file =
            open(candidate.path, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN);
        while (const DWORD got = read(file.get(), buffer.bytes, detail::read_buffer_size))
            used += use(got);
    }
    return used;
}

double hash_blocks(const std::vector<FileCandidate>& files, detail::ReadBuffer& buffer) {
    blake3_hasher hasher;
    blake3_hasher_init(&hasher);
    const double seconds = read_all(files, buffer, [&](DWORD got) {
        return seconds_for([&] { blake3_hasher_update(&hasher, buffer.bytes, got); });
    });
    blake3_digest digest;
    blake3_hasher_finalize(&hasher, digest.bytes.data(), digest.bytes.size());
    return seconds;
}

Ask full_hash(std::uint64_t size) {
    auto pool = std::make_shared<worker_pool>(1);
    auto buffer = std::make_shared<detail::ReadBuffer>();
    return [pool, buffer, files = make_large_files(size)]() mutable {
        Round round;
        round.ours = hash_all(files, hash_stage::full, *pool);
        round.beside =
            seconds_for([&] { (void)read_all(files, *buffer, [](DWORD) { return 0.0; }); });
        round.second = hash_blocks(files, *buffer);
        if (round.second > round.beside)
            std::swap(round.beside, round.second);
        return round;
    };
}

Ask full_hash_2(std::uint64_t size) {
    auto one = std::make_shared<worker_pool>(1);
    auto two = std::make_shared<worker_pool>(2);
    return [one, two, files = make_large_files(size)]() mutable {
        Round round;
        round.ours = hash_all(files, hash_stage::full, *two);
        round.beside = hash_all(files, hash_stage::full, *one);
        return round;
    };
}

void read_regions(const std::vector<FileCandidate>& files) {
    constexpr std::uint64_t region = 0x10000;
    std::byte buffer[region];
    for (const FileCandidate& candidate : files) {
        const unique_handle file = open(candidate.path, FILE_ATTRIBUTE_NORMAL);
        std::uint64_t left = std::min(candidate.size, 2 * region);
        while (left > 0) {
            left -= read(file.get(), buffer, static_cast<DWORD>(std::min(left, region)));
            LARGE_INTEGER tail;
            tail.QuadPart = static_cast<LONGLONG>(candidate.size - region);
            if (left == region && candidate.size > 2 * region)
                require(SetFilePointerEx(file.get(), tail, nullptr, FILE_BEGIN) != 0, "seeking");
        }
    }
}

Ask samples(std::uint64_t size) {
    auto pool = std::make_shared<worker_pool>(1);
    return [pool, files = make_ordinary_files(size)]() mutable {
        Round round;
        round.ours = hash_all(files, hash_stage::sample, *pool);
        round.beside = seconds_for([&] { read_regions(files); });
        return round;
    };
}

constexpr Row rows[] = {
    {L"full-hash", full_hash}, {L"full-hash-2", full_hash_2}, {L"samples", samples}};

}  // namespace

int wmain(int count, wchar_t** arguments) {
    return answer(count, arguments, rows);
}
