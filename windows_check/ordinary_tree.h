// Files that every file system can hold: groups of many sizes, and files that nearly belong to a
// group. The change steps start from them.
#pragma once

#include <string>

#include "place.h"

namespace larkspine::check {

// The contents that several files share.
[[nodiscard]] std::string small_contents();
[[nodiscard]] std::string long_contents();
// The same length, different only in the middle.
[[nodiscard]] std::string other_long_contents();

void make_ordinary_tree(Place& place);

}  // namespace larkspine::check
