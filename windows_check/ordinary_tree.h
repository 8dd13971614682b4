// Files that every file system can hold: groups of all kinds of sizes, and what is near a group
// without belonging to it. The change steps begin with it.
#pragma once

#include <string>

#include "place.h"

namespace larkspine::check {

// The contents that several files share.
[[nodiscard]] std::string small_contents();
[[nodiscard]] std::string long_contents();
// As long, and different in the middle alone.
[[nodiscard]] std::string other_long_contents();

void make_ordinary_tree(Place& place);

}  // namespace larkspine::check
