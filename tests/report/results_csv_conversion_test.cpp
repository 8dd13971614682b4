#include "base/win32_api.h"

#include <gtest/gtest.h>

#include "report/results_csv.h"
#include "support/import_replacement.h"

namespace larkspine::testing {
namespace {

TEST(ResultsCsvConversionTest,
     APathThatTheSystemConvertsDifferentlyTheSecondTimeGivesAnEmptyField) {
    const ImportReset reset;
    int conversions = 0;
    hooks().WideCharToMultiByte = [&](UINT page, DWORD flags, LPCWCH text, int length, LPSTR bytes,
                                      int room, LPCCH unknown, LPBOOL used) {
        const int size = real_imports().WideCharToMultiByte(page, flags, text, length, bytes, room,
                                                            unknown, used);
        return ++conversions == 2 ? size - 1 : size;
    };
    EXPECT_EQ(csv_quote_utf8(L"D:\\a"), "\"\"");
    EXPECT_EQ(conversions, 2);
    EXPECT_EQ(csv_quote_utf8(L"D:\\a"), "\"D:\\a\"");
}

}  // namespace
}  // namespace larkspine::testing
