// One frame of the progress block, as text: what the four lines say for given counters and a given
// time. Portable and pure.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/scan_records.h"

namespace larkspine {

// A line of fixed capacity, so that drawing allocates nothing. Longer text is cut.
struct FrameLine {
    static constexpr std::size_t capacity = 127;

    std::array<wchar_t, capacity> units{};
    std::size_t length = 0;

    [[nodiscard]] std::wstring_view text() const noexcept { return {units.data(), length}; }
};

using ProgressFrame = std::array<FrameLine, 4>;

// How far the scan is, 0 to 100. Enumeration fills the first fifth without ever reaching it,
// because the number of entries is not known before; analysis fills the rest by candidates.
[[nodiscard]] unsigned progress_percentage(const ScanProgress& progress) noexcept;

// The frame for counters read now, `elapsed_ns` nanoseconds after the start (negative counts as 0).
// Counters may come from slightly different moments.
[[nodiscard]] ProgressFrame make_progress_frame(const ScanProgress& progress,
                                                std::int64_t elapsed_ns) noexcept;

}  // namespace larkspine
