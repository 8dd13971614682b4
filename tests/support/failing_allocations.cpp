#include "support/failing_allocations.h"

#include <atomic>
#include <new>

#include "support/replaced_operators.h"

namespace larkspine::testing {
namespace {

std::atomic<bool> armed{false};
std::atomic<bool> lasting{false};
std::atomic<std::size_t> failing_allocation{0};
std::atomic<std::size_t> allocations{0};
thread_local constinit unsigned exemptions = 0;

}  // namespace

void before_allocation() {
    if (!armed || exemptions != 0)
        return;
    const std::size_t number = allocations++;
    if (number == failing_allocation || (lasting && number > failing_allocation))
        throw std::bad_alloc();
}

void arm_allocations(std::size_t failing, Shortage shortage) noexcept {
    failing_allocation = failing;
    lasting = shortage == Shortage::lasting;
    allocations = 0;
    armed = true;
}

void disarm_allocations() noexcept {
    armed = false;
}

bool allocation_failed() noexcept {
    return allocations > failing_allocation;
}

ExemptAllocations::ExemptAllocations() noexcept {
    ++exemptions;
}

ExemptAllocations::~ExemptAllocations() {
    --exemptions;
}

}  // namespace larkspine::testing
