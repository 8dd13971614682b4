// A steady clock that stands still until a test moves it on. For programs with replaced imports.
#pragma once

#include <atomic>
#include <chrono>

#include "support/import_replacement.h"

namespace larkspine::testing {

// Takes over the counter that std::chrono::steady_clock reads, for its lifetime.
class FakeClock {
  public:
    using Duration = std::chrono::nanoseconds;

    // Each reading moves the clock on by `step`.
    explicit FakeClock(Duration step = Duration::zero()) {
        LARGE_INTEGER frequency;
        QueryPerformanceFrequency(&frequency);
        ticks_a_second_ = frequency.QuadPart;
        const LONGLONG stepped = ticks(step);
        hooks().QueryPerformanceCounter = [this, stepped](LARGE_INTEGER* now) {
            now->QuadPart = now_.fetch_add(stepped);
            return TRUE;
        };
    }
    ~FakeClock() { hooks().QueryPerformanceCounter = nullptr; }
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    void advance(Duration by) { now_ += ticks(by); }

  private:
    [[nodiscard]] LONGLONG ticks(Duration by) const {
        return by.count() / (1'000'000'000 / ticks_a_second_);
    }

    LONGLONG ticks_a_second_ = 0;
    std::atomic<LONGLONG> now_{1'000'000'000};
};

}  // namespace larkspine::testing
