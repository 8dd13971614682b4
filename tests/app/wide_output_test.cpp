#include "app/wide_output.h"

#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "app/console_fixture.h"
#include "base/win32_handle.h"
#include "support/headless_console.h"
#include "support/temp_tree.h"

namespace larkspine::testing {
namespace {

constexpr std::size_t buffer_units = 4096;
constexpr std::string_view replacement = "\xEF\xBF\xBD";
const std::wstring lead(1, wchar_t{0xD83D});
const std::wstring trail(1, wchar_t{0xDE00});
const std::string pair_bytes = "\xF0\x9F\x98\x80";

std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    for (; count > 0; --count)
        all += text;
    return all;
}

// A stream onto a file; written() is what has arrived there so far.
class WideFileOutputTest : public ::testing::Test {
  protected:
    std::wostream& out() { return stream_; }
    void close_buffer() {
        stream_.rdbuf(nullptr);
        buffer_.reset();
    }
    std::string written() const { return read_file(path_); }
    // The contents of the file once the buffer is destroyed.
    std::string result() {
        close_buffer();
        return written();
    }
    HANDLE handle() const { return file_.get(); }

  private:
    TempTree tree_;
    std::wstring path_ = tree_.path(L"out.txt");
    unique_handle file_ =
        own_handle(CreateFileW(path_.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                               CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    std::unique_ptr<WideOutputBuffer> buffer_ = std::make_unique<WideOutputBuffer>(file_.get());
    std::wostream stream_{buffer_.get()};
};

TEST_F(WideFileOutputTest, FrenchTextArrivesAsUtf8) {
    out() << L"L’accès à l’été.\n";
    EXPECT_EQ(result(),
              "L\xE2\x80\x99"
              "acc\xC3\xA8s \xC3\xA0 l\xE2\x80\x99\xC3\xA9t\xC3\xA9.\n");
}

TEST_F(WideFileOutputTest, CharactersOfEveryLengthArriveAsUtf8) {
    out() << L"\u007F\u0080\u07FF\u0800\u65E5\u672C\uFFFF\U00010000\U0010FFFF";
    EXPECT_EQ(result(),
              "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xE6\x97\xA5\xE6\x9C\xAC\xEF\xBF\xBF"
              "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");
}

TEST_F(WideFileOutputTest, LineEndsAndNullCharactersArriveUnchanged) {
    out() << std::wstring(L"a\nb\r\nc\0d\x1A", 9);
    EXPECT_EQ(result(), std::string("a\nb\r\nc\0d\x1A", 9));
}

TEST_F(WideFileOutputTest, NumbersArriveWithoutGrouping) {
    out() << 18'446'744'073'709'551'615u << L' ' << 1'000;
    EXPECT_EQ(result(), "18446744073709551615 1000");
}

TEST_F(WideFileOutputTest, DestructionWritesTheRestAndLeavesTheHandleOpen) {
    out() << L"abc" << std::flush << L"def";
    EXPECT_EQ(result(), "abcdef");
    WideOutputBuffer(handle()).sputc(L'g');
    EXPECT_EQ(written(), "abcdefg");
}

TEST_F(WideFileOutputTest, TheHalvesOfAPairInTwoInsertionsArriveAsOneCharacter) {
    out() << L"a" << lead << trail << L"b";
    EXPECT_EQ(result(), "a" + pair_bytes + "b");
}

TEST_F(WideFileOutputTest, AFlushBetweenTheHalvesOfAPairHoldsTheFirstBack) {
    out() << L"a" << lead << std::flush;
    EXPECT_EQ(written(), "a");
    out() << std::flush << std::flush;
    EXPECT_EQ(written(), "a");
    out() << trail << L"b" << std::flush;
    EXPECT_EQ(written(), "a" + pair_bytes + "b");
    EXPECT_TRUE(out().good());
}

TEST_F(WideFileOutputTest, APairAcrossTheEndOfTheBufferArrivesAsOneCharacter) {
    std::string expected;
    for (std::size_t before = buffer_units - 3; before <= buffer_units + 1; ++before) {
        out() << std::wstring(before, L'a') << lead + trail << L"b";
        expected += std::string(before, 'a') + pair_bytes + "b";
        out() << std::flush;
        EXPECT_EQ(written(), expected) << "after " << before << " units";
    }
}

TEST_F(WideFileOutputTest, AHeldLeadSurrogateBeforeAFullBufferArrivesWithItsTrail) {
    out() << lead << std::flush << trail + std::wstring(2 * buffer_units, L'a') + lead << trail;
    EXPECT_EQ(result(), pair_bytes + std::string(2 * buffer_units, 'a') + pair_bytes);
}

TEST_F(WideFileOutputTest, SurrogatePairsArriveWholeAtAnyPlaceInTheBuffer) {
    std::wstring pairs;
    for (std::size_t i = 0; i < 3 * buffer_units; ++i)
        pairs += lead + trail;
    out() << pairs << L"a" << pairs;
    const std::string all = repeated(pair_bytes, 3 * buffer_units);
    EXPECT_EQ(result(), all + "a" + all);
}

TEST_F(WideFileOutputTest, CharactersOneByOneArriveInOrder) {
    std::string expected;
    for (std::size_t i = 0; i < 2 * buffer_units + 1; ++i) {
        out().put(static_cast<wchar_t>(L'a' + i % 26));
        expected += static_cast<char>('a' + i % 26);
    }
    EXPECT_EQ(result(), expected);
}

TEST_F(WideFileOutputTest, LoneSurrogatesArriveAsReplacementCharacters) {
    out() << trail << L"a" << lead << L"b" << trail << trail << L"c" << trail + lead << L"d";
    const std::string r(replacement);
    EXPECT_EQ(result(), r + "a" + r + "b" + r + r + "c" + r + r + "d");
}

TEST_F(WideFileOutputTest, ALeadSurrogateBeforeAPairIsReplacedAndThePairKept) {
    out() << lead << std::flush << lead << std::flush << trail;
    EXPECT_EQ(result(), std::string(replacement) + pair_bytes);
}

TEST_F(WideFileOutputTest, ALeadSurrogateAtTheVeryEndArrivesAsAReplacementCharacter) {
    out() << L"a" << lead << std::flush;
    EXPECT_EQ(result(), "a" + std::string(replacement));
}

struct Pipe {
    Pipe() {
        HANDLE read = nullptr;
        HANDLE write = nullptr;
        if (CreatePipe(&read, &write, nullptr, 65'536)) {
            reader.reset(read);
            writer.reset(write);
        }
    }
    std::string read() const {
        char bytes[4096];
        DWORD got = 0;
        if (!ReadFile(reader.get(), bytes, sizeof bytes, &got, nullptr))
            return "nothing";
        return {bytes, got};
    }
    unique_handle reader;
    unique_handle writer;
};

TEST(WidePipeOutputTest, APipeWithoutAReaderMakesTheStreamFail) {
    Pipe pipe;
    pipe.reader.reset();
    WideOutputBuffer buffer(pipe.writer.get());
    std::wostream out(&buffer);
    out << L"a";
    EXPECT_TRUE(out.good());
    out << std::flush;
    EXPECT_EQ(out.rdstate(), std::ios_base::badbit);
}

class UnusableHandleTest : public ::testing::TestWithParam<HANDLE> {};

TEST_P(UnusableHandleTest, TextForANullOrInvalidHandleFailsAtTheFlush) {
    WideOutputBuffer buffer(GetParam());
    std::wostream out(&buffer);
    out << L"a" << std::flush;
    EXPECT_EQ(out.rdstate(), std::ios_base::badbit);
}

TEST_P(UnusableHandleTest, AnEmptyFlushToANullOrInvalidHandleSucceeds) {
    WideOutputBuffer buffer(GetParam());
    std::wostream out(&buffer);
    out << std::flush;
    EXPECT_TRUE(out.good());
}

INSTANTIATE_TEST_SUITE_P(NullAndInvalid, UnusableHandleTest,
                         ::testing::Values(nullptr, INVALID_HANDLE_VALUE));

TEST(WideStandardStreamsTest, OutputAndErrorsGoToTheirOwnHandlesAsUtf8) {
    const StandardHandlesAside aside;
    const Pipe output;
    const Pipe error;
    SetStdHandle(STD_OUTPUT_HANDLE, output.writer.get());
    SetStdHandle(STD_ERROR_HANDLE, error.writer.get());
    {
        const WideStandardStreams streams;
        std::wcout << L"Analyse terminée.\n";
        std::wcerr << L"L’analyse\n";
    }
    EXPECT_EQ(output.read(), "Analyse terminée.\n");
    EXPECT_EQ(error.read(), "L’analyse\n");
}

TEST(WideStandardStreamsTest, TheStreamsAreNoLongerSynchronisedWithTheCStreams) {
    { const WideStandardStreams streams; }
    // The call returns the previous setting. Nothing else in this program switches it off.
    EXPECT_FALSE(std::ios_base::sync_with_stdio(false));
}

class WideConsoleOutputTest : public HeadlessConsoleTest,
                              public ::testing::WithParamInterface<UINT> {
  protected:
    void SetUp() override {
        HeadlessConsoleTest::SetUp();
        if (IsSkipped())
            return;
        screen_ = std::make_unique<ScreenBuffer>();
        ASSERT_TRUE(SetConsoleOutputCP(GetParam()));
    }

    void write(const std::wstring& text) {
        WideOutputBuffer buffer(screen_->handle());
        std::wostream(&buffer) << text;
    }
    std::wstring row(SHORT number) const { return screen_->row(number); }

  private:
    std::unique_ptr<ScreenBuffer> screen_;
};

TEST_P(WideConsoleOutputTest, AccentsAndSignsOutsideTheCodePageAppear) {
    write(L"Impossible d’accéder\nÀ ê œ █░ Ж Ω\n");
    EXPECT_EQ(row(0), L"Impossible d’accéder");
    EXPECT_EQ(row(1), L"À ê œ █░ Ж Ω");
}

TEST_P(WideConsoleOutputTest, ATextLongerThanTheBufferAppearsWhole) {
    std::wstring lines;
    for (std::size_t i = 0; lines.size() <= 2 * buffer_units; ++i)
        lines += L"\r" + std::wstring(40, static_cast<wchar_t>(L'à' + i % 20));
    write(L"é\n" + lines + L"\nfin");
    EXPECT_EQ(row(0), L"é");
    EXPECT_EQ(row(1), lines.substr(lines.rfind(L'\r') + 1));
    EXPECT_EQ(row(2), L"fin");
}

INSTANTIATE_TEST_SUITE_P(OutputCodePages, WideConsoleOutputTest,
                         ::testing::Values(437u, 850u, 65001u));

}  // namespace
}  // namespace larkspine::testing
