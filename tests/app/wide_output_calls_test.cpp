#include <cstdint>
#include <gtest/gtest.h>
#include <iostream>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "app/banner.h"
#include "app/wide_output.h"
#include "support/file_writes.h"
#include "support/import_replacement.h"

namespace larkspine::testing {
namespace {

constexpr std::size_t buffer_units = 4096;
constexpr DWORD everything = 0xFFFFFFFF;
const std::wstring lead(1, wchar_t{0xD83D});
const std::wstring trail(1, wchar_t{0xDE00});

// Handles that only the replaced calls know.
HANDLE fake_handle(std::uintptr_t value) {
    return reinterpret_cast<HANDLE>(value);
}
const HANDLE console = fake_handle(0x7ffe0001);
const HANDLE file = fake_handle(0x7ffe0002);
const HANDLE error_file = fake_handle(0x7ffe0003);

// The result of one write: whether it succeeds, and how much it writes.
struct Answer {
    BOOL succeeds;
    DWORD count;
};

// Records every write to the fake handles. The calls return `answers` in turn, counted in code
// units or bytes. Further calls write everything.
class WideOutputCallsTest : public ::testing::Test {
  protected:
    template <typename Text>
    struct Call {
        HANDLE handle;
        Text text;
        bool operator==(const Call&) const = default;
    };
    WideOutputCallsTest() {
        hooks().GetConsoleMode = [this](HANDLE handle, LPDWORD mode) -> BOOL {
            asked_for_mode.push_back(handle);
            if (handle == console)
                return TRUE;
            if (is_fake(handle))
                return FALSE;
            return real_imports().GetConsoleMode(handle, mode);
        };
        hooks().WriteConsoleW = [this](HANDLE handle, const void* text, DWORD length, LPDWORD count,
                                       LPVOID reserved) -> BOOL {
            if (!is_fake(handle))
                return real_imports().WriteConsoleW(handle, text, length, count, reserved);
            EXPECT_EQ(reserved, nullptr);
            console_calls.push_back({handle, {static_cast<const wchar_t*>(text), length}});
            return answer(length, count);
        };
        answer_writes([this](const FileWrite& write, DWORD& written) -> std::optional<BOOL> {
            if (!is_fake(write.file))
                return std::nullopt;
            file_calls.push_back({write.file, write.text()});
            return answer(write.length, &written);
        });
    }

    static bool is_fake(HANDLE handle) {
        return handle == console || handle == file || handle == error_file;
    }

    std::vector<std::wstring> console_texts() const {
        std::vector<std::wstring> texts;
        for (const Call<std::wstring>& call : console_calls)
            texts.push_back(call.text);
        return texts;
    }
    std::vector<std::string> file_texts() const {
        std::vector<std::string> texts;
        for (const Call<std::string>& call : file_calls)
            texts.push_back(call.text);
        return texts;
    }

    std::vector<Answer> answers;
    std::vector<HANDLE> asked_for_mode;
    std::vector<Call<std::wstring>> console_calls;
    std::vector<Call<std::string>> file_calls;

  private:
    BOOL answer(DWORD length, LPDWORD count) {
        *count = length;
        if (answers.empty())
            return TRUE;
        const Answer next = answers.front();
        answers.erase(answers.begin());
        if (next.count != everything)
            *count = next.count;
        return next.succeeds;
    }
    ImportReset reset_;
};

TEST_F(WideOutputCallsTest, TheConsoleModeOfTheGivenHandleIsQueriedOnce) {
    WideOutputBuffer buffer(file);
    std::wostream(&buffer) << L"a" << std::flush << L"b" << std::flush;
    EXPECT_EQ(asked_for_mode, std::vector<HANDLE>{file});
}

TEST_F(WideOutputCallsTest, TheConsoleModeOfNullAndInvalidHandlesIsNotQueried) {
    const WideOutputBuffer null_buffer(nullptr);
    const WideOutputBuffer invalid_buffer(INVALID_HANDLE_VALUE);
    EXPECT_EQ(asked_for_mode, std::vector<HANDLE>{});
}

TEST_F(WideOutputCallsTest, AConsoleGetsUtf16AndNoBytes) {
    WideOutputBuffer buffer(console);
    std::wostream(&buffer) << L"é " << lead << trail << L"\n" << std::flush;
    EXPECT_EQ(console_calls,
              (std::vector<Call<std::wstring>>{{console, L"é " + lead + trail + L"\n"}}));
    EXPECT_EQ(file_texts(), std::vector<std::string>{});
}

TEST_F(WideOutputCallsTest, AFileGetsUtf8AndNoUtf16) {
    WideOutputBuffer buffer(file);
    std::wostream(&buffer) << L"é " << lead << trail << L"\n" << std::flush;
    EXPECT_EQ(file_calls, (std::vector<Call<std::string>>{{file, "\xC3\xA9 \xF0\x9F\x98\x80\n"}}));
    EXPECT_EQ(console_texts(), std::vector<std::wstring>{});
}

TEST_F(WideOutputCallsTest, AConsoleGetsLoneSurrogatesUnchanged) {
    {
        WideOutputBuffer buffer(console);
        std::wostream(&buffer) << trail << L"a" << lead << L"b" << lead << std::flush;
    }
    EXPECT_EQ(console_texts(), (std::vector<std::wstring>{trail + L"a" + lead + L"b", lead}));
}

TEST_F(WideOutputCallsTest, TheBannerIsWrittenInOneCall) {
    WideOutputBuffer to_console(console);
    std::wostream(&to_console) << banner_text() << std::flush;
    WideOutputBuffer to_file(file);
    std::wostream(&to_file) << banner_text() << std::flush;
    EXPECT_EQ(console_texts(), std::vector<std::wstring>{std::wstring(banner_text())});
    EXPECT_EQ(file_calls.size(), 1u);
}

TEST_F(WideOutputCallsTest, AFullBufferIsWrittenAtTheNextCharacter) {
    WideOutputBuffer buffer(console);
    std::wostream out(&buffer);
    out << std::wstring(buffer_units, L'a');
    EXPECT_EQ(console_texts(), std::vector<std::wstring>{});
    out << L'b';
    EXPECT_EQ(console_texts(), std::vector<std::wstring>{std::wstring(buffer_units, L'a')});
    out << std::flush;
    EXPECT_EQ(console_texts().back(), L"b");
}

TEST_F(WideOutputCallsTest, APairAcrossTheEndOfTheBufferIsNotSplitOverTwoCalls) {
    const std::wstring head(buffer_units - 1, L'a');
    WideOutputBuffer buffer(console);
    std::wostream(&buffer) << head << lead << trail << L"b" << std::flush;
    EXPECT_EQ(console_texts(), (std::vector<std::wstring>{head, lead + trail + L"b"}));
}

TEST_F(WideOutputCallsTest, AnOverflowWithoutACharacterWritesTheBufferAndAddsNothing) {
    struct OpenBuffer : WideOutputBuffer {
        using WideOutputBuffer::overflow;
        using WideOutputBuffer::WideOutputBuffer;
    };
    OpenBuffer buffer(console);
    buffer.sputc(L'a');
    const auto end = std::wstreambuf::traits_type::eof();
    EXPECT_NE(buffer.overflow(end), end);
    EXPECT_EQ(buffer.pubsync(), 0);
    EXPECT_EQ(console_texts(), std::vector<std::wstring>{L"a"});
}

TEST_F(WideOutputCallsTest, ATextThatCannotBeConvertedMakesTheStreamFail) {
    WideOutputBuffer buffer(file);
    std::wostream out(&buffer);
    hooks().WideCharToMultiByte = [](auto...) { return 0; };
    out << L"abc" << std::flush;
    hooks().WideCharToMultiByte = nullptr;
    EXPECT_EQ(out.rdstate(), std::ios_base::badbit);
    EXPECT_EQ(file_texts(), std::vector<std::string>{});
}

TEST_F(WideOutputCallsTest, AFlushOfAHeldLeadSurrogateAloneMakesNoCall) {
    WideOutputBuffer buffer(file);
    std::wostream out(&buffer);
    out << std::flush << lead << std::flush << std::flush;
    EXPECT_EQ(file_texts(), std::vector<std::string>{});
    EXPECT_TRUE(out.good());
    out << trail << std::flush;
    EXPECT_EQ(file_texts(), std::vector<std::string>{"\xF0\x9F\x98\x80"});
}

TEST_F(WideOutputCallsTest, APartialWriteToAConsoleIsContinued) {
    answers = {{TRUE, 2}, {TRUE, 1}};
    WideOutputBuffer buffer(console);
    std::wostream out(&buffer);
    out << L"abcdéf" << std::flush;
    EXPECT_EQ(console_texts(), (std::vector<std::wstring>{L"abcdéf", L"cdéf", L"déf"}));
    EXPECT_TRUE(out.good());
}

// Writes to a file are continued by write_all, which has its own tests. Writes to a console have
// their own loop.
struct FailingWrite {
    const char* name;
    std::vector<Answer> answers;
    std::vector<std::wstring> texts;  // what each call was to write
};
void PrintTo(const FailingWrite& failing, std::ostream* out) {
    *out << failing.name;
}

class WideConsoleFailureTest : public WideOutputCallsTest,
                               public ::testing::WithParamInterface<FailingWrite> {};

TEST_P(WideConsoleFailureTest, AFailedConsoleWriteMakesTheStreamFailAndIsNotRetried) {
    answers = GetParam().answers;
    WideOutputBuffer buffer(console);
    std::wostream out(&buffer);
    out << L"abc" << std::flush;
    EXPECT_EQ(out.rdstate(), std::ios_base::badbit);
    out << L"def" << std::flush;
    EXPECT_EQ(console_texts(), GetParam().texts);
}

INSTANTIATE_TEST_SUITE_P(
    EveryWay, WideConsoleFailureTest,
    ::testing::Values(FailingWrite{"a failure", {{FALSE, everything}}, {L"abc"}},
                      FailingWrite{"nothing written", {{TRUE, 0}}, {L"abc"}},
                      FailingWrite{"more than was asked", {{TRUE, 4}}, {L"abc"}},
                      FailingWrite{
                          "a failure after a part", {{TRUE, 1}, {FALSE, 0}}, {L"abc", L"bc"}}));

TEST_F(WideOutputCallsTest, AFailedFileWriteMakesTheStreamFailAndIsNotRetried) {
    answers = {{FALSE, everything}};
    WideOutputBuffer buffer(file);
    std::wostream out(&buffer);
    out << L"abc" << std::flush;
    EXPECT_EQ(out.rdstate(), std::ios_base::badbit);
    out << L"def" << std::flush;
    EXPECT_EQ(file_texts(), std::vector<std::string>{"abc"});
}

TEST_F(WideOutputCallsTest, TextLostInAFailedWriteIsNotWrittenLater) {
    answers = {{FALSE, 0}};
    WideOutputBuffer buffer(file);
    std::wostream out(&buffer);
    out << L"abc" << std::flush;
    out.clear();
    out << L"def" << std::flush;
    EXPECT_TRUE(out.good());
    EXPECT_EQ(file_texts(), (std::vector<std::string>{"abc", "def"}));
}

TEST_F(WideOutputCallsTest, AFullBufferThatCannotBeWrittenMakesTheStreamFail) {
    answers = {{FALSE, 0}};
    WideOutputBuffer buffer(file);
    std::wostream out(&buffer);
    out << std::wstring(buffer_units, L'a');
    EXPECT_TRUE(out.good());
    out << L"b";
    EXPECT_EQ(out.rdstate(), std::ios_base::badbit);
    EXPECT_EQ(file_texts(), std::vector<std::string>{std::string(buffer_units, 'a')});
}

TEST_F(WideOutputCallsTest, AFailureAtDestructionIsIgnored) {
    answers = {{FALSE, 0}};
    {
        WideOutputBuffer buffer(file);
        std::wostream(&buffer) << L"abc";
    }
    EXPECT_EQ(file_texts(), std::vector<std::string>{"abc"});
}

// The standard handles are the fake file and the fake error file.
class WideStandardStreamsCallsTest : public WideOutputCallsTest {
  protected:
    WideStandardStreamsCallsTest() {
        // The first call replaces the streams' buffers, so it must come before the tests.
        std::ios_base::sync_with_stdio(false);
        hooks().GetStdHandle = [](DWORD which) -> HANDLE {
            if (which == STD_OUTPUT_HANDLE)
                return file;
            if (which == STD_ERROR_HANDLE)
                return error_file;
            return real_imports().GetStdHandle(which);
        };
    }
};

TEST_F(WideStandardStreamsCallsTest, OutputBeforeAnErrorArrivesBeforeIt) {
    const WideStandardStreams streams;
    std::wcout << L"sortie";
    std::wcerr << L"erreur";
    EXPECT_EQ(file_calls,
              (std::vector<Call<std::string>>{{file, "sortie"}, {error_file, "erreur"}}));
}

TEST_F(WideStandardStreamsCallsTest, DestructionWritesTheRest) {
    {
        const WideStandardStreams streams;
        std::wcout << L"sortie" << lead;
    }
    EXPECT_EQ(file_calls,
              (std::vector<Call<std::string>>{{file, "sortie"}, {file, "\xEF\xBF\xBD"}}));
}

TEST_F(WideStandardStreamsCallsTest, DestructionRestoresTheOldBuffers) {
    std::wstreambuf* const output = std::wcout.rdbuf();
    std::wstreambuf* const error = std::wcerr.rdbuf();
    {
        const WideStandardStreams streams;
        EXPECT_NE(std::wcout.rdbuf(), output);
        EXPECT_NE(std::wcerr.rdbuf(), error);
    }
    EXPECT_EQ(std::wcout.rdbuf(), output);
    EXPECT_EQ(std::wcerr.rdbuf(), error);
}

TEST_F(WideStandardStreamsCallsTest, AFailedOutputLeavesErrorsWorkingAndTheOldStreamGood) {
    {
        const WideStandardStreams streams;
        answers = {{FALSE, 0}};
        std::wcout << L"sortie" << std::flush;
        EXPECT_EQ(std::wcout.rdstate(), std::ios_base::badbit);
        std::wcerr << L"erreur";
    }
    EXPECT_EQ(file_calls.back(), (Call<std::string>{error_file, "erreur"}));
    EXPECT_TRUE(std::wcout.good());
}

}  // namespace
}  // namespace larkspine::testing
