#include "fs/exclusions.h"

#include <algorithm>
#include <vector>

#include "fs/path_forms.h"
#include "index/index_location.h"

namespace larkspine {
namespace {

// The folder itself or anything below it. A folder that is a drive root ends in its own separator,
// so only the root itself matches.
bool is_at_or_below(const ComparisonView& path, std::wstring_view folder) noexcept {
    return path.starts_with(folder) &&
           (path.size() == folder.size() || path.at(folder.size()) == L'\\');
}

}  // namespace

bool is_excluded_from(std::wstring_view path,
                      std::span<const std::wstring> index_folders) noexcept {
    const ComparisonView view(path);
    return is_at_or_below(view, L"c:\\windows") ||
           std::ranges::any_of(index_folders, [&](const std::wstring& folder) {
               return is_at_or_below(view, folder);
           });
}

bool is_excluded_path(std::wstring_view path) {
    static const std::vector<std::wstring> index_folders = index_exclusions();
    return is_excluded_from(path, index_folders);
}

}  // namespace larkspine
