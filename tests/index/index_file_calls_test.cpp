#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

#include "index/index_format.h"
#include "index/saved_index.h"
#include "support/failing_steps.h"
#include "support/file_writes.h"
#include "support/import_replacement.h"

namespace larkspine::testing {
namespace {

using detail::encode_index;
using detail::load_index;
using detail::save_index;

class IndexFileCallsTest : public SavedIndexTest {
  protected:
    void SetUp() override { ASSERT_TRUE(save_index(old_)); }
    // Every call of a save counts as a step of `steps`.
    static void count_save_calls(FailingSteps& steps) {
        hooks().CreateFileW = [&](auto... a) {
            return steps.fails() ? INVALID_HANDLE_VALUE : real_imports().CreateFileW(a...);
        };
        answer_writes([&](FileWrite&, DWORD&) {
            return steps.fails() ? std::optional<BOOL>(FALSE) : std::nullopt;
        });
        hooks().FlushFileBuffers = [&](HANDLE file) {
            return steps.fails() ? FALSE : real_imports().FlushFileBuffers(file);
        };
        hooks().MoveFileExW = [&](auto... a) {
            return steps.fails() ? FALSE : real_imports().MoveFileExW(a...);
        };
    }
    // Counts handles that were opened and not closed.
    void count_handles() {
        hooks().CreateFileW = [this](auto... a) {
            const HANDLE file = real_imports().CreateFileW(a...);
            open_ += file != INVALID_HANDLE_VALUE ? 1 : 0;
            return file;
        };
        hooks().CloseHandle = [this](HANDLE file) {
            --open_;
            return real_imports().CloseHandle(file);
        };
    }
    void expect_load_fails_cleanly() {
        count_handles();
        EXPECT_FALSE(load_index(root).has_value());
        hooks() = {};
        EXPECT_EQ(open_, 0);
        EXPECT_TRUE(loads(old_));
    }

    ImportReset reset_;
    int open_ = 0;
};

TEST_F(IndexFileCallsTest, AFailureAtAnyCallOfASaveKeepsTheOldIndexAndLeavesNoTemporaryFile) {
    for (std::size_t failing = 0;; ++failing) {
        FailingSteps steps(failing);
        count_save_calls(steps);
        const bool saved = save_index(new_);
        hooks() = {};
        EXPECT_FALSE(file_exists(temporary_path())) << "failing call " << failing;
        if (!steps.failed()) {
            EXPECT_TRUE(saved);
            EXPECT_EQ(failing, 4u) << "create, write, flush, rename";
            break;
        }
        EXPECT_FALSE(saved) << "failing call " << failing;
        EXPECT_TRUE(loads(old_)) << "failing call " << failing;
    }
    EXPECT_TRUE(loads(new_));
}

TEST_F(IndexFileCallsTest, ShortWritesAreContinuedFromTheFirstUnwrittenByte) {
    shorten_writes(13);
    EXPECT_TRUE(save_index(new_));
    EXPECT_TRUE(loads(new_));
}

// NTFS refuses to replace a read-only file. Wine replaces it.
TEST_F(IndexFileCallsTest, AReadOnlyIndexIsLeftAsItIs) {
    SetFileAttributesW(index_path().c_str(), FILE_ATTRIBUTE_READONLY);
    hooks().MoveFileExW = [](LPCWSTR from, LPCWSTR to, DWORD flags) {
        if ((GetFileAttributesW(to) & FILE_ATTRIBUTE_READONLY) == 0)
            return real_imports().MoveFileExW(from, to, flags);
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    };
    EXPECT_FALSE(save_index(new_));
    EXPECT_FALSE(file_exists(temporary_path()));
    EXPECT_TRUE(loads(old_));
    EXPECT_NE(GetFileAttributesW(index_path().c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
    SetFileAttributesW(index_path().c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(IndexFileCallsTest, TheTemporaryIsDeletedEvenWhenItCouldNotBeCreated) {
    std::vector<std::wstring> deleted;
    hooks().CreateFileW = [](auto...) {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    };
    hooks().DeleteFileW = [&](LPCWSTR path) {
        deleted.emplace_back(path);
        return real_imports().DeleteFileW(path);
    };
    EXPECT_FALSE(save_index(new_));
    EXPECT_EQ(deleted, std::vector<std::wstring>{temporary_path()});
}

TEST_F(IndexFileCallsTest, ASaveMakesExactlyTheseCalls) {
    std::vector<std::wstring> calls;
    hooks().CreateFileW = [&](LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES s,
                              DWORD disposition, DWORD flags, HANDLE t) {
        EXPECT_EQ(std::wstring(path), temporary_path());
        EXPECT_EQ(access, DWORD{GENERIC_WRITE});
        EXPECT_EQ(share, 0u);
        EXPECT_EQ(disposition, DWORD{CREATE_ALWAYS});
        EXPECT_EQ(flags, DWORD{FILE_ATTRIBUTE_NORMAL});
        calls.emplace_back(L"create");
        return real_imports().CreateFileW(path, access, share, s, disposition, flags, t);
    };
    answer_writes([&](const FileWrite& write, DWORD&) {
        EXPECT_EQ(write.length, encode_index(new_)->size);
        calls.emplace_back(L"write");
        return std::optional<BOOL>();
    });
    hooks().FlushFileBuffers = [&](HANDLE f) {
        calls.emplace_back(L"flush");
        return real_imports().FlushFileBuffers(f);
    };
    hooks().CloseHandle = [&](HANDLE f) {
        calls.emplace_back(L"close");
        return real_imports().CloseHandle(f);
    };
    hooks().MoveFileExW = [&](LPCWSTR from, LPCWSTR to, DWORD flags) {
        EXPECT_EQ(std::wstring(from), temporary_path());
        EXPECT_EQ(std::wstring(to), index_path());
        EXPECT_EQ(flags, 9u);
        calls.emplace_back(L"move");
        return real_imports().MoveFileExW(from, to, flags);
    };
    EXPECT_TRUE(save_index(new_));
    EXPECT_EQ(calls, (std::vector<std::wstring>{L"create", L"write", L"flush", L"close", L"move"}));
}

TEST_F(IndexFileCallsTest, AReadThatEndsBeforeTheSizeMeansNoIndex) {
    int calls = 0;
    hooks().ReadFile = [&](HANDLE f, LPVOID b, DWORD count, LPDWORD got, LPOVERLAPPED o) {
        if (++calls == 1)
            return real_imports().ReadFile(f, b, count - 1, got, o);
        *got = 0;
        return TRUE;
    };
    expect_load_fails_cleanly();
    EXPECT_EQ(calls, 2);
}

TEST_F(IndexFileCallsTest, AReadOfMoreThanTheRequestedBytesMeansNoIndex) {
    int calls = 0;
    hooks().ReadFile = [&](HANDLE f, LPVOID b, DWORD count, LPDWORD got, LPOVERLAPPED o) {
        ++calls;
        const BOOL done = real_imports().ReadFile(f, b, count, got, o);
        ++*got;
        return done;
    };
    expect_load_fails_cleanly();
    EXPECT_EQ(calls, 1);
}

TEST_F(IndexFileCallsTest, ShortReadsAreContinued) {
    hooks().ReadFile = [](HANDLE f, LPVOID b, DWORD count, LPDWORD got, LPOVERLAPPED o) {
        return real_imports().ReadFile(f, b, std::min<DWORD>(count, 7), got, o);
    };
    EXPECT_TRUE(loads(old_));
}

TEST_F(IndexFileCallsTest, ASizeThatIsUnknownOrNegativeMeansNoIndex) {
    hooks().GetFileSizeEx = [](HANDLE, PLARGE_INTEGER) { return FALSE; };
    expect_load_fails_cleanly();
    hooks().GetFileSizeEx = [](HANDLE, PLARGE_INTEGER size) {
        size->QuadPart = -1;
        return TRUE;
    };
    expect_load_fails_cleanly();
}

// A sparse file can claim any size without using disk space.
TEST_F(IndexFileCallsTest, AnIndexTooLargeForMemoryThrowsAndLeavesNoHandleOpen) {
    count_handles();
    hooks().GetFileSizeEx = [](HANDLE, PLARGE_INTEGER size) -> BOOL {
        size->QuadPart = std::numeric_limits<LONGLONG>::max();
        return TRUE;
    };
    EXPECT_ANY_THROW((void)load_index(root));
    hooks() = {};
    EXPECT_EQ(open_, 0);
    EXPECT_TRUE(loads(old_));
}

TEST_F(IndexFileCallsTest, ALoadOpensTheIndexForSequentialReadingAndSharesReadingOnly) {
    hooks().CreateFileW = [&](LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES s,
                              DWORD disposition, DWORD flags, HANDLE t) {
        EXPECT_EQ(std::wstring(path), index_path());
        EXPECT_EQ(access, DWORD{GENERIC_READ});
        EXPECT_EQ(share, DWORD{FILE_SHARE_READ});
        EXPECT_EQ(disposition, DWORD{OPEN_EXISTING});
        EXPECT_EQ(flags, 0x08000080u);
        return real_imports().CreateFileW(path, access, share, s, disposition, flags, t);
    };
    EXPECT_TRUE(loads(old_));
}

}  // namespace
}  // namespace larkspine::testing
