#include "support/replaced_operators.h"

#include <cstddef>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace {

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

// The array and nothrow forms of the library call these.
void* operator new(std::size_t size) {
    larkspine::testing::before_allocation();
    return checked(std::malloc(at_least_one(size)));
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    larkspine::testing::before_allocation();
    return checked(_aligned_malloc(at_least_one(size), static_cast<std::size_t>(alignment)));
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
