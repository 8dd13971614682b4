// A process that the kit starts, in a console of its own without a window: a Ctrl+C for the kit is
// not one for it. Ends with its owner.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/win32_handle.h"

namespace larkspine::check {

struct ChildSettings {
    std::wstring program;
    std::vector<std::wstring> arguments;
    std::wstring folder;     // its current directory
    HANDLE token = nullptr;  // whose rights it gets; its owner's without one
    // Its standard streams: nothing to read, and these to write to. Without them, its console.
    HANDLE output = nullptr;
    HANDLE errors = nullptr;
    bool same_console = false;  // its owner's console instead of its own
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
