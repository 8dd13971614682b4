// Processes that really fault, on each kind of thread.
#include "base/win32_api.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>

#include "support/child_process.h"

namespace larkspine::testing {
namespace {

constexpr const wchar_t* threads[] = {L"main", L"worker", L"drawing"};

void expect_fault(const wchar_t* kind, const wchar_t* thread, const std::string& code) {
    SCOPED_TRACE(::testing::PrintToString(std::wstring(kind) + L" " + thread));
    const EndedChild child = run_child(L"faulty_program", std::wstring(kind) + L" " + thread);
    EXPECT_EQ(child.code, 3u);
    const std::size_t after_time = child.errors.find('\n');
    ASSERT_NE(after_time, std::string::npos) << "the program did not reach its fault";
    EXPECT_LT(child.end_time - std::stoull(child.errors), 1'000u);
    const std::string before_address =
        "\r\nErreur fatale Larkspine : exception Windows non geree.\r\nCode exception : " + code +
        "\r\nAdresse : ";
    const std::string message = child.errors.substr(after_time + 1);
    EXPECT_EQ(message.substr(0, before_address.size()), before_address);
    // An address that is not zero, on the last line.
    const std::string address = message.substr(std::min(before_address.size(), message.size()));
    ASSERT_EQ(address.size(), 18u);
    EXPECT_NE(std::stoull(address, nullptr, 16), 0u);
    EXPECT_EQ(address.substr(16), "\r\n");
}

TEST(FatalFaultProcessTest, AnAccessViolationOnAnyThreadIsReportedAndEndsTheProcessWith3) {
    for (const wchar_t* thread : threads)
        expect_fault(L"access", thread, "0xC0000005 (-1073741819)");
}

TEST(FatalFaultProcessTest, ADivisionByZeroOnAnyThreadIsReportedAndEndsTheProcessWith3) {
    for (const wchar_t* thread : threads)
        expect_fault(L"division", thread, "0xC0000094 (-1073741676)");
}

// The runtime's own handler around main and every thread would resume the program after these.
TEST(FatalFaultProcessTest, FaultsThatTheRuntimeWouldResumeAreReportedAndEndTheProcessWith3) {
    for (const wchar_t* thread : threads) {
        expect_fault(L"overflow", thread, "0xC0000095 (-1073741675)");
        expect_fault(L"bounds", thread, "0xC000008C (-1073741684)");
        expect_fault(L"floating-stack", thread, "0xC0000092 (-1073741678)");
        expect_fault(L"alignment", thread, "0x80000002 (-2147483646)");
    }
}

TEST(FatalFaultProcessTest, AStackOverflowOnAnyThreadIsReportedAndEndsTheProcessWith3) {
    for (const wchar_t* thread : threads)
        expect_fault(L"stack", thread, "0xC00000FD (-1073741571)");
}

TEST(FatalFaultProcessTest, TwoThreadsThatOverflowTheirStacksAtOnceGiveOneReport) {
    for (int run = 0; run < 5; ++run) {
        const EndedChild child = run_child(L"faulty_program", L"stack workers");
        EXPECT_EQ(child.code, 3u);
        const std::size_t first = child.errors.find("Erreur fatale");
        ASSERT_NE(first, std::string::npos) << child.errors;
        EXPECT_EQ(child.errors.find("Erreur fatale", first + 1), std::string::npos);
    }
}

TEST(FatalFaultProcessTest, AProgramThatDoesNotFaultEndsWithItsOwnCode) {
    for (const wchar_t* thread : {L"main", L"worker"})
        EXPECT_EQ(run_child(L"faulty_program", std::wstring(L"none ") + thread).code, 0u);
}

}  // namespace
}  // namespace larkspine::testing
