// Operations on the text of a path: the comparison form, the long-path prefix, joining. Portable
// and pure: they look at code units only and never at a file system. Any thread may call them.
//
// All paths are UTF-16. Prefixes are compared code unit by code unit, so "\\?\unc\" is not the
// network prefix.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/case_folding.h"

namespace larkspine {

// The prefixes of a local path and of a network path in long form.
inline constexpr std::wstring_view long_path_prefix = L"\\\\?\\";
inline constexpr std::wstring_view long_unc_prefix = L"\\\\?\\UNC\\";

[[nodiscard]] constexpr bool is_separator(wchar_t unit) noexcept {
    return unit == L'\\' || unit == L'/';
}

// Whether the first code units of `text` are exactly `prefix`, case included.
[[nodiscard]] bool starts_with(std::wstring_view text, std::wstring_view prefix) noexcept;

// The path without its long-path prefix: \\?\C:\x gives C:\x, \\?\UNC\server\share gives
// \\server\share, anything else comes back unchanged.
[[nodiscard]] std::wstring strip_long_path_prefix(std::wstring_view path);

// The form in which paths are compared for equality and as prefixes: no long-path prefix,
// backslashes only, folded case, no trailing separators while longer than 3 code units (so a drive
// root keeps its own). Never used to open a file.
[[nodiscard]] std::wstring normalize_for_compare(std::wstring_view path);

// Folder and name with one backslash between them, unless the folder already ends in one.
[[nodiscard]] std::wstring join_path(std::wstring_view folder, std::wstring_view name);

// The same into `joined`, whose room is used again. Neither view may look into it.
void assign_joined(std::wstring& joined, std::wstring_view folder, std::wstring_view name);

// The comparison form of a path, read in place: at(i) for i < size() are the code units that
// normalize_for_compare would return, without a string being built. Keeps a view of `path`, which
// must outlive it.
class ComparisonForm {
  public:
    explicit ComparisonForm(std::wstring_view path) noexcept;

    [[nodiscard]] std::size_t size() const noexcept { return text_.size(); }
    [[nodiscard]] wchar_t at(std::size_t index) const noexcept {
        // The network prefix loses "?\UNC", so the text begins at its C, which reads as a
        // backslash.
        if (index == 0 && network_)
            return L'\\';
        const wchar_t unit = text_[index];
        return unit == L'/' ? L'\\' : fold_code_unit(unit);
    }
    // Whether the comparison form begins with `prefix`, itself in comparison form.
    [[nodiscard]] bool starts_with(std::wstring_view prefix) const noexcept;

    friend bool operator==(const ComparisonForm& a, const ComparisonForm& b) noexcept;

  private:
    std::wstring_view text_;
    bool network_ = false;
};

}  // namespace larkspine
