// Settings of the process that must stand before its first file call.
#pragma once

namespace larkspine {

// A drive without a medium makes calls fail instead of opening a dialog that a scheduled run would
// wait for, and files of a cloud are shown as the placeholders they are. What a system is too old
// for is left out. Called once, before any other thread runs.
void apply_process_settings();

}  // namespace larkspine
