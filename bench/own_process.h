// Starts programs from a benchmark: another program, or the benchmark itself, so that a measurement
// has a process and a memory peak of its own.
#pragma once

#include "base/win32_api.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <psapi.h>
#include <string>

#include "base/win32_handle.h"

namespace larkspine::bench {

inline void require(bool worked, const char* what) {
    if (!worked) {
        std::fprintf(stderr, "%s failed\n", what);
        std::exit(1);
    }
}

// The peak working set of this process so far, in bytes.
[[nodiscard]] inline std::uint64_t peak_memory() {
    PROCESS_MEMORY_COUNTERS counters = {};
    require(K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) != 0,
            "K32GetProcessMemoryInfo");
    return counters.PeakWorkingSetSize;
}

// Starts `program` with that command line in `folder` (null: the current one) and returns what it
// printed; ends when it fails.
[[nodiscard]] inline std::string output_of(const std::wstring& program, std::wstring command,
                                           const wchar_t* folder) {
    SECURITY_ATTRIBUTES inheritable = {sizeof inheritable, nullptr, TRUE};
    HANDLE ends[2];
    require(CreatePipe(&ends[0], &ends[1], &inheritable, 0) != 0, "CreatePipe");
    const unique_handle reading(ends[0]);
    unique_handle writing(ends[1]);
    SetHandleInformation(reading.get(), HANDLE_FLAG_INHERIT, 0);

    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = writing.get();
    startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION process = {};
    require(CreateProcessW(program.c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                           folder, &startup, &process) != 0,
            "CreateProcessW");
    CloseHandle(process.hThread);
    const unique_handle child(process.hProcess);
    writing.reset();

    std::string output;
    char bytes[512];
    for (DWORD got = 0; ReadFile(reading.get(), bytes, sizeof bytes, &got, nullptr) && got > 0;)
        output.append(bytes, got);
    DWORD code = 1;
    require(WaitForSingleObject(child.get(), INFINITE) == WAIT_OBJECT_0 &&
                GetExitCodeProcess(child.get(), &code) && code == 0,
            "the started program");
    return output;
}

// The full path of this program.
[[nodiscard]] inline std::wstring own_path() {
    std::wstring path(32'768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

// Runs this program with other arguments and returns what it printed; ends when it fails.
[[nodiscard]] inline std::string output_of_self(const std::wstring& arguments) {
    const std::wstring program = own_path();
    return output_of(program, L"\"" + program + L"\" " + arguments, nullptr);
}

}  // namespace larkspine::bench
