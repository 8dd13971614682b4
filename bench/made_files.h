// Files made for measuring, on the real file system.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "base/win32_handle.h"
#include "base/write_all.h"
#include "own_process.h"

namespace larkspine::bench {

// An empty file, open for writing; ends the program when it cannot be made.
[[nodiscard]] inline unique_handle create_file(const std::wstring& path) {
    unique_handle file = own_handle(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr,
                                                CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    require(file != nullptr, "creating a file");
    return file;
}

inline void make_folder(const std::wstring& path) {
    require(CreateDirectoryW(path.c_str(), nullptr) || GetLastError() == ERROR_ALREADY_EXISTS,
            "CreateDirectoryW");
}

// Makes `root` and folders below it, all but the first 16 of them inside an earlier one.
[[nodiscard]] inline std::vector<std::wstring> make_folders(const std::wstring& root,
                                                            std::uint64_t count) {
    make_folder(root);
    std::vector<std::wstring> folders;
    for (std::uint64_t i = 0; i < count; ++i) {
        folders.push_back((i < 16 ? root : folders[i / 16 - 1]) + L"\\folder" + std::to_wstring(i));
        make_folder(folders.back());
    }
    return folders;
}

// Makes files of one random block, over and over. Each block begins with the number of the file, so
// that two files differ unless they have the same number.
class FileMaker {
  public:
    explicit FileMaker(std::uint64_t seed) : block_(block_size / sizeof(std::uint64_t)) {
        std::mt19937_64 random(seed);
        std::ranges::generate(block_, random);
    }

    void make(const std::wstring& path, std::uint64_t size, std::uint64_t number) {
        const unique_handle file = create_file(path);
        block_.front() = number;
        const std::span<const std::byte> bytes = std::as_bytes(std::span(block_));
        for (std::uint64_t left = size; left > 0;) {
            const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(left, block_size));
            require(write_all(file.get(), bytes.first(part)), "writing a file");
            left -= part;
        }
    }

  private:
    static constexpr std::size_t block_size = 1'048'576;
    std::vector<std::uint64_t> block_;
};

// Sizes as in an ordinary home folder: nine files in ten have up to 8 KiB, most others up
// to 128 KiB, and one in fifty 128 to 300 KiB, so that it is sampled at both ends.
[[nodiscard]] inline std::uint64_t ordinary_size(std::mt19937_64& random) {
    const auto between = [&](std::uint64_t least, std::uint64_t most) {
        return least + random() % (most - least + 1);
    };
    switch (random() % 50) {
        case 0:
            return between(131'073, 307'200);
        case 1:
        case 2:
        case 3:
        case 4:
            return between(8'193, 131'072);
        default:
            return between(8, 8'192);
    }
}

}  // namespace larkspine::bench
