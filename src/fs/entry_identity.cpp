#include "fs/entry_identity.h"

#include <bit>

#include "base/win32_handle.h"
#include "fs/volume.h"

namespace larkspine::detail {

IdentityAnswer read_identity(FileCandidate& entry) {
    const unique_handle file = open_for_reading(entry.path, FILE_ATTRIBUTE_NORMAL);
    if (!file)
        return IdentityAnswer::unreadable;
    // First, since a share may tell the size and no identity.
    LARGE_INTEGER size = {};
    if (entry.size == 0 && GetFileSizeEx(file.get(), &size) && size.QuadPart != 0)
        return IdentityAnswer::not_empty;
    const std::optional<FILE_ID_INFO> identity = identity_of_open(file.get());
    if (!identity)
        return IdentityAnswer::unreadable;
    entry.volume_serial = identity->VolumeSerialNumber;
    entry.file_id = std::bit_cast<FileId>(identity->FileId);
    entry.has_file_id = true;
    return IdentityAnswer::read;
}

}  // namespace larkspine::detail
