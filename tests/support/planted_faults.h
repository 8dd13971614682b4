// The faults that a test plants in a fake volume, as values:
//
//     volume.plant(failing(Request::list_table, 1, ERROR_ACCESS_DENIED));
//     volume.plant(claiming(Request::read_journal, 0, 7));
//     volume.plant(not_rising(Request::list_table, 0));
//     volume.plant(damaging(Request::read_journal, 0, RecordDamage::version_3));
//     volume.plant(failing_at(Request::query_attributes, L"a\\b.txt", ERROR_ACCESS_DENIED));
//     volume.plant(vanishing(L"a\\b.txt"));
//
// Calls of each kind are counted from 0, from the moment of planting. A fault happens once, unless
// it was planted for every call.
#pragma once

#include "base/win32_api.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "support/volume_calls.h"

namespace larkspine::testing {

inline constexpr std::size_t every_call = SIZE_MAX;
// Stands for the position of the last record in a call's output.
inline constexpr std::size_t last_record = SIZE_MAX;

// Ways to make one record of an output undecodable, one for each way in which the decoder refuses
// it. Its neighbours stay as they are.
enum class RecordDamage : std::uint8_t {
    version_3,
    length_zero,
    length_beyond_output,  // 8 bytes more than are left
    name_beyond_record,    // 2 bytes longer than from the name's offset to the record's end
};
inline constexpr RecordDamage every_record_damage[] = {
    RecordDamage::version_3, RecordDamage::length_zero, RecordDamage::length_beyond_output,
    RecordDamage::name_beyond_record};

struct Fault {
    std::size_t number = 0;  // given when it is planted
    Request request{};
    std::size_t call = 0;              // which call, or every_call
    std::optional<std::wstring> path;  // only calls for this path (below the root) are counted

    std::optional<DWORD> error;             // fails, and nothing is returned
    std::optional<DWORD> returned;          // claims that many bytes
    std::optional<std::uint64_t> next;      // the 8 bytes before the records
    std::optional<std::int64_t> next_step;  // `next`, as the distance from the requested start
    std::optional<RecordDamage> damage;
    std::size_t damaged_record = 0;
    std::function<void()> action;  // run before the call is answered; nothing else is changed
};

// Fails with `error`.
[[nodiscard]] Fault failing(Request request, std::size_t call, DWORD error);
[[nodiscard]] Fault failing_at(Request request, std::wstring path, DWORD error);
// Answers as usual, but claims to have returned `bytes` bytes.
[[nodiscard]] Fault claiming(Request request, std::size_t call, DWORD bytes);
// The continuation is the requested start.
[[nodiscard]] Fault not_rising(Request request, std::size_t call);
// The continuation lies before the requested start, or is `next`.
[[nodiscard]] Fault falling(Request request, std::size_t call);
[[nodiscard]] Fault going_on_at(Request request, std::size_t call, std::uint64_t next);
[[nodiscard]] Fault damaging(Request request, std::size_t call, RecordDamage damage,
                             std::size_t record = 0);
// Runs `action` before the call is answered, as a change of the volume in the meantime.
[[nodiscard]] Fault doing(Request request, std::size_t call, std::function<void()> action);
[[nodiscard]] Fault doing_at(Request request, std::wstring path, std::function<void()> action);

// Not thread-safe by itself: its owner holds a lock.
class PlantedFaults {
  public:
    void plant(Fault fault);
    // How many have not happened. A fault for every call counts until it has happened once.
    [[nodiscard]] std::size_t left() const;
    void clear() { planted_.clear(); }

    // Counts the call and returns the faults that happen at it, in the order of planting.
    [[nodiscard]] std::vector<Fault> taken_by(Request request, const std::wstring& path);

    // Takes back a fault that happened but found nothing to change, so that it is still left.
    void miss(const Fault& fault);

  private:
    struct Planted {
        Fault fault;
        std::size_t calls = 0;
        bool happened = false;
    };
    std::vector<Planted> planted_;
    std::size_t last_number_ = 0;
};

// Applies what a fault does to the answer of a control code: `returned` bytes in `output`, of which
// the first 8 are the continuation, for a request that started at `start`. The output has room for
// 8 bytes at least. False when the record to be damaged is not there.
bool apply_to_answer(const Fault& fault, std::uint64_t start, std::byte* output, DWORD& returned);

}  // namespace larkspine::testing
