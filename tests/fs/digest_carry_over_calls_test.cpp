#include <gtest/gtest.h>
#include <vector>

#include "fs/digest_carry_over.h"
#include "support/import_replacement.h"
#include "support/snapshots.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

using detail::carry_over_digests;
using detail::FileCandidate;

class DigestCarryOverCallsTest : public ::testing::Test {
  protected:
    // From here on every open is listed and checked.
    void watch() {
        hooks().CreateFileW = [this](LPCWSTR path, DWORD access, DWORD share,
                                     LPSECURITY_ATTRIBUTES s, DWORD disposition, DWORD flags,
                                     HANDLE t) {
            opened_.emplace_back(path);
            EXPECT_EQ(access, DWORD{GENERIC_READ});
            EXPECT_EQ(share, 7u);
            EXPECT_EQ(disposition, DWORD{OPEN_EXISTING});
            EXPECT_EQ(flags, DWORD{FILE_ATTRIBUTE_NORMAL});
            const HANDLE file =
                real_imports().CreateFileW(path, access, share, s, disposition, flags, t);
            open_ += file != INVALID_HANDLE_VALUE ? 1 : 0;
            return file;
        };
        hooks().CloseHandle = [this](HANDLE file) {
            --open_;
            return real_imports().CloseHandle(file);
        };
    }

    TempTree tree_;
    std::vector<std::wstring> opened_;
    int open_ = 0;
    ImportReset reset_;
};

TEST_F(DigestCarryOverCallsTest, OnlyFilesAtUnknownPathsAreOpenedEachOnce) {
    const std::wstring known = tree_.file(L"known.txt", "1");
    const std::wstring added = tree_.file(L"added.txt", "2");
    std::vector<FileCandidate> fresh{walked_file(known, 1), walked_file(added, 1)};
    watch();
    carry_over_digests(fresh, snapshot_of(L"x", {walked_file(known, 1)}));
    EXPECT_EQ(opened_, std::vector<std::wstring>{added});
    EXPECT_EQ(open_, 0);
}

TEST_F(DigestCarryOverCallsTest, AnIdentityThatCannotBeReadGivesNoneAndClosesTheFile) {
    std::vector<FileCandidate> fresh{walked_file(tree_.file(L"added.txt", "2"), 1)};
    watch();
    hooks().GetFileInformationByHandleEx = [](auto...) { return FALSE; };
    carry_over_digests(fresh, snapshot_of(L"x", {}));
    EXPECT_FALSE(fresh[0].has_file_id);
    EXPECT_EQ(open_, 0);
}

}  // namespace
}  // namespace larkspine::testing
