#include <cstddef>
#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "index/index_location.h"
#include "support/import_replacement.h"

namespace larkspine::testing {
namespace {

using Path = std::optional<std::wstring>;
using Folders = std::vector<std::wstring>;

// An environment whose variables may change between two reads, and a disk that only records which
// folders are made.
class IndexLocationCallsTest : public ::testing::Test {
  protected:
    IndexLocationCallsTest() {
        hooks().GetEnvironmentVariableW = [this](LPCWSTR name, LPWSTR buffer, DWORD capacity) {
            return read(name, buffer, capacity);
        };
        hooks().CreateDirectoryW = [this](LPCWSTR path, LPSECURITY_ATTRIBUTES security) -> BOOL {
            made.push_back(path);
            default_security = default_security && security == nullptr;
            const auto place = refusals.find(path);
            if (place == refusals.end())
                return TRUE;
            SetLastError(place->second);
            return FALSE;
        };
    }

    void set(const std::wstring& name, const std::wstring& value) { values[name] = {value}; }
    // The values that successive reads return. Further reads return the last one.
    void set_changing(const std::wstring& name, std::vector<std::wstring> successive) {
        values[name] = std::move(successive);
    }
    void refuse(const std::wstring& path, DWORD error) { refusals[path] = error; }

    Folders made;
    bool default_security = true;

  private:
    DWORD read(const std::wstring& name, LPWSTR buffer, DWORD capacity) {
        const auto place = values.find(name);
        if (place == values.end()) {
            SetLastError(ERROR_ENVVAR_NOT_FOUND);
            return 0;
        }
        std::vector<std::wstring>& successive = place->second;
        const std::wstring value = successive.front();
        if (successive.size() > 1)
            successive.erase(successive.begin());
        const auto length = static_cast<DWORD>(value.size());
        // For too small a buffer, the call returns the size with the null and writes nothing.
        if (capacity < length + 1)
            return length + 1;
        value.copy(buffer, length);
        buffer[length] = L'\0';
        return length;
    }

    std::map<std::wstring, std::vector<std::wstring>> values;
    std::map<std::wstring, DWORD> refusals;
    ImportReset reset;
};

const std::wstring chosen = L"LARKSPINE_INDEX_DIRECTORY";
const std::wstring local_data = L"LOCALAPPDATA";

TEST_F(IndexLocationCallsTest, AValueThatGrowsBetweenTheTwoReadsCountsAsAbsent) {
    set_changing(chosen, {L"D:\\idx", L"D:\\idx2"});
    EXPECT_EQ(read_environment(chosen.c_str()), std::nullopt);
    set_changing(chosen, {L"D:\\idx", std::wstring(5000, L'x')});
    EXPECT_EQ(read_environment(chosen.c_str()), std::nullopt);
}

TEST_F(IndexLocationCallsTest, AValueThatLeavesNoRoomForItsTerminatorCountsAsAbsent) {
    hooks().GetEnvironmentVariableW = [](LPCWSTR, LPWSTR, DWORD) -> DWORD { return 7; };
    EXPECT_EQ(read_environment(chosen.c_str()), std::nullopt);
}

TEST_F(IndexLocationCallsTest, AValueThatEmptiesBetweenTheTwoReadsCountsAsAbsent) {
    set_changing(chosen, {L"D:\\idx", L""});
    EXPECT_EQ(read_environment(chosen.c_str()), std::nullopt);
}

TEST_F(IndexLocationCallsTest, AValueThatShrinksBetweenTheTwoReadsHasItsNewLength) {
    set_changing(chosen, {L"D:\\idx", L"D:\\i"});
    EXPECT_EQ(read_environment(chosen.c_str()), L"D:\\i");
}

TEST_F(IndexLocationCallsTest, OnlyTheChosenFolderIsMadeAndExactlyAsGiven) {
    for (const std::wstring value : {L"D:/Idx//", L"D:\\a\\..\\b\\", L"idx", L"\\\\?\\D:\\Idx"}) {
        made.clear();
        set(chosen, value);
        EXPECT_EQ(index_directory(), value);
        EXPECT_EQ(made, (Folders{value}));
    }
    EXPECT_TRUE(default_security);
}

TEST_F(IndexLocationCallsTest, AnExistingChosenFolderIsUsed) {
    set(chosen, L"D:\\Idx");
    refuse(L"D:\\Idx", ERROR_ALREADY_EXISTS);
    EXPECT_EQ(index_directory(), L"D:\\Idx");
}

TEST_F(IndexLocationCallsTest, AChosenFolderThatCannotBeMadeMeansNoIndexAndNoFallBack) {
    set(chosen, L"D:\\Idx");
    set(local_data, L"C:\\L");
    for (const DWORD error : {ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_FILE_EXISTS,
                              ERROR_INVALID_NAME, ERROR_SUCCESS}) {
        made.clear();
        refuse(L"D:\\Idx", error);
        EXPECT_EQ(index_directory(), std::nullopt) << error;
        EXPECT_EQ(made, (Folders{L"D:\\Idx"})) << error;
    }
    EXPECT_EQ(index_file_path(L"\\\\?\\C:\\Data"), std::nullopt);
}

TEST_F(IndexLocationCallsTest, TheDefaultFolderIsMadeAfterItsParent) {
    set(local_data, L"C:\\L");
    EXPECT_EQ(index_directory(), L"C:\\L\\Larkspine\\indexes");
    EXPECT_EQ(made, (Folders{L"C:\\L\\Larkspine", L"C:\\L\\Larkspine\\indexes"}));
    EXPECT_TRUE(default_security);
}

TEST_F(IndexLocationCallsTest, EachStepOfTheDefaultFolderMayExistAlready) {
    set(local_data, L"C:\\L\\");
    refuse(L"C:\\L\\Larkspine", ERROR_ALREADY_EXISTS);
    EXPECT_EQ(index_directory(), L"C:\\L\\Larkspine\\indexes");
    refuse(L"C:\\L\\Larkspine\\indexes", ERROR_ALREADY_EXISTS);
    EXPECT_EQ(index_directory(), L"C:\\L\\Larkspine\\indexes");
}

TEST_F(IndexLocationCallsTest, WhenTheApplicationFolderCannotBeMadeItsInnerFolderIsNotTried) {
    set(local_data, L"C:\\L");
    refuse(L"C:\\L\\Larkspine", ERROR_ACCESS_DENIED);
    EXPECT_EQ(index_directory(), std::nullopt);
    EXPECT_EQ(made, (Folders{L"C:\\L\\Larkspine"}));
}

TEST_F(IndexLocationCallsTest, AnInnerFolderThatCannotBeMadeMeansNoIndex) {
    set(local_data, L"C:\\L");
    refuse(L"C:\\L\\Larkspine\\indexes", ERROR_ACCESS_DENIED);
    EXPECT_EQ(index_directory(), std::nullopt);
    EXPECT_EQ(made, (Folders{L"C:\\L\\Larkspine", L"C:\\L\\Larkspine\\indexes"}));
    EXPECT_EQ(index_file_path(L"\\\\?\\C:\\Data"), std::nullopt);
}

TEST_F(IndexLocationCallsTest, OnlyABackslashIsTakenForASeparatorWhenFoldersAreJoined) {
    set(local_data, L"C:/L/");
    EXPECT_EQ(index_directory(), L"C:/L/\\Larkspine\\indexes");
    set(chosen, L"D:/Idx/");
    EXPECT_EQ(index_file_path(L""), L"D:/Idx/\\index-cbf29ce484222325.lsi");
}

TEST_F(IndexLocationCallsTest, WithoutEitherVariableNothingIsMade) {
    EXPECT_EQ(index_directory(), std::nullopt);
    EXPECT_EQ(made, Folders{});
}

TEST_F(IndexLocationCallsTest, TheExclusionsCreateNoFolderAndQueryNoFile) {
    set(local_data, L"C:\\L");
    set(chosen, L"D:\\Idx");
    hooks().GetFileAttributesW = [this](LPCWSTR path) {
        made.push_back(path);
        return INVALID_FILE_ATTRIBUTES;
    };
    EXPECT_EQ(index_exclusions(), (Folders{L"c:\\l\\larkspine", L"d:\\idx"}));
    EXPECT_EQ(made, Folders{});
}

TEST_F(IndexLocationCallsTest, LocalDataThatIsADriveRootGetsNoSecondBackslash) {
    set(local_data, L"D:\\");
    EXPECT_EQ(index_exclusions(), (Folders{L"d:\\larkspine"}));
    EXPECT_EQ(index_directory(), L"D:\\Larkspine\\indexes");
}

}  // namespace
}  // namespace larkspine::testing
