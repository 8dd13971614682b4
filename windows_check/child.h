// A process that the kit starts. It ends with its owner, however the owner ends.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/win32_handle.h"

namespace larkspine::check {

enum class ChildConsole : std::uint8_t {
    apart,   // the owner's, without its Ctrl+C
    shared,  // the owner's, Ctrl+C included
    own      // one of its own, without a window
};

struct ChildSettings {
    std::wstring program;
    std::vector<std::wstring> arguments;
    std::wstring folder;     // its current directory
    HANDLE token = nullptr;  // gives its rights; without one it has its owner's
    ChildConsole console = ChildConsole::apart;
    // Its standard output and error; its input is empty. Without them it uses its console.
    HANDLE output = nullptr;
    HANDLE errors = nullptr;
};

class Child {
  public:
    // Throws SystemError when it does not start.
    explicit Child(const ChildSettings& settings);
    // Ends the process if it still runs.
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    [[nodiscard]] HANDLE handle() const { return process_.get(); }
    // Its exit code; empty when it still runs after this time. Throws Interrupted.
    [[nodiscard]] std::optional<DWORD> wait(DWORD milliseconds) const;

  private:
    unique_handle job_;
    unique_handle process_;
};

}  // namespace larkspine::check
