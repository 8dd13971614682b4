// The starts of threads in a program that links thread_starts.cpp: counted, and made to fail.
#pragma once

#include <cstddef>

namespace larkspine::testing {

// Since the program began.
[[nodiscard]] std::size_t threads_started();

// While it lives, no thread can be started beyond the next `allowed`.
struct NoMoreThreads {
    explicit NoMoreThreads(std::size_t allowed = 0);
    ~NoMoreThreads();
    NoMoreThreads(const NoMoreThreads&) = delete;
    NoMoreThreads& operator=(const NoMoreThreads&) = delete;
};

}  // namespace larkspine::testing
