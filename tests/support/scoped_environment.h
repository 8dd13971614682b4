// Environment variables set for one test and put back afterwards.
#pragma once

#include <optional>
#include <string>

namespace larkspine::testing {

class ScopedEnvironment {
  public:
    // Sets `name` to `value`, or removes it when there is none.
    ScopedEnvironment(const wchar_t* name, std::optional<std::wstring> value);
    ~ScopedEnvironment();
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

  private:
    const wchar_t* name_;
    std::optional<std::wstring> before_;
};

// Makes `path` the current directory and restores the former one afterwards.
class ScopedCurrentDirectory {
  public:
    explicit ScopedCurrentDirectory(const std::wstring& path);
    ~ScopedCurrentDirectory();
    ScopedCurrentDirectory(const ScopedCurrentDirectory&) = delete;
    ScopedCurrentDirectory& operator=(const ScopedCurrentDirectory&) = delete;

  private:
    std::wstring before_;
};

}  // namespace larkspine::testing
