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

// Overwrites a field of the record at `record`, of which `left` bytes were returned.
void damage_record(RecordDamage damage, std::byte* record, std::size_t left) {
    switch (damage) {
        case RecordDamage::version_3:
            return store_little_endian(record + 4, 3, 2);
        case RecordDamage::length_zero:
            return store_little_endian(record, 0, 4);
        case RecordDamage::length_beyond_output:
            return store_little_endian(record, left + 8, 4);
        case RecordDamage::name_beyond_record:
            return store_little_endian(record + 56, load_little_endian(record, 4) - 60 + 2, 2);
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
