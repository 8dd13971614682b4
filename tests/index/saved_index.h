// The index of one root in a folder of its own, and two snapshots to save there.
#pragma once

#include "base/win32_api.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "index/index_file.h"
#include "index/index_location.h"
#include "support/scoped_environment.h"
#include "support/snapshots.h"
#include "support/temp_tree.h"

namespace larkspine::testing {

class SavedIndexTest : public ::testing::Test {
  protected:
    static constexpr const wchar_t* root = L"\\\\?\\D:\\Photos";

    [[nodiscard]] static std::wstring index_path() { return index_file_path(root).value(); }
    [[nodiscard]] static std::wstring temporary_path() {
        return index_path() + L".tmp-" + std::to_wstring(GetCurrentProcessId());
    }
    [[nodiscard]] static bool loads(const detail::IndexSnapshot& expected) {
        const std::optional<detail::IndexSnapshot> loaded = detail::load_index(root);
        return loaded.has_value() && same_snapshot(*loaded, expected);
    }

    TempTree tree_;
    ScopedEnvironment directory_{L"LARKSPINE_INDEX_DIRECTORY", tree_.root()};
    const detail::IndexSnapshot old_ =
        snapshot_of(root, {walked_file(L"\\\\?\\D:\\Photos\\old.txt", 1)});
    const detail::IndexSnapshot new_ =
        snapshot_of(root, {full_entry(L"\\\\?\\D:\\Photos\\new.txt", L"new.txt"),
                           walked_file(L"\\\\?\\D:\\Photos\\\xd83d\xde00.txt", 2)});
};

}  // namespace larkspine::testing
