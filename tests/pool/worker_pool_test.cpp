#include "pool/worker_pool.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace larkspine::testing {
namespace {

using namespace std::chrono_literals;

// Long enough for any loaded machine; only a failing test waits so long.
constexpr auto patience = 20s;

static_assert(!std::is_copy_constructible_v<worker_pool> &&
              !std::is_copy_assignable_v<worker_pool>);
static_assert(!std::is_move_constructible_v<worker_pool> &&
              !std::is_move_assignable_v<worker_pool>);

// A point that `wanted` threads must reach before any of them continues.
class Meeting {
  public:
    explicit Meeting(std::size_t wanted) : wanted_(wanted) {}

    // Returns whether all of them arrived.
    bool arrive() {
        std::unique_lock lock(mutex_);
        ++arrived_;
        changed_.notify_all();
        return changed_.wait_for(lock, patience, [this] { return arrived_ >= wanted_; });
    }

  private:
    std::size_t wanted_;
    std::size_t arrived_ = 0;
    std::mutex mutex_;
    std::condition_variable changed_;
};

// How many of `jobs` jobs ran at the same time: each waits for all the others.
std::size_t jobs_running_together(worker_pool& pool, std::size_t jobs) {
    Meeting meeting(jobs);
    std::vector<std::future<bool>> met;
    for (std::size_t i = 0; i < jobs; ++i)
        met.push_back(pool.submit([&meeting] { return meeting.arrive(); }));
    std::size_t count = 0;
    for (std::future<bool>& future : met)
        count += future.get() ? 1U : 0U;
    return count;
}

// Keeps one worker busy from its construction until open().
class Gate {
  public:
    explicit Gate(worker_pool& pool)
        : passed_(pool.submit([opened = opened_.get_future().share()] { opened.wait(); })) {}

    void open() {
        opened_.set_value();
        passed_.get();
    }

  private:
    std::promise<void> opened_;
    std::future<void> passed_;
};

// Returns when the only worker of `pool` has released every job queued before, and with them the
// exceptions of those jobs. The reference counts of exceptions are in the C++ library, where
// ThreadSanitizer cannot see them, so here the last reference must be the test's own.
void wait_until_released(worker_pool& pool) {
    pool.submit([] {}).get();
}

TEST(WorkerPoolTest, AThreadCountOfZeroStartsExactlyOneWorker) {
    worker_pool pool(0);
    EXPECT_EQ(pool.thread_count(), 1U);
    EXPECT_EQ(pool.submit([] { return 7; }).get(), 7);
}

TEST(WorkerPoolTest, EveryWorkerRunsAJobAtTheSameTime) {
    worker_pool pool(4);
    EXPECT_EQ(jobs_running_together(pool, 4), 4U);
}

TEST(WorkerPoolTest, ThePoolSetsNoUpperLimitOnItsThreads) {
    worker_pool pool(80);
    EXPECT_EQ(pool.thread_count(), 80U);
    EXPECT_EQ(jobs_running_together(pool, 80), 80U);
}

TEST(WorkerPoolTest, OneWorkerRunsJobsInSubmissionOrder) {
    worker_pool pool(1);
    Gate gate(pool);
    std::vector<int> order;
    std::vector<std::future<void>> done;
    for (int i = 0; i < 100; ++i)
        done.push_back(pool.submit([&order, i] { order.push_back(i); }));
    gate.open();
    for (std::future<void>& future : done)
        future.get();
    ASSERT_EQ(order.size(), 100U);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST(WorkerPoolTest, EachFutureHasTheResultOfItsOwnJob) {
    worker_pool pool(3);
    std::vector<std::future<int>> squares;
    for (int i = 0; i < 50; ++i)
        squares.push_back(pool.submit([i] { return i * i; }));
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(squares[static_cast<std::size_t>(i)].get(), i * i);
}

TEST(WorkerPoolTest, AResultMayBeMoveOnly) {
    worker_pool pool(1);
    const auto made = pool.submit([] { return std::make_unique<int>(5); }).get();
    EXPECT_EQ(*made, 5);
}

TEST(WorkerPoolTest, AJobMayBeMoveOnly) {
    worker_pool pool(1);
    auto owned = std::make_unique<int>(6);
    EXPECT_EQ(pool.submit([owned = std::move(owned)] { return *owned; }).get(), 6);
}

TEST(WorkerPoolTest, ANamedJobIsCopiedSoThatItMayBeSubmittedAgain) {
    worker_pool pool(1);
    auto next = [count = 0]() mutable { return ++count; };
    EXPECT_EQ(pool.submit(next).get(), 1);
    EXPECT_EQ(pool.submit(next).get(), 1);
    EXPECT_EQ(next(), 1);
}

TEST(WorkerPoolTest, AThrowingJobMakesItsFutureRethrowTheSameException) {
    worker_pool pool(1);
    std::future<int> future = pool.submit([]() -> int { throw std::out_of_range("the message"); });
    wait_until_released(pool);
    try {
        future.get();
        FAIL() << "nothing was thrown";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "the message");
    }
}

TEST(WorkerPoolTest, AThrowingJobDisturbsNeitherItsWorkerNorOtherJobs) {
    worker_pool pool(1);
    const auto worker = [] { return std::this_thread::get_id(); };
    std::future<std::thread::id> before = pool.submit(worker);
    std::future<void> failing = pool.submit([] { throw std::runtime_error("no"); });
    std::future<std::thread::id> after = pool.submit(worker);
    wait_until_released(pool);
    EXPECT_THROW(failing.get(), std::runtime_error);
    EXPECT_EQ(before.get(), after.get());
}

TEST(WorkerPoolTest, AnExceptionThatNobodyCollectsIsDropped) {
    worker_pool pool(1);
    {
        auto dropped = pool.submit([] { throw std::runtime_error("unseen"); });
    }
    EXPECT_EQ(pool.submit([] { return 1; }).get(), 1);
}

TEST(WorkerPoolTest, AJobMayQueueAnotherJob) {
    worker_pool pool(1);
    std::future<std::future<int>> outer =
        pool.submit([&pool] { return pool.submit([] { return 3; }); });
    EXPECT_EQ(outer.get().get(), 3);
}

TEST(WorkerPoolTest, AJobsCapturesAreReleasedBeforeTheNextJobOfItsWorker) {
    worker_pool pool(1);
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = held;
    pool.submit([held = std::move(held)] { return *held; }).get();
    wait_until_released(pool);
    EXPECT_TRUE(watched.expired());
}

// Queues `count` jobs, which wait until the pool is about to be stopped, and `count` more when it
// is certainly stopping: no worker leaves before. Returns how many have run once the pool has
// stopped.
template <typename Stop>
int jobs_run_by_the_end(int count, const Stop& stop) {
    std::atomic<int> ran{0};
    auto pool = std::make_unique<worker_pool>(2);
    const auto queue_jobs = [&ran, &jobs = *pool, count] {
        for (int i = 0; i < count; ++i)
            (void)jobs.submit([&ran] { ++ran; });
    };
    Meeting busy(3);
    std::atomic<bool> about_to_stop{false};
    std::promise<void> worker_left;
    (void)pool->submit([&busy, &queue_jobs, left = worker_left.get_future().share()] {
        busy.arrive();
        left.wait();
        queue_jobs();
    });
    (void)pool->submit([&busy, &about_to_stop, &worker_left] {
        busy.arrive();
        // Polls, since a thread that wakes a blocked one may be suspended, and the other worker
        // could empty the queue before the stop.
        while (!about_to_stop)
            std::this_thread::yield();
        worker_left.set_value_at_thread_exit();
    });
    busy.arrive();
    queue_jobs();
    about_to_stop = true;
    stop(pool);
    return ran.load();
}

TEST(WorkerPoolTest, ShutdownRunsEveryQueuedJobFirst) {
    EXPECT_EQ(jobs_run_by_the_end(1'000, [](auto& pool) { pool->shutdown(); }), 2'000);
}

TEST(WorkerPoolTest, TheDestructorRunsEveryQueuedJobFirst) {
    EXPECT_EQ(jobs_run_by_the_end(1'000, [](auto& pool) { pool.reset(); }), 2'000);
}

TEST(WorkerPoolTest, ShutdownEndsWorkersThatAreWaiting) {
    worker_pool pool(8);
    EXPECT_NO_THROW(pool.shutdown());
}

TEST(WorkerPoolTest, ShutdownAndDestructionAfterAShutdownDoNothing) {
    worker_pool pool(2);
    pool.shutdown();
    EXPECT_NO_THROW(pool.shutdown());
}

// ThreadSanitizer's replacement of the join loses the thread when the join is refused.
#ifndef __SANITIZE_THREAD__
TEST(WorkerPoolTest, ShutdownFromAJobIsRefusedSinceAThreadCannotJoinItself) {
    worker_pool pool(1);
    try {
        pool.submit([&pool] { pool.shutdown(); }).get();
        FAIL() << "nothing was thrown";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::resource_deadlock_would_occur);
    }
}
#endif

TEST(WorkerPoolTest, AJobThatNeverRanBreaksItsPromiseWhenThePoolIsGone) {
    std::future<int> future;
    {
        worker_pool pool(1);
        pool.shutdown();
        future = pool.submit([] { return 1; });
    }
    try {
        future.get();
        FAIL() << "nothing was thrown";
    } catch (const std::future_error& error) {
        EXPECT_EQ(error.code(), std::future_errc::broken_promise);
    }
}

// Submits `jobs` jobs and adds up what their futures deliver.
std::size_t sum_of_submitted(worker_pool& pool, std::size_t jobs) {
    std::vector<std::future<std::size_t>> results;
    for (std::size_t i = 0; i < jobs; ++i)
        results.push_back(pool.submit([i] { return i; }));
    std::size_t sum = 0;
    for (std::future<std::size_t>& result : results)
        sum += result.get();
    return sum;
}

TEST(WorkerPoolTest, ThousandsOfJobsFromSeveralThreadsAllDeliver) {
    constexpr std::size_t submitters = 4;
    constexpr std::size_t jobs = 2'000;
    worker_pool pool(3);
    std::vector<std::size_t> sums(submitters);
    std::vector<std::thread> threads;
    for (std::size_t& sum : sums)
        threads.emplace_back([&pool, &sum] { sum = sum_of_submitted(pool, jobs); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(sums, std::vector<std::size_t>(submitters, jobs * (jobs - 1) / 2));
}

}  // namespace
}  // namespace larkspine::testing
