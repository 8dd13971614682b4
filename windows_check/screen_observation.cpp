#include "screen_observation.h"

#include <algorithm>
#include <charconv>

#include "text.h"

namespace larkspine::check {
namespace {

constexpr std::string_view block_begins = "Analyse : [";

unsigned number_in(std::string_view text) {
    unsigned value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

std::size_t count_of(std::string_view text, std::string_view part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string_view::npos;
         at = text.find(part, at + part.size()))
        ++count;
    return count;
}

void add_once(std::vector<unsigned>& values, unsigned value) {
    if (std::ranges::find(values, value) == values.end())
        values.push_back(value);
}

std::string joined(const std::vector<unsigned>& values) {
    std::string text;
    for (const unsigned value : values)
        text += std::to_string(value) + ' ';
    return text;
}

std::vector<unsigned> numbers(std::string_view text) {
    std::vector<unsigned> values;
    for (std::size_t end = text.find(' '); end != std::string_view::npos; end = text.find(' ')) {
        values.push_back(number_in(text.substr(0, end)));
        text.remove_prefix(end + 1);
    }
    return values;
}

}  // namespace

bool ScreenObservation::shows(std::string_view text) const {
    return std::ranges::any_of(
        rows, [&](const std::string& row) { return row.find(text) != std::string::npos; });
}

void look_at_screen(ScreenObservation& seen, const std::vector<std::string>& rows,
                    bool cursor_visible) {
    unsigned blocks = 0;
    for (std::size_t row = 0; row < rows.size(); ++row) {
        if (!rows[row].starts_with(block_begins))
            continue;
        ++blocks;
        add_once(seen.places, static_cast<unsigned>(row));
        const std::size_t bar_end = rows[row].find("] ");
        if (bar_end == std::string::npos)
            continue;
        const unsigned percent = number_in(std::string_view(rows[row]).substr(bar_end + 2));
        add_once(seen.percents, percent);
        const std::size_t full = count_of(rows[row], "█");
        if (full != percent * 20 / 100 || full + count_of(rows[row], "░") != 20)
            seen.bars_right = false;
    }
    seen.most_blocks = std::max(seen.most_blocks, blocks);
    if (blocks > 0 && !cursor_visible)
        seen.cursor_seen_hidden = true;
}

std::string render(const ScreenObservation& seen) {
    std::string text;
    const auto line = [&](const char* key, const std::string& value) {
        text += std::string(key) + '=' + value + "\r\n";
    };
    line("trouble", seen.trouble);
    line("code", std::to_string(seen.code));
    line("hidden", seen.cursor_seen_hidden ? "1" : "0");
    line("visible", seen.cursor_visible ? "1" : "0");
    line("blocks", std::to_string(seen.most_blocks));
    line("places", joined(seen.places));
    line("percents", joined(seen.percents));
    line("bars", seen.bars_right ? "1" : "0");
    for (const std::string& row : seen.rows)
        line("row", row);
    return text;
}

ScreenObservation read_observation(const std::string& text) {
    ScreenObservation seen;
    if (text.empty())
        seen.trouble = "pas d’observation / no observation";
    for (const std::string& line : split_lines(text)) {
        const std::size_t equals = line.find('=');
        const std::string key = line.substr(0, equals);
        const std::string value = equals == std::string::npos ? "" : line.substr(equals + 1);
        if (key == "trouble")
            seen.trouble = value;
        else if (key == "code")
            seen.code = number_in(value);
        else if (key == "hidden")
            seen.cursor_seen_hidden = value == "1";
        else if (key == "visible")
            seen.cursor_visible = value == "1";
        else if (key == "blocks")
            seen.most_blocks = number_in(value);
        else if (key == "places")
            seen.places = numbers(value);
        else if (key == "percents")
            seen.percents = numbers(value);
        else if (key == "bars")
            seen.bars_right = value == "1";
        else if (key == "row")
            seen.rows.push_back(value);
    }
    return seen;
}

void judge_cursor(Verdicts& verdicts, const std::string& step, const ScreenObservation& seen) {
    constexpr const char* what = "curseur/cursor";
    if (!seen.cursor_visible)
        verdicts.differs(step, what, "invisible à la fin / hidden at the end");
    else if (!seen.cursor_seen_hidden)
        verdicts.differs(step, what, "visible pendant l’analyse / visible during the scan");
    else
        verdicts.right(step, what);
}

void judge_screen(Verdicts& verdicts, const std::string& step, const ScreenObservation& seen,
                  std::uint64_t documents, std::uint64_t duplicates) {
    constexpr const char* what = "bloc/block";
    const std::string detail = "lignes/rows: " + joined(seen.places) +
                               "; %: " + joined(seen.percents) +
                               (seen.bars_right ? "" : "; barre/bar");
    if (seen.most_blocks == 1 && seen.percents.size() < 2)
        verdicts.not_possible(step, what, "trop vite / too quick: " + detail);
    else
        verdicts.judge(seen.most_blocks == 1 && seen.places.size() == 1 && seen.bars_right &&
                           std::ranges::is_sorted(seen.percents) && seen.percents.back() == 100,
                       step, what, detail);
    std::string missing;
    for (const std::string& text :
         {std::string("Temps écoulé : "), std::string("Analyse terminée."),
          "Documents détectés : " + std::to_string(documents),
          "Doublons trouvés : " + std::to_string(duplicates),
          std::string("Résultats enregistrés dans :")})
        if (!seen.shows(text))
            missing += " « " + text + " »";
    verdicts.judge(missing.empty(), step, "accents",
                   missing.empty() ? "" : "absent de l’écran / not on the screen:" + missing);
    judge_cursor(verdicts, step, seen);
}

}  // namespace larkspine::check
