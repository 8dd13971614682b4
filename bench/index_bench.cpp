// How fast is an index loaded and saved, beside a bare read and a bare write of the same bytes?
//
// Snapshots of 100,000 and 1,000,000 files with paths of 80 code units and names of 20, identities
// and both digests known; seed 1. The index goes below the folder for temporary files. Each row:
// the median of seven runs, taken in turn with the bare way, on a warm cache.
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "fs/win32_handle.h"
#include "index/index_file.h"
#include "index/index_location.h"
#include "samples.h"

namespace {

using namespace larkspine;

void require(bool worked, const char* what) {
    if (!worked) {
        std::fprintf(stderr, "%s failed\n", what);
        std::exit(1);
    }
}

detail::IndexSnapshot snapshot_with(std::size_t files) {
    std::mt19937_64 random(1);
    detail::IndexSnapshot snapshot;
    snapshot.root = L"\\\\?\\D:\\bench";
    snapshot.entries.reserve(files);
    for (std::size_t i = 0; i < files; ++i) {
        detail::FileCandidate& entry = snapshot.entries.emplace_back();
        std::wstring name = std::to_wstring(i) + L".data";
        name.insert(0, 20 - name.size(), L'n');
        std::wstring folder = L"\\\\?\\D:\\bench\\" + std::to_wstring(i / 25);
        folder.append(59 - folder.size(), L'f');
        entry.path = folder + L"\\" + name;
        entry.name = name;
        entry.volume_serial = 0x44000000;
        entry.file_id = {i, 0};
        entry.has_file_id = true;
        entry.size = random() % 1'000'000;
        entry.creation_time = random();
        entry.last_write_time = random();
        for (std::uint8_t& byte : entry.sample_digest.bytes)
            byte = static_cast<std::uint8_t>(random());
        entry.full_digest = entry.sample_digest;
        entry.has_sample_digest = entry.has_full_digest = true;
    }
    return snapshot;
}

void bare_write(const std::wstring& path, const std::vector<std::byte>& bytes) {
    const unique_handle file = own_handle(CreateFileW(
        path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    require(file &&
                WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written,
                          nullptr) &&
                written == bytes.size() && FlushFileBuffers(file.get()),
            "bare write");
}

void measure(std::size_t files) {
    const detail::IndexSnapshot snapshot = snapshot_with(files);
    require(save_index(snapshot), "save_index");
    const std::wstring path = index_file_path(snapshot.root).value();
    const std::vector<std::byte> bytes = read_whole_file(path).value();
    std::printf("%zu entries, %zu bytes\n", files, bytes.size());
    const std::string load = std::string("load ").append(std::to_string(files));
    const std::string save = std::string("save ").append(std::to_string(files));
    const auto items = static_cast<double>(files);
    bench::compare(
        load.c_str(), items, [&] { require(load_index(snapshot.root).has_value(), "load_index"); },
        [&] { require(read_whole_file(path)->size() == bytes.size(), "bare read"); });
    bench::compare(
        save.c_str(), items, [&] { require(save_index(snapshot), "save_index"); },
        [&] { bare_write(path + L".bare", bytes); });
    DeleteFileW((path + L".bare").c_str());
    DeleteFileW(path.c_str());
}

}  // namespace

int wmain() {
    wchar_t folder[MAX_PATH + 1];
    require(GetTempPathW(MAX_PATH + 1, folder) != 0, "GetTempPathW");
    SetEnvironmentVariableW(L"LARKSPINE_INDEX_DIRECTORY", folder);
    std::printf("| %-32s | %12s | %12s | %6s |\n", "row", "entries/s", "bare/s", "ratio");
    measure(100'000);
    measure(1'000'000);
    return 0;
}
