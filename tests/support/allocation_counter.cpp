#include "support/allocation_counter.h"

#include "support/replaced_operators.h"

namespace larkspine::testing {
namespace {

thread_local constinit std::uint64_t allocations = 0;

}  // namespace

void before_allocation() {
    ++allocations;
}

std::uint64_t allocations_on_this_thread() noexcept {
    return allocations;
}

}  // namespace larkspine::testing
