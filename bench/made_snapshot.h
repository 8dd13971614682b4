// A snapshot made up for measuring: every file has an identity and both digests, paths of 80 code
// units and names of 20. Each 25 successive files are in one folder. Portable.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

#include "base/file_identity.h"
#include "base/scan_records.h"

namespace larkspine::bench {

inline constexpr std::size_t made_path_length = 80;
inline constexpr std::size_t made_name_length = 20;
inline constexpr std::uint32_t made_volume_serial = 0x44000000;

// The identity of the file with that number.
inline void fill_identity(detail::FileCandidate& entry, std::size_t number) {
    detail::set_identity(entry, made_volume_serial, number);
}

// Both digests; they are equal.
inline void fill_digests(detail::FileCandidate& entry, std::mt19937_64& random) {
    for (std::uint8_t& byte : entry.sample_digest.bytes)
        byte = static_cast<std::uint8_t>(random());
    entry.full_digest = entry.sample_digest;
    entry.has_sample_digest = entry.has_full_digest = true;
}

// Without the C library's wide functions: on the host, wchar_t is too short for them.
[[nodiscard]] inline std::wstring decimal(std::size_t number) {
    const std::string digits = std::to_string(number);
    return {digits.begin(), digits.end()};
}

// Size, times and digests come from `random`; everything else follows from the number.
inline void fill_entry(detail::FileCandidate& entry, std::size_t number, std::mt19937_64& random) {
    std::wstring name = decimal(number) + L".data";
    name.insert(0, made_name_length - name.size(), L'n');
    std::wstring folder = L"\\\\?\\D:\\bench\\" + decimal(number / 25);
    folder.append(made_path_length - 1 - made_name_length - folder.size(), L'f');
    entry.path = folder + L"\\" + name;
    entry.name = name;
    fill_identity(entry, number);
    entry.attributes = 0x20;
    entry.size = 1 + random() % 1'000'000;
    entry.creation_time = random();
    entry.last_write_time = random();
    fill_digests(entry, random);
}

[[nodiscard]] inline detail::IndexSnapshot made_snapshot(std::size_t files) {
    std::mt19937_64 random(1);
    detail::IndexSnapshot snapshot;
    // The size is part of the root, so that snapshots of different sizes have different index
    // files.
    snapshot.root = L"\\\\?\\D:\\bench" + decimal(files);
    snapshot.entries.resize(files);
    for (std::size_t i = 0; i < files; ++i)
        fill_entry(snapshot.entries[i], i, random);
    return snapshot;
}

}  // namespace larkspine::bench
