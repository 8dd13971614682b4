#include "base/case_folding.h"

#include <cstddef>
#include <gtest/gtest.h>
#include <ios>
#include <map>

#ifdef _WIN32
#include "base/win32_api.h"
#else
#include <clocale>
#include <cwctype>
#endif

namespace larkspine::testing {
namespace {

constexpr unsigned units = 0x10000;

wchar_t unit_of(unsigned value) {
    return static_cast<wchar_t>(value);
}

// The simple mappings of the machine: a second source for the table.
#ifdef _WIN32
unsigned mapped(unsigned value, DWORD how) {
    const wchar_t unit = unit_of(value);
    wchar_t result = unit;
    EXPECT_EQ(LCMapStringEx(LOCALE_NAME_INVARIANT, how, &unit, 1, &result, 1, nullptr, nullptr, 0),
              1);
    return static_cast<unsigned>(result);
}
unsigned lower_of(unsigned value) {
    return mapped(value, LCMAP_LOWERCASE);
}
unsigned upper_of(unsigned value) {
    return mapped(value, LCMAP_UPPERCASE);
}
#else
locale_t unicode() {
    static const locale_t made = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return made;
}
unsigned lower_of(unsigned value) {
    return towlower_l(value, unicode());
}
unsigned upper_of(unsigned value) {
    return towupper_l(value, unicode());
}
#endif

// A real Windows may have an older or newer table. Those of Wine and of the host have the same
// version as the program's.
bool is_of_another_version() {
#ifdef _WIN32
    return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") == nullptr;
#else
    return false;
#endif
}

TEST(FoldCodeUnitTest, AUnitFoldsToItsLowerCaseExactlyWhenThatMapsBackToIt) {
    for (unsigned value = 0; value < units; ++value) {
        const unsigned lower = lower_of(value);
        const unsigned expected = upper_of(lower) == value ? lower : value;
        // A letter that only one of the two tables knows is skipped.
        if (is_of_another_version() &&
            (expected == value || fold_code_unit(unit_of(value)) == unit_of(value)))
            continue;
        EXPECT_EQ(static_cast<unsigned>(fold_code_unit(unit_of(value))), expected)
            << std::hex << value;
    }
}

TEST(FoldCodeUnitTest, FoldingAFoldedUnitChangesNothing) {
    for (unsigned value = 0; value < units; ++value) {
        const wchar_t fold = fold_code_unit(unit_of(value));
        EXPECT_EQ(fold_code_unit(fold), fold) << std::hex << value;
    }
}

TEST(FoldCodeUnitTest, LettersOfManyScriptsLoseTheirCase) {
    const std::map<wchar_t, wchar_t> pairs = {{L'A', L'a'},     {L'Z', L'z'},
                                              {0x00C9, 0x00E9},   // E with an acute accent
                                              {0x0152, 0x0153},   // OE
                                              {0x0178, 0x00FF},   // Y with a diaeresis
                                              {0x0416, 0x0436},   // Cyrillic
                                              {0x03A9, 0x03C9},   // Greek
                                              {0x0531, 0x0561},   // Armenian
                                              {0x1E00, 0x1E01},   // Latin, additional
                                              {0x2160, 0x2170},   // a Roman numeral
                                              {0xFF21, 0xFF41}};  // full width
    for (const auto& [capital, small] : pairs) {
        EXPECT_EQ(fold_code_unit(capital), small);
        EXPECT_EQ(fold_code_unit(small), small);
    }
}

TEST(FoldCodeUnitTest, UnitsThatTheFileSystemDistinguishesAreNotFolded) {
    for (const wchar_t unit : {L'@', L'[', L'`', L'{', L'\\', L'/', L'0',
                               wchar_t{0x0130},  // I with a dot, whose lower case is i
                               wchar_t{0x0131},  // i without one
                               wchar_t{0x017F},  // long s
                               wchar_t{0x1E9E},  // capital sharp s
                               wchar_t{0x212A},  // Kelvin sign, whose lower case is k
                               wchar_t{0x212B},  // Angstrom sign
                               wchar_t{0x2126},  // Ohm sign
                               wchar_t{0xD801},  // a surrogate
                               wchar_t{0xFFFF}})
        EXPECT_EQ(fold_code_unit(unit), unit) << std::hex << static_cast<unsigned>(unit);
}

TEST(FoldCodeUnitTest, SurrogatesAndPrivateUseUnitsAreNotFolded) {
    for (unsigned value = 0xD800; value < 0xF900; ++value)
        EXPECT_EQ(static_cast<unsigned>(fold_code_unit(unit_of(value))), value);
}

}  // namespace
}  // namespace larkspine::testing
