#include "engine/group_order.h"

namespace larkspine::detail {
namespace {

constexpr double work_of_opening = 65'536;

double work_of(const SizeGroup& group) noexcept {
    return static_cast<double>(group.unread) * (work_of_opening + static_cast<double>(group.size));
}

double candidates_of(const SizeGroup& group) noexcept {
    return static_cast<double>(group.members.size());
}

}  // namespace

GroupOrder::GroupOrder(std::span<const SizeGroup> groups) noexcept : remaining_(groups) {
    for (const SizeGroup& group : groups) {
        work_.all += work_of(group);
        candidates_.all += candidates_of(group);
    }
}

const SizeGroup* GroupOrder::next() noexcept {
    if (remaining_.empty())
        return nullptr;
    // work done / all work <= candidates done / all candidates, also where there is no work.
    const bool largest = work_.done * candidates_.all <= candidates_.done * work_.all;
    const SizeGroup& group = largest ? remaining_.back() : remaining_.front();
    remaining_ = remaining_.subspan(largest ? 0 : 1, remaining_.size() - 1);
    work_.done += work_of(group);
    candidates_.done += candidates_of(group);
    return &group;
}

}  // namespace larkspine::detail
