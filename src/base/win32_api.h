// The one place that includes <windows.h>, and the names that older MinGW headers lack.
//
// The USN records are declared here under their documented names: older headers lack them, and
// newer ones attach the unversioned names to other layouts. Inside the namespace these hide the
// header's.
#pragma once

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif

#include <windows.h>
#include <winioctl.h>

#include <cstddef>
#include <cstdint>

#if _WIN32_WINNT < 0x0A00
#error "FILE_ID_INFO and the long-path manifest need _WIN32_WINNT 0x0A00 (the build files set it)"
#endif

namespace larkspine {

static_assert(sizeof(wchar_t) == 2, "paths are UTF-16 code units");
static_assert(sizeof(FILE_ID_INFO) == 24 && offsetof(FILE_ID_INFO, FileId) == 8);
static_assert(FSCTL_QUERY_USN_JOURNAL == 0x000900F4);
static_assert(FSCTL_ENUM_USN_DATA == 0x000900B3);
static_assert(FSCTL_READ_USN_JOURNAL == 0x000900BB);

// What FSCTL_QUERY_USN_JOURNAL returns, from the public NTFS documentation.
struct USN_JOURNAL_DATA_V0 {
    std::uint64_t UsnJournalID;
    std::int64_t FirstUsn;
    std::int64_t NextUsn;
    std::int64_t LowestValidUsn;
    std::int64_t MaxUsn;
    std::uint64_t MaximumSize;
    std::uint64_t AllocationDelta;
};
static_assert(sizeof(USN_JOURNAL_DATA_V0) == 56);

// What FSCTL_ENUM_USN_DATA takes: where in the table to go on, and the range of USNs wanted.
struct MFT_ENUM_DATA_V0 {
    std::uint64_t StartFileReferenceNumber;
    std::int64_t LowUsn;
    std::int64_t HighUsn;
};
static_assert(sizeof(MFT_ENUM_DATA_V0) == 24);

// What FSCTL_READ_USN_JOURNAL takes.
struct READ_USN_JOURNAL_DATA_V0 {
    std::int64_t StartUsn;
    std::uint32_t ReasonMask;
    std::uint32_t ReturnOnlyOnClose;
    std::uint64_t Timeout;
    std::uint64_t BytesToWaitFor;
    std::uint64_t UsnJournalID;
};
static_assert(sizeof(READ_USN_JOURNAL_DATA_V0) == 40);

}  // namespace larkspine
