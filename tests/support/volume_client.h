// Queries a volume as a program does, through the system's functions, for the tests of the fake
// volume itself. Decodes only well-formed answers.
#pragma once

#include "base/win32_api.h"

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/win32_handle.h"
#include "support/usn_record_writer.h"

namespace larkspine::testing {

struct VolumeAnswer {
    DWORD error = 0;  // 0 for success
    DWORD returned = 0;
    std::vector<std::byte> bytes;  // the whole output buffer

    [[nodiscard]] std::uint64_t field(std::size_t offset, std::size_t size) const {
        return load_little_endian(bytes.data() + offset, size);
    }
    [[nodiscard]] std::uint64_t next() const { return field(0, 8); }
    // The records behind the continuation.
    [[nodiscard]] std::vector<UsnRecordFields> records() const;
    [[nodiscard]] std::vector<std::wstring> names() const;
};

inline std::vector<UsnRecordFields> VolumeAnswer::records() const {
    std::vector<UsnRecordFields> found;
    for (std::size_t place = 8; place < returned;) {
        const std::size_t length = field(place, 4);
        const std::size_t name_size = field(place + 56, 2);
        if (length % 8 != 0 || length < 60 + name_size || length > returned - place ||
            field(place + 4, 2) != 2 || field(place + 6, 2) != 0 || field(place + 58, 2) != 60)
            throw std::runtime_error("a record is not well formed");
        UsnRecordFields& record = found.emplace_back();
        record.reference = field(place + 8, 8);
        record.parent = field(place + 16, 8);
        record.usn = static_cast<std::int64_t>(field(place + 24, 8));
        record.time_stamp = field(place + 32, 8);
        record.reason = static_cast<std::uint32_t>(field(place + 40, 4));
        record.source = static_cast<std::uint32_t>(field(place + 44, 4));
        record.security = static_cast<std::uint32_t>(field(place + 48, 4));
        record.attributes = static_cast<std::uint32_t>(field(place + 52, 4));
        for (std::size_t i = 0; i < name_size; i += 2)
            record.name.push_back(static_cast<wchar_t>(field(place + 60 + i, 2)));
        place += length;
    }
    return found;
}

inline std::vector<std::wstring> VolumeAnswer::names() const {
    std::vector<std::wstring> found;
    for (const UsnRecordFields& record : records())
        found.push_back(record.name);
    return found;
}

class VolumeClient {
  public:
    explicit VolumeClient(const wchar_t* device = L"\\\\.\\q:")
        : volume_(own_handle(CreateFileW(device, GENERIC_READ, FILE_SHARE_READ, nullptr,
                                         OPEN_EXISTING, 0, nullptr))) {}

    [[nodiscard]] bool opened() const { return volume_ != nullptr; }
    [[nodiscard]] HANDLE handle() const { return volume_.get(); }

    [[nodiscard]] VolumeAnswer query(std::size_t room = 56) const {
        return control(FSCTL_QUERY_USN_JOURNAL, nullptr, 0, room);
    }
    [[nodiscard]] VolumeAnswer list(std::uint64_t start, std::int64_t high = INT64_MAX,
                                    std::size_t room = 65536, std::int64_t low = 0) const {
        MFT_ENUM_DATA_V0 request{start, low, high};
        return control(FSCTL_ENUM_USN_DATA, &request, sizeof request, room);
    }
    // From the whole table, with a buffer of `room` bytes.
    [[nodiscard]] std::vector<UsnRecordFields> list_all(std::size_t room = 65536) const {
        std::vector<UsnRecordFields> found;
        for (VolumeAnswer answer = list(0, INT64_MAX, room); answer.error == 0;
             answer = list(answer.next(), INT64_MAX, room)) {
            const std::vector<UsnRecordFields> more = answer.records();
            found.insert(found.end(), more.begin(), more.end());
        }
        return found;
    }
    [[nodiscard]] VolumeAnswer read(std::int64_t start, std::uint64_t journal,
                                    std::size_t room = 65536, std::uint32_t reasons = 0xFFFF'FFFF,
                                    bool closed_only = false) const {
        READ_USN_JOURNAL_DATA_V0 request{start, reasons, closed_only ? 1u : 0u, 0, 0, journal};
        return control(FSCTL_READ_USN_JOURNAL, &request, sizeof request, room);
    }
    [[nodiscard]] VolumeAnswer control(DWORD code, LPVOID input, DWORD input_size,
                                       std::size_t room) const {
        VolumeAnswer answer;
        answer.bytes.resize(room);
        answer.returned = 0xDEAD;
        if (!DeviceIoControl(volume_.get(), code, input, input_size, answer.bytes.data(),
                             static_cast<DWORD>(room), &answer.returned, nullptr))
            answer.error = GetLastError();
        return answer;
    }

  private:
    unique_handle volume_;
};

}  // namespace larkspine::testing
