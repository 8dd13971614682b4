#include "own_walk.h"

#include <cstring>

#include "base/path_forms.h"
#include "files.h"

namespace larkspine::check {
namespace {

void look_at(WalkedFile& file) {
    const DWORD flags = FILE_FLAG_OPEN_REPARSE_POINT;
    unique_handle handle = own_handle(CreateFileW(file.path.c_str(), GENERIC_READ, share_everything,
                                                  nullptr, OPEN_EXISTING, flags, nullptr));
    file.readable = handle != nullptr;
    if (!handle)
        handle = own_handle(CreateFileW(file.path.c_str(), FILE_READ_ATTRIBUTES, share_everything,
                                        nullptr, OPEN_EXISTING, flags, nullptr));
    FILE_ID_INFO info = {};
    LARGE_INTEGER size = {};
    if (!handle || !GetFileInformationByHandleEx(handle.get(), FileIdInfo, &info, sizeof(info)) ||
        !GetFileSizeEx(handle.get(), &size)) {
        file.readable = false;
        return;
    }
    file.size = static_cast<std::uint64_t>(size.QuadPart);
    file.identifier.volume = info.VolumeSerialNumber;
    std::memcpy(file.identifier.file.data(), &info.FileId, file.identifier.file.size());
}

void walk_below(const std::wstring& folder, const std::wstring& shown,
                std::vector<WalkedFile>& files) {
    const auto names = list_folder(folder);
    if (!names)
        return;
    for (const ListedName& entry : *names) {
        if (entry.attributes & FILE_ATTRIBUTE_REPARSE_POINT)
            continue;
        const std::wstring path = join_path(folder, entry.name);
        if (entry.attributes & FILE_ATTRIBUTE_DIRECTORY) {
            walk_below(path, join_path(shown, entry.name), files);
            continue;
        }
        WalkedFile file;
        file.path = path;
        file.shown = join_path(shown, entry.name);
        file.size = entry.size;
        look_at(file);
        files.push_back(std::move(file));
    }
}

}  // namespace

std::vector<WalkedFile> walk_files(const std::wstring& root, const std::wstring& shown_root) {
    std::vector<WalkedFile> files;
    walk_below(root, shown_root, files);
    return files;
}

}  // namespace larkspine::check
