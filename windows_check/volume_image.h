// An NTFS volume in a file, which is a drive while this object lives. The drive disappears even
// when the process is killed.
#pragma once

#include <string>

#include "disk_tools.h"

namespace larkspine::check {

class VolumeImage {
  public:
    // Makes the file, its disk, two partitions, both with NTFS, and a letter for the first. After a
    // failure everything is undone. Throws std::runtime_error.
    VolumeImage(DiskTools& tools, std::wstring file);
    ~VolumeImage();
    VolumeImage(const VolumeImage&) = delete;
    VolumeImage& operator=(const VolumeImage&) = delete;

    // X:\ of the first partition.
    [[nodiscard]] const std::wstring& root() const { return root_; }
    // Makes the second partition visible in an empty folder of the first, in long form; its name is
    // plain ASCII.
    void mount_second(const std::wstring& folder);

  private:
    void build();
    void undo() noexcept;

    DiskTools& tools_;
    std::wstring file_;
    std::wstring root_;
    std::wstring mounted_;
    unsigned disk_ = 0;
};

}  // namespace larkspine::check
