// How many queries of attributes a stage has handed to its pool while none has been awaited. For
// programs with replaced imports, on a pool that has nothing else to do.
#pragma once

#include "base/win32_api.h"

#include <atomic>
#include <cstddef>

#include "support/import_replacement.h"

namespace larkspine::testing {

// Holds the first query back, so that its batch cannot be awaited, until the expected number of
// queries has begun and a little longer, for queries beyond that number to begin too. The pool has
// two threads or more. Make it after the hooks that it passes the queries on to, and before the
// stage runs.
class QueriesInFlight {
  public:
    explicit QueriesInFlight(std::size_t expected) {
        hooks().GetFileAttributesExW = [this, expected, next = hooks().GetFileAttributesExW](
                                           LPCWSTR path, GET_FILEEX_INFO_LEVELS level,
                                           LPVOID data) {
            const std::size_t number = begun_++;
            if (number == 0)
                hold(expected);
            return next(path, level, data);
        };
    }

    // Once the stage is done.
    [[nodiscard]] std::size_t count() { return seen_; }

  private:
    void hold(std::size_t expected) {
        for (int patience = 0; begun_ < expected && patience < 10'000; ++patience)
            Sleep(1);
        Sleep(100);
        seen_ = begun_.load();
    }

    std::atomic<std::size_t> begun_{0};
    std::atomic<std::size_t> seen_{0};
};

}  // namespace larkspine::testing
