// How fast is a whole NTFS volume scanned when it answers at once?
//
// The large fake volume of the tests: SIZE files, a folder for every hundred, sixteen folders in a
// folder, names of 14 and 17 code units. A file's number determines everything about it, its entry
// in an index too. No seed.
//
// fast-path  a whole scan of an unchanged volume; a tenth of the files are in groups of three with
//            equal digests, no other two have one size; beside: loading the index
// table      the master file table, from opening the volume to the first query of a file's
//            metadata, which stops the scan. The answers of the volume are recorded before and
//            played back; beside: the same answers, each record parsed, its path made in one string
//            from its parent's, and inserted into one hash map
// metadata   the rest of that scan: from the first query of metadata to the end, each answered at
//            once; two workers. Beside: as many empty jobs with results of the same type through
//            the same pool, in the same batches
// delta      one change for every hundred files, applied to a loaded snapshot, two workers, files
//            queried included; beside: loading that snapshot
#include <atomic>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/byte_reader.h"
#include "base/file_identity.h"
#include "base/path_forms.h"
#include "base/read_buffer.h"
#include "engine/scan_driver.h"
#include "fs/mft_enumeration.h"
#include "fs/usn_delta.h"
#include "fs/volume.h"
#include "index/index_file.h"
#include "pool/job_batch.h"
#include "rounds.h"
#include "support/fake_large_volume.h"
#include "support/import_replacement.h"
#include "support/usn_record_writer.h"

namespace {

using namespace larkspine;
using namespace larkspine::bench;
using detail::FileCandidate;
using detail::IndexSnapshot;
using testing::FakeLargeVolume;
using testing::hooks;
using testing::VolumeSettings;

constexpr std::size_t workers = 2;
constexpr std::size_t group_size = 3;

// Only one volume may exist at a time, so each round makes its own. The drive letter distinguishes
// the sizes.
struct VolumeOfSize {
    std::uint64_t files = 0;
    wchar_t letter = L'Q';

    explicit VolumeOfSize(std::uint64_t size) : files(size) {
        static wchar_t next = L'Q';
        letter = next++;
    }
    [[nodiscard]] FakeLargeVolume make() const {
        VolumeSettings settings;
        settings.letter = letter;
        settings.journal.maximum_size = 0x4000'0000;
        return FakeLargeVolume({.files = files}, settings);
    }
};

// The metadata of file `number`. Sizes are scattered: an odd factor makes each a different one
// among 2^40.
FileCandidate made_entry(const std::wstring& path, std::uint64_t reference, std::uint64_t parent,
                         std::uint64_t number) {
    FileCandidate entry;
    entry.path = path;
    entry.name = path.substr(path.rfind(L'\\') + 1);
    detail::set_identity(entry, static_cast<std::uint32_t>(VolumeSettings().serial), reference);
    entry.record_id = parent;
    entry.attributes = FILE_ATTRIBUTE_ARCHIVE;
    entry.size = (number * 0x9e3779b97f4a7c15) % (std::uint64_t{1} << 40) + 1;
    std::memcpy(entry.full_digest.bytes.data(), &number, sizeof number);
    entry.sample_digest = entry.full_digest;
    entry.has_sample_digest = entry.has_full_digest = true;
    return entry;
}

// Saves an index with the volume's folders and files, the first tenth of them in groups.
void save_index_of(const FakeLargeVolume& volume) {
    const USN_JOURNAL_DATA_V0 journal = volume.journal();
    IndexSnapshot snapshot;
    snapshot.root = volume.root();
    snapshot.journal_valid = true;
    snapshot.journal_id = journal.UsnJournalID;
    snapshot.next_usn = journal.NextUsn;
    std::unordered_map<std::wstring, std::uint64_t> folders;  // references by path
    const auto add_folder = [&](const std::wstring& path, std::uint64_t parent) {
        const auto [place, added] = folders.try_emplace(
            path, testing::make_reference(testing::first_free_record_number + folders.size(), 1));
        if (added) {
            snapshot.entries.push_back(made_entry(path, place->second, parent, 0));
            snapshot.entries.back().attributes = FILE_ATTRIBUTE_DIRECTORY;
        }
        return place->second;
    };
    const std::uint64_t grouped = volume.files() / 10;
    for (std::uint64_t file = 0; file < volume.files(); ++file) {
        const std::wstring below = volume.file_path(file);
        std::uint64_t parent = testing::root_reference;
        for (auto end = below.find(L'\\'); end != std::wstring::npos;
             end = below.find(L'\\', end + 1))
            parent = add_folder(volume.root() + below.substr(0, end), parent);
        snapshot.entries.push_back(made_entry(volume.root() + below, volume.file_reference(file),
                                              parent,
                                              file < grouped ? file - file % group_size : file));
    }
    require(folders.size() == volume.folders() && detail::save_index(snapshot), "saving the index");
}

Ask fast_path(std::uint64_t size) {
    const VolumeOfSize of_size(size);
    save_index_of(of_size.make());
    return [of_size] {
        const FakeLargeVolume volume = of_size.make();
        ScanResult result;
        Round round;
        round.ours = seconds_for([&] {
            ScanProgress progress;
            result = scan({.root = volume.root(), .workers = workers}, progress);
        });
        require(result.statistics.fast_path_unchanged &&
                    result.statistics.files == volume.files() &&
                    result.groups.size() >= volume.files() / 10 / group_size,
                "the fast path");
        result = {};
        std::optional<IndexSnapshot> snapshot;
        round.beside = seconds_for([&] { snapshot = detail::load_index(volume.root()); });
        require(snapshot.has_value(), "load_index");
        return round;
    };
}

// The answers to FSCTL_ENUM_USN_DATA by the reference at which they start.
using Answers = std::map<std::uint64_t, std::vector<std::byte>>;

Answers record_answers(const FakeLargeVolume& volume) {
    const unique_handle handle = own_handle(open_volume(volume.root()));
    MFT_ENUM_DATA_V0 request = {0, 0, volume.journal().NextUsn};
    std::vector<std::byte> buffer(detail::read_buffer_size);
    Answers answers;
    DWORD returned = 0;
    while (DeviceIoControl(handle.get(), FSCTL_ENUM_USN_DATA, &request, sizeof request,
                           buffer.data(), detail::read_buffer_size, &returned, nullptr)) {
        answers[request.StartFileReferenceNumber].assign(buffer.begin(), buffer.begin() + returned);
        request.StartFileReferenceNumber = load_little_endian<std::uint64_t>(buffer.data());
    }
    return answers;
}

// The table is played back from now until the volume is destroyed.
void play_back(const Answers& answers) {
    auto others = hooks().DeviceIoControl;
    hooks().DeviceIoControl = [&answers, others](HANDLE volume, DWORD code, LPVOID input,
                                                 DWORD input_size, LPVOID output, DWORD output_size,
                                                 LPDWORD returned, LPOVERLAPPED overlapped) {
        if (code != FSCTL_ENUM_USN_DATA)
            return others(volume, code, input, input_size, output, output_size, returned,
                          overlapped);
        const auto answer =
            answers.find(static_cast<MFT_ENUM_DATA_V0*>(input)->StartFileReferenceNumber);
        if (answer == answers.end()) {
            SetLastError(ERROR_HANDLE_EOF);
            return FALSE;
        }
        std::memcpy(output, answer->second.data(), answer->second.size());
        *returned = static_cast<DWORD>(answer->second.size());
        return TRUE;
    };
}

// The time of the first query of metadata; set on any thread.
class FirstQuestion {
  public:
    void note() {
        if (!asked_.exchange(true))
            at_ = now();
    }
    [[nodiscard]] double at() const { return at_; }

  private:
    std::atomic<bool> asked_{false};
    double at_ = 0;
};

struct EnoughSeen {};

using PathMap = std::unordered_map<std::uint64_t, std::wstring>;

// Parents are listed before their children.
std::size_t bare_table(HANDLE volume, const std::wstring& root, std::int64_t next_usn,
                       PathMap& paths) {
    const auto buffer = std::make_unique<detail::ReadBuffer>();
    MFT_ENUM_DATA_V0 request = {0, 0, next_usn};
    DWORD returned = 0;
    paths.emplace(testing::root_reference, root.substr(0, root.size() - 1));
    while (DeviceIoControl(volume, FSCTL_ENUM_USN_DATA, &request, sizeof request, buffer->bytes,
                           sizeof buffer->bytes, &returned, nullptr)) {
        request.StartFileReferenceNumber = load_little_endian<std::uint64_t>(buffer->bytes);
        const std::byte* const end = buffer->bytes + returned;
        for (const std::byte* record = buffer->bytes + 8; record < end;
             record += load_little_endian<std::uint32_t>(record)) {
            const auto reference = load_little_endian<std::uint64_t>(record + 8);
            const auto parent = load_little_endian<std::uint64_t>(record + 16);
            const std::size_t name_units = load_little_endian<std::uint16_t>(record + 56) / 2;
            const std::byte* const name = record + load_little_endian<std::uint16_t>(record + 58);
            if (reference == parent)
                continue;
            const std::wstring& folder = paths.at(parent);
            std::wstring path;
            path.reserve(folder.size() + 1 + name_units);
            path.append(folder).push_back(L'\\');
            path.append(reinterpret_cast<const wchar_t*>(name), name_units);
            paths.emplace(reference, std::move(path));
        }
    }
    return paths.size();
}

// The seconds that the scan takes up to its first query of metadata, which stops it.
double table_alone(const FakeLargeVolume& volume) {
    FirstQuestion first;
    hooks().GetFileAttributesExW = [&first](LPCWSTR, GET_FILEEX_INFO_LEVELS, LPVOID) -> BOOL {
        first.note();
        throw EnoughSeen();
    };
    worker_pool pool(1);  // its last jobs may run after the scan has ended
    IndexSnapshot snapshot;
    ScanStatistics statistics;
    ScanProgress progress;
    const double start = now();
    try {
        (void)detail::scan_ntfs_mft(volume.root(), snapshot, statistics, progress, pool);
        require(false, "ending the scan");
    } catch (const EnoughSeen&) {
        require(progress.entries_seen == volume.records(), "seeing every record");
    }
    return first.at() - start;
}

Ask table(std::uint64_t size) {
    const VolumeOfSize of_size(size);
    auto answers = std::make_shared<const Answers>(record_answers(of_size.make()));
    return [of_size, answers] {
        const FakeLargeVolume volume = of_size.make();
        play_back(*answers);
        Round round;
        round.ours = table_alone(volume);
        const unique_handle handle = own_handle(open_volume(volume.root()));
        PathMap paths;
        round.beside = seconds_for([&] {
            require(bare_table(handle.get(), volume.root(), volume.journal().NextUsn, paths) ==
                        volume.records(),
                    "the bare table");
        });
        return round;
    };
}

using Metadata = std::optional<WIN32_FILE_ATTRIBUTE_DATA>;

double empty_jobs(worker_pool& pool, std::uint64_t count) {
    std::uint64_t done = 0;
    const double seconds = seconds_for([&] {
        JobBatch<std::size_t, Metadata> batch(pool, count);
        const auto collect = [&](std::size_t, const Metadata& metadata) {
            done += metadata ? 1 : 0;
        };
        for (std::uint64_t i = 0; i < count; ++i)
            batch.submit(
                i, []() -> Metadata { return WIN32_FILE_ATTRIBUTE_DATA{}; }, collect);
        batch.drain(collect);
    });
    require(done == count, "running every job");
    return seconds;
}

Ask metadata(std::uint64_t size) {
    const VolumeOfSize of_size(size);
    return [of_size] {
        const FakeLargeVolume volume = of_size.make();
        FirstQuestion first;
        hooks().GetFileAttributesExW = [&first](LPCWSTR, GET_FILEEX_INFO_LEVELS, LPVOID data) {
            first.note();
            *static_cast<WIN32_FILE_ATTRIBUTE_DATA*>(data) = {};
            return TRUE;
        };
        worker_pool pool(workers);
        IndexSnapshot snapshot;
        ScanStatistics statistics;
        ScanProgress progress;
        require(detail::scan_ntfs_mft(volume.root(), snapshot, statistics, progress, pool) &&
                    statistics.files == volume.files(),
                "scan_ntfs_mft");
        Round round;
        round.ours = now() - first.at();
        round.beside = empty_jobs(pool, volume.files());
        return round;
    };
}

Ask delta(std::uint64_t size) {
    const VolumeOfSize of_size(size);
    save_index_of(of_size.make());
    return [of_size] {
        FakeLargeVolume volume = of_size.make();
        const std::uint64_t changes = volume.files() / 100;
        volume.change_files(changes);
        const unique_handle handle = own_handle(open_volume(volume.root()));
        const USN_JOURNAL_DATA_V0 journal = volume.journal();
        worker_pool pool(workers);
        std::optional<IndexSnapshot> snapshot;
        Round round;
        round.beside = seconds_for([&] { snapshot = detail::load_index(volume.root()); });
        require(snapshot.has_value(), "load_index");
        ScanStatistics statistics;
        ScanProgress progress;
        bool changed = false;
        round.ours = seconds_for([&] {
            require(detail::apply_usn_delta(volume.root(), handle.get(), journal, *snapshot,
                                            statistics, progress, pool, changed),
                    "apply_usn_delta");
        });
        require(changed && statistics.journal_changes == 2 * changes &&
                    snapshot->entries.size() == volume.records(),
                "applying every change");
        return round;
    };
}

constexpr Row rows[] = {
    {L"fast-path", fast_path}, {L"table", table}, {L"metadata", metadata}, {L"delta", delta}};

}  // namespace

int wmain(int count, wchar_t** arguments) {
    return answer(count, arguments, rows);
}
