#include "app/progress_frame.h"

#include <algorithm>

namespace larkspine {
namespace {

void append(FrameLine& line, std::wstring_view text) noexcept {
    const std::size_t count = std::min(text.size(), FrameLine::capacity - line.length);
    std::copy_n(text.begin(), count, line.units.begin() + static_cast<std::ptrdiff_t>(line.length));
    line.length += count;
}

// In decimal, with zeros in front up to `width` digits.
void append_number(FrameLine& line, std::uint64_t value, std::size_t width = 1) noexcept {
    wchar_t digits[20];  // 2^64 - 1 has 20
    std::size_t count = 0;
    do {
        digits[19 - count++] = static_cast<wchar_t>(L'0' + value % 10);
        value /= 10;
    } while (value != 0);
    while (count < width)
        digits[19 - count++] = L'0';
    append(line, {digits + 20 - count, count});
}

}  // namespace

unsigned progress_percentage(const ScanProgress& progress) noexcept {
    switch (progress.phase.load()) {
        case ScanPhase::done:
            return 100;
        case ScanPhase::enumerating: {
            const auto seen = static_cast<double>(progress.entries_seen.load());
            return std::min(static_cast<unsigned>(seen * 20.0 / (seen + 5000.0)), 19u);
        }
        case ScanPhase::analysing:
            break;
    }
    const std::uint64_t total = progress.candidates_total;
    if (total == 0)
        return 20;
    const auto done = static_cast<double>(progress.candidates_done.load());
    const double ratio = std::min(done / static_cast<double>(total), 1.0);
    return std::min(static_cast<unsigned>(ratio * 79.0) + 20, 99u);
}

ProgressFrame make_progress_frame(const ScanProgress& progress, std::int64_t elapsed_ns) noexcept {
    constexpr unsigned cells = 20;
    const unsigned percentage = progress_percentage(progress);
    const auto seconds =
        static_cast<std::uint64_t>(std::max<std::int64_t>(elapsed_ns / 1'000'000'000, 0));

    ProgressFrame frame;
    append(frame[0], L"Analyse : [");
    for (unsigned cell = 0; cell < cells; ++cell)
        append(frame[0], cell < percentage * cells / 100 ? L"█" : L"░");
    append(frame[0], L"] ");
    append_number(frame[0], percentage);
    append(frame[0], L" %");

    append(frame[1], L"Temps écoulé : ");
    append_number(frame[1], seconds / 3600, 2);
    append(frame[1], L":");
    append_number(frame[1], seconds / 60 % 60, 2);
    append(frame[1], L":");
    append_number(frame[1], seconds % 60, 2);

    append(frame[2], L"Documents détectés : ");
    append_number(frame[2], progress.documents);

    append(frame[3], L"Doublons trouvés : ");
    append_number(frame[3], progress.duplicates);
    return frame;
}

}  // namespace larkspine
