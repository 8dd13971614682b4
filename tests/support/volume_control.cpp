// The control codes of a fake volume.
#include <algorithm>
#include <cstring>
#include <mutex>
#include <utility>

#include "support/volume_requests.h"

namespace larkspine::testing {
namespace {

constexpr std::size_t header_size = 8;

Request request_of(DWORD code) {
    switch (code) {
        case FSCTL_QUERY_USN_JOURNAL:
            return Request::query_journal;
        case FSCTL_ENUM_USN_DATA:
            return Request::list_table;
        case FSCTL_READ_USN_JOURNAL:
            return Request::read_journal;
        default:
            return Request::other_control;
    }
}

// Copies the request's structure; leaves it unchanged when the caller passed fewer bytes.
template <typename Record>
void copy_input(Record& record, LPCVOID input, DWORD input_size) {
    if (input != nullptr && input_size >= sizeof record)
        std::memcpy(&record, input, sizeof record);
}

}  // namespace

BOOL VolumeRequests::control(HANDLE volume, DWORD code, LPVOID input, DWORD input_size,
                             LPVOID output, DWORD output_size, LPDWORD returned,
                             LPOVERLAPPED overlapped) {
    const auto target = opened(volume);
    if (!target)
        return real_imports().DeviceIoControl(volume, code, input, input_size, output, output_size,
                                              returned, overlapped);
    const std::lock_guard<VolumeLock> guard(lock_);
    VolumeCall call;
    call.request = request_of(code);
    call.path = target->path;
    call.code = code;
    call.input_size = input_size;
    call.output_size = output_size;
    if (call.request == Request::list_table)
        copy_input(call.table, input, input_size);
    if (call.request == Request::read_journal)
        copy_input(call.journal, input, input_size);
    Begun begun = begin(std::move(call));

    auto* bytes = static_cast<std::byte*>(output);
    DWORD written = 0;
    DWORD error = ERROR_INVALID_PARAMETER;
    if (begun.refused)
        error = *begun.refused;
    else if (target->volume)
        error = answer_control(begun.call, bytes, written);
    for (const Fault& fault : begun.faults)
        if (!disturb(fault, begun.call, error, bytes, written))
            faults.miss(fault);
    begun.call.returned = written;
    const bool goes_on =
        begun.call.request == Request::list_table || begun.call.request == Request::read_journal;
    if (error == ERROR_SUCCESS && goes_on)
        begun.call.next = load_little_endian(bytes, header_size);
    if (returned != nullptr)
        *returned = written;
    return finish(begun, error);
}

// False when there is nothing that the fault could change.
bool VolumeRequests::disturb(const Fault& fault, const VolumeCall& call, DWORD error,
                             std::byte* output, DWORD& returned) {
    if (fault.error || fault.action)
        return true;
    if (error != ERROR_SUCCESS)
        return false;
    const auto start = call.request == Request::read_journal
                           ? static_cast<std::uint64_t>(call.journal.StartUsn)
                           : call.table.StartFileReferenceNumber;
    return apply_to_answer(fault, start, output, returned);
}

DWORD VolumeRequests::answer_control(const VolumeCall& call, std::byte* output,
                                     DWORD& returned) const {
    switch (call.request) {
        case Request::query_journal:
            return answer_query(call, output, returned);
        case Request::list_table:
            return answer_listing(call, output, returned);
        case Request::read_journal:
            if (!journal.active())
                return ERROR_JOURNAL_NOT_ACTIVE;
            if (call.input_size < sizeof call.journal)
                return ERROR_INVALID_PARAMETER;
            return journal.read(call.journal, output, call.output_size, returned);
        default:
            return ERROR_INVALID_FUNCTION;
    }
}

DWORD VolumeRequests::answer_query(const VolumeCall& call, std::byte* output,
                                   DWORD& returned) const {
    if (!journal.active())
        return ERROR_JOURNAL_NOT_ACTIVE;
    const USN_JOURNAL_DATA_V0 data = journal.data();
    if (call.output_size < sizeof data)
        return ERROR_INSUFFICIENT_BUFFER;
    const std::uint64_t fields[] = {data.UsnJournalID,
                                    static_cast<std::uint64_t>(data.FirstUsn),
                                    static_cast<std::uint64_t>(data.NextUsn),
                                    static_cast<std::uint64_t>(data.LowestValidUsn),
                                    static_cast<std::uint64_t>(data.MaxUsn),
                                    data.MaximumSize,
                                    data.AllocationDelta};
    for (const std::uint64_t field : fields) {
        store_little_endian(output + returned, field, 8);
        returned += 8;
    }
    return ERROR_SUCCESS;
}

DWORD VolumeRequests::answer_listing(const VolumeCall& call, std::byte* output,
                                     DWORD& returned) const {
    if (call.input_size < sizeof call.table)
        return ERROR_INVALID_PARAMETER;
    if (call.output_size < header_size)
        return ERROR_INSUFFICIENT_BUFFER;

    std::size_t used = header_size;
    std::uint64_t number = record_number(call.table.StartFileReferenceNumber);
    const std::uint64_t end = contents_.end_of_table();
    std::vector<UsnRecordFields> records;
    for (; number < end; ++number) {
        contents_.records_at(number, records);
        if (number == root_record_number && !settings.lists_root)
            continue;
        std::erase_if(records, [&](const UsnRecordFields& record) {
            return record.usn < call.table.LowUsn || record.usn > call.table.HighUsn;
        });
        std::size_t needed = 0;
        for (const UsnRecordFields& record : records)
            needed += usn_record_length(record.name.size());
        if (needed > call.output_size - used)
            break;
        for (const UsnRecordFields& record : records)
            used += write_usn_record(record, output + used);
    }
    if (used == header_size)
        return number < end ? ERROR_INSUFFICIENT_BUFFER : ERROR_HANDLE_EOF;
    store_little_endian(output, number, header_size);
    returned = static_cast<DWORD>(used);
    return ERROR_SUCCESS;
}

}  // namespace larkspine::testing
