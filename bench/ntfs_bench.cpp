// How does a whole NTFS volume scale?
//
//     ntfs_bench                    all sizes
//     ntfs_bench RECORDS            one size
//     ntfs_bench RECORDS QUESTION   one measurement in this process, printed as seconds, those of
//                                   the bare way, their ratio, bytes; fast-path and delta load the
//                                   index that first-scan leaves
//
// Generated volumes of 100,000, 1,000,000 and 5,000,000 records: the root, a folder for every
// hundred files, sixteen folders in a folder, names of 14 and 17 code units, no two files of one
// size, so that nothing is to be analysed. There is no seed: everything follows from the number of
// the record. The index goes below the folder for temporary files. A size is left out when the
// memory per record of the size before it says that it would not fit.
//
// enumerate    the table into a map of records; bare: the same calls, records only stepped over
// first scan   a whole scan without an index, which it saves; bare: the same calls on one thread,
//              the table and the attributes of every file, and nothing kept. Run once
// fast path    a whole scan when nothing changed; bare: loading the index
// delta        10,000 changed files, so 20,000 journal records, applied to a loaded snapshot, which
//              loading is not counted; bare: loading that snapshot
//
// Times are medians of seven runs, three above a million records, taken in turn with the bare way
// after one of each that does not count. The volume answers from memory, and making up its answers
// is part of both times; "own" is the time per entry without that of the bare way. For the delta,
// entries are those of the snapshot and all of its time is its own. The largest size takes minutes,
// nearly all of them for the first scan.
//
// Growth is the time per entry divided by that at the size before. Peak is the rise of the peak
// working set up to the end of the first run, per entry, each row in a process of its own; for the
// delta it includes loading.
#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "engine/read_buffer.h"
#include "engine/scan_driver.h"
#include "fs/mft_enumeration.h"
#include "fs/usn_delta.h"
#include "fs/volume.h"
#include "index/byte_reader.h"
#include "index/index_file.h"
#include "index/index_location.h"
#include "outcome.h"
#include "support/generated_volume.h"

namespace {

using namespace larkspine;
using bench::medians_of;
using bench::Outcome;
using bench::require;
using bench::Round;
using testing::GeneratedVolume;

constexpr std::uint64_t changes = 10'000;
constexpr std::uint64_t workers = 4;

std::uint64_t step_over_records(HANDLE volume, const USN_JOURNAL_DATA_V0& journal) {
    constexpr std::size_t next_reference_size = 8;
    MFT_ENUM_DATA_V0 request = {0, 0, journal.NextUsn};
    const auto buffer = std::make_unique<detail::ReadBuffer>();
    std::uint64_t records = 0;
    DWORD returned = 0;
    while (DeviceIoControl(volume, FSCTL_ENUM_USN_DATA, &request, sizeof request, buffer->bytes,
                           sizeof buffer->bytes, &returned, nullptr)) {
        request.StartFileReferenceNumber = load_little_endian<std::uint64_t>(buffer->bytes);
        for (std::size_t place = next_reference_size; place < returned; ++records)
            place += load_little_endian<std::uint32_t>(buffer->bytes + place);
    }
    return records;
}

Outcome enumerate(GeneratedVolume& volume, int rounds) {
    const unique_handle handle = own_handle(open_volume(volume.root()));
    const USN_JOURNAL_DATA_V0 journal = volume.journal();
    return medians_of(rounds, [&] {
        const double ours = bench::seconds_for([&] {
            MftRecordMap records;
            ScanProgress progress;
            require(enumerate_usn_records(handle.get(), journal, records, progress) &&
                        records.size() == volume.records(),
                    "enumerate_usn_records");
        });
        const double bare = bench::seconds_for([&] {
            require(step_over_records(handle.get(), journal) == volume.records(), "bare pass");
        });
        return Round{ours, bare};
    });
}

// A scan of the volume that finds all its records and nothing to analyse.
ScanStatistics scan_all(const GeneratedVolume& volume, IndexMode mode) {
    ScanProgress progress;
    const ScanResult result =
        scan({.root = volume.root(), .workers = workers, .index_mode = mode}, progress);
    require(result.failures == 0 && result.statistics.candidates == 0 &&
                result.statistics.index_entries == volume.records(),
            "scan");
    return result.statistics;
}

void ask_for_attributes(const GeneratedVolume& volume) {
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    for (std::uint64_t file = 0; file < volume.files(); ++file)
        require(GetFileAttributesExW((volume.root() + volume.file_path(file)).c_str(),
                                     GetFileExInfoStandard, &data) != 0,
                "GetFileAttributesExW");
}

Outcome first_scan(GeneratedVolume& volume, int) {
    const unique_handle handle = own_handle(open_volume(volume.root()));
    const USN_JOURNAL_DATA_V0 journal = volume.journal();
    Outcome outcome;
    const std::uint64_t before = bench::peak_memory();
    outcome.ours = bench::seconds_for(
        [&] { require(scan_all(volume, IndexMode::rebuild).mft_used, "the file table"); });
    outcome.peak = bench::peak_memory() - before;
    outcome.bare = bench::seconds_for([&] {
        require(step_over_records(handle.get(), journal) == volume.records(), "bare pass");
        ask_for_attributes(volume);
    });
    outcome.ratio = outcome.ours / outcome.bare;
    return outcome;
}

Outcome fast_path(GeneratedVolume& volume, int rounds) {
    return medians_of(rounds, [&] {
        const double ours = bench::seconds_for([&] {
            require(scan_all(volume, IndexMode::use).fast_path_unchanged, "the fast path");
        });
        const double bare = bench::seconds_for(
            [&] { require(load_index(volume.root()).has_value(), "load_index"); });
        return Round{ours, bare};
    });
}

Outcome delta(GeneratedVolume& volume, int rounds) {
    volume.change_files(changes);
    const unique_handle handle = own_handle(open_volume(volume.root()));
    const USN_JOURNAL_DATA_V0 journal = volume.journal();
    worker_pool pool(workers);
    return medians_of(rounds, [&] {
        std::optional<detail::IndexSnapshot> snapshot;
        const double bare = bench::seconds_for([&] { snapshot = load_index(volume.root()); });
        require(snapshot.has_value(), "load_index");
        const double ours = bench::seconds_for([&] {
            ScanStatistics statistics;
            ScanProgress progress;
            bool changed = false;
            require(apply_usn_delta(volume.root(), handle.get(), journal, *snapshot, statistics,
                                    progress, pool, changed) &&
                        changed && statistics.journal_changes == 2 * changes &&
                        snapshot->entries.size() == volume.records(),
                    "apply_usn_delta");
        });
        return Round{ours, bare};
    });
}

struct Question {
    const wchar_t* argument;
    const char* row;
    Outcome (*answer)(GeneratedVolume& volume, int rounds);
    bool contains_bare;  // whether the bare way is part of what is timed
};

// In this order: the first scan leaves the index that the others load.
constexpr Question questions[] = {
    {L"enumerate", "enumerate", enumerate, true},
    {L"first-scan", "first scan", first_scan, true},
    {L"fast-path", "fast path", fast_path, true},
    {L"delta", "delta", delta, false},
};

using Costs = std::array<double, std::size(questions)>;  // seconds per entry

// With a folder for every hundred files and the root, there are just as many records.
std::uint64_t files_among(std::uint64_t records) {
    return (records - 1) * 100 / 101;
}

void answer_here(std::uint64_t records, std::wstring_view argument) {
    const auto* question = std::ranges::find(questions, argument, &Question::argument);
    require(question != std::end(questions), "finding that question");
    GeneratedVolume volume({.files = files_among(records)});
    bench::print_numbers(question->answer(volume, records > 1'000'000 ? 3 : bench::runs));
}

// Prints the rows of one size and leaves in `costs` what they cost; returns the highest peak in
// bytes per entry.
double measure(std::uint64_t records, Costs& costs) {
    const auto entries = static_cast<double>(records);
    double highest = 0;
    for (std::size_t i = 0; i < std::size(questions); ++i) {
        const Question& question = questions[i];
        const Outcome outcome = bench::read_numbers(
            bench::output_of_self(std::to_wstring(records) + L" " + question.argument));
        const double own = outcome.ours - (question.contains_bare ? outcome.bare : 0);
        bench::print_row(question.row, entries, outcome, own, costs[i]);
        costs[i] = outcome.ours / entries;
        highest = std::max(highest, static_cast<double>(outcome.peak) / entries);
    }
    return highest;
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    wchar_t folder[MAX_PATH + 1];
    require(GetTempPathW(MAX_PATH + 1, folder) != 0, "GetTempPathW");
    SetEnvironmentVariableW(L"LARKSPINE_INDEX_DIRECTORY", folder);
    std::vector<std::uint64_t> sizes = {100'000, 1'000'000, 5'000'000};
    if (count > 1)
        sizes = {std::wcstoull(arguments[1], nullptr, 10)};
    require(sizes[0] > 1, "reading the number of records");
    if (count > 2) {
        answer_here(sizes[0], arguments[2]);
        return 0;
    }
    bench::print_heading();
    Costs costs = {};
    double peak = 0;  // bytes per entry at the size before
    for (const std::uint64_t records : sizes) {
        // A quarter more, for what doubles just above it.
        if (1.25 * peak * static_cast<double>(records) >
            static_cast<double>(bench::available_memory())) {
            std::printf("%llu entries are left out: too little memory\n", records);
            break;
        }
        peak = measure(records, costs);
    }
    DeleteFileW(index_file_path(GeneratedVolume({.files = 1}).root()).value().c_str());
    return 0;
}
