// How accurate is the progress bar?
//
// Whole first scans of real trees, four workers, no index, files in the cache. A thread reads the
// progress every millisecond. The figure is no time but a distance: the largest, over the analysis,
// between the bar's share of the candidates and the share of the time that has passed. "Beside" is
// 1. "Second" is by how much the largest group's share of the work exceeds 0.10, since no order can
// split a group. Time is always that of the wall, whatever LARKSPINE_BENCH_CLOCK says.
//
// SIZE is the number of files, in pairs of one size, every other pair with equal contents, in
// folders of 100; seed 1.
//
// bar-small  up to 8 KiB each
// bar-mixed  logarithmically normal around 16 KiB, up to 64 MiB
// bar-huge   the same and five pairs of 2 GiB of zeros, which take no room
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

#include "engine/scan_driver.h"
#include "made_files.h"
#include "rounds.h"

namespace {

using namespace larkspine;
using namespace larkspine::bench;
using Clock = std::chrono::steady_clock;

struct Moment {
    Clock::time_point time;
    double bar = 0;  // the share of the candidates
};

// Reads the progress of a scan from the beginning to the end of its analysis.
class Watch {
  public:
    explicit Watch(const ScanProgress& progress)
        : progress_(progress), thread_([this] { run(); }) {}
    [[nodiscard]] std::vector<Moment> end() {
        running_ = false;
        thread_.join();
        return std::move(moments_);
    }

  private:
    void run() {
        while (running_) {
            if (progress_.phase == ScanPhase::analysing)
                moments_.push_back(
                    {Clock::now(), static_cast<double>(progress_.candidates_done) /
                                       static_cast<double>(progress_.candidates_total)});
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    const ScanProgress& progress_;
    std::vector<Moment> moments_;
    std::atomic<bool> running_{true};
    std::thread thread_;
};

double largest_distance(const std::vector<Moment>& moments) {
    require(moments.size() > 100, "watching the bar often enough");
    const double all = std::chrono::duration<double>(moments.back().time - moments[0].time).count();
    double largest = 0;
    for (const Moment& moment : moments) {
        const double time =
            std::chrono::duration<double>(moment.time - moments[0].time).count() / all;
        largest = std::max(largest, std::abs(time - moment.bar));
    }
    return largest;
}

// A tree, and the largest pair's share of all work.
struct Tree {
    std::wstring root;
    double largest_share = 0;
};

class TreeMaker {
  public:
    TreeMaker(std::wstring_view name, std::uint64_t files)
        : tree_{scratch_folder() + L"\\" + std::wstring(name) + std::to_wstring(files)},
          folders_(make_folders(tree_.root, files / 100 + 1)) {}

    // Every other pair has equal contents.
    void add_pair(std::uint64_t size) {
        for (int i = 0; i < 2; ++i)
            maker_.make(next_path(), size, pairs_ % 2 == 0 ? pairs_ : 2 * pairs_ + i);
        count(size);
    }
    void add_pair_of_zeros(std::uint64_t size) {
        for (int i = 0; i < 2; ++i) {
            const unique_handle file = create_file(next_path());
            LARGE_INTEGER end;
            end.QuadPart = static_cast<LONGLONG>(size);
            require(
                SetFilePointerEx(file.get(), end, nullptr, FILE_BEGIN) && SetEndOfFile(file.get()),
                "making a large file");
        }
        count(size);
    }
    [[nodiscard]] Tree done() {
        tree_.largest_share = largest_ / all_;
        return tree_;
    }

  private:
    std::wstring next_path() {
        const std::uint64_t number = files_++;
        return folders_[number / 100 % folders_.size()] + L"\\" + std::to_wstring(number) +
               L".data";
    }
    void count(std::uint64_t size) {
        ++pairs_;
        const double work = 2 * (65'536 + static_cast<double>(size));
        all_ += work;
        largest_ = std::max(largest_, work);
    }

    Tree tree_;
    std::vector<std::wstring> folders_;
    FileMaker maker_{1};
    std::uint64_t files_ = 0;
    std::uint64_t pairs_ = 1;
    double all_ = 0;
    double largest_ = 0;
};

std::uint64_t logarithmically_normal(std::mt19937_64& random) {
    const auto uniform = [&] {
        return (static_cast<double>(random() >> 11) + 1) / 9007199254740992.0;
    };
    const double normal =
        std::sqrt(-2 * std::log(uniform())) * std::cos(2 * std::numbers::pi * uniform());
    return static_cast<std::uint64_t>(std::min(16'384 * std::exp(2 * normal), 67'108'864.0));
}

Ask ask(const Tree& tree) {
    return [tree] {
        ScanProgress progress;
        Watch watch(progress);
        const ScanResult result =
            scan({.root = tree.root, .workers = 4, .index_mode = IndexMode::disabled}, progress);
        require(result.failures == 0 && !result.groups.empty(), "scanning");
        return Round{largest_distance(watch.end()), 1, std::max(0.0, tree.largest_share - 0.10)};
    };
}

Ask small_files(std::uint64_t size) {
    TreeMaker maker(L"small", size);
    std::mt19937_64 random(1);
    for (std::uint64_t i = 0; i < size; i += 2)
        maker.add_pair(random() % 8'192 + 1);
    return ask(maker.done());
}

void add_mixed(TreeMaker& maker, std::uint64_t size) {
    std::mt19937_64 random(1);
    for (std::uint64_t i = 0; i < size; i += 2)
        maker.add_pair(logarithmically_normal(random));
}

Ask mixed(std::uint64_t size) {
    TreeMaker maker(L"mixed", size);
    add_mixed(maker, size);
    return ask(maker.done());
}

Ask huge(std::uint64_t size) {
    TreeMaker maker(L"huge", size);
    add_mixed(maker, size);
    for (std::uint64_t i = 0; i < 5; ++i)
        maker.add_pair_of_zeros((std::uint64_t{2} << 30) + i);
    return ask(maker.done());
}

constexpr Row rows[] = {{L"bar-small", small_files}, {L"bar-mixed", mixed}, {L"bar-huge", huge}};

}  // namespace

int wmain(int count, wchar_t** arguments) {
    return answer(count, arguments, rows);
}
