#include "reference_groups.h"

#include "base/win32_api.h"

#include <algorithm>
#include <array>
#include <optional>

#include "base/path_forms.h"
#include "base/win32_handle.h"

namespace larkspine::check {
namespace {

int compare(const std::wstring& a, const std::wstring& b, BOOL ignore_case) {
    return CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(),
                                static_cast<int>(b.size()), ignore_case);
}

// The number of bytes read; no value when reading fails.
std::optional<std::size_t> fill(HANDLE file, std::vector<char>& block) {
    std::size_t filled = 0;
    while (filled < block.size()) {
        DWORD got = 0;
        if (!ReadFile(file, block.data() + filled, static_cast<DWORD>(block.size() - filled), &got,
                      nullptr))
            return std::nullopt;
        if (got == 0)
            break;
        filled += got;
    }
    return filled;
}

bool same_bytes(const std::wstring& a, const std::wstring& b) {
    const unique_handle one = open_for_reading(a, FILE_ATTRIBUTE_NORMAL);
    const unique_handle other = open_for_reading(b, FILE_ATTRIBUTE_NORMAL);
    if (!one || !other)
        return false;
    std::vector<char> first(1U << 16);
    std::vector<char> second(1U << 16);
    for (;;) {
        const auto got = fill(one.get(), first);
        const auto more = fill(other.get(), second);
        if (!got || !more || *got != *more ||
            !std::equal(first.begin(), first.begin() + static_cast<std::ptrdiff_t>(*got),
                        second.begin()))
            return false;
        if (*got < first.size())
            return true;
    }
}

}  // namespace

bool row_less(const std::wstring& a, const std::wstring& b) {
    for (const BOOL ignore_case : {TRUE, FALSE}) {
        const int order = compare(a, b, ignore_case);
        if (order != CSTR_EQUAL)
            return order == CSTR_LESS_THAN;
    }
    return a < b;
}

Reference make_reference(const std::vector<WalkedFile>& walked) {
    Reference reference;
    std::vector<std::wstring> paths;  // one of each file
    std::map<FileIdentifier, std::size_t> known;
    for (const WalkedFile& file : walked) {
        // Without an identifier each path is a file of its own.
        const bool identified = file.identifier != FileIdentifier{};
        const auto found = identified ? known.find(file.identifier) : known.end();
        std::size_t number = reference.files.size();
        if (found != known.end()) {
            number = found->second;
        } else {
            reference.files.push_back({file.size, {}, 0, file.readable || file.size == 0});
            paths.push_back(file.path);
            if (identified)
                known.emplace(file.identifier, number);
        }
        reference.files[number].names.push_back(file.shown);
        reference.by_name.emplace(file.shown, number);
    }
    std::map<std::uint64_t, std::vector<std::size_t>> classes;  // by size, one file of each
    for (std::size_t i = 0; i < reference.files.size(); ++i) {
        ReferenceFile& file = reference.files[i];
        std::sort(file.names.begin(), file.names.end(), row_less);
        file.contents = i;
        if (!file.takes_part)
            continue;
        std::vector<std::size_t>& firsts = classes[file.size];
        const auto same = std::find_if(firsts.begin(), firsts.end(), [&](std::size_t first) {
            return file.size == 0 || same_bytes(paths[first], paths[i]);
        });
        if (same != firsts.end())
            file.contents = *same;
        else
            firsts.push_back(i);
    }
    return reference;
}

void Reference::add_former_name(const std::wstring& former, const std::wstring& present) {
    const auto file = by_name.find(present);
    if (file != by_name.end())
        by_name.emplace(former, file->second);
}

void Reference::leave_out(const std::wstring& path) {
    const std::wstring prefix = path + L'\\';
    for (ReferenceFile& file : files) {
        std::erase_if(file.names, [&](const std::wstring& name) {
            return name == path || starts_with(name, prefix);
        });
        if (file.names.empty())
            file.takes_part = false;
    }
}

}  // namespace larkspine::check
