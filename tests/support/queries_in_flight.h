// How many queries of attributes a stage has handed to its pool while none has been awaited. For
// programs with replaced imports, on a pool that has nothing else to do.
#pragma once

#include "fs/win32_api.h"

#include <atomic>
#include <cstddef>
#include <future>

#include "pool/worker_pool.h"
#include "support/import_replacement.h"

namespace larkspine::testing {

// Holds the first query back, so that its batch cannot be awaited, until the expected number of
// queries has begun and a little longer, for queries beyond that number to begin too. On a pool of
// one thread, which the first query holds, it sends a job of its own after the others instead:
// those that begin before that job were in flight with the first. Make it after the hooks that it
// passes the queries on to, and before the stage runs.
class QueriesInFlight {
  public:
    QueriesInFlight(worker_pool& pool, std::size_t expected) {
        hooks().GetFileAttributesExW = [this, &pool, expected, next = hooks().GetFileAttributesExW](
                                           LPCWSTR path, GET_FILEEX_INFO_LEVELS level,
                                           LPVOID data) {
            const std::size_t number = begun_++;
            if (number == 0)
                hold(pool, expected);
            return next(path, level, data);
        };
    }

    // Once the stage is done.
    [[nodiscard]] std::size_t count() { return seen_.get(); }

  private:
    void hold(worker_pool& pool, std::size_t expected) {
        if (pool.thread_count() == 1) {
            Sleep(500);
            seen_ = pool.submit([this] { return begun_.load(); });
            return;
        }
        for (int patience = 0; begun_ < expected && patience < 10'000; ++patience)
            Sleep(1);
        Sleep(100);
        std::promise<std::size_t> seen;
        seen.set_value(begun_);
        seen_ = seen.get_future();
    }

    std::atomic<std::size_t> begun_{0};
    std::future<std::size_t> seen_;
};

}  // namespace larkspine::testing
