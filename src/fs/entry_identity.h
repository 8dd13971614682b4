// Reading what identifies an entry's file on its volume.
#pragma once

#include <cstdint>

#include "base/scan_records.h"

namespace larkspine::detail {

enum class IdentityAnswer : std::uint8_t {
    read,
    unreadable,  // the file cannot be opened or asked
    not_empty,   // the file was listed as empty and is not
};

// Reads the identity of the entry's file and stores it in the entry, which stays as it was on any
// other answer. The listing of a folder may call a file empty that a program has just made and is
// writing: its entry would be a duplicate of every empty file without ever being read. The open
// file knows better, so an entry of size 0 costs one question more.
[[nodiscard]] IdentityAnswer read_identity(FileCandidate& entry);

}  // namespace larkspine::detail
