// What does the worker pool cost by itself?
//
// SIZE empty jobs, no seed, in batches of twice the threads, each awaited before the next begins.
//
// pool  a pool of two threads; beside: the same batches handed to one thread and its answers handed
//       back, with one mutex, a condition variable for each direction, and no futures
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "pool/job_batch.h"
#include "pool/worker_pool.h"
#include "rounds.h"

namespace {

using namespace larkspine;
using namespace larkspine::bench;

constexpr std::size_t threads = 2;
constexpr std::size_t batch_size = 2 * threads;

using Job = std::function<void()>;

// One thread that runs batches.
class BareThread {
  public:
    BareThread() : thread_([this] { work(); }) {}
    ~BareThread() {
        {
            const std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        forth_.notify_one();
        thread_.join();
    }
    BareThread(const BareThread&) = delete;
    BareThread& operator=(const BareThread&) = delete;

    // Runs the jobs and clears them.
    void run(std::vector<Job>& batch) {
        std::unique_lock lock(mutex_);
        batch_ = &batch;
        forth_.notify_one();
        back_.wait(lock, [this] { return batch_ == nullptr; });
    }

  private:
    void work() {
        std::unique_lock lock(mutex_);
        for (;;) {
            forth_.wait(lock, [this] { return stopping_ || batch_ != nullptr; });
            if (stopping_)
                return;
            for (Job& job : *batch_)
                job();
            batch_->clear();
            batch_ = nullptr;
            back_.notify_one();
        }
    }

    std::mutex mutex_;
    std::condition_variable forth_;
    std::condition_variable back_;
    std::vector<Job>* batch_ = nullptr;
    bool stopping_ = false;
    std::thread thread_;
};

Ask pool(std::uint64_t size) {
    auto workers = std::make_shared<worker_pool>(threads);
    auto bare = std::make_shared<BareThread>();
    return [workers, bare, size] {
        Round round;
        std::uint64_t done = 0;
        round.ours = seconds_for([&] {
            JobBatch<std::uint64_t, bool> batch(*workers, size);
            const auto collect = [&](std::uint64_t, bool ran) { done += ran ? 1 : 0; };
            for (std::uint64_t i = 0; i < size; ++i)
                batch.submit(
                    i, [] { return true; }, collect);
            batch.drain(collect);
        });
        require(done == size, "running every job");
        done = 0;
        round.beside = seconds_for([&] {
            std::vector<Job> batch;
            batch.reserve(batch_size);
            for (std::uint64_t i = 0; i < size; ++i) {
                batch.emplace_back([&done] { ++done; });
                if (batch.size() == batch_size || i + 1 == size)
                    bare->run(batch);
            }
        });
        require(done == size, "running every bare job");
        return round;
    };
}

constexpr Row rows[] = {{L"pool", pool}};

}  // namespace

int wmain(int count, wchar_t** arguments) {
    return answer(count, arguments, rows);
}
