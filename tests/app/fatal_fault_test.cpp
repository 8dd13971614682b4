#include "app/fatal_fault.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <thread>

#include "app/console_pause.h"
#include "support/fake_console.h"
#include "support/file_writes.h"
#include "support/import_replacement.h"

namespace larkspine::testing {
namespace {

using Calls = FakeConsole::Calls;

constexpr DWORD access_violation = 0xC0000005;
constexpr DWORD division_by_zero = 0xC0000094;
constexpr DWORD stack_overflow = 0xC00000FD;
constexpr std::uintptr_t place = 0x00007ff6'12abcdef;

std::string message(const std::string& code, const std::string& address) {
    return "WriteFile \r\nErreur fatale Larkspine : exception Windows non geree.\r\nCode exception "
           ": " +
           code + "\r\nAdresse : " + address + "\r\n";
}

// Runtimes differ in the case of an address.
Calls with_small_address(Calls calls) {
    for (std::string& call : calls)
        for (std::size_t i = call.rfind(": "); i < call.size(); ++i)
            if (call[i] >= 'A' && call[i] <= 'F')
                call[i] = static_cast<char>(call[i] - 'A' + 'a');
    return calls;
}

class FatalFaultTest : public ::testing::Test {
  protected:
    FatalFaultTest() { console.cursor = {25, FALSE}; }
    ~FatalFaultTest() override { pause_on_exit = false; }

    // The exit code with which the filter ends the process.
    std::optional<UINT> strike(EXCEPTION_POINTERS* pointers) {
        try {
            fatal_fault_filter(pointers);
        } catch (const ProcessEnded& ended) {
            return ended.code;
        }
        return std::nullopt;
    }
    std::optional<UINT> strike(DWORD code, std::uintptr_t address = place) {
        EXCEPTION_RECORD record = {};
        record.ExceptionCode = code;
        record.ExceptionAddress = reinterpret_cast<void*>(address);
        EXCEPTION_POINTERS pointers = {&record, nullptr};
        return strike(&pointers);
    }
    std::string written() {
        const Calls calls = with_small_address(console.calls("WriteFile"));
        return calls.size() == 1 ? calls[0] : "not one text";
    }

    ImportReset reset;
    FakeConsole console;
};

TEST_F(FatalFaultTest, AnAccessViolationIsReportedAndEndsTheProcessWith3) {
    EXPECT_EQ(strike(access_violation), std::optional<UINT>(3));
    EXPECT_EQ(console.calls(), (Calls{"GetConsoleCursorInfo", "SetConsoleCursorInfo 25 visible",
                                      message("0xC0000005 (-1073741819)", "00007ff612abcdef"),
                                      "TerminateProcess 3"}));
}

TEST_F(FatalFaultTest, EveryCodeAppearsInHexadecimalAndAsASignedDecimal) {
    const struct {
        DWORD code;
        const char* text;
    } cases[] = {{division_by_zero, "0xC0000094 (-1073741676)"},
                 {stack_overflow, "0xC00000FD (-1073741571)"},
                 {0x80000003, "0x80000003 (-2147483645)"},
                 {0x80000000, "0x80000000 (-2147483648)"},
                 {0xFFFFFFFF, "0xFFFFFFFF (-1)"},
                 {0x7FFFFFFF, "0x7FFFFFFF (2147483647)"},
                 {0x1A, "0x0000001A (26)"},
                 {0, "0x00000000 (0)"}};
    for (const auto& [code, text] : cases) {
        FakeConsole one;
        EXPECT_EQ(strike(code), std::optional<UINT>(3));
        EXPECT_EQ(with_small_address(one.calls("WriteFile")),
                  Calls{message(text, "00007ff612abcdef")});
    }
}

TEST_F(FatalFaultTest, AMissingExceptionRecordIsReportedAsZeros) {
    EXPECT_EQ(strike(nullptr), std::optional<UINT>(3));
    EXCEPTION_POINTERS without_record = {};
    EXPECT_EQ(strike(&without_record), std::optional<UINT>(3));
    const std::string zeros = message("0x00000000 (0)", "0000000000000000");
    EXPECT_EQ(console.calls("WriteFile"), (Calls{zeros, zeros}));
}

TEST_F(FatalFaultTest, TheLongestTextIsPlainAsciiAndFitsItsBuffer) {
    strike(0x80000000, UINTPTR_MAX);
    EXPECT_EQ(written(), message("0x80000000 (-2147483648)", "ffffffffffffffff"));
    EXPECT_LE(written().size() - std::string("WriteFile ").size(), 511u);
    for (char c : written())
        EXPECT_TRUE(c >= 0 && c < 0x7F);
}

TEST_F(FatalFaultTest, WithoutAnErrorHandleNothingIsWrittenAndTheProcessEnds) {
    for (HANDLE none : {HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
        console.error = none;
        answer_writes([](FileWrite&, DWORD&) -> std::optional<BOOL> {
            ADD_FAILURE();
            return FALSE;
        });
        EXPECT_EQ(strike(access_violation), std::optional<UINT>(3));
    }
}

TEST_F(FatalFaultTest, AFailedCallSkipsOnlyItsOwnStep) {
    for (const char* name : {"GetConsoleCursorInfo", "SetConsoleCursorInfo", "WriteFile"}) {
        FakeConsole failing;
        failing.failing = {name};
        EXPECT_EQ(strike(access_violation), std::optional<UINT>(3)) << name;
        EXPECT_EQ(failing.calls("WriteFile").size(), 1u) << name;
    }
}

TEST_F(FatalFaultTest, AFaultOnAnOwnedConsolePausesAfterTheMessage) {
    pause_on_exit = true;
    EXPECT_EQ(strike(division_by_zero), std::optional<UINT>(3));
    EXPECT_EQ(with_small_address(console.calls()),
              (Calls{"GetConsoleCursorInfo", "SetConsoleCursorInfo 25 visible",
                     message("0xC0000094 (-1073741676)", "00007ff612abcdef"),
                     "GetConsoleCursorInfo", "SetConsoleCursorInfo 25 visible",
                     "WriteConsoleW \r\nAppuyez sur Entrée pour fermer Larkspine...",
                     "ReadConsoleW 1", "TerminateProcess 3"}));
}

TEST_F(FatalFaultTest, AFaultOnAnotherThreadIsReportedAndEndsTheProcessWith3) {
    std::optional<UINT> code;
    std::thread([&] { code = strike(access_violation); }).join();
    EXPECT_EQ(code, std::optional<UINT>(3));
    EXPECT_EQ(written(), message("0xC0000005 (-1073741819)", "00007ff612abcdef"));
}

TEST_F(FatalFaultTest, FaultsOnTwoThreadsPauseOnce) {
    pause_on_exit = true;
    std::thread other([&] { strike(access_violation); });
    strike(division_by_zero);
    other.join();
    EXPECT_EQ(console.calls("ReadConsoleW").size(), 1u);
    EXPECT_EQ(console.calls("TerminateProcess").size(), 2u);
}

}  // namespace
}  // namespace larkspine::testing
