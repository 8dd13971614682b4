#include "screen_watch.h"

#include <algorithm>
#include <cwchar>

#include "child.h"
#include "files.h"
#include "screen_observation.h"
#include "system_error.h"
#include "text.h"

namespace larkspine::check {
namespace {

constexpr COORD screen_size = {120, 200};
constexpr DWORD between_looks = 15;
constexpr DWORD longest_watch = 240'000;

// Keeps Ctrl+C from ending this process too.
BOOL WINAPI ignore_control(DWORD kind) {
    return kind == CTRL_C_EVENT;
}

class Screen {
  public:
    explicit Screen(unsigned code_page)
        : output_(open_file(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING)) {
        // Sets the size of the buffer only; its window may stay as it is.
        SetConsoleScreenBufferSize(output_.get(), screen_size);
        CONSOLE_SCREEN_BUFFER_INFO info = {};
        if (!GetConsoleScreenBufferInfo(output_.get(), &info))
            fail("GetConsoleScreenBufferInfo", L"");
        size_ = info.dwSize;
        if (!SetConsoleOutputCP(code_page) || !SetConsoleCP(code_page))
            fail("SetConsoleOutputCP", std::to_wstring(code_page));
        CONSOLE_CURSOR_INFO cursor = {25, TRUE};
        SetConsoleCursorInfo(output_.get(), &cursor);
    }

    [[nodiscard]] bool cursor_visible() const {
        CONSOLE_CURSOR_INFO cursor = {};
        return GetConsoleCursorInfo(output_.get(), &cursor) && cursor.bVisible;
    }

    // The rows down to the cursor, and a few below it.
    [[nodiscard]] std::vector<std::string> rows() const {
        CONSOLE_SCREEN_BUFFER_INFO info = {};
        GetConsoleScreenBufferInfo(output_.get(), &info);
        const int last = std::min(info.dwCursorPosition.Y + 6, size_.Y - 1);
        std::vector<std::string> rows;
        for (int row = 0; row <= last; ++row) {
            std::wstring cells(static_cast<std::size_t>(size_.X), L' ');
            DWORD got = 0;
            ReadConsoleOutputCharacterW(output_.get(), cells.data(),
                                        static_cast<DWORD>(cells.size()),
                                        {0, static_cast<SHORT>(row)}, &got);
            cells.resize(got);
            cells.resize(cells.find_last_not_of(L' ') + 1);
            rows.push_back(utf8(cells));
        }
        while (!rows.empty() && rows.back().empty())
            rows.pop_back();
        return rows;
    }

  private:
    unique_handle output_;
    COORD size_{};
};

void watch(ScreenObservation& seen, unsigned code_page, unsigned stop_at,
           const ChildSettings& settings) {
    // The process that started the kit may have disabled Ctrl+C, and its children inherit that.
    SetConsoleCtrlHandler(nullptr, FALSE);
    const Screen screen(code_page);
    const Child program(settings);
    SetConsoleCtrlHandler(ignore_control, TRUE);
    const ULONGLONG latest = GetTickCount64() + longest_watch;
    bool stopped = stop_at == 0;
    for (;;) {
        const auto code = program.wait(between_looks);
        const bool visible = screen.cursor_visible();
        const std::vector<std::string> rows = screen.rows();
        look_at_screen(seen, rows, visible);
        if (code) {
            seen.code = *code;
            seen.cursor_visible = visible;
            seen.rows = rows;
            return;
        }
        if (!stopped && std::ranges::any_of(seen.percents,
                                            [&](unsigned percent) { return percent >= stop_at; })) {
            if (!GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0))
                fail("GenerateConsoleCtrlEvent", L"");
            stopped = true;
        }
        if (GetTickCount64() > latest)
            throw std::runtime_error("le programme ne finit pas / the program does not end");
    }
}

}  // namespace

int watch_screen(int argc, const wchar_t* const* argv) {
    if (argc < 4)
        return 2;
    ScreenObservation seen;
    try {
        ChildSettings settings;
        settings.program = argv[3];
        settings.arguments.assign(argv + 4, argv + argc);
        settings.console = ChildConsole::shared;
        watch(seen, static_cast<unsigned>(std::wcstoul(argv[1], nullptr, 10)),
              static_cast<unsigned>(std::wcstoul(argv[2], nullptr, 10)), settings);
    } catch (const std::exception& error) {
        seen.trouble = error.what();
    }
    write_file(argv[0], render(seen));
    return 0;
}

}  // namespace larkspine::check
