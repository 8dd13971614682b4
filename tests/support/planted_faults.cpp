#include "support/planted_faults.h"

#include <algorithm>
#include <utility>

#include "support/usn_record_writer.h"

namespace larkspine::testing {
namespace {

constexpr std::size_t header_size = 8;

Fault at_call(Request request, std::size_t call) {
    Fault fault;
    fault.request = request;
    fault.call = call;
    return fault;
}

Fault at_path(Request request, std::wstring path) {
    Fault fault = at_call(request, every_call);
    fault.path = std::move(path);
    return fault;
}

// Overwrites the fields of the record at `record`, of which `left` bytes were returned.
void damage_record(RecordDamage damage, std::byte* record, std::size_t left) {
    const std::uint64_t length = load_little_endian(record, 4);
    const auto set_length = [&](std::uint64_t value) { store_little_endian(record, value, 4); };
    const auto set_version = [&](std::uint64_t value) {
        store_little_endian(record + 4, value, 2);
    };
    const auto set_name_length = [&](std::uint64_t value) {
        store_little_endian(record + 56, value, 2);
    };
    const auto set_name_offset = [&](std::uint64_t value) {
        store_little_endian(record + 58, value, 2);
    };
    switch (damage) {
        case RecordDamage::version_1:
            return set_version(1);
        case RecordDamage::version_3:
            return set_version(3);
        case RecordDamage::length_zero:
            return set_length(0);
        case RecordDamage::length_7:
            return set_length(7);
        case RecordDamage::length_8:
            return set_length(8);
        case RecordDamage::length_56:
            return set_length(56);
        case RecordDamage::length_59:
            return set_length(59);
        case RecordDamage::length_beyond_output:
            return set_length(left + 8);
        case RecordDamage::length_huge:
            return set_length(0xFFFF'FFFF);
        case RecordDamage::odd_name_length:
            return set_name_length(load_little_endian(record + 56, 2) - 1);
        case RecordDamage::odd_name_offset:
            return set_name_offset(61);
        case RecordDamage::name_offset_58:
            return set_name_offset(58);
        case RecordDamage::name_offset_zero:
            return set_name_offset(0);
        case RecordDamage::name_offset_beyond_record:
            return set_name_offset(length + 2);
        case RecordDamage::name_beyond_record:
            return set_name_length(length - 60 + 2);
        case RecordDamage::name_length_huge:
            return set_name_length(0xFFFE);
    }
}

bool damage_answer(const Fault& fault, std::byte* output, DWORD returned) {
    std::size_t place = header_size;
    for (std::size_t position = 0; place < returned; ++position) {
        const std::size_t length = load_little_endian(output + place, 4);
        const bool last = place + length >= returned;
        if (position == fault.damaged_record || (fault.damaged_record == last_record && last)) {
            damage_record(*fault.damage, output + place, returned - place);
            return true;
        }
        place += length;
    }
    return false;
}

}  // namespace

const std::vector<RecordDamage>& every_record_damage() {
    static const std::vector<RecordDamage> all = [] {
        std::vector<RecordDamage> damages;
        for (int i = 0; i <= static_cast<int>(RecordDamage::name_length_huge); ++i)
            damages.push_back(static_cast<RecordDamage>(i));
        return damages;
    }();
    return all;
}

Fault failing(Request request, std::size_t call, DWORD error) {
    Fault fault = at_call(request, call);
    fault.error = error;
    return fault;
}

Fault failing_at(Request request, std::wstring path, DWORD error) {
    Fault fault = at_path(request, std::move(path));
    fault.error = error;
    return fault;
}

Fault claiming(Request request, std::size_t call, DWORD bytes) {
    Fault fault = at_call(request, call);
    fault.returned = bytes;
    return fault;
}

Fault not_rising(Request request, std::size_t call) {
    Fault fault = at_call(request, call);
    fault.next_step = 0;
    return fault;
}

Fault falling(Request request, std::size_t call) {
    Fault fault = at_call(request, call);
    fault.next_step = -8;
    return fault;
}

Fault going_on_at(Request request, std::size_t call, std::uint64_t next) {
    Fault fault = at_call(request, call);
    fault.next = next;
    return fault;
}

Fault damaging(Request request, std::size_t call, RecordDamage damage, std::size_t record) {
    Fault fault = at_call(request, call);
    fault.damage = damage;
    fault.damaged_record = record;
    return fault;
}

Fault doing(Request request, std::size_t call, std::function<void()> action) {
    Fault fault = at_call(request, call);
    fault.action = std::move(action);
    return fault;
}

Fault doing_at(Request request, std::wstring path, std::function<void()> action) {
    Fault fault = at_path(request, std::move(path));
    fault.call = 0;
    fault.action = std::move(action);
    return fault;
}

void PlantedFaults::plant(Fault fault) {
    fault.number = ++last_number_;
    planted_.push_back({std::move(fault), 0, false});
}

void PlantedFaults::miss(const Fault& fault) {
    for (Planted& planted : planted_)
        if (planted.fault.number == fault.number)
            planted.happened = false;
}

std::size_t PlantedFaults::left() const {
    return static_cast<std::size_t>(
        std::count_if(planted_.begin(), planted_.end(),
                      [](const Planted& planted) { return !planted.happened; }));
}

std::vector<Fault> PlantedFaults::taken_by(Request request, const std::wstring& path) {
    std::vector<Fault> taken;
    for (Planted& planted : planted_) {
        const Fault& fault = planted.fault;
        if (fault.request != request || (fault.path && *fault.path != path))
            continue;
        const std::size_t call = planted.calls++;
        if (fault.call != every_call && fault.call != call)
            continue;
        planted.happened = true;
        taken.push_back(fault);
    }
    return taken;
}

bool apply_to_answer(const Fault& fault, std::uint64_t start, std::byte* output, DWORD& returned) {
    const bool applied = !fault.damage || damage_answer(fault, output, returned);
    if (fault.next)
        store_little_endian(output, *fault.next, header_size);
    if (fault.next_step) {
        const auto back = static_cast<std::uint64_t>(-*fault.next_step);
        store_little_endian(output, start < back ? 0 : start - back, header_size);
    }
    if (fault.returned)
        returned = *fault.returned;
    return applied;
}

}  // namespace larkspine::testing
