#include "pool/job_batch.h"

#include <future>
#include <gtest/gtest.h>
#include <stdexcept>
#include <utility>
#include <vector>

namespace larkspine::testing {
namespace {

// One collected result: its key, its value, and how many jobs had been submitted by then.
struct Collected {
    int key;
    int result;
    int submitted;

    friend bool operator==(const Collected&, const Collected&) = default;
};

class JobBatchTest : public ::testing::Test {
  protected:
    auto collector() {
        return [this](int key, int result) { collected.push_back({key, result, submitted}); };
    }
    // Jobs whose result is ten times their key.
    void submit_all(std::size_t threads, int jobs) {
        worker_pool pool(threads);
        JobBatch<int, int> batch(pool, static_cast<std::size_t>(jobs));
        for (int key = 0; key < jobs; ++key) {
            ++submitted;
            batch.submit(
                key, [key] { return 10 * key; }, collector());
        }
        batch.drain(collector());
    }

    int submitted = 0;
    std::vector<Collected> collected;
};

TEST_F(JobBatchTest, ABatchHasTwoJobsPerThreadAndEndsBeforeTheNextBegins) {
    submit_all(2, 10);
    EXPECT_EQ(collected, (std::vector<Collected>{{0, 0, 4},
                                                 {1, 10, 4},
                                                 {2, 20, 4},
                                                 {3, 30, 4},
                                                 {4, 40, 8},
                                                 {5, 50, 8},
                                                 {6, 60, 8},
                                                 {7, 70, 8},
                                                 {8, 80, 10},
                                                 {9, 90, 10}}));
}

TEST_F(JobBatchTest, WithOneThreadABatchHasTwoJobs) {
    submit_all(1, 3);
    EXPECT_EQ(collected, (std::vector<Collected>{{0, 0, 2}, {1, 10, 2}, {2, 20, 3}}));
}

TEST_F(JobBatchTest, WithoutJobsNothingIsCollected) {
    submit_all(2, 0);
    EXPECT_EQ(collected, std::vector<Collected>{});
}

TEST_F(JobBatchTest, ResultsAreCollectedInSubmissionOrderEvenWhenTheLastJobEndsFirst) {
    worker_pool pool(2);
    std::promise<void> last_done;
    JobBatch<int, int> batch(pool, 2);
    batch.submit(
        1,
        [&] {
            last_done.get_future().wait();
            return 10;
        },
        collector());
    batch.submit(
        2,
        [&] {
            last_done.set_value();
            return 20;
        },
        collector());
    EXPECT_EQ(collected, std::vector<Collected>{});
    batch.drain(collector());
    EXPECT_EQ(collected, (std::vector<Collected>{{1, 10, 0}, {2, 20, 0}}));
}

TEST_F(JobBatchTest, ACollectedResultIsNotCollectedAgain) {
    worker_pool pool(1);
    JobBatch<int, int> batch(pool, 1);
    batch.submit(
        1, [] { return 10; }, collector());
    batch.drain(collector());
    batch.drain(collector());
    EXPECT_EQ(collected, (std::vector<Collected>{{1, 10, 0}}));
}

TEST_F(JobBatchTest, MoreJobsThanWereAnnouncedAreStillRun) {
    worker_pool pool(1);
    JobBatch<int, int> batch(pool, 0);
    for (const int key : {1, 2, 3})
        batch.submit(
            key, [] { return 0; }, collector());
    batch.drain(collector());
    EXPECT_EQ(collected.size(), 3u);
}

TEST_F(JobBatchTest, AnExceptionOfAJobIsRethrownAfterTheResultsBeforeIt) {
    worker_pool pool(1);
    JobBatch<int, int> batch(pool, 2);
    batch.submit(
        1, [] { return 10; }, collector());
    EXPECT_THROW(batch.submit(
                     2, []() -> int { throw std::runtime_error("no"); }, collector()),
                 std::runtime_error);
    EXPECT_EQ(collected, (std::vector<Collected>{{1, 10, 0}}));
}

}  // namespace
}  // namespace larkspine::testing
