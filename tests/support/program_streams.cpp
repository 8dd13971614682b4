#include "support/program_streams.h"

#include "support/file_writes.h"
#include "support/import_replacement.h"

namespace larkspine::testing {
namespace {

using Guard = std::lock_guard<std::mutex>;

// No handle of the system has these values.
const HANDLE input_handle = reinterpret_cast<HANDLE>(std::uintptr_t{0x7ffd0001});
const HANDLE output_handle = reinterpret_cast<HANDLE>(std::uintptr_t{0x7ffd0002});
const HANDLE errors_handle = reinterpret_cast<HANDLE>(std::uintptr_t{0x7ffd0003});

}  // namespace

ProgramStreams::ProgramStreams(Kind kind) : kind_(kind) {
    hooks().GetStdHandle = [](DWORD which) {
        return which == STD_INPUT_HANDLE    ? input_handle
               : which == STD_OUTPUT_HANDLE ? output_handle
                                            : errors_handle;
    };
    hooks().GetConsoleMode = [this](HANDLE handle, LPDWORD mode) -> BOOL {
        if (name_of(handle) == nullptr)
            return real_imports().GetConsoleMode(handle, mode);
        *mode = 3;
        return kind_ == Kind::console;
    };
    answer_writes([this](const FileWrite& write, DWORD& written) -> std::optional<BOOL> {
        Written* const to = written_to(write.file);
        if (to == nullptr)
            return std::nullopt;
        const Guard guard(mutex_);
        to->bytes += write.text();
        written = write.length;
        return TRUE;
    });
    answer_for_the_console();
}

void ProgramStreams::answer_for_the_console() {
    hooks().WriteConsoleW = [this](HANDLE handle, const void* text, DWORD count, LPDWORD written,
                                   LPVOID) -> BOOL {
        Written* const to = written_to(handle);
        if (to == nullptr || kind_ != Kind::console)
            return FALSE;
        const Guard guard(mutex_);
        to->units.append(static_cast<const wchar_t*>(text), count);
        *written = count;
        return TRUE;
    };
    hooks().ReadConsoleW = [this](HANDLE handle, LPVOID typed, DWORD, LPDWORD got, auto) -> BOOL {
        if (handle != input_handle || kind_ != Kind::console)
            return FALSE;
        *static_cast<wchar_t*>(typed) = L'\r';
        *got = 1;
        return TRUE;
    };
    hooks().GetConsoleCursorInfo = [this](HANDLE, PCONSOLE_CURSOR_INFO cursor) -> BOOL {
        const Guard guard(mutex_);
        *cursor = cursor_;
        return kind_ == Kind::console;
    };
    hooks().SetConsoleCursorInfo = [this](HANDLE, const CONSOLE_CURSOR_INFO* cursor) -> BOOL {
        const Guard guard(mutex_);
        cursor_ = *cursor;
        return kind_ == Kind::console;
    };
    hooks().GetConsoleScreenBufferInfo = [](HANDLE, PCONSOLE_SCREEN_BUFFER_INFO info) -> BOOL {
        info->dwSize = {80, 25};
        info->dwCursorPosition = {0, 10};
        return TRUE;
    };
    hooks().SetConsoleCursorPosition = [](HANDLE, COORD) -> BOOL { return TRUE; };
    hooks().GetConsoleProcessList = [this](LPDWORD identifiers, DWORD) -> DWORD {
        identifiers[0] = GetCurrentProcessId();
        return kind_ == Kind::console ? 1 : 0;
    };
}

void ProgramStreams::restart() {
    const Guard guard(mutex_);
    output_ = {};
    errors_ = {};
    cursor_ = {25, TRUE};
}

std::string ProgramStreams::output() const {
    const Guard guard(mutex_);
    return output_.text();
}

std::string ProgramStreams::errors() const {
    const Guard guard(mutex_);
    return errors_.text();
}

bool ProgramStreams::cursor_visible() const {
    const Guard guard(mutex_);
    return cursor_.bVisible != FALSE;
}

const wchar_t* ProgramStreams::name_of(HANDLE handle) {
    if (handle == input_handle)
        return L"<input>";
    if (handle == output_handle)
        return L"<output>";
    return handle == errors_handle ? L"<errors>" : nullptr;
}

ProgramStreams::Written* ProgramStreams::written_to(HANDLE handle) {
    if (handle == output_handle)
        return &output_;
    return handle == errors_handle ? &errors_ : nullptr;
}

std::string ProgramStreams::Written::text() const {
    if (units.empty())
        return bytes;
    const auto length = static_cast<int>(units.size());
    std::string converted(3 * units.size(), '\0');
    converted.resize(static_cast<std::size_t>(
        real_imports().WideCharToMultiByte(CP_UTF8, 0, units.data(), length, converted.data(),
                                           static_cast<int>(converted.size()), nullptr, nullptr)));
    return bytes + converted;
}

}  // namespace larkspine::testing
