// Wide standard output: UTF-16 through WriteConsoleW on a console, whatever its code page, and
// UTF-8 bytes on a file or a pipe. The runtime's own wide streams do neither: in the C locale they
// stop at the first character outside ASCII.
//
// A surrogate pair that arrives in two pieces is written in one; only a system call that takes less
// than it was given can split one. Each buffer belongs to one stream, and so to one thread at a
// time.
#pragma once

#include "base/win32_api.h"

#include <array>
#include <cstddef>
#include <streambuf>

namespace larkspine {

// Writes to `handle`, which it does not own. With a null or invalid handle every write fails, and
// the stream's state says so.
class WideOutputBuffer : public std::wstreambuf {
  public:
    explicit WideOutputBuffer(HANDLE handle);
    // Writes what is left. A lone lead surrogate goes out as U+FFFD.
    ~WideOutputBuffer() override;
    WideOutputBuffer(const WideOutputBuffer&) = delete;
    WideOutputBuffer& operator=(const WideOutputBuffer&) = delete;

  protected:
    int_type overflow(int_type unit) override;
    int sync() override;

  private:
    enum class Lead : bool { hold, write };
    bool drain(Lead lead);
    bool write(const wchar_t* text, std::size_t length);

    HANDLE handle_;
    bool console_ = false;
    // 4096 code units: more than the banner, so that it goes out in one call.
    std::array<wchar_t, 4096> units_;
    // Room for a full buffer: a code unit takes at most three bytes. A member and not on the heap,
    // so that error messages come out when memory has run out.
    std::array<char, 3 * 4096> utf8_;
};

// Puts wide output buffers under std::wcout and std::wcerr for its lifetime, with synchronisation
// with the runtime's lower-level streams switched off first; restores the old buffers at the end.
class WideStandardStreams {
  public:
    WideStandardStreams();
    ~WideStandardStreams();
    WideStandardStreams(const WideStandardStreams&) = delete;
    WideStandardStreams& operator=(const WideStandardStreams&) = delete;

  private:
    WideOutputBuffer output_;
    WideOutputBuffer error_;
    std::wstreambuf* old_output_;
    std::wstreambuf* old_error_;
};

}  // namespace larkspine
