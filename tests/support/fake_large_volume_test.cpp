// The large fake volume as the benchmarks use it: its table, its answers and its journal agree.
#include "support/fake_large_volume.h"

#include <gtest/gtest.h>
#include <set>

#include "base/win32_handle.h"
#include "fs/mft_enumeration.h"
#include "fs/usn_delta.h"
#include "fs/volume.h"

namespace larkspine::testing {
namespace {

// 250 files: 24 of them in each of ten folders, the rest in an eleventh.
TEST(FakeLargeVolumeTest, AnEnumerationFindsEveryFileAndADeltaFindsEveryChange) {
    FakeLargeVolume volume({.files = 250, .files_per_folder = 24});
    worker_pool pool(2);
    ScanProgress progress;
    ScanStatistics statistics;
    detail::IndexSnapshot snapshot;
    ASSERT_TRUE(detail::scan_ntfs_mft(volume.root(), snapshot, statistics, progress, pool));
    EXPECT_EQ(statistics.directories, 12u);
    EXPECT_EQ(statistics.files, 250u);
    EXPECT_EQ(statistics.failures, 0u);
    EXPECT_EQ(snapshot.entries.size(), volume.records());
    std::set<std::wstring> paths;
    std::set<std::uint64_t> sizes;
    for (const detail::FileCandidate& entry : snapshot.entries) {
        paths.insert(entry.path);
        sizes.insert(entry.size);
    }
    for (std::uint64_t file = 0; file < volume.files(); ++file)
        EXPECT_TRUE(paths.contains(volume.root() + volume.file_path(file))) << file;
    EXPECT_EQ(sizes.size(), 251u) << "one of each file, and that of the folders";

    for (detail::FileCandidate& entry : snapshot.entries)
        entry.has_full_digest = true;
    volume.change_files(10);
    volume.forget_calls();
    bool changed = false;
    const unique_handle device = own_handle(open_volume(volume.root()));
    ASSERT_TRUE(detail::apply_usn_delta(volume.root(), device.get(), volume.journal(), snapshot,
                                        statistics, progress, pool, changed));
    EXPECT_EQ(statistics.journal_changes, 20u);
    EXPECT_EQ(volume.count(Request::query_attributes), 10u);
    std::set<std::uint64_t> without_digest;
    for (const detail::FileCandidate& entry : snapshot.entries)
        if (!entry.has_full_digest)
            without_digest.insert(entry.file_id.low);
    EXPECT_EQ(without_digest.size(), 10u);
    EXPECT_EQ(*without_digest.begin(), volume.file_reference(0));
    EXPECT_EQ(*without_digest.rbegin(), volume.file_reference(225));
}

}  // namespace
}  // namespace larkspine::testing
