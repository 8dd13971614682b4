// Prints, for each file named on its command line, one line of its two digests in hexadecimal:
// "sample full", with "-" for one that could not be computed.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "base/path.h"
#include "base/win32_handle.h"
#include "engine/content_hashing.h"
#include "pool/worker_pool.h"

namespace {

using larkspine::blake3_digest;
using larkspine::hash_stage;
using larkspine::detail::FileCandidate;

FileCandidate candidate_for(const wchar_t* path) {
    FileCandidate file;
    file.path = larkspine::to_long_path(path);
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    if (GetFileAttributesExW(file.path.c_str(), GetFileExInfoStandard, &data))
        file.size = larkspine::join_halves(data.nFileSizeHigh, data.nFileSizeLow);
    return file;
}

std::string hexadecimal(const std::optional<blake3_digest>& digest) {
    if (!digest)
        return "-";
    std::string text;
    for (const std::uint8_t byte : digest->bytes) {
        text.push_back("0123456789abcdef"[byte >> 4]);
        text.push_back("0123456789abcdef"[byte & 0xf]);
    }
    return text;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    std::vector<FileCandidate> files;
    for (int i = 1; i < argc; ++i)
        files.push_back(candidate_for(argv[i]));
    std::vector<FileCandidate*> candidates;
    for (FileCandidate& file : files)
        candidates.push_back(&file);

    larkspine::worker_pool pool(2);
    larkspine::ScanStatistics statistics;
    const auto digests = [&](hash_stage stage) {
        return larkspine::detail::hash_candidates_parallel(candidates, stage, pool, statistics);
    };
    const auto sample = digests(hash_stage::sample);
    const auto full = digests(hash_stage::full);
    for (std::size_t i = 0; i < files.size(); ++i)
        std::printf("%s %s\n", hexadecimal(sample[i]).c_str(), hexadecimal(full[i]).c_str());
    return 0;
}
