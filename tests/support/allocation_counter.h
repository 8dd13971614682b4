// Counts the heap allocations of a thread, for tests of code that promises to make none.
//
// The program that links allocation_counter.cpp has its operators new and delete replaced, plain
// and aligned, one by one over malloc and free. Each thread has its own count, so threads that the
// test did not start do not disturb it.
#pragma once

#include <cstdint>
#include <utility>

namespace larkspine::testing {

// How often this thread has called operator new, in any of its forms.
[[nodiscard]] std::uint64_t allocations_on_this_thread() noexcept;

template <typename Work>
[[nodiscard]] std::uint64_t allocations_during(Work&& work) {
    const std::uint64_t before = allocations_on_this_thread();
    std::forward<Work>(work)();
    return allocations_on_this_thread() - before;
}

}  // namespace larkspine::testing
