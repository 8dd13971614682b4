// The order in which size groups are analysed. The progress bar counts candidates, while time goes
// into bytes: by ascending size it showed 98 % after two seconds of a run and stood there for the
// other 90 % of it. So groups are taken from both ends of the list, large ones whenever the work
// done is not ahead of the candidates done. Portable and pure; the same groups give the same order.
//
// The work of a group is that of its unread members (size_groups.h): 64 KiB for opening a file, and
// its size. A double holds it: stored sizes reach 2^64 - 1.
#pragma once

#include <span>

#include "engine/size_groups.h"

namespace larkspine::detail {

class GroupOrder {
  public:
    // `groups` come by ascending size and must outlive this.
    explicit GroupOrder(std::span<const SizeGroup> groups) noexcept;

    // The group to analyse now, those handed out before being done; null when none is left. Takes
    // constant time and no memory.
    [[nodiscard]] const SizeGroup* next() noexcept;

  private:
    struct Part {
        double done = 0;
        double all = 0;
    };

    std::span<const SizeGroup> remaining_;
    Part work_;
    Part candidates_;
};

}  // namespace larkspine::detail
