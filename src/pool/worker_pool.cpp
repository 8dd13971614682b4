#include "pool/worker_pool.h"

namespace larkspine {

worker_pool::worker_pool(std::size_t thread_count) {
    if (thread_count == 0)
        thread_count = 1;
    threads_.reserve(thread_count);
    try {
        for (std::size_t i = 0; i < thread_count; ++i)
            threads_.emplace_back(&worker_pool::work, this);
    } catch (...) {
        shutdown();
        throw;
    }
}

worker_pool::~worker_pool() {
    shutdown();
}

void worker_pool::shutdown() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    for (std::thread& thread : threads_)
        if (thread.joinable())
            thread.join();
}

// Returns with the lock held, when a task is queued or the pool is stopping. Jobs come in short
// bursts, so the thread polls for a while before it sleeps.
void worker_pool::await_task(std::unique_lock<std::mutex>& lock) {
    const auto has_work = [this] { return stopping_ || !tasks_.empty(); };
    for (int turn = 0; turn < turns_before_sleep && !has_work(); ++turn) {
        lock.unlock();
        std::this_thread::yield();
        lock.lock();
    }
    wake_.wait(lock, has_work);
}

void worker_pool::work() {
    for (;;) {
        std::function<void()> task;
        {
            std::unique_lock lock(mutex_);
            await_task(lock);
            // A worker leaves only when nothing is queued, so a shutdown loses no job.
            if (tasks_.empty())
                return;
            task = std::move(tasks_.front());
            tasks_.pop_front();
        }
        task();
    }
}

}  // namespace larkspine
