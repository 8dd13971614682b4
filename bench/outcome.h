// What one measurement came to: the medians of its runs and the memory that it took.
#pragma once

#include <cstdint>
#include <vector>

#include "own_process.h"
#include "samples.h"

namespace larkspine::bench {

// Seconds of one run.
struct Round {
    double ours = 0;
    double bare = 0;
};

// Seconds, and bytes.
struct Outcome {
    double ours = 0;
    double bare = 0;
    double ratio = 0;
    std::uint64_t peak = 0;
};

// Runs `round` once for the peak, then `rounds` times for the medians.
template <typename Action>
[[nodiscard]] Outcome medians_of(int rounds, Action&& round) {
    Outcome outcome;
    const std::uint64_t before = peak_memory();
    (void)round();
    outcome.peak = peak_memory() - before;
    std::vector<double> ours;
    std::vector<double> bare;
    std::vector<double> ratios;
    for (int i = 0; i < rounds; ++i) {
        const Round times = round();
        ours.push_back(times.ours);
        bare.push_back(times.bare);
        ratios.push_back(times.ours / times.bare);
    }
    outcome.ours = median(ours);
    outcome.bare = median(bare);
    outcome.ratio = median(ratios);
    return outcome;
}

// From one process to the other.
inline void print_numbers(const Outcome& outcome) {
    std::printf("%.9e %.9e %.9e %llu\n", outcome.ours, outcome.bare, outcome.ratio,
                static_cast<unsigned long long>(outcome.peak));
}

[[nodiscard]] inline Outcome read_numbers(const std::string& text) {
    Outcome outcome;
    unsigned long long peak = 0;
    require(std::sscanf(text.c_str(), "%lf %lf %lf %llu", &outcome.ours, &outcome.bare,
                        &outcome.ratio, &peak) == 4,
            "reading the numbers of the started program");
    outcome.peak = peak;
    return outcome;
}

inline void print_heading() {
    std::printf("| %-10s | %9s | %9s | %10s | %6s | %8s | %8s | %6s | %12s |\n", "row", "entries",
                "entries/s", "bare/s", "ratio", "ns/entry", "own ns", "growth", "peak B/entry");
    std::printf("|---|--:|--:|--:|--:|--:|--:|--:|--:|\n");
}

// `own`: seconds that are not those of the bare way; `before`: seconds per entry at the size
// before, 0 when there is none.
inline void print_row(const char* name, double entries, const Outcome& outcome, double own,
                      double before) {
    std::printf("| %-10s | %9.0f | %9.0f |", name, entries, entries / outcome.ours);
    std::printf(" %10.0f | %6.2f |", entries / outcome.bare, outcome.ratio);
    std::printf(" %8.0f | %8.0f |", outcome.ours / entries * 1e9, own / entries * 1e9);
    if (before > 0)
        std::printf(" %6.2f |", outcome.ours / entries / before);
    else
        std::printf(" %6s |", "-");
    std::printf(" %12.0f |\n", static_cast<double>(outcome.peak) / entries);
    std::fflush(stdout);
}

}  // namespace larkspine::bench
