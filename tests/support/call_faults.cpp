#include "support/call_faults.h"

#include <algorithm>
#include <mutex>

#include "support/program_streams.h"

namespace larkspine::testing {
namespace {

using Guard = std::lock_guard<VolumeLock>;

const auto any_use = [](const auto&...) { return true; };

// The call is not made; it returns `answer`.
template <typename Result>
auto refusing(Result answer) {
    return [answer](const auto&, const auto&...) {
        SetLastError(ERROR_IO_DEVICE);
        return answer;
    };
}

// The call is made, but reports a failure.
const auto denied = [](const auto& below, const auto&... arguments) {
    below(arguments...);
    SetLastError(ERROR_IO_DEVICE);
    return BOOL{FALSE};
};

// Does nothing and reports success.
const auto idle = [](const auto&, HANDLE, const auto&, DWORD, LPDWORD done, const auto&) {
    *done = 0;
    return BOOL{TRUE};
};

// Transfers only one of the requested bytes or characters.
const auto brief = [](const auto& below, HANDLE handle, auto bytes, DWORD count, LPDWORD done,
                      auto last) {
    return below(handle, bytes, std::min<DWORD>(count, 1), done, last);
};

template <DWORD code>
const auto of_code = [](HANDLE, DWORD asked, const auto&...) { return asked == code; };

// Tells the call that measures the length from the call that fetches the text.
const auto asks_for_length = [](UINT, DWORD, LPCWCH, int, LPSTR, int room, LPCCH, LPBOOL) {
    return room == 0;
};

#define LAYER(name, fail, counts) \
    [](CallFaults& faults) { faults.layer(&ImportHooks::name, &RealImports::name, fail, counts); }
#define REFUSED(name, answer) \
    { #name " fails", LAYER(name, refusing(answer), any_use) }

}  // namespace

const std::vector<SweptCall>& swept_folder_calls() {
    static const std::vector<SweptCall> calls = {
        REFUSED(CreateFileW, INVALID_HANDLE_VALUE),
        REFUSED(ReadFile, BOOL{FALSE}),
        {"ReadFile is short", LAYER(ReadFile, brief, any_use)},
        REFUSED(GetFileSizeEx, BOOL{FALSE}),
        REFUSED(SetFilePointerEx, BOOL{FALSE}),
        REFUSED(FindFirstFileExW, INVALID_HANDLE_VALUE),
        REFUSED(FindNextFileW, BOOL{FALSE}),
        REFUSED(GetFileAttributesW, DWORD{INVALID_FILE_ATTRIBUTES}),
        REFUSED(GetFileInformationByHandleEx, BOOL{FALSE}),
        REFUSED(CreateDirectoryW, BOOL{FALSE}),
        REFUSED(WriteFile, BOOL{FALSE}),
        {"WriteFile writes nothing", LAYER(WriteFile, idle, any_use)},
        {"WriteFile is short", LAYER(WriteFile, brief, any_use)},
        REFUSED(FlushFileBuffers, BOOL{FALSE}),
        REFUSED(MoveFileExW, BOOL{FALSE}),
        REFUSED(GetCurrentDirectoryW, DWORD{0}),
        REFUSED(GetFullPathNameW, DWORD{0}),
        REFUSED(GetEnvironmentVariableW, DWORD{0}),
        {"WideCharToMultiByte tells no length",
         LAYER(WideCharToMultiByte, refusing(0), asks_for_length)},
        REFUSED(WideCharToMultiByte, 0),
        REFUSED(FlsSetValue, BOOL{FALSE}),
        REFUSED(GetStdHandle, HANDLE{nullptr}),
        {"GetStdHandle gives an invalid one",
         LAYER(GetStdHandle, refusing(INVALID_HANDLE_VALUE), any_use)},
        {"CloseHandle denies", LAYER(CloseHandle, denied, any_use)},
        {"FindClose denies", LAYER(FindClose, denied, any_use)},
    };
    return calls;
}

const std::vector<SweptCall>& swept_volume_calls() {
    static const std::vector<SweptCall> calls = {
        REFUSED(GetFileAttributesExW, BOOL{FALSE}),
        REFUSED(GetFileInformationByHandle, BOOL{FALSE}),
        REFUSED(GetVolumeInformationW, BOOL{FALSE}),
        {"DeviceIoControl for the journal fails",
         LAYER(DeviceIoControl, refusing(BOOL{FALSE}), of_code<FSCTL_QUERY_USN_JOURNAL>)},
        {"DeviceIoControl for the table fails",
         LAYER(DeviceIoControl, refusing(BOOL{FALSE}), of_code<FSCTL_ENUM_USN_DATA>)},
        {"DeviceIoControl for changes fails",
         LAYER(DeviceIoControl, refusing(BOOL{FALSE}), of_code<FSCTL_READ_USN_JOURNAL>)},
    };
    return calls;
}

const std::vector<SweptCall>& swept_console_calls() {
    static const std::vector<SweptCall> calls = {
        REFUSED(GetStdHandle, HANDLE{nullptr}),
        {"GetStdHandle gives an invalid one",
         LAYER(GetStdHandle, refusing(INVALID_HANDLE_VALUE), any_use)},
        REFUSED(GetConsoleMode, BOOL{FALSE}),
        REFUSED(GetConsoleScreenBufferInfo, BOOL{FALSE}),
        REFUSED(SetConsoleCursorPosition, BOOL{FALSE}),
        REFUSED(WriteConsoleW, BOOL{FALSE}),
        {"WriteConsoleW writes nothing", LAYER(WriteConsoleW, idle, any_use)},
        {"WriteConsoleW is short", LAYER(WriteConsoleW, brief, any_use)},
        REFUSED(GetConsoleCursorInfo, BOOL{FALSE}),
        REFUSED(SetConsoleCursorInfo, BOOL{FALSE}),
        REFUSED(GetConsoleProcessList, DWORD{0}),
        REFUSED(ReadConsoleW, BOOL{FALSE}),
    };
    return calls;
}

const SweptCall& swept_delete() {
    static const SweptCall call = REFUSED(DeleteFileW, BOOL{FALSE});
    return call;
}

const SweptCall& swept_flush() {
    static const SweptCall call = REFUSED(FlushFileBuffers, BOOL{FALSE});
    return call;
}

CallFaults::CallFaults() : before_(hooks()) {
    clear();
}

CallFaults::~CallFaults() {
    hooks() = before_;
}

void CallFaults::plant(const SweptCall& call, std::size_t use) {
    clear();
    plant_also(call, use);
}

void CallFaults::plant_also(const SweptCall& call, std::size_t use) {
    planted_.push_back({use, 0, false, {}});
    call.plant(*this);
}

void CallFaults::clear() {
    hooks() = before_;
    planted_.clear();
    track_handles();
}

void CallFaults::begin() {
    const Guard guard(lock_);
    open_.clear();
    active_ = true;
}

bool CallFaults::happened() const {
    const Guard guard(lock_);
    return !planted_.empty() && planted_.back().happened;
}

std::wstring CallFaults::subject() const {
    const Guard guard(lock_);
    return planted_.empty() ? std::wstring() : planted_.back().subject;
}

std::size_t CallFaults::open_handles() const {
    const Guard guard(lock_);
    return open_.size();
}

CallFaults::Subject CallFaults::subject_of_handle(HANDLE handle) const {
    if (const wchar_t* const name = ProgramStreams::name_of(handle))
        return {true, name};
    const Guard guard(lock_);
    const auto found = open_.find(handle);
    return found == open_.end() ? Subject{false, {}} : Subject{true, found->second};
}

bool CallFaults::takes(Planted& planted, const Subject& subject) {
    if (!active_ || !subject.counts)
        return false;
    const Guard guard(lock_);
    const std::size_t use = planted.count++;
    if (planted.use != every_use && planted.use != use)
        return false;
    planted.happened = true;
    planted.subject = subject.text;
    return true;
}

void CallFaults::track_handles() {
    hooks().CreateFileW =
        [this, below = below_or_real(&ImportHooks::CreateFileW, &RealImports::CreateFileW)](
            LPCWSTR path, auto... others) { return opened(below(path, others...), path); };
    hooks().FindFirstFileExW =
        [this,
         below = below_or_real(&ImportHooks::FindFirstFileExW, &RealImports::FindFirstFileExW)](
            LPCWSTR pattern, auto... others) { return opened(below(pattern, others...), pattern); };
    hooks().CloseHandle = [this, below = below_or_real(&ImportHooks::CloseHandle,
                                                       &RealImports::CloseHandle)](HANDLE handle) {
        closed(handle);
        return below(handle);
    };
    hooks().FindClose = [this, below = below_or_real(&ImportHooks::FindClose,
                                                     &RealImports::FindClose)](HANDLE handle) {
        closed(handle);
        return below(handle);
    };
}

HANDLE CallFaults::opened(HANDLE handle, LPCWSTR path) {
    if (active_ && handle != INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        const Guard guard(lock_);
        open_[handle] = path;
        SetLastError(error);
    }
    return handle;
}

// Called before the handle is closed, because its value may be reused at once.
void CallFaults::closed(HANDLE handle) {
    const Guard guard(lock_);
    open_.erase(handle);
}

}  // namespace larkspine::testing
