// The table: one row for each check, with one of three verdicts.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace larkspine::check {

enum class Verdict : std::uint8_t { right, differs, not_possible };

struct VerdictRow {
    std::string step;  // "fr / en"
    std::string what;  // what was checked: "groupes", "voie", "index", ...
    Verdict verdict = Verdict::right;
    std::string detail;
};

class Verdicts {
  public:
    // `shown` is called with each row when it is added.
    explicit Verdicts(std::function<void(const VerdictRow&)> shown = {});

    void right(const std::string& step, const std::string& what, const std::string& detail = {});
    void differs(const std::string& step, const std::string& what, const std::string& detail);
    void not_possible(const std::string& step, const std::string& what, const std::string& why);
    // Adds a row that is right or differs, with the same detail.
    void judge(bool is_right, const std::string& step, const std::string& what,
               const std::string& detail);

    [[nodiscard]] const std::vector<VerdictRow>& rows() const { return rows_; }
    [[nodiscard]] std::size_t count(Verdict verdict) const;

  private:
    void add(VerdictRow row);

    std::function<void(const VerdictRow&)> shown_;
    std::vector<VerdictRow> rows_;
};

// One line, without a line end.
[[nodiscard]] std::string render(const VerdictRow& row);
// All lines, then the three counts.
[[nodiscard]] std::string render(const Verdicts& verdicts);
[[nodiscard]] std::string render_counts(const Verdicts& verdicts);

}  // namespace larkspine::check
