// Counts the heap allocations of a thread, for tests of code that promises to make none.
//
// For programs with replaced operators new and delete (replaced_operators.h). Each thread has its
// own count, so threads that the test did not start do not disturb it.
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
