// Jobs of one kind submitted in batches: at most twice the pool's threads are queued or running,
// and a full batch is awaited whole before the next begins. That keeps every worker busy, and
// bounds the open handles and the memory of unresolved futures. A leaf but for the pool.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <future>
#include <thread>
#include <utility>
#include <vector>

#include "pool/worker_pool.h"

namespace larkspine {

// `Key` tells the caller which item a result belongs to. Used on one thread, which also receives
// the results, in submission order. What a job throws comes out of the call that awaits it; jobs of
// the batch that are still pending run on, and their results are dropped.
template <typename Key, typename Result>
class JobBatch {
  public:
    // `items` is how many jobs can come: with the first there will be room for as many of them as
    // can be pending.
    JobBatch(worker_pool& pool, std::size_t items)
        : pool_(pool),
          limit_(std::max<std::size_t>(2 * pool.thread_count(), 1)),
          room_(std::min(limit_, items)) {}

    // Submits `job`; when the batch is full then, awaits it and hands every result to `collect(key,
    // result)`.
    template <typename Job, typename Collect>
    void submit(Key key, Job&& job, Collect&& collect) {
        pending_.reserve(room_);
        pending_.emplace_back(key, pool_.submit(std::forward<Job>(job)));
        if (pending_.size() >= limit_)
            drain(collect);
    }

    // Awaits what is pending.
    template <typename Collect>
    void drain(Collect&& collect) {
        for (auto& [key, future] : pending_) {
            await(future);
            collect(key, future.get());
        }
        pending_.clear();
    }

  private:
    // Most jobs are done within microseconds, which is less than it takes to put a thread to sleep
    // and wake it again: so first give the workers the processor, and only then sleep.
    static void await(const std::future<Result>& future) {
        for (int turn = 0; turn < turns_before_sleep; ++turn) {
            if (future.wait_for(std::chrono::seconds(0)) == std::future_status::ready)
                return;
            std::this_thread::yield();
        }
    }

    worker_pool& pool_;
    std::size_t limit_;
    std::size_t room_;
    std::vector<std::pair<Key, std::future<Result>>> pending_;
};

}  // namespace larkspine
