#include "volume_image.h"

#include <utility>

#include "base/path_forms.h"
#include "files.h"
#include "interruption.h"
#include "text.h"

namespace larkspine::check {
namespace {

// No disk on sale has this size.
constexpr std::uint64_t image_size = (2'048ULL + 37) << 20;

}  // namespace

VolumeImage::VolumeImage(DiskTools& tools, std::wstring file)
    : tools_(tools), file_(std::move(file)) {
    try {
        build();
    } catch (...) {
        undo();
        throw;
    }
}

VolumeImage::~VolumeImage() {
    undo();
}

void VolumeImage::build() {
    tools_.create_image(file_, image_size);
    disk_ = tools_.attach(file_, image_size);
    stop_if_interrupted();
    root_ = std::wstring(1, tools_.free_letter()) + L":\\";
    // A system may leave new disks offline. diskpart ends at the first command that fails without
    // `noerr`. None of these commands destroys data on a disk that already has partitions.
    tools_.diskpart("select disk " + std::to_string(disk_) +
                    "\r\n"
                    "online disk noerr\r\n"
                    "attributes disk clear readonly noerr\r\n"
                    "create partition primary size=1900\r\n"
                    "format fs=ntfs label=LARKSPINE quick\r\n"
                    "assign letter=" +
                    utf8(root_.substr(0, 1)) +
                    "\r\n"
                    "create partition primary\r\n"
                    "format fs=ntfs label=SECOND quick\r\n");
    for (int attempt = 0; !tools_.drive_answers(root_); ++attempt) {
        if (attempt == 50)
            throw std::runtime_error("le volume ne répond pas / the volume does not answer");
        pause_for(100);
    }
}

void VolumeImage::mount_second(const std::wstring& folder) {
    mounted_ = folder;
    tools_.diskpart("select disk " + std::to_string(disk_) +
                    "\r\n"
                    "select partition 2\r\n"
                    "assign mount=" +
                    utf8(strip_long_path_prefix(folder)) + "\r\n");
}

void VolumeImage::undo() noexcept {
    if (!mounted_.empty())
        tools_.delete_mount_point(mounted_);
    tools_.detach();
    // The system may hold the file for a moment longer.
    for (int attempt = 0; exists(file_) && !remove_tree(file_) && attempt < 50; ++attempt)
        Sleep(100);
}

}  // namespace larkspine::check
