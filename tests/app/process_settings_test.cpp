#include "app/process_settings.h"

#include "base/win32_api.h"

#include <gtest/gtest.h>
#include <string_view>
#include <vector>

#include "support/import_replacement.h"

namespace larkspine::testing {
namespace {

std::vector<int> modes_set;

// The function that ntdll.dll exports on a recent Windows. A test passes this program off as
// ntdll.dll, so that the function is found here.
extern "C" __declspec(dllexport) CHAR NTAPI RtlSetProcessPlaceholderCompatibilityMode(CHAR mode) {
    modes_set.push_back(mode);
    return 1;
}

class ProcessSettingsTest : public ::testing::Test {
  protected:
    ProcessSettingsTest() {
        modes_set.clear();
        hooks().GetErrorMode = [this] { return mode; };
        hooks().SetErrorMode = [this](UINT set) {
            const UINT before = mode;
            mode = set;
            return before;
        };
        hooks().GetModuleHandleW = [this](LPCWSTR name) {
            EXPECT_EQ(std::wstring_view(name), L"ntdll.dll");
            return library;
        };
    }

    UINT mode = 0;
    HMODULE library = nullptr;
    ImportReset reset;
};

TEST_F(ProcessSettingsTest, ADriveWithoutAMediumOpensNoDialog) {
    apply_process_settings();
    EXPECT_EQ(mode, UINT{SEM_FAILCRITICALERRORS});
}

TEST_F(ProcessSettingsTest, AnErrorDialogThatTheParentSwitchedOffStaysOff) {
    mode = SEM_NOGPFAULTERRORBOX;
    apply_process_settings();
    EXPECT_EQ(mode, UINT{SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX});
}

TEST_F(ProcessSettingsTest, CloudPlaceholdersAreExposed) {
    library = GetModuleHandleA(nullptr);
    apply_process_settings();
    EXPECT_EQ(modes_set, std::vector<int>{2});
}

TEST_F(ProcessSettingsTest, ASystemWithoutPlaceholdersIsLeftAlone) {
    library = GetModuleHandleA("kernel32.dll");  // which has no such function
    apply_process_settings();
    library = nullptr;
    apply_process_settings();
    EXPECT_TRUE(modes_set.empty());
}

}  // namespace
}  // namespace larkspine::testing
