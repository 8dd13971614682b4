// Makes the program's allocations fail. For programs with replaced operators new and delete
// (replaced_operators.h).
//
// Allocations are counted over all threads while failing is armed. Hooks are exempt: they run on
// the program's threads without being part of it.
#pragma once

#include <cstddef>

namespace larkspine::testing {

enum class Shortage : bool {
    once,     // one allocation fails
    lasting,  // so do all that follow
};

// The allocation numbered `failing`, from 0, throws std::bad_alloc. One test at a time.
void arm_allocations(std::size_t failing, Shortage shortage) noexcept;
void disarm_allocations() noexcept;
// Whether the allocation to fail has been reached since arming.
[[nodiscard]] bool allocation_failed() noexcept;

// While it lives, this thread's allocations are neither counted nor fail.
struct ExemptAllocations {
    ExemptAllocations() noexcept;
    ~ExemptAllocations();
    ExemptAllocations(const ExemptAllocations&) = delete;
    ExemptAllocations& operator=(const ExemptAllocations&) = delete;
};

}  // namespace larkspine::testing
