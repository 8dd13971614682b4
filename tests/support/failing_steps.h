// Fails the n-th of the calls that a test counts, so that a case is a loop: fail call 0, 1, 2 ...
// until none fails.
#pragma once

#include "base/win32_api.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace larkspine::testing {

class FailingSteps {
  public:
    // Every step succeeds until the one numbered `failing`, from 0.
    explicit FailingSteps(std::size_t failing = SIZE_MAX, DWORD error = ERROR_IO_DEVICE)
        : failing_(failing), error_(error) {}

    // Counts a call; true, with the last error set, when it is the one to fail.
    [[nodiscard]] bool fails() {
        if (count_++ != failing_)
            return false;
        SetLastError(error_);
        return true;
    }
    [[nodiscard]] std::size_t count() const { return count_; }
    // Whether the step that was to fail was reached.
    [[nodiscard]] bool failed() const { return count_ > failing_; }

  private:
    std::size_t failing_;
    DWORD error_;
    std::atomic<std::size_t> count_{0};
};

}  // namespace larkspine::testing
