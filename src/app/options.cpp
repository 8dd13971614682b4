#include "app/options.h"

#include <limits>
#include <thread>

namespace larkspine {

std::uint64_t default_workers(unsigned hardware_threads) noexcept {
    return hardware_threads >= 1 && hardware_threads < max_default_workers ? hardware_threads
                                                                           : max_default_workers;
}

std::optional<std::uint64_t> parse_workers(std::wstring_view text) noexcept {
    constexpr std::uint64_t highest = std::numeric_limits<std::uint64_t>::max();
    std::uint64_t value = 0;  // an empty text stays 0, which is out of range
    for (const wchar_t unit : text) {
        if (unit < L'0' || unit > L'9')
            return std::nullopt;
        const auto digit = static_cast<std::uint64_t>(unit - L'0');
        if (value > (highest - digit) / 10)
            return std::nullopt;
        value = value * 10 + digit;
    }
    if (value < 1 || value > max_workers)
        return std::nullopt;
    return value;
}

std::optional<ScanOptions> parse_options(int argc, const wchar_t* const* argv) {
    ScanOptions options;
    options.root = L"C:\\";
    options.workers = default_workers(std::thread::hardware_concurrency());
    bool folder_given = false;

    for (int i = 1; i < argc; ++i) {
        const std::wstring_view argument = argv[i];
        if (argument == L"--workers" || argument == L"-j") {
            if (++i >= argc)
                return std::nullopt;
            const std::optional<std::uint64_t> workers = parse_workers(argv[i]);
            if (!workers)
                return std::nullopt;
            options.workers = *workers;
        } else if (argument == L"--no-index" || argument == L"--rebuild-index") {
            // The two exclude each other, and each may be given once.
            if (options.index_mode != IndexMode::use)
                return std::nullopt;
            options.index_mode =
                argument == L"--no-index" ? IndexMode::disabled : IndexMode::rebuild;
        } else if (argument == L"--verify-bytes") {
            options.verify_bytes = true;
        } else if (argument == L"--stats") {
            options.show_stats = true;
        } else if (argument.starts_with(L'-') || folder_given) {
            return std::nullopt;
        } else {
            options.root = argument;
            folder_given = true;
        }
    }
    return options;
}

}  // namespace larkspine
