// How many instructions does a portable part take for one item?
//
// Runs one part once, on the Linux host, for callgrind to count (bench/profile). Only what runs
// below measured() counts. All input follows from the number of items, with seed 1; paths have 80
// code units unless stated otherwise.
//
//     portable_parts PART ITEMS
//
// index-encode    a snapshot of made_snapshot.h to bytes
// index-decode    the bytes back
// size-groups     files of which a tenth share their size with two others, sorted and grouped
// usn-records     records with names of 20 code units
// record-paths    the paths of files in folders of 100, the folders in one
// rebuild-paths   the same files and folders as entries of a snapshot, their paths built anew
// changes         changes of such entries: a tenth rename, a tenth write, a tenth delete a file,
//                 the others set its attributes
// csv-rows        rows of a report in groups of three
// path-compare    a path in the form for comparison
// path-views      two equal paths compared without that form
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory_resource>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <valgrind/callgrind.h>
#include <vector>

#include "base/path_forms.h"
#include "engine/size_groups.h"
#include "fs/journal_changes.h"
#include "fs/record_paths.h"
#include "fs/usn_record.h"
#include "index/index_format.h"
#include "made_snapshot.h"
#include "report/csv_row.h"
#include "support/usn_record_writer.h"

namespace {

using namespace larkspine;
using detail::FileCandidate;
using detail::IndexSnapshot;

[[noreturn]] void give_up(const char* what) {
    std::fprintf(stderr, "portable_parts: %s\n", what);
    std::exit(1);
}

void require(bool worked, const char* what) {
    if (!worked)
        give_up(what);
}

// callgrind counts what runs in here and nothing else.
template <typename Part>
void measured(Part&& part) {
    CALLGRIND_TOGGLE_COLLECT;
    part();
    CALLGRIND_TOGGLE_COLLECT;
}

constexpr std::uint64_t root_reference = testing::root_reference;
constexpr std::uint64_t files_in_a_folder = 100;
constexpr std::uint64_t volume_serial = bench::made_volume_serial;
const std::wstring root = L"\\\\?\\D:\\bench";

std::uint64_t folder_reference(std::size_t file) {
    return 1'000'000'000 + file / files_in_a_folder;
}

void index_encode(std::size_t items) {
    const IndexSnapshot snapshot = bench::made_snapshot(items);
    std::optional<detail::EncodedIndex> encoded;
    measured([&] { encoded = detail::encode_index(snapshot); });
    require(encoded.has_value(), "encoding");
}

void index_decode(std::size_t items) {
    const IndexSnapshot snapshot = bench::made_snapshot(items);
    const detail::EncodedIndex encoded = detail::encode_index(snapshot).value();
    std::optional<IndexSnapshot> decoded;
    measured([&] { decoded = detail::decode_index(encoded.span(), snapshot.root); });
    require(decoded && decoded->entries.size() == items, "decoding");
}

void size_groups(std::size_t items) {
    IndexSnapshot snapshot = bench::made_snapshot(items);
    std::mt19937_64 random(1);
    for (std::size_t i = 0; i < items; ++i)
        snapshot.entries[i].size =
            i % 30 == 1 || i % 30 == 2 ? snapshot.entries[i - 1].size : random();
    detail::SizeGroups groups;
    measured([&] { groups = detail::group_by_size(snapshot.entries); });
    require(groups.candidates.size() >= items / 10 - 2, "grouping");
}

void usn_records(std::size_t items) {
    const testing::UsnRecordFields fields = {.reference = 1,
                                             .parent = root_reference,
                                             .attributes = 0x20,
                                             .name = std::wstring(bench::made_name_length, L'n')};
    std::vector<std::byte> bytes(testing::usn_record_length(fields.name.size()));
    testing::write_usn_record(fields, bytes.data());
    std::size_t decoded = 0;
    measured([&] {
        for (std::size_t i = 0; i < items; ++i) {
            detail::UsnRecord record;
            if (detail::parse_usn_record_v2(bytes.data(), bytes.size(), record) ==
                detail::RecordStatus::ok)
                ++decoded;
        }
    });
    require(decoded == items, "decoding records");
}

void record_paths(std::size_t items) {
    const IndexSnapshot snapshot = bench::made_snapshot(items);
    std::pmr::monotonic_buffer_resource memory;
    detail::MftRecordMap records(&memory);
    records[root_reference] = {.parent_reference = root_reference, .name = L"."};
    for (std::size_t i = 0; i < items; ++i) {
        records[i] = {.parent_reference = folder_reference(i), .name = snapshot.entries[i].name};
        records[folder_reference(i)] = {.parent_reference = root_reference,
                                        .name = std::wstring(46, L'f')};
    }
    detail::PathCache cache(&memory);
    std::size_t resolved = 0;
    measured([&] {
        for (std::size_t i = 0; i < items; ++i)
            if (detail::resolve_record_path(i, root, records, cache) != nullptr)
                ++resolved;
    });
    require(resolved == items, "resolving paths");
}

// The files of a snapshot and their folders, as the delta keeps them.
void fill_entries(std::size_t items, detail::RecordMap& entries) {
    const IndexSnapshot snapshot = bench::made_snapshot(items);
    for (std::size_t i = 0; i < items; ++i) {
        FileCandidate& entry = entries[i] = snapshot.entries[i];
        entry.record_id = folder_reference(i);
        FileCandidate& folder = entries[folder_reference(i)];
        folder.name = std::wstring(46, L'f');
        folder.record_id = root_reference;
        folder.attributes = detail::attribute_directory;
    }
}

void rebuild_paths(std::size_t items) {
    std::pmr::monotonic_buffer_resource memory;
    detail::RecordMap entries(&memory);
    fill_entries(items, entries);
    const std::size_t before = entries.size();
    measured([&] {
        larkspine::detail::rebuild_paths(root, {root_reference, volume_serial}, {}, entries);
    });
    require(entries.size() == before + 1, "rebuilding paths");
}

void changes(std::size_t items) {
    std::pmr::monotonic_buffer_resource memory;
    detail::RecordMap entries(&memory);
    fill_entries(items, entries);
    std::vector<detail::JournalChange> made(items);
    constexpr std::uint32_t reasons[] = {
        testing::usn_reason::rename_new_name, testing::usn_reason::data_extend,
        testing::usn_reason::file_delete, testing::usn_reason::basic_info_change};
    for (std::size_t i = 0; i < items; ++i)
        made[i] = {.file_reference = i,
                   .parent_reference = folder_reference(i),
                   .name = std::wstring(bench::made_name_length, L'm'),
                   .attributes = 0x20,
                   .reason = reasons[i % 10 < 3 ? i % 10 : 3],
                   .usn = 1};
    detail::ReferenceSet changed;
    std::size_t deleted = 0;
    measured([&] {
        for (detail::JournalChange& change : made)
            if (detail::apply_journal_change(std::move(change), volume_serial, entries, changed))
                ++deleted;
    });
    require(deleted + changed.size() == items, "applying changes");
}

void csv_rows(std::size_t items) {
    const std::string path(bench::made_path_length, 'p');
    std::string text;
    std::size_t written = 0;
    measured([&] {
        CsvRowFrame frame;
        for (std::size_t i = 0; i < items; ++i) {
            if (i % 3 == 0)
                frame.begin_group(1 + i / 3);
            text.clear();
            frame.append_start(text, i % 3 == 0);
            const std::size_t start = text.size();
            text.append(path);
            double_quotes(text, start);
            frame.append_end(text, 100'000 + i / 3);
            written += text.size();
        }
    });
    require(written > items * bench::made_path_length, "writing rows");
}

void path_compare(std::size_t items) {
    const IndexSnapshot snapshot = bench::made_snapshot(items);
    std::size_t units = 0;
    measured([&] {
        for (const FileCandidate& entry : snapshot.entries)
            units += normalize_for_compare(entry.path).size();
    });
    require(units == items * (bench::made_path_length - long_path_prefix.size()), "normalizing");
}

void path_views(std::size_t items) {
    const IndexSnapshot snapshot = bench::made_snapshot(items);
    std::size_t equal = 0;
    measured([&] {
        for (const FileCandidate& entry : snapshot.entries)
            if (ComparisonForm(entry.path) == ComparisonForm(entry.path))
                ++equal;
    });
    require(equal == items, "comparing");
}

struct Part {
    std::string_view name;
    void (*run)(std::size_t items);
};

constexpr Part parts[] = {
    {"index-encode", index_encode}, {"index-decode", index_decode},
    {"size-groups", size_groups},   {"usn-records", usn_records},
    {"record-paths", record_paths}, {"rebuild-paths", rebuild_paths},
    {"changes", changes},           {"csv-rows", csv_rows},
    {"path-compare", path_compare}, {"path-views", path_views},
};

}  // namespace

int main(int count, char** arguments) {
    require(count == 3, "usage: portable_parts PART ITEMS");
    const std::size_t items = std::strtoull(arguments[2], nullptr, 10);
    require(items > 0, "the number of items");
    for (const Part& part : parts)
        if (part.name == arguments[1]) {
            part.run(items);
            return 0;
        }
    give_up("no such part");
}
