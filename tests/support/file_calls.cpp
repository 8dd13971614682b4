#include "support/file_calls.h"

#include <algorithm>
#include <new>
#include <string_view>

#include "support/srw_lock.h"

namespace larkspine::testing {
namespace {

// The last component of a path; the names in tests are plain ASCII.
std::string name_of(std::wstring_view path) {
    path.remove_prefix(path.rfind(L'\\') + 1);
    std::string name;
    for (const wchar_t unit : path)
        name += static_cast<char>(unit);
    return name;
}

}  // namespace

FileCalls::FileCalls() {
    const auto bind = [this](auto member) {
        return [this, member](auto... arguments) { return (this->*member)(arguments...); };
    };
    hooks().CreateFileW = bind(&FileCalls::create);
    hooks().GetFileInformationByHandleEx = bind(&FileCalls::query);
    hooks().ReadFile = bind(&FileCalls::read);
    hooks().SetFilePointerEx = bind(&FileCalls::seek);
    hooks().CloseHandle = bind(&FileCalls::close);
}

void FileCalls::restart() {
    events.clear();
    opens.clear();
    buffers.clear();
    reads = 0;
    recording_ = true;
}

void FileCalls::fail_read(std::size_t failing) {
    on_read = [failing](std::size_t number, DWORD&, DWORD&) {
        return number == failing ? std::optional<BOOL>(FALSE) : std::nullopt;
    };
}

void FileCalls::end_file_at_read(std::size_t ending) {
    on_read = [ending](std::size_t number, DWORD&, DWORD& got) {
        got = 0;
        return number == ending ? std::optional<BOOL>(TRUE) : std::nullopt;
    };
}

void FileCalls::throw_at_read(std::size_t throwing) {
    on_read = [throwing](std::size_t number, DWORD&, DWORD&) -> std::optional<BOOL> {
        if (number == throwing)
            throw std::bad_alloc();
        return std::nullopt;
    };
}

void FileCalls::shorten_read(std::size_t shortened, DWORD limit) {
    on_read = [=](std::size_t number, DWORD& wanted, DWORD&) -> std::optional<BOOL> {
        if (number == shortened)
            wanted = std::min(wanted, limit);
        return std::nullopt;
    };
}

void FileCalls::claim_more_than_asked_for() {
    on_read = [](std::size_t, DWORD& wanted, DWORD& got) {
        got = wanted + 1;
        return std::optional<BOOL>(TRUE);
    };
}

std::size_t FileCalls::open_handles() {
    const SrwLock lock(lock_);
    return names_.size();
}

HANDLE FileCalls::create(LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security,
                         DWORD disposition, DWORD flags, HANDLE pattern) {
    const auto forward = [&] {
        return real_imports().CreateFileW(path, access, share, security, disposition, flags,
                                          pattern);
    };
    if (!recording_)
        return forward();
    const std::string name = name_of(path);
    const bool refused = on_open && !on_open(name, flags);
    const HANDLE file = refused ? INVALID_HANDLE_VALUE : forward();
    if (refused)
        SetLastError(ERROR_ACCESS_DENIED);
    const bool opened = file != INVALID_HANDLE_VALUE;
    const SrwLock lock(lock_);
    opens.push_back({path, access, share, security, disposition, flags, pattern});
    events.push_back("open " + name + (opened ? "" : " fails"));
    if (opened)
        names_[file] = name;
    return file;
}

BOOL FileCalls::query(HANDLE file, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID buffer, DWORD size) {
    if (record("query", file, " " + std::to_string(kind) + " " + std::to_string(size)) &&
        !queries_work)
        return FALSE;
    return real_imports().GetFileInformationByHandleEx(file, kind, buffer, size);
}

BOOL FileCalls::read(HANDLE file, LPVOID buffer, DWORD wanted, LPDWORD got,
                     LPOVERLAPPED overlapped) {
    if (record("read", file, " " + std::to_string(wanted))) {
        std::size_t number = 0;
        {
            const SrwLock lock(lock_);
            buffers.push_back(buffer);
            number = reads++;
        }
        const std::optional<BOOL> answer = on_read ? on_read(number, wanted, *got) : std::nullopt;
        if (answer)
            return *answer;
        wanted = std::min(wanted, read_limit);
    }
    return real_imports().ReadFile(file, buffer, wanted, got, overlapped);
}

BOOL FileCalls::seek(HANDLE file, LARGE_INTEGER distance, PLARGE_INTEGER position, DWORD method) {
    if (record("seek", file,
               " " + std::to_string(distance.QuadPart) + " by " + std::to_string(method)) &&
        !seeks_work)
        return FALSE;
    return real_imports().SetFilePointerEx(file, distance, position, method);
}

BOOL FileCalls::close(HANDLE handle) {
    if (record("close", handle)) {
        const SrwLock lock(lock_);
        names_.erase(handle);
    }
    return real_imports().CloseHandle(handle);
}

bool FileCalls::record(const char* what, HANDLE file, const std::string& more) {
    const SrwLock lock(lock_);
    const auto found = names_.find(file);
    if (found == names_.end())
        return false;
    events.push_back(what + (" " + found->second) + more);
    return true;
}

}  // namespace larkspine::testing
