// Times of two ways of doing one thing, taken in turn so that a change of the machine's speed meets
// both, and their medians.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

namespace larkspine::bench {

// Runs of each way; the median of seven moves little even on a shared machine.
inline constexpr int runs = 7;

template <typename Action>
double seconds_for(Action&& action) {
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

[[nodiscard]] inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Prints one row: items per second of `ours`, of `bare`, and the median of the ratios of their
// times, run by run. Both run once before anything counts.
template <typename Ours, typename Bare>
void compare(const char* row, double items, Ours&& ours, Bare&& bare) {
    ours();
    bare();
    std::vector<double> ours_seconds;
    std::vector<double> bare_seconds;
    std::vector<double> ratios;
    for (int i = 0; i < runs; ++i) {
        ours_seconds.push_back(seconds_for(ours));
        bare_seconds.push_back(seconds_for(bare));
        ratios.push_back(ours_seconds.back() / bare_seconds.back());
    }
    std::printf("| %-32s | %12.0f | %12.0f | %6.2f |\n", row, items / median(ours_seconds),
                items / median(bare_seconds), median(ratios));
}

}  // namespace larkspine::bench
