#include "fs/exclusion_rule.h"

#include <algorithm>

#include "base/path_forms.h"

namespace larkspine {
namespace {

bool is_at_or_below(const ComparisonForm& path, std::wstring_view folder) noexcept {
    return path.starts_with(folder) &&
           (path.size() == folder.size() || path.at(folder.size()) == L'\\');
}

}  // namespace

bool is_excluded_from(std::wstring_view path,
                      std::span<const std::wstring> index_folders) noexcept {
    const ComparisonForm view(path);
    return is_at_or_below(view, L"c:\\windows") ||
           std::ranges::any_of(index_folders, [&](const std::wstring& folder) {
               return is_at_or_below(view, folder);
           });
}

}  // namespace larkspine
