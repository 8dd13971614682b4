#include "support/failing_allocations.h"

#include <atomic>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace larkspine::testing {
namespace {

std::atomic<bool> armed{false};
std::atomic<bool> lasting{false};
std::atomic<std::size_t> failing_allocation{0};
std::atomic<std::size_t> allocations{0};
thread_local constinit unsigned exemptions = 0;

void count_allocation() {
    if (!armed || exemptions != 0)
        return;
    const std::size_t number = allocations++;
    if (number == failing_allocation || (lasting && number > failing_allocation))
        throw std::bad_alloc();
}

void* checked(void* block) {
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}

// A block of no bytes still has an address of its own.
std::size_t at_least_one(std::size_t size) {
    return size == 0 ? 1 : size;
}

}  // namespace

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

// The array and nothrow forms of the library call these.
void* operator new(std::size_t size) {
    larkspine::testing::count_allocation();
    return larkspine::testing::checked(std::malloc(larkspine::testing::at_least_one(size)));
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    larkspine::testing::count_allocation();
    return larkspine::testing::checked(_aligned_malloc(larkspine::testing::at_least_one(size),
                                                       static_cast<std::size_t>(alignment)));
}
void operator delete(void* block) noexcept {
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
    _aligned_free(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    _aligned_free(block);
}
