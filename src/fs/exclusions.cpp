#include "fs/exclusions.h"

#include "fs/exclusion_rule.h"
#include "index/index_location.h"

namespace larkspine {

const std::vector<std::wstring>& excluded_folders() {
    static const std::vector<std::wstring> folders = index_exclusions();
    return folders;
}

bool is_excluded_path(std::wstring_view path) {
    return is_excluded_from(path, excluded_folders());
}

}  // namespace larkspine
