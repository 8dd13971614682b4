#include "fs/exclusions.h"

#include <algorithm>
#include <vector>

#include "base/path_forms.h"
#include "index/index_location.h"

namespace larkspine {
namespace {

// The folder itself or anything below it. A folder that is a drive root ends in its own separator,
// so only the root itself matches.
bool is_at_or_below(const ComparisonView& path, std::wstring_view folder) noexcept {
    return path.starts_with(folder) &&
           (path.size() == folder.size() || path.at(folder.size()) == L'\\');
}

bool is_in_system_folder(const ComparisonView& path) noexcept {
    return is_at_or_below(path, L"c:\\windows");
}

bool is_in_any(const ComparisonView& path, std::span<const std::wstring> folders) noexcept {
    return std::ranges::any_of(
        folders, [&](const std::wstring& folder) { return is_at_or_below(path, folder); });
}

}  // namespace

bool is_excluded_from(std::wstring_view path,
                      std::span<const std::wstring> index_folders) noexcept {
    const ComparisonView view(path);
    return is_in_system_folder(view) || is_in_any(view, index_folders);
}

bool is_excluded_path(std::wstring_view path) {
    const ComparisonView view(path);
    if (is_in_system_folder(view))
        return true;
    static const std::vector<std::wstring> index_folders = index_exclusions();
    return is_in_any(view, index_folders);
}

}  // namespace larkspine
