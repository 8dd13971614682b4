// Reads stored bytes, bounds-checked and little-endian. After one read has failed all later ones
// fail too, so a caller may read a whole record and check once. A leaf; pure.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <span>

namespace larkspine {

static_assert(std::endian::native == std::endian::little, "stored integers are copied as they are");

// The unsigned integer whose little-endian bytes begin at `bytes`, which need not be aligned.
template <std::unsigned_integral T>
[[nodiscard]] T load_little_endian(const std::byte* bytes) noexcept {
    T value;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

// Keeps a view of the bytes, which must outlive it.
class ByteReader {
  public:
    explicit ByteReader(std::span<const std::byte> bytes) noexcept : rest_(bytes) {}

    // False once a read asked for more than was left.
    [[nodiscard]] bool ok() const noexcept { return ok_; }
    // Bytes not yet read; 0 after a failure.
    [[nodiscard]] std::size_t remaining() const noexcept { return rest_.size(); }

    // Makes this and every later read fail: for a value that is present but out of range.
    void fail() noexcept {
        ok_ = false;
        rest_ = {};
    }

    // The next `count` bytes, or null when fewer are left.
    [[nodiscard]] const std::byte* take(std::size_t count) noexcept {
        // Compared with what is left: a sum of an offset and a stored length could wrap.
        if (!ok_ || count > rest_.size()) {
            fail();
            return nullptr;
        }
        const std::byte* const taken = rest_.data();
        rest_ = rest_.subspan(count);
        return taken;
    }

    // The next integer, or 0 when fewer bytes are left.
    template <std::unsigned_integral T>
    [[nodiscard]] T read() noexcept {
        const std::byte* const bytes = take(sizeof(T));
        return bytes == nullptr ? T{0} : load_little_endian<T>(bytes);
    }

  private:
    std::span<const std::byte> rest_;
    bool ok_ = true;
};

}  // namespace larkspine
