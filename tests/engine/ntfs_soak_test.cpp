// Random changes to a volume, round after round. Whichever way a scan uses its index, it must find
// the same groups as a scan without an index, and the same as comparing every file with every
// other. Every entry that it saves has the size and the times that its file had when it was
// queried.
//
// Some scans are interrupted. The scan that is compared then continues from what they saved.
//
// The seed and the number of rounds may be set by LARKSPINE_SOAK_SEED and LARKSPINE_SOAK_ROUNDS.
//
// A file of several names is listed under one of them, so groups are compared by their files. Where
// the journal does not report everything, the documented result is expected:
//   - if the last record of a file names a link that it has lost, the index is rebuilt;
//   - a file that could not be queried is missing until it has a record;
//   - a file that is held open may count with its contents at an earlier change.
// Folders that are moved out of excluded ones are not tested here.
#include "base/win32_api.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <iostream>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "base/win32_handle.h"
#include "support/soaked_volume.h"

namespace larkspine::testing {
namespace {

using detail::load_index;

std::uint32_t setting(const wchar_t* name, std::uint32_t otherwise) {
    const std::optional<std::wstring> text = read_environment(name);
    return text ? static_cast<std::uint32_t>(std::stoul(*text)) : otherwise;
}

constexpr std::uint32_t every_reason = 0x81FF'FF77;

// Groups as the references of their files, in one order.
using Files = std::set<std::uint64_t>;
using FileGroups = std::set<Files>;

FileGroups without(const FileGroups& groups, const Files& files) {
    FileGroups left;
    for (Files group : groups) {
        std::erase_if(group, [&](std::uint64_t file) { return files.contains(file); });
        if (group.size() > 1)
            left.insert(std::move(group));
    }
    return left;
}

// The answer to a query of a file's attributes.
struct Metadata {
    std::uint64_t size = 0;
    std::uint64_t creation_time = 0;
    std::uint64_t last_write_time = 0;

    friend bool operator==(const Metadata&, const Metadata&) = default;
};

Metadata metadata_of(const WIN32_FILE_ATTRIBUTE_DATA& data) {
    return {join_halves(data.nFileSizeHigh, data.nFileSizeLow), filetime_value(data.ftCreationTime),
            filetime_value(data.ftLastWriteTime)};
}

class NtfsSoakTest : public SoakedVolumeTest {
  protected:
    NtfsSoakTest() : SoakedVolumeTest(setting(L"LARKSPINE_SOAK_SEED", 1)) {}

    const std::uint32_t seed = setting(L"LARKSPINE_SOAK_SEED", 1);

    // What the journal has recorded since the index was saved.
    struct Slice {
        std::map<std::uint64_t, UsnRecordFields> last;  // of each file that was not deleted
        std::uint32_t reasons = 0;
    };

    void SetUp() override {
        for (int i = 0; i < 40; ++i)
            write_a_file();
    }

    void look_at_the_volume() {
        names.clear();
        for (const std::wstring& file : volume.files())
            names[file] = volume.reference_of(file);
        folders = {{root_reference, L""}};
        for (const std::wstring& folder : volume.folders())
            folders[volume.reference_of(folder)] = folder + L'\\';
        const auto is_gone = [this](std::uint64_t file) {
            return std::ranges::none_of(names, [&](auto& name) { return name.second == file; });
        };
        std::erase_if(untold, [&](const auto& file) { return is_gone(file.first); });
        std::erase_if(reparse_points, is_gone);
        std::erase_if(missing, is_gone);
    }
    [[nodiscard]] Metadata state_of(const std::wstring& file) const {
        WIN32_FILE_ATTRIBUTE_DATA data = {};
        EXPECT_TRUE(real_imports().GetFileAttributesExW(volume.real_path(file).c_str(),
                                                        GetFileExInfoStandard, &data));
        return metadata_of(data);
    }

    // Which way a scan must take, given the index.
    [[nodiscard]] Way way_with(const std::optional<detail::IndexSnapshot>& index,
                               bool walks) const {
        const USN_JOURNAL_DATA_V0 journal = volume.journal();
        if (walks)
            return Way::walk;
        if (!index || !index->journal_valid || index->journal_id != journal.UsnJournalID ||
            index->next_usn < journal.FirstUsn || index->next_usn > journal.NextUsn)
            return Way::table;
        return index->next_usn == journal.NextUsn ? Way::unchanged : Way::delta;
    }
    [[nodiscard]] Slice slice_from(std::int64_t start) const {
        Slice slice;
        for (UsnRecordFields& record : volume.journalled(start)) {
            slice.reasons |= record.reason;
            if ((record.reason & usn_reason::file_delete) != 0)
                slice.last.erase(record.reference);
            else if ((record.reason & usn_reason::rename_old_name) == 0)
                slice.last[record.reference] = std::move(record);
        }
        return slice;
    }
    // The path that a record names; none when its folder is gone.
    [[nodiscard]] std::optional<std::wstring> path_in(const UsnRecordFields& record) const {
        const auto folder = folders.find(record.parent);
        return folder == folders.end() ? std::nullopt : std::optional(folder->second + record.name);
    }
    // Whether the last record of some file names a link that the file no longer has.
    [[nodiscard]] bool names_a_lost_link(const Slice& slice) const {
        return std::ranges::any_of(names, [&](const auto& name) {
            const auto record = slice.last.find(name.second);
            if (record == slice.last.end())
                return false;
            const std::optional<std::wstring> path = path_in(record->second);
            const auto known = path ? names.find(*path) : names.end();
            return known == names.end() || known->second != name.second;
        });
    }
    // How many files that exist only in the journal are queried.
    [[nodiscard]] std::size_t asked_for_in_vain(const Slice& slice) const {
        // Of several deleted files with one name only the last is queried.
        std::set<std::wstring> paths;
        for (const auto& changed : slice.last)
            if (record_number(changed.first) >= first_gone)
                if (const auto path = path_in(changed.second))
                    paths.insert(*path);
        return paths.size();
    }

    // Every row must be a name of a file, and no file may come twice.
    [[nodiscard]] FileGroups by_file(const Groups& groups) const {
        FileGroups found;
        Files grouped;
        for (const std::vector<std::wstring>& group : groups) {
            Files files;
            for (const std::wstring& path : group) {
                const auto name = names.find(path.substr(3));
                if (name == names.end())
                    ADD_FAILURE() << "no file has the name " << ::testing::PrintToString(path);
                else if (!grouped.insert(name->second).second)
                    ADD_FAILURE() << "a file is listed twice, as "
                                  << ::testing::PrintToString(path);
                else
                    files.insert(name->second);
            }
            found.insert(std::move(files));
        }
        return found;
    }
    [[nodiscard]] std::string contents_of(std::uint64_t file) const {
        const auto name =
            std::ranges::find_if(names, [&](auto& known) { return known.second == file; });
        return read_file(volume.path(name->first));
    }

    // Notes the answers that a scan got for each file. Returns how many of the queries failed.
    std::size_t note_answers(Way way, const Slice& slice) {
        std::size_t failed = 0;
        if (way == Way::walk || way == Way::table) {
            answers.clear();
            untold.clear();
            missing.clear();
        }
        if (way == Way::walk)
            for (const auto& [name, file] : names)
                answers[file] = state_of(name);
        std::erase_if(missing, [&](std::uint64_t file) { return slice.last.contains(file); });
        for (const VolumeCall& call : volume.calls(Request::query_attributes)) {
            const auto name = names.find(call.path);
            failed += call.error != 0;
            if (name == names.end())
                EXPECT_NE(call.error, 0u) << ::testing::PrintToString(call.path);
            else if (call.error != 0)
                missing.insert(name->second);
            else if (way != Way::walk) {
                answers[name->second] = metadata_of(call.answer);
                untold.erase(name->second);
            }
        }
        return failed;
    }

    // Files that may count with their earlier contents.
    [[nodiscard]] Files unsettled_files() const {
        Files unsettled;
        for (const auto& [file, earlier] : untold)
            if (earlier != std::set<std::string>{contents_of(file)})
                unsettled.insert(file);
        return unsettled;
    }
    // The files of each group share the same contents, now or, if unsettled, at an earlier change.
    void expect_explained(const FileGroups& groups, const Files& unsettled) {
        for (const Files& group : groups) {
            std::optional<std::set<std::string>> common;
            for (const std::uint64_t file : group) {
                std::set<std::string> held{contents_of(file)};
                if (unsettled.contains(file)) {
                    held.insert(untold[file].begin(), untold[file].end());
                    ++told.unsettled_rows;
                }
                if (common)
                    std::erase_if(held, [&](auto& text) { return !common->contains(text); });
                common = std::move(held);
            }
            EXPECT_FALSE(common->empty()) << "files that never had the same contents";
        }
    }

    // Every entry of the saved index has the metadata that its file had when it was queried.
    // Returns false when the index is that of an earlier scan.
    bool expect_saved_entries_true(Way way) {
        const detail::IndexSnapshot saved = stored();
        const bool current = way == Way::walk || saved.next_usn == volume.journal().NextUsn;
        for (const detail::FileCandidate& entry : saved.entries) {
            if ((entry.attributes & detail::attribute_directory) != 0)
                continue;
            const std::wstring path = entry.path.substr(volume.root().size());
            const auto name = names.find(path);
            if (current && name == names.end()) {
                ADD_FAILURE() << "no file has the name " << ::testing::PrintToString(path);
                continue;
            }
            const std::uint64_t file = entry.has_file_id ? entry.file_id.low : name->second;
            const Metadata metadata{entry.size, entry.creation_time, entry.last_write_time};
            EXPECT_TRUE(answers.contains(file) && metadata == answers[file])
                << ::testing::PrintToString(path);
            ++told.entries;
            if (!current)
                continue;
            EXPECT_EQ(file, name->second) << ::testing::PrintToString(path);
            EXPECT_TRUE(untold.contains(file) || metadata == state_of(path))
                << ::testing::PrintToString(path);
        }
        return current;
    }

    void scan_and_compare();

    struct Figures {
        std::array<std::uint32_t, 5> ways{};
        std::uint32_t reasons = 0;
        std::size_t rebuilds = 0;
        std::size_t interruptions = 0;
        std::size_t groups = 0;
        std::size_t rows = 0;
        std::size_t unsettled_files = 0;
        std::size_t unsettled_rows = 0;
        std::size_t entries = 0;
        std::size_t digests = 0;
        std::size_t failures = 0;
    };

    std::map<std::wstring, std::uint64_t> names;    // of all files
    std::map<std::uint64_t, std::wstring> folders;  // with a separator at the end, but for the root
    Files missing;                                  // from the index, until they have a record
    std::map<std::uint64_t, Metadata> answers;      // the last one for each file of the index
    Figures told;
};

void NtfsSoakTest::scan_and_compare() {
    look_at_the_volume();
    const bool fat = below(14) == 0;
    const bool without_rights = below(10) == 0;
    volume.set_file_system(fat ? L"FAT32" : L"NTFS");
    if (without_rights)
        volume.plant(failing(Request::open_volume, every_call, ERROR_ACCESS_DENIED));
    if (!names.empty() && below(12) == 0)
        volume.plant(failing_at(Request::query_attributes,
                                std::next(names.begin(), below(names.size()))->first,
                                ERROR_ACCESS_DENIED));

    const std::optional<detail::IndexSnapshot> index = load_index(volume.root());
    Way way = way_with(index, fat || without_rights);
    IndexMode mode = IndexMode::use;
    Slice slice;
    if (way == Way::delta)
        slice = slice_from(index->next_usn);
    told.reasons |= slice.reasons;
    if (names_a_lost_link(slice)) {
        slice = {};
        mode = IndexMode::rebuild;
        way = Way::table;
        ++told.rebuilds;
    }

    if (below(4) == 0) {
        const ScanResult interrupted = run_interrupted(below(30), mode);
        if (progress.stop_requested.exchange(false))
            ++told.interruptions;
        EXPECT_EQ(way_of(interrupted), way);
        if (interrupted.index_saved) {
            note_answers(way, slice);
            slice = {};
            mode = IndexMode::use;
            way = way == Way::walk ? Way::walk : Way::unchanged;
        }
    }
    const ScanResult result = run(mode);
    EXPECT_EQ(way_of(result), way);
    const Files missing_before = missing;
    const std::size_t failed = note_answers(way, slice);
    volume.clear_faults();
    EXPECT_LE(failed, asked_for_in_vain(slice) + 1);
    EXPECT_GE(failed, asked_for_in_vain(slice));

    std::vector<std::wstring> paths;
    Files files;
    for (const auto& [name, file] : names)
        if (!reparse_points.contains(file)) {
            paths.push_back(volume.path(name));
            files.insert(file);
        }
    const Groups reference = reference_groups(paths);
    const FileGroups right = by_file(reference);
    const FileGroups found = by_file(groups_of(result));
    const Files unsettled = unsettled_files();
    EXPECT_EQ(without(found, unsettled), without(without(right, missing), unsettled));
    expect_explained(found, unsettled);
    // A file that is shorter now than when it was queried cannot be hashed.
    EXPECT_GE(result.failures, failed);
    EXPECT_LE(result.failures, failed + unsettled.size());
    if (way == Way::walk) {
        EXPECT_EQ(groups_of(result), reference);
    }
    std::erase_if(files, [this](std::uint64_t file) { return missing.contains(file); });
    EXPECT_EQ(result.statistics.files, way == Way::walk ? paths.size() : files.size());

    if (expect_saved_entries_true(way))
        told.digests += expect_stored_digests_right(unsettled);
    else
        missing = missing_before;
    EXPECT_EQ(by_file(groups_of(run(IndexMode::disabled))), right);

    ++told.ways[static_cast<std::size_t>(way)];
    told.groups += found.size();
    for (const Files& group : found)
        told.rows += group.size();
    told.unsettled_files += unsettled.size();
    told.failures += failed;
}

TEST_F(NtfsSoakTest, AfterAnyChangesAScanWithTheIndexFindsWhatOneWithoutItFinds) {
    const std::uint32_t rounds = setting(L"LARKSPINE_SOAK_ROUNDS", 200);
    for (std::uint32_t round = 0; round < rounds && !HasFailure(); ++round) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
        for (std::uint32_t changes = below(14); changes > 0; --changes)
            change_something();
        change_the_journal();
        scan_and_compare();
    }
    for (const Way way : {Way::walk, Way::table, Way::unchanged, Way::delta}) {
        const std::uint32_t taken = told.ways[static_cast<std::size_t>(way)];
        std::cout << ::testing::PrintToString(way) << ' ' << taken << ", ";
        EXPECT_TRUE(taken > 0 || rounds < 60) << ::testing::PrintToString(way);
    }
    std::cout << told.rebuilds << " of them rebuilds, " << told.interruptions
              << " after an interrupted scan; " << told.groups << " groups of " << told.rows
              << " rows; " << told.unsettled_files << " files changed while held open, in "
              << told.unsettled_rows << " rows; " << told.entries << " saved entries, "
              << told.digests << " digests, " << told.failures << " failed queries\n";
    EXPECT_TRUE(told.reasons == every_reason || rounds < 200) << std::hex << told.reasons;
    EXPECT_TRUE(told.interruptions > 0 || rounds < 60);
    EXPECT_GT(told.groups, std::size_t{rounds});
    EXPECT_GT(told.digests, std::size_t{rounds});
}

}  // namespace
}  // namespace larkspine::testing
