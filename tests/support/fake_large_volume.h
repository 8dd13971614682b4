// An NTFS volume for measuring: up to ten million files that are stored nowhere. Every record's
// name, parent, size and times follow from its number, so the volume takes no memory for them. Only
// changes are kept. For programs with replaced imports.
//
//     FakeLargeVolume volume({.files = 1'000'000});
//     scan_ntfs_mft(volume.root(), ...);
//     volume.change_files(10'000);
//
// Record numbers: first the folders, then the files, from 24 on. Folder 0 is in the root and each
// other folder in folder (n - 1) / 16, so paths are log16 deep; each folder holds files_per_folder
// files. No two files have the same size, so a whole scan reads none. Files have no contents:
// opening one for its data fails, and so does listing a folder.
//
// Calls are counted, not kept. One volume at a time; make it before the threads that use it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "support/planted_faults.h"
#include "support/volume_calls.h"
#include "support/volume_requests.h"

namespace larkspine::testing {

struct LargeVolumeSize {
    std::uint64_t files = 0;
    std::uint64_t files_per_folder = 100;
};

class FakeLargeVolume : private VolumeContents {
  public:
    // Calls are never kept; the journal has room for a gibibyte unless the settings say otherwise.
    explicit FakeLargeVolume(const LargeVolumeSize& size);
    FakeLargeVolume(const LargeVolumeSize& size, VolumeSettings settings);
    ~FakeLargeVolume() override;
    FakeLargeVolume(const FakeLargeVolume&) = delete;
    FakeLargeVolume& operator=(const FakeLargeVolume&) = delete;

    [[nodiscard]] std::wstring root() const;
    [[nodiscard]] std::uint64_t files() const { return size_.files; }
    [[nodiscard]] std::uint64_t folders() const { return folders_; }
    // Folders, files and the root.
    [[nodiscard]] std::uint64_t records() const { return folders_ + size_.files + 1; }
    // The path below the root of file 0, 1, 2 ..., and its reference.
    [[nodiscard]] std::wstring file_path(std::uint64_t file) const;
    [[nodiscard]] std::uint64_t file_reference(std::uint64_t file) const;

    // Writes to the file: 0x2, 0x80000002. Its time of last write rises; its size stays.
    void change_file(std::uint64_t file);
    // Writes to that many files, spread evenly over the volume.
    void change_files(std::uint64_t count);

    [[nodiscard]] USN_JOURNAL_DATA_V0 journal() const;
    void plant(Fault fault);
    [[nodiscard]] std::size_t count(Request request) const;
    void forget_calls();
    [[nodiscard]] std::size_t open_handles() const;

  private:
    struct Change {
        std::int64_t usn = 0;
        std::uint32_t times = 0;
    };

    [[nodiscard]] std::uint64_t end_of_table() const override;
    void records_at(std::uint64_t number, std::vector<UsnRecordFields>& records) const override;
    [[nodiscard]] std::optional<std::uint64_t> find_reference(
        std::wstring_view path) const override;
    [[nodiscard]] std::wstring system_path(std::wstring_view path) const override;
    bool attributes_in_memory(std::wstring_view path,
                              WIN32_FILE_ATTRIBUTE_DATA& data) const override;

    [[nodiscard]] static std::uint64_t folder_reference(std::uint64_t folder);
    // Reference, parent, attributes, name, and the USN of a changed file.
    void fill_file(std::uint64_t file, UsnRecordFields& record) const;
    [[nodiscard]] static std::wstring folder_path(std::uint64_t folder);

    LargeVolumeSize size_;
    std::uint64_t folders_;
    mutable VolumeLock lock_;
    std::unordered_map<std::uint64_t, Change> changes_;  // by file
    VolumeRequests requests_;
};

}  // namespace larkspine::testing
