// What was seen on a console while the program ran there, and whether it was right. The watching
// process writes it into a file; the kit reads it back.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "verdicts.h"

namespace larkspine::check {

struct ScreenObservation {
    std::string trouble;  // why there is nothing to judge
    std::uint32_t code = 0;
    bool cursor_seen_hidden = false;  // while the block was there
    bool cursor_visible = false;      // at the end
    unsigned most_blocks = 0;         // first lines of a block on the screen at one time
    std::vector<unsigned> places;     // rows of the screen where a block began, each once
    std::vector<unsigned> percents;   // in order of appearance, each once
    bool bars_right = true;           // each bar was as long as its percentage says
    std::vector<std::string> rows;    // the screen at the end

    [[nodiscard]] bool shows(std::string_view text) const;
};

// Adds one look at the screen: its rows without trailing blanks.
void look_at_screen(ScreenObservation& seen, const std::vector<std::string>& rows,
                    bool cursor_visible);

[[nodiscard]] std::string render(const ScreenObservation& seen);
[[nodiscard]] ScreenObservation read_observation(const std::string& text);

// Adds the rows "bloc", "accents" and "curseur" for a run that succeeded and found that many.
void judge_screen(Verdicts& verdicts, const std::string& step, const ScreenObservation& seen,
                  std::uint64_t documents, std::uint64_t duplicates);
void judge_cursor(Verdicts& verdicts, const std::string& step, const ScreenObservation& seen);

}  // namespace larkspine::check
