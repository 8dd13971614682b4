#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "base/path.h"
#include "support/import_replacement.h"

namespace larkspine::testing {
namespace {

// Answers the two calls that the absolute form takes: one for the length, one for the text.
class ToLongPathFailuresTest : public ::testing::Test {
  protected:
    struct Call {
        std::wstring path;
        DWORD capacity;
        bool has_buffer;
        bool asks_for_file_part;

        friend bool operator==(const Call&, const Call&) = default;
    };

    void full_path_answers(DWORD first, DWORD second, std::wstring text = {}) {
        hooks().GetFullPathNameW = [this, first, second, text](LPCWSTR path, DWORD capacity,
                                                               LPWSTR buffer, LPWSTR* file_part) {
            calls.push_back({path, capacity, buffer != nullptr, file_part != nullptr});
            if (buffer == nullptr)
                return first;
            text.copy(buffer, capacity);
            return second;
        };
    }

    std::vector<Call> calls;

  private:
    ImportReset reset;
};

TEST_F(ToLongPathFailuresTest, AFailureToMeasureLeavesThePathAsItIs) {
    full_path_answers(0, 7, L"C:\\Data");
    EXPECT_EQ(to_long_path(L"Data/"), L"Data/");
    EXPECT_EQ(calls, (std::vector<Call>{{L"Data/", 0, false, false}}));
}

TEST_F(ToLongPathFailuresTest, AFailureToReadLeavesThePathAsItIs) {
    full_path_answers(8, 0, L"C:\\");
    EXPECT_EQ(to_long_path(L"Data/"), L"Data/");
    EXPECT_EQ(calls.size(), 2u);
}

TEST_F(ToLongPathFailuresTest, ALengthThatDoesNotFitLeavesThePathAsItIs) {
    for (const DWORD length : {8u, 9u, 1'000'000u, 0xFFFFFFFFu}) {
        full_path_answers(8, length);
        EXPECT_EQ(to_long_path(L"Data/"), L"Data/") << length;
    }
}

TEST_F(ToLongPathFailuresTest, BothCallsGetThePathAndRequestNoFilePart) {
    full_path_answers(8, 7, L"C:\\Data");
    EXPECT_EQ(to_long_path(L"Data/"), L"\\\\?\\C:\\Data");
    EXPECT_EQ(calls, (std::vector<Call>{{L"Data/", 0, false, false}, {L"Data/", 8, true, false}}));
}

TEST_F(ToLongPathFailuresTest, AResultShorterThanMeasuredIsUsedAtItsActualLength) {
    full_path_answers(20, 7, L"C:\\Data");
    EXPECT_EQ(to_long_path(L"Data"), L"\\\\?\\C:\\Data");
    full_path_answers(20, 16, L"\\\\server\\share\\x");
    EXPECT_EQ(to_long_path(L"x"), L"\\\\?\\UNC\\server\\share\\x");
}

TEST_F(ToLongPathFailuresTest, AnAbsoluteFormOfOneUnitIsNoNetworkPath) {
    full_path_answers(2, 1, L"\\");
    EXPECT_EQ(to_long_path(L"x"), L"\\\\?\\\\");
}

TEST_F(ToLongPathFailuresTest, AnUnpairedSurrogateStays) {
    full_path_answers(5, 4, L"C:\\\xD800");
    EXPECT_EQ(to_long_path(L"\xD800"), L"\\\\?\\C:\\\xD800");
}

TEST_F(ToLongPathFailuresTest, APathWithTheLongPrefixMakesNoSystemCall) {
    full_path_answers(0, 0);
    EXPECT_EQ(to_long_path(L"\\\\?\\C:\\a\\..\\b"), L"\\\\?\\C:\\a\\..\\b");
    EXPECT_EQ(to_long_path(L"\\\\?\\UNC\\srv\\share"), L"\\\\?\\UNC\\srv\\share");
    EXPECT_TRUE(calls.empty());
}

}  // namespace
}  // namespace larkspine::testing
