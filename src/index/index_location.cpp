#include "index/index_location.h"

#include "base/win32_api.h"

#include "base/path_forms.h"

namespace larkspine {
namespace {

constexpr const wchar_t* directory_variable = L"LARKSPINE_INDEX_DIRECTORY";
constexpr const wchar_t* local_data_variable = L"LOCALAPPDATA";
constexpr std::wstring_view application_folder = L"Larkspine";

// Unlike join_path, leaves a name alone when there is no folder to put before it.
std::wstring join_location(std::wstring_view folder, std::wstring_view name) {
    return folder.empty() ? std::wstring(name) : join_path(folder, name);
}

bool create_directory(const std::wstring& path) {
    return CreateDirectoryW(path.c_str(), nullptr) != FALSE ||
           GetLastError() == ERROR_ALREADY_EXISTS;
}

}  // namespace

std::optional<std::wstring> read_environment(const wchar_t* name) {
    const DWORD capacity = GetEnvironmentVariableW(name, nullptr, 0);
    if (capacity == 0)
        return std::nullopt;
    std::wstring value(capacity, L'\0');
    const DWORD length = GetEnvironmentVariableW(name, value.data(), capacity);
    if (length == 0 || length >= capacity)
        return std::nullopt;
    value.resize(length);
    return value;
}

std::optional<std::wstring> index_directory() {
    if (std::optional<std::wstring> chosen = read_environment(directory_variable)) {
        // An explicit setting that cannot be honoured disables the index rather than putting it
        // somewhere else.
        if (!create_directory(*chosen))
            return std::nullopt;
        return chosen;
    }
    const std::optional<std::wstring> local_data = read_environment(local_data_variable);
    if (!local_data)
        return std::nullopt;
    const std::wstring application = join_location(*local_data, application_folder);
    std::wstring indexes = join_location(application, L"indexes");
    if (!create_directory(application) || !create_directory(indexes))
        return std::nullopt;
    return indexes;
}

std::optional<std::wstring> index_file_path(std::wstring_view root) {
    const std::optional<std::wstring> directory = index_directory();
    if (!directory)
        return std::nullopt;
    return join_location(*directory, index_file_name(hash_index_key(normalize_index_key(root))));
}

std::vector<std::wstring> index_exclusions() {
    std::vector<std::wstring> folders;
    if (std::optional<std::wstring> local_data = read_environment(local_data_variable)) {
        if (!is_separator(local_data->back()))
            local_data->push_back(L'\\');
        local_data->append(application_folder);
        folders.push_back(normalize_for_compare(*local_data));
    }
    if (const std::optional<std::wstring> chosen = read_environment(directory_variable))
        folders.push_back(normalize_for_compare(*chosen));
    return folders;
}

}  // namespace larkspine
