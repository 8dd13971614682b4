// One thread counts as a scan does while another makes frames. Only the order in which the counters
// are written and read keeps a frame from mixing two phases. The host build runs this under
// ThreadSanitizer too.
#include <atomic>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <thread>

#include "app/progress_frame.h"

namespace larkspine::testing {
namespace {

constexpr std::uint64_t documents = 40;
constexpr std::uint64_t candidates = 30;
constexpr std::uint64_t duplicates = 10;

// The counters of a scan, in the order in which the scan driver writes them.
void scan(ScanProgress& progress) {
    for (std::uint64_t i = 0; i < documents; ++i) {
        ++progress.entries_seen;
        ++progress.documents;
    }
    progress.candidates_total = candidates;
    progress.candidates_done = 0;
    progress.phase = ScanPhase::analysing;
    for (std::uint64_t i = 0; i < candidates; ++i) {
        if (i % 3 == 0)
            ++progress.duplicates;
        ++progress.candidates_done;
    }
    progress.phase = ScanPhase::done;
}

std::uint64_t number_in(const FrameLine& line) {
    std::uint64_t number = 0;
    for (const wchar_t unit : line.text())
        if (unit >= L'0' && unit <= L'9')
            number = number * 10 + static_cast<std::uint64_t>(unit - L'0');
    return number;
}

struct Shown {
    std::uint64_t percentage = 0;
    std::uint64_t documents = 0;
    std::uint64_t duplicates = 0;
};

Shown shown_by(const ScanProgress& progress) {
    const ProgressFrame frame = make_progress_frame(progress, 0);
    return {number_in(frame[0]), number_in(frame[2]), number_in(frame[3])};
}

// Makes frames until one shows that the scan is done. No number may fall from frame to frame.
void watch(const ScanProgress& progress) {
    for (Shown last; last.percentage < 100;) {
        const Shown now = shown_by(progress);
        ASSERT_GE(now.percentage, last.percentage);
        ASSERT_GE(now.documents, last.documents);
        ASSERT_GE(now.duplicates, last.duplicates);
        // The counters of a phase are complete when the phase is over.
        if (now.percentage >= 20) {
            ASSERT_EQ(now.documents, documents);
        }
        if (now.percentage == 100) {
            ASSERT_EQ(now.duplicates, duplicates);
        }
        last = now;
    }
}

TEST(ProgressFrameThreadsTest, FramesMadeDuringAScanNeverGoBackOrShowAnUnfinishedPhase) {
    for (int round = 0; round < 300 && !HasFatalFailure(); ++round) {
        ScanProgress progress;
        // Left over from an earlier scan. With this total the analysis would begin at 99 %.
        progress.candidates_total = 1;
        progress.candidates_done = 1;
        // Not a std::latch: MinGW's signals its condition variable without the lock. Once in some
        // hundred rounds the signal was lost.
        std::atomic<bool> watching = false;
        std::thread writer([&] {
            while (!watching)
                std::this_thread::yield();
            scan(progress);
        });
        watching = true;
        watch(progress);
        writer.join();
    }
}

}  // namespace
}  // namespace larkspine::testing
