#include "verdicts.h"

#include <algorithm>
#include <utility>

namespace larkspine::check {
namespace {

constexpr std::size_t longest_detail = 600;  // paths may have thousands of characters

const char* name_of(Verdict verdict) {
    switch (verdict) {
        case Verdict::right:
            return "juste/right            ";
        case Verdict::differs:
            return "DIFFÈRE/DIFFERS        ";
        case Verdict::not_possible:
            return "impossible/not possible";
    }
    return "";
}

}  // namespace

Verdicts::Verdicts(std::function<void(const VerdictRow&)> shown) : shown_(std::move(shown)) {}

void Verdicts::add(VerdictRow row) {
    // One row is one line.
    std::ranges::replace(row.detail, '\n', ' ');
    std::erase(row.detail, '\r');
    if (row.detail.size() > longest_detail) {
        // Never cuts in the middle of a character.
        std::size_t end = longest_detail;
        while ((static_cast<unsigned char>(row.detail[end]) & 0xC0) == 0x80)
            --end;
        row.detail.resize(end);
        row.detail += "…";
    }
    rows_.push_back(std::move(row));
    if (shown_)
        shown_(rows_.back());
}

void Verdicts::right(const std::string& step, const std::string& what, const std::string& detail) {
    add({step, what, Verdict::right, detail});
}

void Verdicts::differs(const std::string& step, const std::string& what,
                       const std::string& detail) {
    add({step, what, Verdict::differs, detail});
}

void Verdicts::not_possible(const std::string& step, const std::string& what,
                            const std::string& why) {
    add({step, what, Verdict::not_possible, why});
}

void Verdicts::judge(bool is_right, const std::string& step, const std::string& what,
                     const std::string& detail) {
    add({step, what, is_right ? Verdict::right : Verdict::differs, detail});
}

std::size_t Verdicts::count(Verdict verdict) const {
    return static_cast<std::size_t>(std::ranges::count(rows_, verdict, &VerdictRow::verdict));
}

std::string render(const VerdictRow& row) {
    std::string line = std::string(name_of(row.verdict)) + " | " + row.step + " | " + row.what;
    if (!row.detail.empty())
        line += " | " + row.detail;
    return line;
}

std::string render_counts(const Verdicts& verdicts) {
    return "juste/right: " + std::to_string(verdicts.count(Verdict::right)) +
           ", DIFFÈRE/DIFFERS: " + std::to_string(verdicts.count(Verdict::differs)) +
           ", impossible ici/not possible here: " +
           std::to_string(verdicts.count(Verdict::not_possible));
}

std::string render(const Verdicts& verdicts) {
    std::string text;
    for (const VerdictRow& row : verdicts.rows())
        text += render(row) + "\r\n";
    return text + "\r\n" + render_counts(verdicts) + "\r\n";
}

}  // namespace larkspine::check
