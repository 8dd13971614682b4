// Records the calls on files, one line of text for each, and makes them fail as a test wants. For
// programs with replaced imports.
//
//     open f            CreateFileW returned a handle for the file named f
//     open f fails      it returned none
//     query f 18 24     GetFileInformationByHandleEx: the information class, the size of its buffer
//     read f 65536      ReadFile: the requested bytes
//     seek f 70000 by 0 SetFilePointerEx: the distance, the method
//     close f           CloseHandle
//
// Only files that are opened between restart() and pause() are recorded and disturbed. The hooks
// may run on any thread. Everything else is for the test's own thread, while no job runs. Make it
// before the threads that open files, so that the hooks outlive them.
#pragma once

#include "base/win32_api.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "support/import_replacement.h"
#include "support/open_call.h"

namespace larkspine::testing {

using Events = std::vector<std::string>;

class FileCalls {
  public:
    // Sets the hooks; nothing is recorded yet.
    FileCalls();
    FileCalls(const FileCalls&) = delete;
    FileCalls& operator=(const FileCalls&) = delete;

    // Forgets what was recorded, counts reads from 0 and records from now on.
    void restart();
    void pause() { recording_ = false; }

    // Reads are counted over all files, from 0. Each fault replaces the previous one.
    void fail_read(std::size_t failing);
    void end_file_at_read(std::size_t ending);
    void throw_at_read(std::size_t throwing);  // std::bad_alloc
    void shorten_read(std::size_t shortened, DWORD limit);
    void claim_more_than_asked_for();
    void read_without_faults() { on_read = nullptr; }

    [[nodiscard]] std::size_t open_handles();

    Events events;
    std::vector<OpenCall> opens;
    std::vector<LPVOID> buffers;  // of the reads
    std::size_t reads = 0;

    // Called before a file is opened; false refuses it.
    std::function<bool(const std::string& name, DWORD flags)> on_open;
    // Called before a read; may change the requested size, or answer in place of the system.
    std::function<std::optional<BOOL>(std::size_t number, DWORD& wanted, DWORD& got)> on_read;
    DWORD read_limit = UINT32_MAX;  // the most that one read delivers
    bool seeks_work = true;
    bool queries_work = true;

  private:
    HANDLE create(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                  DWORD disposition, DWORD flags, HANDLE pattern);
    BOOL query(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID buffer, DWORD size);
    BOOL read(HANDLE file, LPVOID buffer, DWORD wanted, LPDWORD got, LPOVERLAPPED overlapped);
    BOOL seek(HANDLE file, LARGE_INTEGER distance, PLARGE_INTEGER position, DWORD method);
    BOOL close(HANDLE handle);
    // Records "`what` name`more`"; false, and nothing recorded, when the handle is not watched.
    bool record(const char* what, HANDLE file, const std::string& more = {});

    SRWLOCK lock_ = SRWLOCK_INIT;
    std::atomic<bool> recording_{false};
    std::map<HANDLE, std::string> names_;  // of the watched handles
    ImportReset reset_;
};

}  // namespace larkspine::testing
