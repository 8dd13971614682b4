// Settings of the process that must stand before its first file call.
#pragma once

namespace larkspine {

// With them, a call on a drive without a medium fails, instead of opening a dialog that would stop
// a scheduled run; and placeholders of cloud storage appear as reparse points. A system that is too
// old for one of them goes without. Called once, before any other thread runs.
void apply_process_settings();

}  // namespace larkspine
