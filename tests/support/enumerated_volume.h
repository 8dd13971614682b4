// A fake volume and its snapshot, for tests of the code that fills and edits the snapshot. For
// programs with replaced imports.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "base/scan_records.h"
#include "fs/mft_enumeration.h"
#include "index/index_location.h"
#include "pool/worker_pool.h"
#include "support/fake_volume.h"
#include "support/snapshots.h"
#include "support/temp_tree.h"

namespace larkspine::testing {

using Paths = std::vector<std::wstring>;

[[nodiscard]] inline VolumeSettings on_drive(wchar_t letter) {
    VolumeSettings settings;
    settings.letter = letter;
    return settings;
}
[[nodiscard]] inline VolumeSettings without_root_record() {
    VolumeSettings settings;
    settings.lists_root = false;
    return settings;
}

// The counts of both enumeration and delta.
struct Counts {
    std::uint64_t directories = 0;
    std::uint64_t files = 0;
    std::uint64_t excluded = 0;
    std::uint64_t failures = 0;
    std::uint64_t entries = 0;

    friend bool operator==(const Counts&, const Counts&) = default;
};
inline void PrintTo(const Counts& counts, std::ostream* out) {
    *out << counts.directories << " folders, " << counts.files << " files, " << counts.excluded
         << " excluded, " << counts.failures << " failures, " << counts.entries << " entries";
}

// The folder of index files, below the root of drive C. This process excludes it as well.
[[nodiscard]] inline std::wstring index_folder() {
    const std::wstring folder = index_exclusions().at(0);
    EXPECT_TRUE(folder.starts_with(L"c:\\")) << ::testing::PrintToString(folder);
    return folder.substr(3);
}

class EnumeratedVolumeTest : public ::testing::Test {
  protected:
    explicit EnumeratedVolumeTest(const VolumeSettings& settings = {}) : volume(tree, settings) {}

    void TearDown() override {
        EXPECT_EQ(volume.open_handles(), 0u);
        EXPECT_EQ(volume.faults_left(), 0u);
    }

    // Fills the snapshot from the table. Afterwards only the calls of this enumeration are
    // recorded.
    bool enumerate() { return enumerate(volume.root()); }
    bool enumerate(const std::wstring& root) {
        statistics = {};
        volume.forget_calls();
        return detail::scan_ntfs_mft(root, snapshot, statistics, progress, pool);
    }

    // Folders with long names, too many for one answer of the table.
    void fill_several_answers() {
        for (int i = 0; i < 2500; ++i)
            volume.plant_child(root_reference,
                               std::to_wstring(10'000 + i) + std::wstring(250, L'n'),
                               FILE_ATTRIBUTE_DIRECTORY);
    }

    // Where the entries are, below the root (which is empty), sorted.
    [[nodiscard]] Paths paths() const { return paths_of(snapshot); }
    [[nodiscard]] Paths paths_of(const detail::IndexSnapshot& entries) const {
        Paths found;
        for (const detail::FileCandidate& entry : entries.entries)
            found.push_back(entry.path.substr(std::min(volume.root().size(), entry.path.size())));
        std::sort(found.begin(), found.end());
        return found;
    }
    [[nodiscard]] detail::FileCandidate& entry(std::wstring_view relative) {
        for (detail::FileCandidate& entry : snapshot.entries)
            if (entry.path == volume.path(relative))
                return entry;
        ADD_FAILURE() << "no entry " << ::testing::PrintToString(std::wstring(relative));
        static detail::FileCandidate none;
        return none = {};
    }

    [[nodiscard]] Counts counts() const {
        return {statistics.directories, statistics.files, statistics.excluded_entries,
                statistics.failures, statistics.index_entries};
    }
    [[nodiscard]] Paths queried() const { return volume.paths(Request::query_attributes); }

    TempTree tree;
    FakeVolume volume;
    worker_pool pool{2};
    detail::IndexSnapshot snapshot;
    ScanStatistics statistics;
    ScanProgress progress;
};

}  // namespace larkspine::testing
