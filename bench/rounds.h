// What the benchmark programs share. Each answers a few questions ("rows") at one or more sizes,
// and prints the time of every round. bench/bench_table.py makes the table.
//
//     x_bench ROW ROUNDS SIZE...
//
// The input of every size is made first. Then each round runs every size, ours and the way beside
// it in turn, so that a change of the machine's speed affects all alike. The first round does not
// count; ROUNDS more follow. A line of the output is "SIZE OURS BESIDE SECOND", in seconds (in
// bytes for a row about memory). SECOND is 0 unless the row has a second way beside it.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/win32_handle.h"
#include "index/index_location.h"
#include "own_process.h"

namespace larkspine::bench {

struct Round {
    double ours = 0;
    double beside = 0;
    double second = 0;
};

using Ask = std::function<Round()>;

struct Row {
    std::wstring_view name;
    // Makes the input of that size. The function that it returns runs one round.
    Ask (*prepare)(std::uint64_t size);
};

// Seconds since some moment; any thread. They are wall time, or, with LARKSPINE_BENCH_CLOCK set to
// "processor", processor time of this process. Other programs disturb that less. But under Wine it
// counts in steps of 10 ms and misses what Wine's server does for this process.
[[nodiscard]] inline double now() {
    static const bool processor =
        read_environment(L"LARKSPINE_BENCH_CLOCK") == std::optional<std::wstring>(L"processor");
    if (!processor)
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
            .count();
    FILETIME created, ended, kernel, user;
    require(GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user) != 0,
            "GetProcessTimes");
    return static_cast<double>(filetime_value(kernel) + filetime_value(user)) / 1e7;
}

template <typename Action>
[[nodiscard]] double seconds_for(Action&& action) {
    const double start = now();
    action();
    return now() - start;
}

// The folder for all files, without a separator at its end.
[[nodiscard]] inline std::wstring scratch_folder() {
    if (const auto chosen = read_environment(L"LARKSPINE_BENCH_FOLDER"))
        return *chosen;
    std::wstring folder(MAX_PATH + 1, L'\0');
    folder.resize(GetTempPathW(MAX_PATH + 1, folder.data()));
    require(folder.size() > 1, "GetTempPathW");
    folder.pop_back();
    return folder;
}

// Runs what the command line names. Index files go to their own folder, which a walk excludes.
inline int answer(int count, wchar_t** words, std::span<const Row> rows) {
    const std::span<wchar_t*> arguments(words, static_cast<std::size_t>(count));
    require(arguments.size() >= 4, "reading ROW ROUNDS SIZE...");
    SetEnvironmentVariableW(L"LARKSPINE_INDEX_DIRECTORY",
                            (scratch_folder() + L"\\indexes").c_str());
    const auto row = std::ranges::find(rows, std::wstring_view(arguments[1]), &Row::name);
    require(row != rows.end(), "finding that row");
    const unsigned long rounds = std::wcstoul(arguments[2], nullptr, 10);
    std::vector<std::pair<std::uint64_t, Ask>> asks;
    for (wchar_t* const text : arguments.subspan(3)) {
        const std::uint64_t size = std::wcstoull(text, nullptr, 10);
        require(size > 0, "reading a size");
        asks.emplace_back(size, row->prepare(size));
    }
    for (unsigned long round = 0; round <= rounds; ++round)
        for (const auto& [size, ask] : asks) {
            const Round taken = ask();
            if (round == 0)
                continue;
            std::printf("%llu %.9e %.9e %.9e\n", static_cast<unsigned long long>(size), taken.ours,
                        taken.beside, taken.second);
            std::fflush(stdout);
        }
    return 0;
}

}  // namespace larkspine::bench
