// Buffers for reading whole files, one per thread and purpose. A leaf.
//
// Held in fiber-local storage, not in thread_local objects: MinGW keeps thread_local variables in
// memory that its runtime frees before it runs their destructors, so a unique_ptr there deletes
// whatever stands in its place by then. Seen as 6 crashes in 40 runs with two workers, 28 with 64.
#pragma once

#include "base/win32_api.h"

#include <cstddef>
#include <memory>
#include <new>

namespace larkspine::detail {

// 1 MiB: the size of one read request of a whole file.
inline constexpr std::size_t read_buffer_size = 1'048'576;

// Zero-filled when made. Aligned for the vector instructions that read it.
struct alignas(32) ReadBuffer {
    std::byte bytes[read_buffer_size] = {};
};

// One buffer for each thread that asks; freed when its thread ends. Lives as long as the program.
class ThreadReadBuffer {
  public:
    ThreadReadBuffer() noexcept : index_(FlsAlloc(&release)) {}
    ~ThreadReadBuffer() = default;  // the index is kept: threads may still end after this
    ThreadReadBuffer(const ThreadReadBuffer&) = delete;
    ThreadReadBuffer& operator=(const ThreadReadBuffer&) = delete;

    // The calling thread's buffer, made on first use. Throws std::bad_alloc without memory or room.
    [[nodiscard]] std::byte* get() const {
        if (index_ == FLS_OUT_OF_INDEXES)
            throw std::bad_alloc();
        if (void* const made = FlsGetValue(index_))
            return static_cast<ReadBuffer*>(made)->bytes;
        auto buffer = std::make_unique<ReadBuffer>();
        if (!FlsSetValue(index_, buffer.get()))
            throw std::bad_alloc();
        return buffer.release()->bytes;
    }

  private:
    static void WINAPI release(void* buffer) { delete static_cast<ReadBuffer*>(buffer); }

    DWORD index_;
};

}  // namespace larkspine::detail
