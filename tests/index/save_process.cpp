// A process that saves an index, for tests that watch it from outside.
//
//   save_process kill N       ends itself, as a killed process does, before the N-th of the save's
//                             system calls (from 0); exit code 9. With fewer calls than that: 0.
//   save_process repeat N T   saves N times a snapshot whose files are named after T; 0 when a save
//                             succeeded, 1 when none did. The system may refuse a rename onto a
//                             file that another process is renaming at that instant.
//
// The index goes where the environment says.
#include "base/win32_api.h"

#include <string>

#include "index/index_file.h"
#include "support/failing_steps.h"
#include "support/file_writes.h"
#include "support/import_replacement.h"
#include "support/snapshots.h"

namespace {

using namespace larkspine;
using namespace larkspine::testing;

// Counts a call. At the chosen one the process ends.
void step(FailingSteps& steps) {
    if (steps.fails())
        TerminateProcess(GetCurrentProcess(), 9);
}

int killed_at(std::size_t call) {
    static FailingSteps steps(call);
    hooks().CreateFileW = [](auto... a) {
        step(steps);
        return real_imports().CreateFileW(a...);
    };
    answer_writes([](FileWrite& write, DWORD&) {
        step(steps);
        // In pieces, so that the process can also end in the middle of the contents.
        write.length = std::min<DWORD>(write.length, 100);
        return std::optional<BOOL>();
    });
    hooks().FlushFileBuffers = [](HANDLE file) {
        step(steps);
        return real_imports().FlushFileBuffers(file);
    };
    hooks().CloseHandle = [](HANDLE handle) {
        step(steps);
        return real_imports().CloseHandle(handle);
    };
    hooks().MoveFileExW = [](auto... a) {
        step(steps);
        return real_imports().MoveFileExW(a...);
    };
    return detail::save_index(snapshot_of(L"\\\\?\\D:\\Photos",
                                          {full_entry(L"\\\\?\\D:\\Photos\\new.txt", L"new.txt")}))
               ? 0
               : 1;
}

int repeated(int times, const std::wstring& tag) {
    detail::IndexSnapshot snapshot;
    snapshot.root = L"\\\\?\\D:\\Photos";
    for (int i = 0; i < 2'000; ++i)
        snapshot.entries.push_back(
            walked_file(L"\\\\?\\D:\\Photos\\" + tag + std::to_wstring(i), 1));
    int saved = 0;
    for (int i = 0; i < times; ++i)
        saved += detail::save_index(snapshot) ? 1 : 0;
    return saved > 0 ? 0 : 1;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc == 3 && argv[1] == std::wstring(L"kill"))
        return killed_at(std::stoul(argv[2]));
    if (argc == 4 && argv[1] == std::wstring(L"repeat"))
        return repeated(std::stoi(argv[2]), argv[3]);
    return 2;
}
