#include "support/reference_groups.h"

#include "base/win32_api.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <stdexcept>
#include <utility>

#include "base/path.h"
#include "base/win32_handle.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

struct PhysicalFile {
    std::array<DWORD, 3> identity;  // volume, both halves of the index
    std::wstring path;
    std::string contents;
    bool grouped = false;
};

std::array<DWORD, 3> identity_of(const std::wstring& path) {
    const unique_handle file =
        own_handle(CreateFileW(path.c_str(), 0, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    BY_HANDLE_FILE_INFORMATION information{};
    if (!file || !GetFileInformationByHandle(file.get(), &information))
        throw std::runtime_error("a file of the reference has no identity");
    return {information.dwVolumeSerialNumber, information.nFileIndexHigh,
            information.nFileIndexLow};
}

}  // namespace

PathGroups reference_groups(std::vector<std::wstring> paths) {
    std::sort(paths.begin(), paths.end(), path_less);
    std::vector<PhysicalFile> files;
    for (const std::wstring& path : paths) {
        const auto identity = identity_of(path);
        const bool known = std::any_of(files.begin(), files.end(), [&](const PhysicalFile& file) {
            return file.identity == identity;
        });
        if (!known)
            files.push_back({identity, path, read_file(path)});
    }

    std::vector<std::vector<std::wstring>> groups;
    for (std::size_t i = 0; i < files.size(); ++i) {
        std::vector<std::wstring> group;
        for (std::size_t j = i; j < files.size(); ++j) {
            if (files[j].grouped || files[j].contents != files[i].contents)
                continue;
            files[j].grouped = true;
            group.push_back(strip_long_path_prefix(files[j].path));
        }
        if (group.size() >= 2)
            groups.push_back(std::move(group));
    }
    return groups;
}

}  // namespace larkspine::testing
