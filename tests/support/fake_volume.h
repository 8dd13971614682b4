// An NTFS volume for tests: a drive whose files are those of a folder, with the file table and the
// change journal that NTFS would have for them. For programs with replaced imports; production code
// knows nothing of it.
//
//     TempTree tree;
//     FakeVolume volume(tree);                // \\?\Q:\ is what the tree holds
//     volume.write(L"a\\b.txt", "text");
//     volume.rename(L"a", L"c");
//     volume.plant(failing(Request::read_journal, 0, ERROR_JOURNAL_ENTRY_DELETED));
//     ... what is tested, with volume.root() ...
//     EXPECT_EQ(volume.count(Request::read_file), 0u);
//
// Paths on the drive, in any form (\\?\Q:\x, Q:\x, q:/x), are redirected to the folder, and the
// system itself answers the calls for them: sizes, times, attributes, contents and errors are real.
// Only three things are made up: what GetVolumeInformationW reports of the drive, the identities of
// its files (their references in the fake table), and the control codes of \\.\q:. Two details are
// adjusted to those of a drive: its root lists neither "." nor "..", and a change of contents that
// the host's coarser clock does not show moves the time of the last write by 100 ns. Files cannot
// be changed through the drive: opening one for writing fails with ERROR_WRITE_PROTECT, and the
// calls that move, delete and create are not redirected.
//
// The files must be changed through the operations below, which write the records that NTFS would.
// Each opens the file, changes it and closes it, unless the file is held open. Files that the tree
// holds when the volume is made are older than the journal: their records have USN 0, and stand in
// the table sorted by name, folders before their contents.
//
// As in real journals, a link change is one record with the close reason, which names the link that
// was added or removed. While the file is held open, that record carries the reasons gathered so
// far and the file keeps them: only the link is closed.
//
// Where the public documentation leaves a choice: a file of several names is listed under the
// oldest that it still has; a listing of the table continues at a bare record number; a journal
// read that starts beyond the end, or inside a record, is an invalid parameter.
//
// One volume at a time. It sets the hooks for its lifetime: make it before the threads that use it.
// Operations and queries may come from any thread, also from an action during a call. All paths of
// operations and queries are below the root of the drive, with backslashes; all operations throw
// std::runtime_error when the system refuses.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/fake_journal.h"
#include "support/fake_table.h"
#include "support/planted_faults.h"
#include "support/temp_tree.h"
#include "support/volume_calls.h"
#include "support/volume_requests.h"

namespace larkspine::testing {

class FakeVolume : private VolumeContents {
  public:
    explicit FakeVolume(const TempTree& tree, const VolumeSettings& settings = {});
    ~FakeVolume() override;
    FakeVolume(const FakeVolume&) = delete;
    FakeVolume& operator=(const FakeVolume&) = delete;

    // \\?\Q:\ and paths below it.
    [[nodiscard]] std::wstring root() const;
    [[nodiscard]] std::wstring path(std::wstring_view relative) const;
    // The same file in its real folder, where no hook sees it.
    [[nodiscard]] std::wstring real_path(std::wstring_view relative) const;

    // ---- operations -------------------------------------------------------------------------
    // Makes the file, or replaces its contents: 0x100, 0x102, 0x80000102; or 0x4, 0x6, 0x80000006.
    // Missing parent folders are made first.
    void write(std::wstring_view file, std::string_view contents);
    void append(std::wstring_view file, std::string_view contents);  // 0x2
    void overwrite(std::wstring_view file, std::uint64_t offset,     // 0x1
                   std::string_view contents);                       // inside the file
    void truncate(std::wstring_view file, std::uint64_t size);       // 0x4, to a smaller size
    void write_stream(std::wstring_view file);                       // 0x20, no file is touched
    void make_folder(std::wstring_view folder);                      // 0x100, with its parents
    // 0x1000 with the old name, 0x2000 and 0x80002000 with the new one. An existing file of the new
    // name is deleted first. Only the renamed file or folder has records; the contents of a folder
    // have none.
    void rename(std::wstring_view from, std::wstring_view to);
    // Into another folder (empty: the root), under the same name. The same records.
    void move(std::wstring_view from, std::wstring_view into_folder);
    // 0x80000200; for one of several names of a file 0x80010000, with that name.
    void remove(std::wstring_view file_or_empty_folder);
    void remove_tree(std::wstring_view folder);
    // 0x80010000 with the added name.
    void link(std::wstring_view existing, std::wstring_view added);
    void set_attributes(std::wstring_view path, std::uint32_t attributes);   // 0x8000
    void set_write_time(std::wstring_view path, std::uint64_t filetime);     // 0x8000
    void set_creation_time(std::wstring_view path, std::uint64_t filetime);  // 0x8000
    // Makes the file or folder a reparse point, or an ordinary one again: 0x100000. The table, the
    // journal, queries and listings report its attribute 0x400; it still opens as an ordinary one.
    void set_reparse_point(std::wstring_view path, bool reparse_point);
    // Journals reasons without changing contents or metadata: one record for each reason that the
    // open file does not have yet, the lowest first, and the close. With the close reason among
    // them, a single record has them all. Creating, deleting, renaming and linking have their own
    // operations.
    void journal_reasons(std::wstring_view path, std::uint32_t reasons);
    // Holds the file open: its reasons accumulate over operations, without the close record, until
    // it is closed. Opening alone writes no record, closing only when there is a reason.
    void open(std::wstring_view path);
    void close(std::wstring_view path);
    // Makes nested folders, each named "d", the first in the root; returns the path of the last.
    std::wstring make_chain(std::size_t folders);

    // ---- the journal ------------------------------------------------------------------------
    [[nodiscard]] USN_JOURNAL_DATA_V0 journal() const;
    // The records that it still holds, from `start` on.
    [[nodiscard]] std::vector<UsnRecordFields> journalled(std::int64_t start = 0) const;
    // Writes the record as it is, except for its USN and time, which the journal assigns. For
    // changes of files that do not exist. Returns the USN.
    std::int64_t append_to_journal(UsnRecordFields record);
    // Drops all records; the next USN stays and becomes the first.
    void purge_journal();
    // The requests for a journal fail from now on, and no change is recorded.
    void delete_journal();
    // Another identifier; USNs begin at 0 again, in the table too.
    void create_journal();
    // Another identifier for the same USNs.
    void restamp_journal();

    // ---- the table --------------------------------------------------------------------------
    [[nodiscard]] std::uint64_t reference_of(std::wstring_view path) const;
    [[nodiscard]] std::int64_t usn_of(std::wstring_view path) const;
    // All names, sorted by code units: files under each of their names; folders without the root.
    [[nodiscard]] std::vector<std::wstring> files() const;
    [[nodiscard]] std::vector<std::wstring> folders() const;
    // Lists a record of a file that does not exist, in record order, after an existing record of
    // the same number. The number is not allocated any more. Keep it below a million, because the
    // table extends to it.
    void plant_record(UsnRecordFields record);
    // A record whose parent does not exist; two folders that are each other's parent.
    std::uint64_t plant_orphan(std::wstring_view name, std::uint32_t attributes = 0x20);
    std::pair<std::uint64_t, std::uint64_t> plant_loop(std::wstring_view first,
                                                       std::wstring_view second);
    // A record with a fresh reference below `parent`.
    std::uint64_t plant_child(std::uint64_t parent, std::wstring_view name,
                              std::uint32_t attributes = 0x20);

    // ---- faults and calls -------------------------------------------------------------------
    void plant(Fault fault);
    // The file is deleted, or replaced by a folder, when its attributes are queried.
    void plant_vanishing(std::wstring_view file);
    void plant_becoming_a_folder(std::wstring_view file);
    [[nodiscard]] std::size_t faults_left() const;
    void clear_faults();
    void set_file_system(std::wstring_view name);

    [[nodiscard]] std::vector<VolumeCall> calls() const;
    [[nodiscard]] std::vector<VolumeCall> calls(Request request) const;
    [[nodiscard]] std::vector<Request> requests() const;
    [[nodiscard]] std::size_t count(Request request) const;
    // The paths of the calls of one kind, sorted.
    [[nodiscard]] std::vector<std::wstring> paths(Request request) const;
    // Counts opens, reads and queries of files and folders other than the root, and all listings.
    [[nodiscard]] std::size_t files_touched() const;
    void forget_calls();
    // Handles of the volume and of files on the drive that are not closed.
    [[nodiscard]] std::size_t open_handles() const;

  private:
    [[nodiscard]] std::uint64_t end_of_table() const override;
    void records_at(std::uint64_t number, std::vector<UsnRecordFields>& records) const override;
    [[nodiscard]] std::optional<std::uint64_t> find_reference(
        std::wstring_view relative) const override;
    [[nodiscard]] std::wstring system_path(std::wstring_view relative) const override;
    [[nodiscard]] std::uint32_t added_attributes(std::wstring_view relative) const override;

    void adopt_folder(const std::wstring& folder,
                      std::map<std::uint64_t, std::uint64_t>& references);
    [[nodiscard]] std::vector<std::wstring> names(bool of_folders) const;
    [[nodiscard]] std::uint64_t known(std::wstring_view path) const;
    void make_parents(std::wstring_view path);
    // Allocates a record for a new file or folder.
    std::uint64_t add_name(std::wstring_view path);
    // Takes the system's attributes; a reparse point stays one.
    void read_attributes(std::uint64_t reference, std::wstring_view path);
    // Changes the contents of the file; its time of last write rises.
    void change_contents(std::wstring_view path, const std::function<void()>& action);
    // Adds a reason, which is recorded unless the open file has it already.
    void change(std::uint64_t reference, std::uint32_t reason, std::wstring_view path);
    // One record that names the link, whether the file is held open or not.
    void write_link_record(std::uint64_t reference, std::wstring_view path);
    void close_unless_held(std::uint64_t reference, std::wstring_view path);
    void change_and_close(std::wstring_view path, std::uint32_t reason);
    void write_record(std::uint64_t reference, std::uint32_t reason, std::wstring_view path);
    void remove_known(std::wstring_view path);

    std::wstring folder_;
    mutable VolumeLock lock_;
    FakeTable table_;
    std::multimap<std::uint64_t, UsnRecordFields> planted_;  // by record number
    VolumeRequests requests_;
};

}  // namespace larkspine::testing
