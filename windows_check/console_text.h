// Messages for the person who runs the kit, in UTF-8: on a console as characters, elsewhere as
// bytes.
#pragma once

#include <string_view>

namespace larkspine::check {

void say(std::string_view text);
void say_error(std::string_view text);
// Whether the next line of the standard input is "oui" or "yes".
[[nodiscard]] bool agreed();
// Waits for Enter when the console would close with this program.
void pause_in_own_window();

}  // namespace larkspine::check
