// The exception of the kit for a refusal by the system that it cannot continue after.
#pragma once

#include "base/win32_api.h"

#include <stdexcept>
#include <string>
#include <string_view>

#include "text.h"

namespace larkspine::check {

class SystemError : public std::runtime_error {
  public:
    SystemError(std::string_view call, std::wstring_view object, DWORD error)
        : std::runtime_error(std::string(call) + ' ' + utf8(object) + " : " +
                             std::to_string(error)),
          code_(error) {}
    [[nodiscard]] DWORD code() const { return code_; }

  private:
    DWORD code_;
};

// With the calling thread's last error.
[[noreturn]] inline void fail(std::string_view call, std::wstring_view object) {
    throw SystemError(call, object, GetLastError());
}

}  // namespace larkspine::check
