// A folder of special files that only Windows has. The table says which cannot be made here. For
// the others, the report of the next run must list them, or not, as expected.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/win32_handle.h"
#include "judge.h"
#include "own_walk.h"
#include "real_place.h"

namespace larkspine::check {

class SpecialTree {
  public:
    static constexpr const wchar_t* folder = L"special";

    // Fills the folder on the place. `elsewhere`, outside it, holds the targets of links. `mount`
    // mounts a volume in the folder that it is given, or throws; empty where there is none.
    SpecialTree(Judge& judge, RealPlace& place, const std::wstring& elsewhere,
                const std::function<void(const std::wstring&)>& mount);
    SpecialTree(const SpecialTree&) = delete;
    SpecialTree& operator=(const SpecialTree&) = delete;
    // Closes the files that it holds open.
    ~SpecialTree() = default;

    // Adds a row for each: whether the report lists it, or not, as expected.
    void judge_listing(const RunOutcome& outcome);
    // Scans the folder alone: a walk, which sees every name.
    void judge_walk();

  private:
    enum class Expected : std::uint8_t { listed, unlisted };
    struct Item {
        const char* title;
        Expected expected;
        std::vector<std::wstring> names;  // below the folder
    };
    void add(const char* title, Expected expected, std::vector<std::wstring> names,
             const std::function<void()>& make);
    void add_links(const std::wstring& elsewhere);
    void add_contents();
    void add_names();
    void add_access();
    [[nodiscard]] std::wstring path(std::wstring_view name) const;

    Judge& judge_;
    RealPlace& place_;
    std::vector<Item> items_;
    std::vector<unique_handle> held_;
};

}  // namespace larkspine::check
