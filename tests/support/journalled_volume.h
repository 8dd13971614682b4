// A fake volume and the records of its operations, for the tests of those operations.
#pragma once

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "base/win32_handle.h"
#include "support/fake_volume.h"

namespace larkspine::testing {

// The fields of a journal record that the tests compare.
struct Change {
    std::uint32_t reason;
    std::wstring name;
    std::uint64_t parent = root_reference;

    friend bool operator==(const Change&, const Change&) = default;
};
inline void PrintTo(const Change& change, std::ostream* out) {
    *out << std::hex << change.reason << ' ' << ::testing::PrintToString(change.name) << " in "
         << change.parent;
}
using Changes = std::vector<Change>;

class JournalledVolumeTest : public ::testing::Test {
  protected:
    // The records since the previous call, for one file or for all.
    Changes changes(std::optional<std::uint64_t> reference = std::nullopt) {
        Changes found;
        for (const UsnRecordFields& record : volume.journalled(asked_))
            if (!reference || record.reference == *reference)
                found.push_back({record.reason, record.name, record.parent});
        asked_ = volume.journal().NextUsn;
        return found;
    }
    void forget() { (void)changes(); }

    std::string contents(std::wstring_view path) { return read_file(volume.path(path)); }
    std::uint64_t write_time(std::wstring_view path) {
        WIN32_FILE_ATTRIBUTE_DATA data = {};
        GetFileAttributesExW(volume.path(path).c_str(), GetFileExInfoStandard, &data);
        return filetime_value(data.ftLastWriteTime);
    }
    // The files of a folder with their attributes, sorted.
    std::vector<std::wstring> listed(std::wstring_view folder) {
        WIN32_FIND_DATAW data = {};
        std::vector<std::wstring> found;
        const unique_find_handle listing = own_find_handle(
            FindFirstFileExW((volume.path(folder) + L"\\*").c_str(), FindExInfoBasic, &data,
                             FindExSearchNameMatch, nullptr, 0));
        do
            if ((data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
                std::wostringstream text;
                text << data.cFileName << L' ' << std::hex << data.dwFileAttributes;
                found.push_back(text.str());
            }
        while (FindNextFileW(listing.get(), &data));
        std::sort(found.begin(), found.end());
        return found;
    }
    bool exists(std::wstring_view path) { return file_exists(volume.path(path)); }

    TempTree tree;
    FakeVolume volume{tree};

  private:
    std::int64_t asked_ = volume.journal().FirstUsn;
};

}  // namespace larkspine::testing
