// How many queries of attributes a stage has handed to its pool while none has been awaited. For
// programs with replaced imports, on a pool that has nothing else to do.
#pragma once

#include "fs/win32_api.h"

#include <atomic>
#include <cstddef>
#include <future>
#include <mutex>
#include <utility>

#include "pool/worker_pool.h"
#include "support/import_replacement.h"

namespace larkspine::testing {

// Holds the first query back for as long as it takes to submit the others, then sends a job of its
// own after them: the queries that began before that job are those that were in flight. Make it
// after the hooks that it passes the queries on to, and before the stage runs.
class QueriesInFlight {
  public:
    explicit QueriesInFlight(worker_pool& pool) {
        hooks().GetFileAttributesExW = [this, &pool, next = hooks().GetFileAttributesExW](
                                           LPCWSTR path, GET_FILEEX_INFO_LEVELS level,
                                           LPVOID data) {
            ++begun_;
            std::call_once(first_, [&] {
                Sleep(100);
                seen_ = pool.submit([this] { return begun_.load(); });
            });
            return next(path, level, data);
        };
    }

    // Once the stage is done.
    [[nodiscard]] std::size_t count() { return seen_.get(); }

  private:
    std::atomic<std::size_t> begun_{0};
    std::once_flag first_;
    std::future<std::size_t> seen_;
};

}  // namespace larkspine::testing
