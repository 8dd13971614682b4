#include "fs/exclusions.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "fs/exclusion_rule.h"
#include "support/allocation_counter.h"
#include "support/scoped_environment.h"

namespace larkspine::testing {
namespace {

const std::vector<std::wstring> index_folders = {L"c:\\users\\u\\appdata\\local\\larkspine",
                                                 L"\\\\srv\\share\\idx", L"d:\\"};

// Longer than any small string that fits into a string object itself.
const std::vector<std::wstring> paths = {
    L"\\\\?\\C:\\Users\\u\\AppData\\Local\\Larkspine\\indexes\\index-0123456789abcdef.lsi",
    L"\\\\?\\UNC\\srv\\share\\idx\\a folder with a long name\\file.txt",
    L"\\\\?\\C:\\Windows\\System32\\drivers\\etc\\hosts",
    L"\\\\?\\D:\\Data\\Photos\\A Holiday in the Mountains\\IMG_0001.JPG",
    L"C:/Windows/Temp////////////////////////////",
    L"D:/",
    L"",
    std::wstring(20'000, L'x'),
};

TEST(AllocationCounterTest, EveryFormOfNewIsCounted) {
    struct alignas(64) Wide {
        std::byte bytes[64];
    };
    EXPECT_EQ(allocations_during([] { ::operator delete(::operator new(40)); }), 1u);
    EXPECT_EQ(allocations_during([] { ::operator delete[](::operator new[](40)); }), 1u);
    EXPECT_EQ(allocations_during(
                  [] { ::operator delete(::operator new(40, std::nothrow), std::nothrow); }),
              1u);
    EXPECT_EQ(allocations_during([] {
                  constexpr std::align_val_t alignment{alignof(Wide)};
                  ::operator delete(::operator new(sizeof(Wide), alignment), alignment);
              }),
              1u);
    EXPECT_EQ(allocations_during([] {
                  constexpr std::align_val_t alignment{alignof(Wide)};
                  ::operator delete[](::operator new[](sizeof(Wide), alignment), alignment);
              }),
              1u);
    EXPECT_EQ(allocations_during([] { std::vector<Wide> blocks(3); }), 1u);
    EXPECT_EQ(allocations_during([] { std::wstring text(100, L'x'); }), 1u);
}

TEST(ExclusionsAllocationTest, TheTestAgainstGivenFoldersAllocatesNothing) {
    for (const std::wstring& path : paths)
        EXPECT_EQ(allocations_during([&] { (void)is_excluded_from(path, index_folders); }), 0u)
            << ::testing::PrintToString(path.substr(0, 80));
}

TEST(ExclusionsAllocationTest, AllButTheFirstTestOfTheProcessAllocateNothing) {
    (void)is_excluded_path(L"C:\\");
    for (const std::wstring& path : paths)
        EXPECT_EQ(allocations_during([&] { (void)is_excluded_path(path); }), 0u)
            << ::testing::PrintToString(path.substr(0, 80));
}

TEST(ExcludedPathTest, TheSystemFolderOfDriveCIsExcluded) {
    EXPECT_TRUE(is_excluded_path(L"C:\\Windows"));
    EXPECT_TRUE(is_excluded_path(L"\\\\?\\C:\\Windows\\System32"));
    EXPECT_FALSE(is_excluded_path(L"C:\\Windows.old"));
    EXPECT_FALSE(is_excluded_path(L"C:\\"));
}

TEST(ExcludedPathTest, AnIndexFolderNamedAfterTheFirstTestOfTheProcessIsNotExcluded) {
    (void)is_excluded_path(L"C:\\");
    const ScopedEnvironment changed(L"LARKSPINE_INDEX_DIRECTORY", L"Q:\\named later");
    EXPECT_FALSE(is_excluded_path(L"Q:\\named later"));
    EXPECT_FALSE(is_excluded_path(L"Q:\\named later\\index-0123456789abcdef.lsi"));
}

TEST(ExcludedPathTest, ConcurrentTestsGiveTheSameAnswers) {
    std::vector<int> wrong(4, 0);
    std::vector<std::thread> threads;
    for (int& count : wrong)
        threads.emplace_back([&count] {
            for (int i = 0; i < 1000; ++i)
                count += is_excluded_path(L"C:\\Windows\\x") && !is_excluded_path(L"D:\\x") ? 0 : 1;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, std::vector<int>(4, 0));
}

}  // namespace
}  // namespace larkspine::testing
