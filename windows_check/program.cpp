#include "program.h"

#include <charconv>

namespace larkspine::check {
namespace {

// What follows `label` up to one of the ends; empty when the label is not there.
std::string_view after(std::string_view text, std::string_view label) {
    const std::size_t at = text.find(label);
    if (at == std::string_view::npos)
        return {};
    text.remove_prefix(at + label.size());
    return text.substr(0, text.find_first_of(",/\r\n"));
}

bool read_flag(std::string_view text, std::string_view label, bool& flag) {
    const std::string_view word = after(text, label);
    flag = word == "oui";
    return flag || word == "non";
}

bool read_number(std::string_view text, std::string_view label, std::uint64_t& number) {
    const std::string_view digits = after(text, label);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return error == std::errc{} && end == digits.data() + digits.size();
}

}  // namespace

std::optional<RunStatistics> read_statistics(std::string_view output) {
    RunStatistics told;
    std::uint64_t full = 0;
    constexpr std::string_view full_label = "Hash complets calculés/réutilisés : ";
    if (!read_flag(output, "Index chargé : ", told.index_loaded) ||
        !read_flag(output, "Fast path inchangé : ", told.fast_path) ||
        !read_flag(output, "Delta USN appliqué : ", told.delta) ||
        !read_number(output, "  Fichiers : ", told.files) ||
        !read_number(output, "entrées index : ", told.entries) ||
        !read_number(output, full_label, full) ||
        !read_number(output, std::string(full_label) + std::to_string(full) + '/',
                     told.full_reused) ||
        !read_number(output, "Comparaisons octet par octet : ", told.byte_comparisons))
        return std::nullopt;
    told.full_computed = full;
    return told;
}

}  // namespace larkspine::check
