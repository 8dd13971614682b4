// A process that the kit starts. Ends with its owner, however that ends.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/win32_handle.h"

namespace larkspine::check {

enum class ChildConsole : std::uint8_t {
    apart,   // the owner's, without hearing of its Ctrl+C
    shared,  // the owner's, Ctrl+C included
    own      // one of its own, without a window
};

struct ChildSettings {
    std::wstring program;
    std::vector<std::wstring> arguments;
    std::wstring folder;     // its current directory
    HANDLE token = nullptr;  // whose rights it gets; its owner's without one
    ChildConsole console = ChildConsole::apart;
    // Its standard streams: nothing to read, and these to write to. Without them, its console.
    HANDLE output = nullptr;
    HANDLE errors = nullptr;
};

class Child {
  public:
    // Throws SystemError when it does not start.
    explicit Child(const ChildSettings& settings);
    // Ends it when it still runs.
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    [[nodiscard]] HANDLE handle() const { return process_.get(); }
    // Its exit code once it has ended; empty when it has not after this time. Throws Interrupted.
    [[nodiscard]] std::optional<DWORD> wait(DWORD milliseconds) const;

  private:
    unique_handle job_;
    unique_handle process_;
};

}  // namespace larkspine::check
