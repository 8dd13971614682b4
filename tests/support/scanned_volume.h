// Whole scans of a fake volume, whose index is in its own folder. For programs with replaced
// imports.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/content_hashing.h"
#include "engine/scan_driver.h"
#include "index/index_file.h"
#include "index/index_location.h"
#include "pool/worker_pool.h"
#include "support/fake_volume.h"
#include "support/import_replacement.h"
#include "support/reference_groups.h"
#include "support/scoped_environment.h"
#include "support/temp_tree.h"

namespace larkspine::testing {

using Groups = PathGroups;

// How a scan obtained its entries.
enum class Way : std::uint8_t { walk, table, unchanged, delta, contradictory };
inline void PrintTo(Way way, std::ostream* out) {
    constexpr const char* names[] = {"walk", "table", "unchanged", "delta", "contradictory"};
    *out << names[static_cast<std::size_t>(way)];
}

[[nodiscard]] inline Way way_of(const ScanResult& result) {
    const ScanStatistics& told = result.statistics;
    if (told.mft_used + told.fast_path_unchanged + told.usn_delta_applied > 1)
        return Way::contradictory;
    if (told.mft_used)
        return Way::table;
    if (told.fast_path_unchanged)
        return Way::unchanged;
    return told.usn_delta_applied ? Way::delta : Way::walk;
}

class ScannedVolumeTest : public ::testing::Test {
  protected:
    explicit ScannedVolumeTest(const VolumeSettings& settings = {}) : volume(tree, settings) {
        options.root = volume.root().substr(4);  // as a user types it
        options.workers = 2;
    }

    void TearDown() override {
        EXPECT_EQ(volume.open_handles(), 0u);
        EXPECT_EQ(volume.faults_left(), 0u);
    }

    // Afterwards only the calls of this scan are recorded.
    ScanResult run(IndexMode mode = IndexMode::use) {
        options.index_mode = mode;
        volume.forget_calls();
        return scan(options, progress);
    }
    // A scan that is asked to stop at the read after the first `reads`, if it makes so many.
    ScanResult run_interrupted(std::uint32_t reads, IndexMode mode = IndexMode::use) {
        std::atomic<std::uint32_t> reads_left = reads;
        const auto read = std::exchange(hooks().ReadFile, nullptr);
        hooks().ReadFile = [&](auto... arguments) {
            if (reads_left-- == 0)
                progress.stop_requested = true;
            return read(arguments...);
        };
        ScanResult result = run(mode);
        hooks().ReadFile = read;
        return result;
    }

    // The groups among all files of the volume, by comparing each with every other.
    [[nodiscard]] Groups expected() const {
        std::vector<std::wstring> paths;
        for (const std::wstring& file : volume.files())
            paths.push_back(volume.path(file));
        return reference_groups(paths);
    }

    [[nodiscard]] std::wstring index_path() const { return index_file_path(volume.root()).value(); }
    [[nodiscard]] bool index_exists() const { return file_exists(index_path()); }
    [[nodiscard]] std::string index_bytes() const { return read_file(index_path()); }
    [[nodiscard]] detail::IndexSnapshot stored() const {
        std::optional<detail::IndexSnapshot> snapshot = detail::load_index(volume.root());
        EXPECT_TRUE(snapshot.has_value());
        return std::move(snapshot).value_or(detail::IndexSnapshot{});
    }

    // Expects every valid digest of the stored index to match the file's present contents, except
    // for the files left out. Returns how many there are.
    std::size_t expect_stored_digests_right(const std::set<std::uint64_t>& left_out = {}) {
        worker_pool pool(2);
        std::size_t checked = 0;
        std::vector<detail::FileCandidate> hashed = stored().entries;
        std::erase_if(hashed, [&](const detail::FileCandidate& entry) {
            return entry.has_file_id && left_out.contains(entry.file_id.low);
        });
        for (const bool full : {false, true}) {
            std::vector<detail::FileCandidate*> to_hash;
            std::vector<blake3_digest> told;
            for (detail::FileCandidate& entry : hashed) {
                bool& has = full ? entry.has_full_digest : entry.has_sample_digest;
                if (!has)
                    continue;
                has = false;
                to_hash.push_back(&entry);
                told.push_back(full ? entry.full_digest : entry.sample_digest);
            }
            ScanStatistics ignored;
            const auto found = detail::hash_candidates_parallel(
                to_hash, full ? hash_stage::full : hash_stage::sample, pool, ignored);
            for (std::size_t i = 0; i < told.size(); ++i)
                EXPECT_EQ(found[i], std::optional(told[i])) << (full ? "full" : "sample");
            checked += told.size();
        }
        return checked;
    }

    TempTree tree;
    TempTree indexes;
    ScopedEnvironment directory{L"LARKSPINE_INDEX_DIRECTORY", indexes.root()};
    FakeVolume volume;
    ScanOptions options;
    ScanProgress progress;
};

}  // namespace larkspine::testing
