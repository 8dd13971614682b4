#include "support/allocation_counter.h"

#include <cstddef>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

thread_local constinit std::uint64_t allocations = 0;

void* counted(void* block) {
    if (block == nullptr)
        throw std::bad_alloc();
    ++allocations;
    return block;
}

// A block of no bytes still has an address of its own.
std::size_t at_least_one(std::size_t size) {
    return size == 0 ? 1 : size;
}

}  // namespace

namespace larkspine::testing {

std::uint64_t allocations_on_this_thread() noexcept {
    return allocations;
}

}  // namespace larkspine::testing

// The array and nothrow forms of the library call these.
void* operator new(std::size_t size) {
    return counted(std::malloc(at_least_one(size)));
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return counted(_aligned_malloc(at_least_one(size), static_cast<std::size_t>(alignment)));
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
