#include "app/wide_output.h"

#include <iostream>
#include <span>
#include <string_view>

#include "app/console_handle.h"
#include "base/write_all.h"

namespace larkspine {
namespace {

bool is_lead_surrogate(wchar_t unit) {
    return (unit & 0xFC00) == 0xD800;
}

bool write_console(HANDLE handle, std::wstring_view text) {
    while (!text.empty()) {
        DWORD written = 0;
        if (!WriteConsoleW(handle, text.data(), static_cast<DWORD>(text.size()), &written,
                           nullptr) ||
            written == 0 || written > text.size())
            return false;
        text.remove_prefix(written);
    }
    return true;
}

}  // namespace

WideOutputBuffer::WideOutputBuffer(HANDLE handle) : handle_(handle), console_(is_console(handle)) {
    setp(units_.data(), units_.data() + units_.size());
}

WideOutputBuffer::~WideOutputBuffer() {
    drain(Lead::write);
}

WideOutputBuffer::int_type WideOutputBuffer::overflow(int_type unit) {
    if (!drain(Lead::hold))
        return traits_type::eof();
    if (!traits_type::eq_int_type(unit, traits_type::eof()))
        sputc(traits_type::to_char_type(unit));
    return traits_type::not_eof(unit);
}

int WideOutputBuffer::sync() {
    return drain(Lead::hold) ? 0 : -1;
}

// Writes what is buffered and empties the buffer, also when writing fails: a text that could not be
// written is not tried again. A lead surrogate at the end waits for its other half.
bool WideOutputBuffer::drain(Lead lead) {
    auto length = static_cast<std::size_t>(pptr() - pbase());
    const bool held = lead == Lead::hold && length > 0 && is_lead_surrogate(pbase()[length - 1]);
    const wchar_t last = held ? pbase()[--length] : L'\0';
    const bool written = length == 0 || write(pbase(), length);
    setp(units_.data(), units_.data() + units_.size());
    if (held)
        sputc(last);
    return written;
}

bool WideOutputBuffer::write(const wchar_t* text, std::size_t length) {
    if (console_)
        return write_console(handle_, {text, length});
    // Lone surrogates become U+FFFD.
    const int size = WideCharToMultiByte(CP_UTF8, 0, text, static_cast<int>(length), utf8_.data(),
                                         static_cast<int>(utf8_.size()), nullptr, nullptr);
    return size > 0 && write_all(handle_, std::as_bytes(std::span(utf8_.data(),
                                                                  static_cast<std::size_t>(size))));
}

namespace {

HANDLE unsynchronised_handle(DWORD which) {
    // Must come before the streams get their buffers: switching it off replaces them.
    std::ios_base::sync_with_stdio(false);
    return GetStdHandle(which);
}

}  // namespace

WideStandardStreams::WideStandardStreams()
    : output_(unsynchronised_handle(STD_OUTPUT_HANDLE)),
      error_(GetStdHandle(STD_ERROR_HANDLE)),
      old_output_(std::wcout.rdbuf(&output_)),
      old_error_(std::wcerr.rdbuf(&error_)) {}

WideStandardStreams::~WideStandardStreams() {
    std::wcout.flush();
    std::wcerr.flush();
    std::wcout.rdbuf(old_output_);
    std::wcerr.rdbuf(old_error_);
}

}  // namespace larkspine
