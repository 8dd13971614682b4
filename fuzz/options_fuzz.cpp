// The option parser, compared with a second one that was written from the table of options. Each
// line of an input is an argument.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "app/options.h"
#include "expect.h"
#include "input_text.h"

namespace {

using namespace larkspine;
using fuzz::expect;

namespace plain {

// Without its leading zeros the number is one digit from 1 on, or two digits up to 64.
std::optional<std::uint64_t> workers(const std::wstring& text) {
    const std::size_t first = text.find_first_not_of(L'0');
    if (first == std::wstring::npos || text.find_first_not_of(L"0123456789") != std::wstring::npos)
        return std::nullopt;
    const std::wstring digits = text.substr(first);
    if (digits.size() > 2 || (digits.size() == 2 && digits > L"64"))
        return std::nullopt;
    std::uint64_t value = 0;
    for (const wchar_t digit : digits)
        value = 10 * value + std::wstring(L"0123456789").find(digit);
    return value;
}

enum class Word { workers, no_index, rebuild_index, verify_bytes, stats, unknown, folder };

Word word_of(const std::wstring& argument) {
    static const std::map<std::wstring, Word> words = {
        {L"--workers", Word::workers},           {L"-j", Word::workers},
        {L"--no-index", Word::no_index},         {L"--rebuild-index", Word::rebuild_index},
        {L"--verify-bytes", Word::verify_bytes}, {L"--stats", Word::stats}};
    if (const auto found = words.find(argument); found != words.end())
        return found->second;
    return argument.substr(0, 1) == L"-" ? Word::unknown : Word::folder;
}

// Sorts the arguments by kind, then checks how many of each kind are allowed.
std::optional<ScanOptions> options(const std::vector<std::wstring>& arguments) {
    std::map<Word, std::vector<std::wstring>> given;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const Word word = word_of(arguments[i]);
        if (word == Word::workers && ++i == arguments.size())
            return std::nullopt;
        given[word].push_back(arguments[i]);
    }
    const std::size_t modes = given[Word::no_index].size() + given[Word::rebuild_index].size();
    if (!given[Word::unknown].empty() || given[Word::folder].size() > 1 || modes > 1)
        return std::nullopt;

    ScanOptions result;
    result.root = given[Word::folder].empty() ? L"C:\\" : given[Word::folder][0];
    const unsigned threads = std::thread::hardware_concurrency();
    result.workers = threads == 1 || threads == 2 || threads == 3 ? threads : 4;
    for (const std::wstring& text : given[Word::workers]) {
        const std::optional<std::uint64_t> value = workers(text);
        if (!value)
            return std::nullopt;
        result.workers = *value;
    }
    if (!given[Word::no_index].empty())
        result.index_mode = IndexMode::disabled;
    if (!given[Word::rebuild_index].empty())
        result.index_mode = IndexMode::rebuild;
    result.verify_bytes = !given[Word::verify_bytes].empty();
    result.show_stats = !given[Word::stats].empty();
    return result;
}

}  // namespace plain

void check_numbers(const std::vector<std::wstring>& arguments) {
    for (const std::wstring& argument : arguments) {
        expect(parse_workers(argument) == plain::workers(argument),
               "both parsers read the same number");
        const auto threads = static_cast<unsigned>(argument.empty() ? 0 : argument[0]);
        const std::uint64_t fallback = default_workers(threads);
        expect(fallback >= 1 && fallback <= 4 && (fallback == threads || fallback == 4),
               "at most 4 workers are the default");
    }
}

void check_options(const std::vector<std::wstring>& arguments) {
    std::vector<const wchar_t*> argv = {L"larkspine.exe"};
    for (const std::wstring& argument : arguments)
        argv.push_back(argument.c_str());
    const auto count = static_cast<int>(argv.size());
    argv.push_back(nullptr);
    const std::optional<ScanOptions> parsed = parse_options(count, argv.data());
    const std::optional<ScanOptions> expected = plain::options(arguments);
    expect(parsed.has_value() == expected.has_value(), "both parsers accept the same arguments");
    if (!parsed)
        return;
    expect(parsed->workers >= 1 && parsed->workers <= 64, "the workers are 1 to 64");
    expect(parsed->root == expected->root, "both parsers read the same folder");
    expect(parsed->workers == expected->workers, "both parsers read the same workers");
    expect(parsed->index_mode == expected->index_mode, "both parsers read the same index mode");
    expect(parsed->verify_bytes == expected->verify_bytes,
           "both parsers read the same verification");
    expect(parsed->show_stats == expected->show_stats, "both parsers read the same statistics");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::wstring> arguments = fuzz::lines_of(data, size);
    // The system ends an argument at its first null.
    for (std::wstring& argument : arguments)
        argument.resize(std::min(argument.find(L'\0'), argument.size()));
    if (size == 0)
        arguments.clear();
    check_numbers(arguments);
    check_options(arguments);
    return 0;
}
