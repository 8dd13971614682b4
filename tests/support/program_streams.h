// The standard streams of a whole program that runs in this process, as replaced imports: what is
// written to them is kept, and nothing reaches the real ones. For programs with replaced imports.
#pragma once

#include "base/win32_api.h"

#include <cstdint>
#include <mutex>
#include <string>

namespace larkspine::testing {

// Sets the hooks that it needs; its test owns an ImportReset.
class ProgramStreams {
  public:
    // The console belongs to this process alone, and Enter is pressed on it.
    enum class Kind : std::uint8_t { files, console };

    explicit ProgramStreams(Kind kind);
    ProgramStreams(const ProgramStreams&) = delete;
    ProgramStreams& operator=(const ProgramStreams&) = delete;

    // Forgets what was written; the cursor is visible.
    void restart();

    // In UTF-8. On a console this includes the frames of the progress block.
    [[nodiscard]] std::string output() const;
    [[nodiscard]] std::string errors() const;
    [[nodiscard]] bool cursor_visible() const;
    [[nodiscard]] Kind kind() const { return kind_; }

    // "<input>", "<output>", "<errors>"; null for another handle.
    [[nodiscard]] static const wchar_t* name_of(HANDLE handle);

  private:
    struct Written {
        std::string bytes;   // by WriteFile
        std::wstring units;  // by WriteConsoleW
        [[nodiscard]] std::string text() const;
    };
    [[nodiscard]] Written* written_to(HANDLE handle);
    void answer_for_the_console();

    Kind kind_;
    mutable std::mutex mutex_;
    Written output_;
    Written errors_;
    CONSOLE_CURSOR_INFO cursor_{25, TRUE};
};

}  // namespace larkspine::testing
