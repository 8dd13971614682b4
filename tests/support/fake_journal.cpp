#include "support/fake_journal.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace larkspine::testing {
namespace {

constexpr std::size_t header_size = 8;
constexpr std::uint64_t one_millisecond = 10'000;

std::int64_t length_of(const UsnRecordFields& record) {
    return static_cast<std::int64_t>(usn_record_length(record.name.size()));
}

// No record crosses a page boundary: one that does not fit into the rest of its page starts the
// next page. No NTFS name makes a record longer than a page.
std::int64_t place_of(std::int64_t end, std::int64_t length) {
    const std::int64_t in_page = end % journal_page_size;
    return in_page + length > journal_page_size && in_page != 0 ? end - in_page + journal_page_size
                                                                : end;
}

// A mask of all reasons also accepts a planted record without any.
bool is_wanted(const UsnRecordFields& record, const READ_USN_JOURNAL_DATA_V0& request) {
    if (request.ReturnOnlyOnClose != 0 && (record.reason & usn_reason::close) == 0)
        return false;
    return request.ReasonMask == 0xFFFF'FFFF || (record.reason & request.ReasonMask) != 0;
}

}  // namespace

FakeJournal::FakeJournal(const JournalSettings& settings)
    : active_(settings.active),
      identifier_(settings.identifier),
      first_usn_(settings.first_usn),
      next_usn_(settings.first_usn),
      lowest_valid_usn_(0),
      maximum_size_(settings.maximum_size),
      allocation_delta_(settings.allocation_delta) {}

USN_JOURNAL_DATA_V0 FakeJournal::data() const {
    USN_JOURNAL_DATA_V0 data = {};
    data.UsnJournalID = identifier_;
    data.FirstUsn = first_usn_;
    data.NextUsn = next_usn_;
    data.LowestValidUsn = lowest_valid_usn_;
    data.MaxUsn = 0x7FFF'FFFF'FFFF'0000;
    data.MaximumSize = maximum_size_;
    data.AllocationDelta = allocation_delta_;
    return data;
}

std::int64_t FakeJournal::append(UsnRecordFields record) {
    const std::int64_t usn = place_of(next_usn_, length_of(record));
    record.usn = usn;
    record.time_stamp = clock_ += one_millisecond;
    next_usn_ = usn + length_of(record);
    records_.push_back(std::move(record));
    if (static_cast<std::uint64_t>(next_usn_ - first_usn_) > maximum_size_ + allocation_delta_)
        trim();
    return usn;
}

// Drops whole pages, but never that of the last record.
void FakeJournal::trim() {
    const std::int64_t last_page = records_.back().usn / journal_page_size * journal_page_size;
    while (static_cast<std::uint64_t>(next_usn_ - first_usn_) > maximum_size_ &&
           first_usn_ < last_page)
        first_usn_ = first_usn_ / journal_page_size * journal_page_size + journal_page_size;
    records_.erase(records_.begin(), record_at(first_usn_));
}

void FakeJournal::purge() {
    records_.clear();
    first_usn_ = next_usn_;
}

void FakeJournal::make_again() {
    active_ = true;
    identifier_ += 0x1'0000'0001;
    records_.clear();
    first_usn_ = next_usn_ = lowest_valid_usn_ = 0;
}

void FakeJournal::restamp() {
    identifier_ += 0x1'0000'0001;
    lowest_valid_usn_ = next_usn_;
}

std::vector<UsnRecordFields> FakeJournal::records_from(std::int64_t start) const {
    return {record_at(start), records_.end()};
}

DWORD FakeJournal::read(const READ_USN_JOURNAL_DATA_V0& request, std::byte* output, DWORD size,
                        DWORD& returned) const {
    returned = 0;
    if (request.UsnJournalID != identifier_)
        return ERROR_INVALID_PARAMETER;
    // 0 requests the oldest record.
    const std::int64_t start = request.StartUsn == 0 ? first_usn_ : request.StartUsn;
    if (start < first_usn_)
        return ERROR_JOURNAL_ENTRY_DELETED;
    auto record = record_at(start);
    // A start between the end of a record and the next one is in the gap before a page.
    const std::int64_t end_before = record == records_.begin()
                                        ? first_usn_
                                        : std::prev(record)->usn + length_of(*std::prev(record));
    if (start < end_before || (record == records_.end() && start > next_usn_))
        return ERROR_INVALID_PARAMETER;
    if (size < header_size)
        return ERROR_INSUFFICIENT_BUFFER;

    std::size_t used = header_size;
    std::int64_t next = start;
    for (; record != records_.end(); ++record) {
        if (is_wanted(*record, request)) {
            if (usn_record_length(record->name.size()) > size - used)
                break;
            used += write_usn_record(*record, output + used);
        }
        next = record->usn + length_of(*record);
    }
    if (next == start && record != records_.end())
        return ERROR_INSUFFICIENT_BUFFER;
    store_little_endian(output, static_cast<std::uint64_t>(next), header_size);
    returned = static_cast<DWORD>(used);
    return ERROR_SUCCESS;
}

std::deque<UsnRecordFields>::const_iterator FakeJournal::record_at(std::int64_t usn) const {
    return std::lower_bound(
        records_.begin(), records_.end(), usn,
        [](const UsnRecordFields& record, std::int64_t wanted) { return record.usn < wanted; });
}

}  // namespace larkspine::testing
