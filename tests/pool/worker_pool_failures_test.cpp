// A pool on a machine that can start no more threads.
#include <gtest/gtest.h>
#include <system_error>

#include "pool/worker_pool.h"
#include "support/thread_starts.h"

namespace larkspine::testing {
namespace {

TEST(WorkerPoolFailuresTest, AThreadThatCannotBeStartedStopsThoseAlreadyRunningAndIsReported) {
    for (std::size_t allowed = 0; allowed < 4; ++allowed) {
        const std::size_t before = threads_started();
        {
            const NoMoreThreads limit(allowed);
            try {
                worker_pool pool(4);
                ADD_FAILURE() << "a pool of 4 with room for " << allowed;
            } catch (const std::system_error& error) {
                EXPECT_EQ(error.code(), std::errc::resource_unavailable_try_again);
            }
        }
        // A thread that was not joined would end the program when its pool is destroyed.
        EXPECT_EQ(threads_started() - before, allowed);
    }
    worker_pool pool(4);
    EXPECT_EQ(pool.submit([] { return 7; }).get(), 7);
}

}  // namespace
}  // namespace larkspine::testing
