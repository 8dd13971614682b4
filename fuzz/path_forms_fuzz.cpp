// The forms of a path, compared with a second, plain implementation, which works step by step on
// whole strings. The first line of an input is a path, the second another path or a name, the
// others are folders of index files.
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cwctype>
#include <string>
#include <vector>

#include "base/path_forms.h"
#include "expect.h"
#include "fs/exclusion_rule.h"
#include "index/index_key.h"
#include "input_text.h"

namespace {

using namespace larkspine;
using fuzz::expect;

namespace plain {

std::wstring strip(const std::wstring& path) {
    if (path.find(L"\\\\?\\UNC\\") == 0)
        return L"\\\\" + path.substr(8);
    if (path.find(L"\\\\?\\") == 0)
        return path.substr(4);
    return path;
}

std::wstring key(const std::wstring& path) {
    static const std::wstring capitals = L"/ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    static const std::wstring small = L"\\abcdefghijklmnopqrstuvwxyz";
    std::wstring result;
    for (const wchar_t unit : path) {
        const std::size_t place = capitals.find(unit);
        result += place == std::wstring::npos ? unit : small[place];
    }
    const std::size_t last = result.find_last_not_of(L'\\');
    const std::size_t kept = last == std::wstring::npos ? 0 : last + 1;
    if (kept < 3 && result.size() > 3)
        return result.substr(0, 3);
    return result.size() > 3 ? result.substr(0, kept) : result;
}

// By the mappings of the C library; the program has its own table.
wchar_t fold(wchar_t unit) {
    static const locale_t unicode = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const wint_t lower = towlower_l(unit, unicode);
    const bool capital = towupper_l(lower, unicode) == static_cast<wint_t>(unit);
    return capital ? static_cast<wchar_t>(lower) : unit;
}

std::wstring normalized(const std::wstring& path) {
    std::wstring form = key(strip(path));
    for (wchar_t& unit : form)
        unit = fold(unit);
    return form;
}

bool excluded(const std::wstring& path, const std::vector<std::wstring>& folders) {
    const std::wstring form = normalized(path);
    if (form == L"c:\\windows" || form.find(L"c:\\windows\\") == 0)
        return true;
    for (const std::wstring& folder : folders)
        if (form == folder || form.find(folder + L'\\') == 0)
            return true;
    return false;
}

std::wstring joined(const std::wstring& folder, const std::wstring& name) {
    const bool ends = !folder.empty() && folder[folder.size() - 1] == L'\\';
    return ends ? folder + name : folder + L'\\' + name;
}

// 64-bit FNV-1a over the little-endian bytes.
std::string file_name(const std::wstring& key) {
    std::uint64_t hash = 14695981039346656037u;
    for (std::size_t i = 0; i < 2 * key.size(); ++i) {
        const unsigned unit = static_cast<std::uint16_t>(key[i / 2]);
        hash = (hash ^ (i % 2 == 0 ? unit % 256 : unit / 256)) * 1099511628211u;
    }
    char text[40];
    std::snprintf(text, sizeof text, "index-%016llx.lsi", static_cast<unsigned long long>(hash));
    return text;
}

}  // namespace plain

void check_stripping(const std::wstring& path) {
    expect(strip_long_path_prefix(path) == plain::strip(path),
           "stripping agrees with the plain one");
    expect(strip_long_path_prefix(L"\\\\?\\UNC\\" + path) == L"\\\\" + path,
           "a network prefix becomes two backslashes");
    if (path.find(L"UNC\\") != 0)
        expect(strip_long_path_prefix(L"\\\\?\\" + path) == path, "a local prefix is removed");
}

void check_comparison_form(const std::wstring& path, const std::wstring& other) {
    const std::wstring form = normalize_for_compare(path);
    const std::wstring other_form = normalize_for_compare(other);
    expect(form == plain::normalized(path), "the comparison form agrees with the plain one");
    expect(form.size() <= 3 || form.back() != L'\\',
           "a form of more than 3 units does not end with a separator");
    for (const wchar_t unit : form)
        expect(unit != L'/' && (unit < L'A' || unit > L'Z'), "a form has no slash and no capital");

    // The form of a form is the same, unless the form begins like a prefix again.
    expect((normalize_for_compare(form) == form) == (form.find(L"\\\\?\\") != 0),
           "forming twice changes exactly the forms that begin like a prefix");

    const ComparisonForm view(path);
    expect(view.size() == form.size(), "the view is as long as the form");
    for (std::size_t i = 0; i < form.size(); ++i)
        expect(view.at(i) == form[i], "the view reads as the form");
    expect(view == ComparisonForm(path), "a view equals itself");
    expect((view == ComparisonForm(other)) == (form == other_form), "views compare as forms");
    for (const std::size_t length : {form.size() / 2, form.size()})
        expect(view.starts_with(form.substr(0, length)),
               "a view begins with each beginning of its form");
    expect(!view.starts_with(form + L'x'), "a view does not begin with a text longer than itself");
    expect(view.starts_with(other_form) == (form.find(other_form) == 0),
           "a view begins with what its form begins with");
}

void check_joining(const std::wstring& folder, const std::wstring& name) {
    const std::wstring joined = join_path(folder, name);
    expect(joined == plain::joined(folder, name), "joining agrees with the plain one");
    std::wstring used = L"left over from before, and longer than most";
    assign_joined(used, folder, name);
    expect(used == joined, "joining into a used string gives the same");
    expect(starts_with(joined, folder), "a joined path begins with its folder");
}

void check_index_key(const std::wstring& path) {
    const std::wstring key = normalize_index_key(path);
    expect(key == plain::key(path), "the key agrees with the plain one");
    expect(normalize_index_key(key) == key, "a key is its own key");
    std::wstring folded = normalize_index_key(strip_long_path_prefix(path));
    for (wchar_t& unit : folded)
        unit = plain::fold(unit);
    expect(folded == normalize_for_compare(path),
           "the comparison form is the key without its prefix, with all letters folded");
    const std::wstring name = index_file_name(hash_index_key(key));
    const std::string expected = plain::file_name(key);
    expect(name == std::wstring(expected.begin(), expected.end()),
           "the file name agrees with the plain one");
}

void check_exclusion(const std::wstring& path, const std::vector<std::wstring>& folders) {
    const bool excluded = is_excluded_from(path, folders);
    expect(excluded == plain::excluded(path, folders), "the exclusion agrees with the plain one");
    // A path that ends in separators, or is a bare prefix, need not contain what is joined to it.
    const std::wstring form = normalize_for_compare(path);
    if (excluded && form.size() > 3 && form.find(L"\\\\?\\") != 0)
        expect(is_excluded_from(join_path(form, L"below"), folders),
               "a path below an excluded folder is excluded");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::wstring> lines = fuzz::lines_of(data, size);
    const std::wstring path = lines[0];
    const std::wstring other = lines.size() > 1 ? lines[1] : L"";
    std::vector<std::wstring> folders;
    for (std::size_t i = 2; i < lines.size(); ++i)
        folders.push_back(normalize_for_compare(lines[i]));
    check_stripping(path);
    check_comparison_form(path, other);
    check_joining(path, other);
    check_index_key(path);
    check_exclusion(path, folders);
    // A folder always lies at or below itself.
    folders.push_back(normalize_for_compare(path));
    check_exclusion(path, folders);
    check_exclusion(join_path(path, other), folders);
    return 0;
}
