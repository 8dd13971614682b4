// The imports through which a program meets a fake volume: takes the calls for one drive
// letter, records them, applies the planted faults, and answers from the contents, the journal and
// the system. Everything that is not the drive's is forwarded untouched. The letter may be that of
// a real drive, which is then hidden; only the system's folder for temporary files stays reachable.
//
// FSCTL_ENUM_USN_DATA is answered by the bare number of the record to continue with, then as many
// records as fit, in the order of their numbers from the requested one on. Records whose USN lies
// outside the requested bounds (both inclusive) are left out. When none is left, the answer is
// ERROR_HANDLE_EOF.
#pragma once

#include "base/win32_api.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/fake_journal.h"
#include "support/import_replacement.h"
#include "support/planted_faults.h"
#include "support/usn_record_writer.h"
#include "support/volume_calls.h"

namespace larkspine::testing {

struct VolumeSettings {
    wchar_t letter = L'Q';
    // As FileIdInfo gives it. GetVolumeInformationW and GetFileInformationByHandle return only its
    // low half, as on Windows.
    std::uint64_t serial = 0x5EA1'90F3'1B0C'7D42;
    std::wstring file_system = L"NTFS";
    JournalSettings journal;
    bool lists_root = true;   // whether the table lists record 5, under the name "."
    bool keeps_calls = true;  // false: calls are counted only
};

// The source of the answers. Called with the lock held.
class VolumeContents {
  public:
    virtual ~VolumeContents() = default;
    VolumeContents() = default;
    VolumeContents(const VolumeContents&) = delete;
    VolumeContents& operator=(const VolumeContents&) = delete;

    // One past the highest record number.
    [[nodiscard]] virtual std::uint64_t end_of_table() const = 0;
    // Replaces `records` by those of that number, in the order in which they are listed.
    virtual void records_at(std::uint64_t number, std::vector<UsnRecordFields>& records) const = 0;
    // Paths are below the root; the root itself is empty.
    [[nodiscard]] virtual std::optional<std::uint64_t> find_reference(
        std::wstring_view path) const = 0;
    // The real path of the file; empty for a file in memory.
    [[nodiscard]] virtual std::wstring system_path(std::wstring_view path) const = 0;
    // The attributes of a file in memory; false when there is none.
    virtual bool attributes_in_memory(std::wstring_view path,
                                      WIN32_FILE_ATTRIBUTE_DATA& data) const;
    // The file's attributes in addition to those of the system.
    [[nodiscard]] virtual std::uint32_t added_attributes(std::wstring_view path) const;
};

class VolumeRequests {
  public:
    VolumeRequests(const VolumeSettings& settings, VolumeContents& contents, VolumeLock& lock);
    ~VolumeRequests() = default;
    VolumeRequests(const VolumeRequests&) = delete;
    VolumeRequests& operator=(const VolumeRequests&) = delete;

    // \\?\Q:\.
    [[nodiscard]] std::wstring root() const;

    VolumeSettings settings;
    FakeJournal journal;
    PlantedFaults faults;
    CallLog log;

    [[nodiscard]] std::size_t open_handles() const { return opened_.size(); }

  private:
    struct Opened {
        bool volume = false;
        bool in_memory = false;
        std::wstring path;
        std::optional<std::uint64_t> reference;
    };

    // A call that has begun, and the faults that happen at it.
    struct Begun {
        VolumeCall call;
        std::vector<Fault> faults;
        std::optional<DWORD> refused;  // the error that a fault makes it return
    };

    // The path below the root; no value for a path that is not on the drive.
    [[nodiscard]] std::optional<std::wstring> on_drive(LPCWSTR path) const;
    [[nodiscard]] bool is_device(LPCWSTR path) const;
    [[nodiscard]] std::optional<Opened> opened(HANDLE handle) const;

    Begun begin(VolumeCall call);
    // Records the call; returns whether it succeeded, with the last error set when it did not.
    BOOL finish(Begun& begun, DWORD error);

    HANDLE open(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                DWORD disposition, DWORD flags, HANDLE pattern);
    HANDLE open_on_drive(const VolumeCall& call, Opened& opened, DWORD& error) const;
    BOOL close(HANDLE handle);
    BOOL read(HANDLE file, LPVOID buffer, DWORD wanted, LPDWORD got, LPOVERLAPPED overlapped);
    BOOL control(HANDLE volume, DWORD code, LPVOID input, DWORD input_size, LPVOID output,
                 DWORD output_size, LPDWORD returned, LPOVERLAPPED overlapped);
    BOOL information(HANDLE file, LPBY_HANDLE_FILE_INFORMATION information);
    BOOL identity(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID buffer, DWORD size);
    Begun begin_identity(const Opened& target);
    BOOL extended_attributes(LPCWSTR path, GET_FILEEX_INFO_LEVELS level, LPVOID data);
    DWORD plain_attributes(LPCWSTR path);
    BOOL query(const std::wstring& below, LPCWSTR path, WIN32_FILE_ATTRIBUTE_DATA& data);
    HANDLE list(LPCWSTR pattern, FINDEX_INFO_LEVELS level, LPVOID data, FINDEX_SEARCH_OPS operation,
                LPVOID filter, DWORD flags);
    BOOL list_next(HANDLE listing, LPWIN32_FIND_DATAW data);
    BOOL close_listing(HANDLE listing);
    void add_attributes(const std::wstring& folder, WIN32_FIND_DATAW& data) const;
    static void skip_dots(HANDLE& handle, WIN32_FIND_DATAW& data, DWORD& error);
    BOOL describe(LPCWSTR path, LPWSTR label, DWORD label_size, LPDWORD serial,
                  LPDWORD component_length, LPDWORD features, LPWSTR file_system,
                  DWORD file_system_size);

    // The answers to control codes (volume_control.cpp): an error code, 0 for success.
    static bool disturb(const Fault& fault, const VolumeCall& call, DWORD error, std::byte* output,
                        DWORD& returned);
    DWORD answer_control(const VolumeCall& call, std::byte* output, DWORD& returned) const;
    DWORD answer_query(const VolumeCall& call, std::byte* output, DWORD& returned) const;
    DWORD answer_listing(const VolumeCall& call, std::byte* output, DWORD& returned) const;

    VolumeContents& contents_;
    VolumeLock& lock_;
    std::wstring exempt_;  // the folder for temporary files, when it is on a drive of that letter
    std::map<HANDLE, Opened> opened_;
    std::map<HANDLE, std::wstring> listings_;  // the folder of each open listing on the drive
    ImportReset reset_;
};

}  // namespace larkspine::testing
