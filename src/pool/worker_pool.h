// The one thread pool of a scan: a fixed set of threads, one first-in-first-out queue, futures for
// the results. No work stealing, no priority, no bound on the queue. A leaf.
//
// Jobs start in submission order and may finish in any order. What a job throws travels through its
// future; no exception of a job reaches a worker thread.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace larkspine {

// How often a thread that has nothing to do gives up its time slice before it goes to sleep: some
// 50 microseconds, the time that sleeping and waking cost.
inline constexpr int turns_before_sleep = 100;

class worker_pool {
  public:
    // Starts `thread_count` threads, one when it is 0. When a thread cannot be started, those
    // already running are stopped and joined, and the standard system error passes to the caller.
    explicit worker_pool(std::size_t thread_count);

    // shutdown(), then releases what is left.
    ~worker_pool();

    worker_pool(const worker_pool&) = delete;
    worker_pool& operator=(const worker_pool&) = delete;

    // Queues `job` and returns the future of its result. Callable from any thread while the pool
    // runs; never blocks on a job.
    template <typename F>
    [[nodiscard]] auto submit(F&& job) -> std::future<std::invoke_result_t<std::decay_t<F>&>> {
        using Result = std::invoke_result_t<std::decay_t<F>&>;
        auto task = std::make_shared<std::packaged_task<Result()>>(std::forward<F>(job));
        std::function<void()> queued = [task] { (*task)(); };
        // Declared after `queued`, so that it is destroyed before it when memory runs out below: a
        // task that is destroyed before its future breaks a promise, which allocates in a
        // destructor.
        std::future<Result> future = task->get_future();
        {
            const std::lock_guard lock(mutex_);
            tasks_.push_back(std::move(queued));
        }
        wake_.notify_one();
        return future;
    }

    // Lets the workers finish every queued job, then joins them. A second call joins nothing. Must
    // not be called from a job: a thread cannot join itself.
    void shutdown();

    [[nodiscard]] std::size_t thread_count() const noexcept { return threads_.size(); }

  private:
    void work();
    void await_task(std::unique_lock<std::mutex>& lock);

    std::vector<std::thread> threads_;
    std::deque<std::function<void()>> tasks_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool stopping_ = false;
};

}  // namespace larkspine
