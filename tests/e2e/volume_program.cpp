// Runs the finished program on a fake NTFS volume, by a script that is named on the command line.
// The script is UTF-8, one step a line, its words separated by tabs; paths are below the root of
// the volume:
//
//     write PATH FILE        rename PATH PATH      file_system NAME
//     append PATH FILE       link PATH PATH        new_journal
//     truncate PATH SIZE     remove PATH           local_data FOLDER
//     folder PATH            remove_tree PATH      run ARGUMENT...
//
// FILE is the Windows path of a file with the contents. local_data sets LOCALAPPDATA and must come
// before the first run. A run scans the volume with the arguments that follow. Runs are numbered
// from 1: the number is the minute and second in the name of the report, and a line "== NUMBER"
// comes before the run's text on the standard output. Ends with 0 when every run did.
#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "app/run.h"
#include "app/wide_output.h"
#include "support/fake_volume.h"

namespace larkspine::testing {
namespace {

using Words = std::vector<std::wstring>;

std::wstring wide(std::string_view text) {
    std::wstring converted(text.size(), L'\0');
    converted.resize(static_cast<std::size_t>(MultiByteToWideChar(
        CP_UTF8, MB_ERR_INVALID_CHARS, text.data(), static_cast<int>(text.size()), converted.data(),
        static_cast<int>(converted.size()))));
    return converted;
}

Words split(std::wstring_view text, wchar_t separator) {
    Words parts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(separator), text.size());
        parts.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

class Script {
  public:
    Script() {
        hooks().GetLocalTime = [this](LPSYSTEMTIME time) {
            *time = {2026, 1, 0, 2, 3, static_cast<WORD>(runs_ / 60), static_cast<WORD>(runs_ % 60),
                     0};
        };
    }

    void step(const Words& words) {
        const std::wstring& what = words.at(0);
        if (what == L"run")
            run(words);
        else if (what == L"write")
            volume_.write(words.at(1), read_file(words.at(2)));
        else if (what == L"append")
            volume_.append(words.at(1), read_file(words.at(2)));
        else if (what == L"truncate")
            volume_.truncate(words.at(1), std::stoull(words.at(2)));
        else if (what == L"folder")
            volume_.make_folder(words.at(1));
        else if (what == L"rename")
            volume_.rename(words.at(1), words.at(2));
        else if (what == L"link")
            volume_.link(words.at(1), words.at(2));
        else if (what == L"remove")
            volume_.remove(words.at(1));
        else if (what == L"remove_tree")
            volume_.remove_tree(words.at(1));
        else if (what == L"file_system")
            volume_.set_file_system(words.at(1));
        else if (what == L"local_data")
            SetEnvironmentVariableW(L"LOCALAPPDATA", words.at(1).c_str());
        else if (what == L"new_journal")
            volume_.create_journal();
        else
            throw std::runtime_error("no such step");
    }

    [[nodiscard]] int code() const { return code_; }

  private:
    void run(const Words& words) {
        std::wcout << L"== " << ++runs_ << L'\n';
        std::vector<const wchar_t*> arguments = {L"larkspine", L"Q:\\"};
        for (std::size_t i = 1; i < words.size(); ++i)
            arguments.push_back(words[i].c_str());
        code_ = std::max(code_, run_guarded(static_cast<int>(arguments.size()), arguments.data()));
    }

    TempTree tree_;
    FakeVolume volume_{tree_};
    int runs_ = 0;
    int code_ = 0;
};

}  // namespace
}  // namespace larkspine::testing

int wmain(int argc, wchar_t** argv) {
    using namespace larkspine::testing;
    const larkspine::WideStandardStreams streams;
    if (argc != 2)
        return 1;
    Script script;
    for (const std::wstring& line : split(wide(read_file(argv[1])), L'\n'))
        script.step(split(line, L'\t'));
    return script.code();
}
