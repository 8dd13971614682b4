// How fast is an index loaded and saved, and what memory does that take?
//
// Snapshots of made_snapshot.h, seed 1, with paths of 80 code units and names of 20, identities and
// both digests known: 423 bytes an entry in the file. SIZE is the number of entries.
//
// index-load  beside: reading the file into one buffer, and one allocation and copy for each string
// index-save  beside: writing the same bytes from memory to a new file and flushing it
// memory      bytes, not seconds: how far loading and then saving an index raises the peak working
//             set of a process that does nothing else; beside: the entries' own bytes, which are
//             the record and the code units of the two strings
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/byte_reader.h"
#include "base/win32_handle.h"
#include "base/write_all.h"
#include "index/index_file.h"
#include "made_files.h"
#include "made_snapshot.h"
#include "rounds.h"

namespace {

using namespace larkspine;
using namespace larkspine::bench;
using detail::FileCandidate;
using detail::IndexSnapshot;

std::wstring index_path(const std::wstring& root) {
    return index_file_path(root).value();
}

// The root of the snapshot whose index has been saved.
std::wstring saved_root(std::uint64_t size) {
    const IndexSnapshot snapshot = made_snapshot(size);
    require(detail::save_index(snapshot), "save_index");
    return snapshot.root;
}

struct Contents {
    std::unique_ptr<std::byte[]> bytes;
    std::size_t size = 0;
};

Contents bare_read(const std::wstring& path) {
    const unique_handle file =
        open_for_reading(path, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN);
    LARGE_INTEGER size = {};
    require(file && GetFileSizeEx(file.get(), &size), "opening the index");
    Contents contents;
    contents.size = static_cast<std::size_t>(size.QuadPart);
    contents.bytes = std::make_unique_for_overwrite<std::byte[]>(contents.size);
    for (std::size_t have = 0; have < contents.size;) {
        const std::size_t rest = contents.size - have;
        DWORD got = 0;
        require(
            ReadFile(file.get(), contents.bytes.get() + have,
                     static_cast<DWORD>(std::min<std::size_t>(rest, 0xFFFFFFFF)), &got, nullptr) &&
                got > 0,
            "bare read");
        have += got;
    }
    return contents;
}

using Strings = std::vector<std::unique_ptr<std::byte[]>>;

Strings bare_load(const std::wstring& path, std::size_t root_length, std::size_t entries) {
    constexpr std::size_t header_size = 41;
    constexpr std::size_t tail_size = 135;
    const Contents contents = bare_read(path);
    Strings strings;
    strings.reserve(2 * entries);
    const std::byte* at = contents.bytes.get() + header_size + 2 * root_length;
    for (std::size_t i = 0; i < 2 * entries; ++i) {
        const std::size_t bytes = 2 * std::size_t{load_little_endian<std::uint32_t>(at)};
        strings.push_back(std::make_unique_for_overwrite<std::byte[]>(bytes));
        std::memcpy(strings.back().get(), at + 4, bytes);
        at += 4 + bytes + (i % 2 == 1 ? tail_size : 0);
    }
    require(at == contents.bytes.get() + contents.size, "finding the strings of the index");
    return strings;
}

Ask load(std::uint64_t size) {
    const std::wstring root = saved_root(size);
    return [root, size] {
        std::optional<IndexSnapshot> snapshot;
        Round round;
        round.ours = seconds_for([&] { snapshot = detail::load_index(root); });
        require(snapshot && snapshot->entries.size() == size, "load_index");
        snapshot.reset();
        Strings strings;
        const std::wstring path = index_path(root);
        round.beside = seconds_for([&] { strings = bare_load(path, root.size(), size); });
        return round;
    };
}

void bare_write(const std::wstring& path, std::span<const std::byte> bytes) {
    const unique_handle file = create_file(path);
    require(write_all(file.get(), bytes) && FlushFileBuffers(file.get()), "bare write");
}

Ask save(std::uint64_t size) {
    auto snapshot = std::make_shared<const IndexSnapshot>(made_snapshot(size));
    require(detail::save_index(*snapshot), "save_index");
    const std::wstring path = index_path(snapshot->root);
    auto contents = std::make_shared<const Contents>(bare_read(path));
    return [snapshot, contents, path] {
        const std::wstring other = path + L".bare";
        DeleteFileW(path.c_str());  // freeing an old file would take extra time
        Round round;
        round.ours = seconds_for([&] { require(detail::save_index(*snapshot), "save_index"); });
        DeleteFileW(path.c_str());
        round.beside = seconds_for([&] {
            bare_write(other, {contents->bytes.get(), contents->size});
        });
        DeleteFileW(other.c_str());
        return round;
    };
}

// The second process: loads the index of a root and saves it again.
int print_own_peak(const std::wstring& root) {
    const std::uint64_t before = peak_memory();
    std::optional<IndexSnapshot> snapshot = detail::load_index(root);
    require(snapshot && detail::save_index(*snapshot), "loading and saving");
    std::printf("%llu\n", static_cast<unsigned long long>(peak_memory() - before));
    return 0;
}

Ask memory(std::uint64_t size) {
    const std::wstring root = saved_root(size);
    const double entry_bytes =
        static_cast<double>(sizeof(FileCandidate) + 2 * (made_path_length + made_name_length));
    return [root, size, entry_bytes] {
        const std::string printed = output_of_self(L"peak " + root);
        Round round;
        round.ours = std::strtod(printed.c_str(), nullptr);
        round.beside = entry_bytes * static_cast<double>(size);
        return round;
    };
}

constexpr Row rows[] = {{L"index-load", load}, {L"index-save", save}, {L"memory", memory}};

}  // namespace

int wmain(int count, wchar_t** arguments) {
    if (count == 3 && std::wstring_view(arguments[1]) == L"peak")
        return print_own_peak(arguments[2]);
    return answer(count, arguments, rows);
}
