// A file system made of listings alone, for tests of the directory walk that link the replaced
// imports: each listing is stored under its search pattern, and a folder without a listing does not
// exist. Records the requests of the walk. A fixture serves one test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/win32_handle.h"
#include "fs/directory_walk.h"
#include "support/import_replacement.h"

namespace larkspine::testing {

// Entries of a listing, by kind.
inline WIN32_FIND_DATAW entry(std::wstring_view name, DWORD attributes) {
    WIN32_FIND_DATAW data = {};
    data.dwFileAttributes = attributes;
    name.copy(data.cFileName, MAX_PATH - 1);
    return data;
}
inline WIN32_FIND_DATAW file(std::wstring_view name) {
    return entry(name, FILE_ATTRIBUTE_ARCHIVE);
}
inline WIN32_FIND_DATAW folder(std::wstring_view name) {
    return entry(name, FILE_ATTRIBUTE_DIRECTORY);
}
inline WIN32_FIND_DATAW junction(std::wstring_view name) {
    return entry(name, FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT);
}
inline WIN32_FIND_DATAW file_link(std::wstring_view name) {
    return entry(name, FILE_ATTRIBUTE_ARCHIVE | FILE_ATTRIBUTE_REPARSE_POINT);
}
inline WIN32_FIND_DATAW sized(WIN32_FIND_DATAW data, DWORD high, DWORD low) {
    data.nFileSizeHigh = high;
    data.nFileSizeLow = low;
    return data;
}

// The request for a folder's listing.
struct FindCall {
    std::wstring pattern;
    FINDEX_INFO_LEVELS level;
    FINDEX_SEARCH_OPS operation;
    bool has_filter;
    DWORD flags;

    friend bool operator==(const FindCall&, const FindCall&) = default;
};

// A listing has the entries "." and ".." only if a test adds them.
class ListedFolders : public ::testing::Test {
  protected:
    ListedFolders() {
        hooks().FindFirstFileExW = [this](LPCWSTR pattern, FINDEX_INFO_LEVELS level, LPVOID data,
                                          FINDEX_SEARCH_OPS operation, LPVOID filter, DWORD flags) {
            calls.push_back({pattern, level, operation, filter != nullptr, flags});
            return first_of(pattern, static_cast<WIN32_FIND_DATAW*>(data));
        };
        hooks().FindNextFileW = [this](HANDLE handle, LPWIN32_FIND_DATAW data) -> BOOL {
            Opened* opened = mine(handle);
            return opened != nullptr ? next_of(*opened, data)
                                     : real_imports().FindNextFileW(handle, data);
        };
        hooks().FindClose = [this](HANDLE handle) -> BOOL {
            Opened* opened = mine(handle);
            if (opened == nullptr)
                return real_imports().FindClose(handle);
            ++opened->closed;
            // The last error of closing must not be mistaken for the end of the listing.
            SetLastError(ERROR_INVALID_HANDLE);
            return TRUE;
        };
        hooks().CreateFileW = [this](LPCWSTR a, DWORD b, DWORD c, LPSECURITY_ATTRIBUTES d, DWORD e,
                                     DWORD f, HANDLE g) {
            ++files_opened;
            return real_imports().CreateFileW(a, b, c, d, e, f, g);
        };
    }

    // A listing of at least one entry, which ends with `end`.
    void listing(const std::wstring& pattern, std::vector<WIN32_FIND_DATAW> entries,
                 DWORD end = ERROR_NO_MORE_FILES) {
        listings[pattern] = {std::move(entries), end};
    }
    // A listing whose first call fails.
    void no_listing(const std::wstring& pattern, DWORD error) { listings[pattern] = {{}, error}; }

    bool walk(const std::wstring& root) {
        return detail::walk_directory_tree(root, files, statistics, progress);
    }

    [[nodiscard]] std::vector<std::wstring> found() const {
        std::vector<std::wstring> paths;
        for (const detail::FileCandidate& file : files)
            paths.push_back(file.path);
        return paths;
    }
    [[nodiscard]] std::vector<std::wstring> patterns() const {
        std::vector<std::wstring> asked;
        for (const FindCall& call : calls)
            asked.push_back(call.pattern);
        return asked;
    }
    // How often each listing that was opened has been closed.
    [[nodiscard]] std::vector<int> closings() const {
        std::vector<int> counts;
        for (const Opened& listing : open_listings)
            counts.push_back(listing.closed);
        return counts;
    }

    std::vector<FindCall> calls;
    int files_opened = 0;
    std::vector<detail::FileCandidate> files;
    ScanStatistics statistics;
    ScanProgress progress;

  private:
    struct Listing {
        std::vector<WIN32_FIND_DATAW> entries;
        DWORD error;
    };
    struct Opened {
        const Listing* listing;
        std::size_t next;
        int closed;
    };

    static constexpr std::uintptr_t first_handle = 0x7EED'0001;

    Opened* mine(HANDLE handle) {
        const std::uintptr_t index = reinterpret_cast<std::uintptr_t>(handle) - first_handle;
        return index < open_listings.size() ? &open_listings[index] : nullptr;
    }

    HANDLE first_of(const std::wstring& pattern, WIN32_FIND_DATAW* data) {
        const auto place = listings.find(pattern);
        if (place == listings.end() || place->second.entries.empty()) {
            SetLastError(place == listings.end() ? ERROR_PATH_NOT_FOUND : place->second.error);
            return INVALID_HANDLE_VALUE;
        }
        open_listings.push_back({&place->second, 1, 0});
        *data = place->second.entries[0];
        return reinterpret_cast<HANDLE>(first_handle + open_listings.size() - 1);
    }

    BOOL next_of(Opened& opened, WIN32_FIND_DATAW* data) const {
        if (opened.next < opened.listing->entries.size()) {
            *data = opened.listing->entries[opened.next++];
            return TRUE;
        }
        SetLastError(opened.listing->error);
        return FALSE;
    }

    std::map<std::wstring, Listing> listings;
    std::vector<Opened> open_listings;
    ImportReset reset;
};

}  // namespace larkspine::testing
