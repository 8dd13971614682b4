#include "engine/group_order.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <numbers>
#include <random>
#include <vector>

namespace larkspine::detail {
namespace {

using Sizes = std::vector<std::uint64_t>;

class GroupOrderTest : public ::testing::Test {
  protected:
    // Groups are added by ascending size.
    void add(std::uint64_t size, std::size_t members, std::size_t unread) {
        groups.push_back({size, {candidates.data(), members}, unread});
    }
    void add(std::uint64_t size, std::size_t members) { add(size, members, members); }

    // The sizes of the groups in the order in which they are visited.
    Sizes visited() const {
        GroupOrder order(groups);
        Sizes sizes;
        while (const SizeGroup* group = order.next())
            sizes.push_back(group->size);
        EXPECT_EQ(order.next(), nullptr);
        return sizes;
    }

    // Only the number of the members is used.
    std::vector<FileCandidate*> candidates = std::vector<FileCandidate*>(1'000);
    std::vector<SizeGroup> groups;
};

TEST_F(GroupOrderTest, WithoutGroupsNothingIsVisited) {
    EXPECT_EQ(visited(), Sizes{});
}

TEST_F(GroupOrderTest, EveryGroupIsHandedOutOnceAsItStandsInTheList) {
    add(10, 2);
    add(20, 3);
    add(30, 2);
    GroupOrder order(groups);
    std::vector<const SizeGroup*> handed_out;
    while (const SizeGroup* group = order.next())
        handed_out.push_back(group);
    std::ranges::sort(handed_out);
    EXPECT_EQ(handed_out, (std::vector<const SizeGroup*>{&groups[0], &groups[1], &groups[2]}));
}

TEST_F(GroupOrderTest, TheLargestGroupIsFollowedBySmallOnesUntilTheCandidatesCatchUp) {
    // 1,000,000 is five sevenths of the work and a fifth of the candidates.
    add(0, 2);
    add(1, 2);
    add(2, 2);
    add(3, 2);
    add(1'000'000, 2);
    EXPECT_EQ(visited(), (Sizes{1'000'000, 0, 1, 2, 3}));
    groups.clear();
    for (const std::uint64_t size : {0, 1, 2, 3, 999'997, 999'998, 999'999, 1'000'000})
        add(size, 2);
    // Each large group is nearly a quarter of the work and an eighth of the candidates.
    EXPECT_EQ(visited(), (Sizes{1'000'000, 0, 999'999, 1, 999'998, 2, 999'997, 3}));
}

TEST_F(GroupOrderTest, EqualSharesOfWorkAndCandidatesDoneChooseTheLargestGroup) {
    // Each group is a quarter of both.
    for (const std::uint64_t size : {7, 7, 7, 7})
        add(size, 2);
    GroupOrder order(groups);
    for (std::size_t place = groups.size(); place-- > 0;)
        EXPECT_EQ(order.next(), &groups[place]);
}

TEST_F(GroupOrderTest, OpeningAFileCountsAsReading64Kib) {
    // One of two files of the largest group must be read. If that takes no longer than opening a
    // file, the group's share of the work is no more than its share of the candidates.
    const auto second_after = [&](std::uint64_t size) {
        groups.clear();
        add(0, 2);
        add(0, 2);
        add(size, 2, 1);
        GroupOrder order(groups);
        EXPECT_EQ(order.next(), &groups[2]);
        return order.next() - groups.data();
    };
    EXPECT_EQ(second_after(65'536), 1) << "the larger one that is left";
    EXPECT_EQ(second_after(65'537), 0) << "the smallest";
}

TEST_F(GroupOrderTest, GroupsWithNothingToReadCountAsNoWork) {
    add(10, 100, 0);
    add(20, 2);
    add(1'000'000, 100, 0);
    add(2'000'000, 2, 0);
    // The two largest need no reading. They come first and put the candidates ahead of the work.
    EXPECT_EQ(visited(), (Sizes{2'000'000, 1'000'000, 20, 10}));
    groups[3].unread = 2;
    EXPECT_EQ(visited(), (Sizes{2'000'000, 10, 20, 1'000'000}));
}

TEST_F(GroupOrderTest, WithoutAnyWorkEveryGroupIsVisited) {
    for (const std::uint64_t size : {1, 2, 3})
        add(size, 2, 0);
    EXPECT_EQ(visited(), (Sizes{3, 2, 1}));
}

TEST_F(GroupOrderTest, SizesOf64BitsDoNotOverflow) {
    for (std::uint64_t size = 1; size <= 8; ++size)
        add(size, 1'000);
    for (std::uint64_t size = UINT64_MAX - 1; size != 0; ++size)
        add(size, 1'000);
    EXPECT_EQ(visited(), (Sizes{UINT64_MAX, 1, 2, 3, 4, UINT64_MAX - 1, 5, 6, 7, 8}));
}

// Realistic trees. Time is the work of reading and opening files.
class GroupOrderBarTest : public GroupOrderTest {
  protected:
    // Pairs of files of logarithmically normal sizes around 16 KiB.
    void add_pairs(std::size_t pairs, double spread) {
        std::mt19937_64 random(1);
        const auto uniform = [&] {
            return static_cast<double>((random() >> 11) + 1) / 9007199254740992.0;
        };
        Sizes sizes;
        for (std::size_t i = 0; i < pairs; ++i) {
            const double normal =
                std::sqrt(-2 * std::log(uniform())) * std::cos(2 * std::numbers::pi * uniform());
            sizes.push_back(static_cast<std::uint64_t>(16'384 * std::exp(spread * normal)));
        }
        std::ranges::sort(sizes);
        for (const std::uint64_t size : sizes)
            add(size, 2);
    }

    struct Course {
        double distance = 0;  // the largest distance of the bar from the time, as shares
        double largest = 0;   // the largest share of the time that one group takes
    };
    template <typename Next>
    Course course_of(Next next) const {
        const auto time_of = [](const SizeGroup& group) {
            return static_cast<double>(group.unread) * (65'536 + static_cast<double>(group.size));
        };
        double all_time = 0;
        double all_candidates = 0;
        for (const SizeGroup& group : groups) {
            all_time += time_of(group);
            all_candidates += static_cast<double>(group.members.size());
        }
        Course course;
        double time = 0;
        double bar = 0;
        while (const SizeGroup* group = next()) {
            const double share = time_of(*group) / all_time;
            course.largest = std::max(course.largest, share);
            time += share;
            course.distance = std::max(course.distance, std::abs(time - bar));
            bar += static_cast<double>(group->members.size()) / all_candidates;
            course.distance = std::max(course.distance, std::abs(time - bar));
        }
        return course;
    }
    Course course() const {
        GroupOrder order(groups);
        return course_of([&] { return order.next(); });
    }
    double distance_by_ascending_size() const {
        std::size_t place = 0;
        return course_of([&] { return place < groups.size() ? &groups[place++] : nullptr; })
            .distance;
    }
    void expect_true_bar() const {
        const Course taken = course();
        EXPECT_LE(taken.distance, std::max(0.10, taken.largest));
    }
};

TEST_F(GroupOrderBarTest, SmallFilesAloneKeepTheBarTrue) {
    for (std::uint64_t size = 0; size < 8'192; ++size)
        add(size, 2);
    expect_true_bar();
}

TEST_F(GroupOrderBarTest, SizesOfAllKindsKeepTheBarTrue) {
    add_pairs(10'000, 2.5);
    EXPECT_GT(distance_by_ascending_size(), 0.5);
    expect_true_bar();
}

TEST_F(GroupOrderBarTest, AFewHugeFilesKeepTheBarTrue) {
    add_pairs(10'000, 2.0);
    for (std::uint64_t video = 0; video < 5; ++video)
        add(std::uint64_t{2} << 30, 2);
    EXPECT_GT(distance_by_ascending_size(), 0.8);
    expect_true_bar();
}

TEST_F(GroupOrderBarTest, ASecondRunWithAFewNewFilesKeepsTheBarTrue) {
    add_pairs(10'000, 2.0);
    for (std::uint64_t video = 0; video < 20; ++video)
        add(std::uint64_t{2} << 30, 2);
    for (std::size_t i = 0; i < groups.size(); ++i)
        if (i % 100 != 0)
            groups[i].unread = 0;
    expect_true_bar();
    std::ranges::for_each(groups, [](SizeGroup& group) { group.unread = 0; });
    for (std::size_t i = 1; i <= 20; i += 2)
        groups[groups.size() - i].unread = 2;
    expect_true_bar();
}

}  // namespace
}  // namespace larkspine::detail
