#include "work_folder.h"

#include <cwchar>
#include <iterator>

#include "base/path_forms.h"
#include "files.h"
#include "rights.h"
#include "text.h"
#include "zip_writer.h"

namespace larkspine::check {
namespace {

std::wstring folder_name() {
    SYSTEMTIME now = {};
    GetLocalTime(&now);
    wchar_t name[64];
    std::swprintf(name, std::size(name), L"larkspine-check-%04u-%02u-%02u_%02u-%02u-%02u",
                  unsigned{now.wYear}, unsigned{now.wMonth}, unsigned{now.wDay},
                  unsigned{now.wHour}, unsigned{now.wMinute}, unsigned{now.wSecond});
    return name;
}

void add_tree(ZipWriter& zip, const std::wstring& folder, const std::string& name) {
    for (const ListedName& entry : names_in(folder)) {
        const std::wstring path = join_path(folder, entry.name);
        const std::string inside = name + '/' + utf8(entry.name);
        if (entry.attributes & FILE_ATTRIBUTE_DIRECTORY)
            add_tree(zip, path, inside);
        else
            zip.add(inside, read_file(path));
    }
}

}  // namespace

WorkFolder::WorkFolder() : path_(long_form(folder_name())) {
    make_own_folder(path_);
    for (const std::wstring& folder : {runs(), indexes(), elsewhere()})
        make_folders(folder);
}

WorkFolder::~WorkFolder() {
    for (const std::wstring& folder : {runs(), indexes(), elsewhere()})
        remove_tree(folder);
    if (exists(image()))
        remove_tree(image());
}

std::wstring WorkFolder::runs() const {
    return join_path(path_, L"runs");
}

std::wstring WorkFolder::indexes() const {
    return join_path(path_, L"index");
}

std::wstring WorkFolder::elsewhere() const {
    return join_path(path_, L"ailleurs");
}

std::wstring WorkFolder::image() const {
    return join_path(path_, L"volume.vhdx");
}

std::wstring WorkFolder::zip() const {
    return join_path(path_, L"resultat-result.zip");
}

void WorkFolder::write_result(const std::string& table, const std::string& facts,
                              const std::string& journal) const {
    const std::string mark = "\xEF\xBB\xBF";
    ZipWriter archive;
    archive.add("table.txt", mark + facts + "\r\n" + table);
    archive.add("journal.txt", mark + journal);
    add_tree(archive, runs(), "runs");
    write_file(zip(), archive.finish());
    write_file(join_path(path_, L"table.txt"), mark + facts + "\r\n" + table);
}

}  // namespace larkspine::check
