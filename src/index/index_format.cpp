#include "index/index_format.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "base/byte_reader.h"
#include "index/index_key.h"

namespace larkspine::detail {
namespace {

static_assert(sizeof(wchar_t) == 2, "strings are stored as UTF-16 code units");

constexpr std::string_view magic = "LRKIDX01";
constexpr std::uint32_t format_version = 1;
// Up to and with the root's length.
constexpr std::size_t header_size = 41;
// What follows an entry's two strings.
constexpr std::size_t entry_tail_size = 135;
// An entry with two empty strings.
constexpr std::size_t smallest_entry_size = 4 + 4 + entry_tail_size;

class ByteWriter {
  public:
    explicit ByteWriter(std::byte* at) noexcept : at_(at) {}

    void bytes(const void* from, std::size_t count) noexcept {
        std::memcpy(at_, from, count);
        at_ += count;
    }
    template <typename T>
    void integer(T value) noexcept {
        bytes(&value, sizeof value);
    }
    void flag(bool value) noexcept { integer<std::uint8_t>(value ? 1 : 0); }
    void string(std::wstring_view text) noexcept {
        integer(static_cast<std::uint32_t>(text.size()));
        bytes(text.data(), 2 * text.size());
    }

  private:
    std::byte* at_;
};

void write_entry(ByteWriter& writer, const FileCandidate& entry) noexcept {
    writer.string(entry.path);
    writer.string(entry.name);
    writer.flag(entry.has_file_id);
    writer.integer(entry.volume_serial);
    writer.integer(entry.file_id.low);
    writer.integer(entry.file_id.high);
    writer.integer(entry.record_id);
    writer.integer(entry.attributes);
    writer.integer(entry.size);
    writer.integer(entry.creation_time);
    writer.integer(entry.last_write_time);
    writer.integer(entry.record_stamp);
    writer.flag(entry.has_sample_digest);
    writer.bytes(entry.sample_digest.bytes.data(), entry.sample_digest.bytes.size());
    writer.flag(entry.has_full_digest);
    writer.bytes(entry.full_digest.bytes.data(), entry.full_digest.bytes.size());
}

// The size of the file; empty when something in the snapshot is over its limit.
std::optional<std::size_t> encoded_size(const IndexSnapshot& snapshot) noexcept {
    if (snapshot.entries.size() > max_index_entries)
        return std::nullopt;
    std::size_t size = header_size + 2 * snapshot.root.size();
    for (const FileCandidate& entry : snapshot.entries) {
        if (entry.path.size() > max_index_string || entry.name.size() > max_index_string)
            return std::nullopt;
        size += smallest_entry_size + 2 * entry.path.size() + 2 * entry.name.size();
    }
    return size;
}

// Units of a string whose length has been checked.
void take_units(ByteReader& reader, std::size_t length, std::wstring& text) {
    if (const std::byte* const units = reader.take(2 * length)) {
        text.resize(length);
        std::memcpy(text.data(), units, 2 * length);
    }
}

void read_string(ByteReader& reader, std::wstring& text) {
    const auto length = reader.read<std::uint32_t>();
    if (length > max_index_string)
        reader.fail();
    else
        take_units(reader, length, text);
}

blake3_digest digest_at(const std::byte* bytes) noexcept {
    blake3_digest digest;
    std::memcpy(digest.bytes.data(), bytes, digest.bytes.size());
    return digest;
}

bool flag_at(const std::byte* bytes) noexcept {
    return *bytes != std::byte{0};
}

// The fixed fields of an entry; offsets from the end of its name.
void read_tail(const std::byte* tail, FileCandidate& entry) noexcept {
    entry.has_file_id = flag_at(tail);
    entry.volume_serial = load_little_endian<std::uint64_t>(tail + 1);
    entry.file_id.low = load_little_endian<std::uint64_t>(tail + 9);
    entry.file_id.high = load_little_endian<std::uint64_t>(tail + 17);
    entry.record_id = load_little_endian<std::uint64_t>(tail + 25);
    entry.attributes = load_little_endian<std::uint32_t>(tail + 33);
    entry.size = load_little_endian<std::uint64_t>(tail + 37);
    entry.creation_time = load_little_endian<std::uint64_t>(tail + 45);
    entry.last_write_time = load_little_endian<std::uint64_t>(tail + 53);
    entry.record_stamp = load_little_endian<std::uint64_t>(tail + 61);
    entry.has_sample_digest = flag_at(tail + 69);
    entry.sample_digest = digest_at(tail + 70);
    entry.has_full_digest = flag_at(tail + 102);
    entry.full_digest = digest_at(tail + 103);
    static_assert(103 + sizeof(blake3_digest) == entry_tail_size);
}

bool read_entry(ByteReader& reader, FileCandidate& entry) {
    read_string(reader, entry.path);
    read_string(reader, entry.name);
    const std::byte* const tail = reader.take(entry_tail_size);
    if (tail == nullptr)
        return false;
    read_tail(tail, entry);
    return true;
}

// Everything before the entries; the number of entries, or nothing when the file is not usable.
std::optional<std::size_t> read_header(ByteReader& reader, IndexSnapshot& snapshot) {
    const std::byte* const stored_magic = reader.take(magic.size());
    if (stored_magic == nullptr || std::memcmp(stored_magic, magic.data(), magic.size()) != 0 ||
        reader.read<std::uint32_t>() != format_version)
        return std::nullopt;
    snapshot.journal_valid = reader.read<std::uint8_t>() != 0;
    snapshot.journal_id = reader.read<std::uint64_t>();
    snapshot.next_usn = static_cast<std::int64_t>(reader.read<std::uint64_t>());
    const auto count = reader.read<std::uint64_t>();
    if (count > max_index_entries)
        return std::nullopt;
    read_string(reader, snapshot.root);
    if (!reader.ok() || count > reader.remaining() / smallest_entry_size)
        return std::nullopt;
    return static_cast<std::size_t>(count);
}

}  // namespace

std::optional<EncodedIndex> encode_index(const IndexSnapshot& snapshot) {
    const std::optional<std::size_t> size = encoded_size(snapshot);
    if (!size)
        return std::nullopt;
    std::optional<EncodedIndex> encoded(std::in_place);
    encoded->bytes = std::make_unique_for_overwrite<std::byte[]>(*size);
    encoded->size = *size;
    ByteWriter writer(encoded->bytes.get());
    writer.bytes(magic.data(), magic.size());
    writer.integer(format_version);
    writer.flag(snapshot.journal_valid);
    writer.integer(snapshot.journal_id);
    writer.integer(snapshot.next_usn);
    writer.integer(static_cast<std::uint64_t>(snapshot.entries.size()));
    writer.string(snapshot.root);
    for (const FileCandidate& entry : snapshot.entries)
        write_entry(writer, entry);
    return encoded;
}

std::optional<IndexSnapshot> decode_index(std::span<const std::byte> bytes,
                                          std::wstring_view root) {
    ByteReader reader(bytes);
    IndexSnapshot snapshot;
    const std::optional<std::size_t> count = read_header(reader, snapshot);
    if (!count || normalize_index_key(snapshot.root) != normalize_index_key(root))
        return std::nullopt;
    snapshot.entries.reserve(*count);
    for (std::size_t i = 0; i < *count; ++i)
        if (!read_entry(reader, snapshot.entries.emplace_back()))
            return std::nullopt;
    // Bytes after the last entry would mean that the count is not that of these entries.
    if (reader.remaining() != 0)
        return std::nullopt;
    return snapshot;
}

}  // namespace larkspine::detail
