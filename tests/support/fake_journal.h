// A change journal: records in the order of the changes, each at its USN, the offset of its first
// byte. USNs therefore rise by each record's length, except at the end of a page of 4,096 bytes: a
// record that does not fit into the rest of its page begins with the next one, which leaves a gap.
// The next USN is the end of the last record: whether a gap follows depends on the length of the
// next one. A read may start there, and anywhere in a gap. A journal beyond its size drops its
// oldest pages, so its first USN is the start of a page. Not thread-safe by itself: its owner holds
// a lock.
#pragma once

#include "base/win32_api.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "support/usn_record_writer.h"

namespace larkspine::testing {

inline constexpr std::int64_t journal_page_size = 4096;

struct JournalSettings {
    bool active = true;
    std::uint64_t identifier = 0x01DA'7C3E'5512'9F04;  // by convention the time of creation
    std::int64_t first_usn = 0x1'4000'0000;            // beyond 32 bits, a multiple of 8
    std::uint64_t maximum_size = 0x200'0000;
    std::uint64_t allocation_delta = 0x40'0000;
};

class FakeJournal {
  public:
    explicit FakeJournal(const JournalSettings& settings);

    [[nodiscard]] bool active() const { return active_; }
    // The description of an active journal.
    [[nodiscard]] USN_JOURNAL_DATA_V0 data() const;

    // Gives the record its USN and time and keeps it. When the journal then exceeds the sum of its
    // maximum size and allocation delta, it drops its oldest pages until it fits its maximum size.
    std::int64_t append(UsnRecordFields record);

    void purge();
    void remove() { active_ = false; }
    // A new identifier; USNs begin at 0.
    void make_again();
    // A new identifier for the existing records.
    void restamp();

    [[nodiscard]] std::vector<UsnRecordFields> records_from(std::int64_t start) const;

    // FSCTL_READ_USN_JOURNAL: the next USN, which is the end of the last record that was read or
    // skipped, then as many records as fit. Returns the error code, 0 for success.
    DWORD read(const READ_USN_JOURNAL_DATA_V0& request, std::byte* output, DWORD size,
               DWORD& returned) const;

  private:
    void trim();
    [[nodiscard]] std::deque<UsnRecordFields>::const_iterator record_at(std::int64_t usn) const;

    bool active_;
    std::uint64_t identifier_;
    std::int64_t first_usn_;
    std::int64_t next_usn_;
    std::int64_t lowest_valid_usn_;
    std::uint64_t maximum_size_;
    std::uint64_t allocation_delta_;
    std::uint64_t clock_ = 0x01DA'7C3E'6000'0000;  // FILETIME of the last record
    std::deque<UsnRecordFields> records_;
};

}  // namespace larkspine::testing
