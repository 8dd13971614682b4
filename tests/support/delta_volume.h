// A fake volume, its snapshot with digests, and the delta that brings it up to date. For
// programs with replaced imports.
#pragma once

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/win32_handle.h"
#include "fs/usn_delta.h"
#include "fs/volume.h"
#include "support/enumerated_volume.h"

namespace larkspine::testing {

class DeltaVolumeTest : public EnumeratedVolumeTest {
  protected:
    using EnumeratedVolumeTest::EnumeratedVolumeTest;

    // The snapshot as left by a scan that hashed every file.
    void enumerate_with_digests() {
        ASSERT_TRUE(enumerate());
        for (detail::FileCandidate& entry : snapshot.entries)
            if ((entry.attributes & detail::attribute_directory) == 0)
                entry.has_sample_digest = entry.has_full_digest = true;
    }
    // The same of a volume with a file `a` and with a file `b` in a folder `f`.
    void enumerate_two_files() {
        volume.write(L"a", "text");
        volume.write(L"f\\b", "text");
        enumerate_with_digests();
    }

    // Appends a record to the journal and returns its position. The file need not exist.
    std::int64_t journal_record(std::uint64_t reference, std::uint64_t parent, std::uint32_t reason,
                                std::wstring_view name,
                                std::uint32_t attributes = FILE_ATTRIBUTE_ARCHIVE) {
        return volume.append_to_journal(
            {reference, parent, 0, 0, reason, 0, 0, attributes, std::wstring(name)});
    }

    // Applies the delta as the driver does. Afterwards only the calls of the delta are recorded.
    bool apply() {
        const unique_handle device = own_handle(open_volume(volume.root()));
        const std::optional<USN_JOURNAL_DATA_V0> journal = query_usn_journal(device.get());
        EXPECT_TRUE(journal.has_value());
        return apply(device.get(), *journal);
    }
    bool apply(HANDLE device, const USN_JOURNAL_DATA_V0& journal) {
        statistics = {};
        progress.entries_seen = 0;
        changed = true;
        volume.forget_calls();
        const bool applied = detail::apply_usn_delta(volume.root(), device, journal, snapshot,
                                                     statistics, progress, pool, changed);
        asked_for = queried();
        return applied;
    }

    // Apart from its digests, the snapshot equals that of a fresh enumeration, and the statistics
    // agree.
    void expect_as_enumerated() {
        detail::IndexSnapshot fresh;
        ScanStatistics found;
        ScanProgress ignored;
        ASSERT_TRUE(detail::scan_ntfs_mft(volume.root(), fresh, found, ignored, pool));
        EXPECT_EQ(paths(), paths_of(fresh));
        EXPECT_TRUE(same_snapshot(bare(snapshot), bare(fresh)));
        EXPECT_EQ(counts(), (Counts{found.directories, found.files, 0, 0, fresh.entries.size()}));
        EXPECT_TRUE(statistics.usn_delta_applied);
        EXPECT_FALSE(statistics.mft_used);
    }

    // The files without a digest, sorted. No file has one digest alone.
    [[nodiscard]] Paths without_digests() const {
        Paths found;
        for (const detail::FileCandidate& entry : snapshot.entries) {
            EXPECT_EQ(entry.has_sample_digest, entry.has_full_digest);
            if ((entry.attributes & detail::attribute_directory) == 0 && !entry.has_full_digest)
                found.push_back(entry.path.substr(volume.root().size()));
        }
        std::sort(found.begin(), found.end());
        return found;
    }

    bool changed = false;
    Paths asked_for;  // whose attributes the last delta queried

  private:
    // Sorted by reference, without digests.
    static detail::IndexSnapshot bare(detail::IndexSnapshot entries) {
        for (detail::FileCandidate& entry : entries.entries) {
            entry.has_sample_digest = entry.has_full_digest = false;
            entry.sample_digest = entry.full_digest = {};
        }
        std::sort(entries.entries.begin(), entries.entries.end(),
                  [](const auto& a, const auto& b) { return a.file_id.low < b.file_id.low; });
        return entries;
    }
};

}  // namespace larkspine::testing
