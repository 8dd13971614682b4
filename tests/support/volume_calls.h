// The calls made to a fake volume: one entry for each, in the order in which they were answered.
#pragma once

#include "base/win32_api.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace larkspine::testing {

enum class Request : std::uint8_t {
    open_volume,         // CreateFileW of \\.\q:
    query_journal,       // DeviceIoControl, FSCTL_QUERY_USN_JOURNAL
    list_table,          // DeviceIoControl, FSCTL_ENUM_USN_DATA
    read_journal,        // DeviceIoControl, FSCTL_READ_USN_JOURNAL
    other_control,       // DeviceIoControl, any other code
    volume_information,  // GetVolumeInformationW
    open_file,           // CreateFileW of a path on the drive, its root included
    identify_file,       // GetFileInformationByHandle or -Ex of a file on the drive
    read_file,           // ReadFile from a file on the drive
    query_attributes,    // GetFileAttributesExW or GetFileAttributesW
    list_folder,         // FindFirstFileExW
};
inline constexpr std::size_t request_kinds = 11;

struct VolumeCall {
    Request request{};
    std::wstring path;      // below the drive's root, with backslashes; empty for the root itself
    std::wstring as_given;  // the path as the caller passed it
    DWORD error = 0;        // of the failed call; 0 for success

    // Of a control code; zero in all other calls.
    DWORD code = 0;
    DWORD input_size = 0;
    DWORD output_size = 0;
    DWORD returned = 0;
    MFT_ENUM_DATA_V0 table{};            // of list_table
    READ_USN_JOURNAL_DATA_V0 journal{};  // of read_journal
    std::uint64_t next = 0;  // the continuation that list_table and read_journal returned

    // Of query_attributes, when it succeeded; zero in all other calls.
    WIN32_FILE_ATTRIBUTE_DATA answer{};

    // Of an open; zero in all other calls.
    DWORD access = 0;
    DWORD share = 0;
    DWORD disposition = 0;
    DWORD flags = 0;
};

// A critical section: recursive, so that an operation on the volume may be run from inside a call,
// and free of the imports that the fake volume itself replaces.
class VolumeLock {
  public:
    VolumeLock() { InitializeCriticalSection(&section_); }
    ~VolumeLock() { DeleteCriticalSection(&section_); }
    VolumeLock(const VolumeLock&) = delete;
    VolumeLock& operator=(const VolumeLock&) = delete;
    void lock() { EnterCriticalSection(&section_); }
    void unlock() { LeaveCriticalSection(&section_); }

  private:
    CRITICAL_SECTION section_{};
};

// Not thread-safe by itself: its owner holds a lock.
class CallLog {
  public:
    // With false only the counts are kept, for volumes of millions of files.
    explicit CallLog(bool keeps_calls) : keeps_calls_(keeps_calls) {}

    void add(VolumeCall call) {
        ++counts_[static_cast<std::size_t>(call.request)];
        if (keeps_calls_)
            calls_.push_back(std::move(call));
    }
    void clear() {
        counts_ = {};
        calls_.clear();
    }
    [[nodiscard]] std::size_t count(Request request) const {
        return counts_[static_cast<std::size_t>(request)];
    }
    [[nodiscard]] const std::vector<VolumeCall>& calls() const { return calls_; }

  private:
    bool keeps_calls_;
    std::array<std::size_t, request_kinds> counts_{};
    std::vector<VolumeCall> calls_;
};

}  // namespace larkspine::testing
