#include "base/path_forms.h"

#include <algorithm>

namespace larkspine {

bool starts_with(std::wstring_view text, std::wstring_view prefix) noexcept {
    return text.substr(0, prefix.size()) == prefix;
}

std::wstring strip_long_path_prefix(std::wstring_view path) {
    if (starts_with(path, long_unc_prefix)) {
        std::wstring stripped;
        stripped.reserve(path.size() - long_unc_prefix.size() + 2);
        stripped.append(L"\\\\").append(path.substr(long_unc_prefix.size()));
        return stripped;
    }
    if (starts_with(path, long_path_prefix))
        path.remove_prefix(long_path_prefix.size());
    return std::wstring(path);
}

std::wstring normalize_for_compare(std::wstring_view path) {
    const ComparisonForm view(path);
    std::wstring normalized(view.size(), L'\0');
    for (std::size_t i = 0; i < normalized.size(); ++i)
        normalized[i] = view.at(i);
    return normalized;
}

std::wstring join_path(std::wstring_view folder, std::wstring_view name) {
    std::wstring joined;
    assign_joined(joined, folder, name);
    return joined;
}

void assign_joined(std::wstring& joined, std::wstring_view folder, std::wstring_view name) {
    joined.clear();
    joined.reserve(folder.size() + 1 + name.size());
    joined.append(folder);
    if (folder.empty() || folder.back() != L'\\')
        joined.push_back(L'\\');
    joined.append(name);
}

ComparisonForm::ComparisonForm(std::wstring_view path) noexcept : text_(path) {
    if (larkspine::starts_with(path, long_unc_prefix)) {
        network_ = true;
        text_.remove_prefix(long_unc_prefix.size() - 2);
    } else if (larkspine::starts_with(path, long_path_prefix)) {
        text_.remove_prefix(long_path_prefix.size());
    }
    while (text_.size() > 3 && is_separator(text_.back()))
        text_.remove_suffix(1);
}

bool ComparisonForm::starts_with(std::wstring_view prefix) const noexcept {
    if (size() < prefix.size())
        return false;
    for (std::size_t i = 0; i < prefix.size(); ++i)
        if (at(i) != prefix[i])
            return false;
    return true;
}

bool operator==(const ComparisonForm& a, const ComparisonForm& b) noexcept {
    if (a.size() != b.size())
        return false;
    // Most paths that are looked up are spelled as they were stored.
    if (a.network_ == b.network_ && std::equal(a.text_.begin(), a.text_.end(), b.text_.begin()))
        return true;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a.at(i) != b.at(i))
            return false;
    return true;
}

}  // namespace larkspine
