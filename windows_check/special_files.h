// Makes special files that only Windows has. Each function throws SystemError when the system
// refuses, and std::runtime_error when a call succeeds without effect. Paths are in long form.
#pragma once

#include <cstdint>
#include <string>

namespace larkspine::check {

// A folder that leads to another.
void make_junction(const std::wstring& path, const std::wstring& target);
void make_symbolic_link(const std::wstring& path, const std::wstring& target, bool to_folder);
void write_stream(const std::wstring& file, const std::wstring& stream, const std::string& bytes);
// `size` zeros that take no room on the disk.
void make_sparse_file(const std::wstring& path, std::uint64_t size);
void compress_file(const std::wstring& path);
// An empty folder whose names are case-sensitive.
void make_case_sensitive_folder(const std::wstring& path);
// A file under exactly this name; checks that the folder lists it.
void write_exact_name(const std::wstring& folder, const std::wstring& name,
                      const std::string& bytes);

}  // namespace larkspine::check
