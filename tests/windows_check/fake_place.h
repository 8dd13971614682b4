// The fake NTFS volume as a place for the kit's steps, and the program's own code, run in this
// process, as the program under test. For programs with replaced imports.
#pragma once

#include "base/win32_api.h"

#include <string>
#include <string_view>
#include <vector>

#include "app/run_fixture.h"
#include "files.h"
#include "place.h"
#include "program.h"
#include "support/fake_volume.h"
#include "support/scoped_environment.h"
#include "support/temp_tree.h"
#include "text.h"

namespace larkspine::testing {

class FakePlace : public check::Place {
  public:
    FakeVolume& volume() { return volume_; }

    [[nodiscard]] std::wstring root() const override { return L"Q:\\"; }
    [[nodiscard]] std::wstring walked_root() const override { return tree_.root(); }

    void make_folder(std::wstring_view folder) override { volume_.make_folder(folder); }
    void write(std::wstring_view file, std::string_view contents) override {
        volume_.write(file, contents);
    }
    void append(std::wstring_view file, std::string_view contents) override {
        volume_.append(file, contents);
    }
    void overwrite(std::wstring_view file, std::uint64_t offset,
                   std::string_view contents) override {
        volume_.overwrite(file, offset, contents);
    }
    void truncate(std::wstring_view file, std::uint64_t size) override {
        volume_.truncate(file, size);
    }
    void rename(std::wstring_view from, std::wstring_view to) override {
        // Wine ignores a rename that changes only the case of letters.
        if (normalize_for_compare(from) == normalize_for_compare(to)) {
            const std::wstring between = std::wstring(to) + L'~';
            volume_.rename(from, between);
            volume_.rename(between, to);
        } else {
            volume_.rename(from, to);
        }
    }
    void remove(std::wstring_view path) override { volume_.remove(path); }
    void remove_tree(std::wstring_view folder) override { volume_.remove_tree(folder); }
    void link(std::wstring_view existing, std::wstring_view added) override {
        volume_.link(existing, added);
    }
    void hold(std::wstring_view file) override {
        held_ = file;
        volume_.open(held_);
    }
    void let_go() override { volume_.close(held_); }
    void set_attributes(std::wstring_view path, std::uint32_t attributes) override {
        volume_.set_attributes(path, attributes);
    }
    void touch(std::wstring_view path) override {
        volume_.set_write_time(path, 133'000'000'000'000'000);
    }

    [[nodiscard]] std::optional<USN_JOURNAL_DATA_V0> journal() override {
        return has_journal_ ? std::optional(volume_.journal()) : std::nullopt;
    }
    [[nodiscard]] std::string why_no_journal() const override { return "deleted"; }
    void delete_journal() override {
        volume_.delete_journal();
        has_journal_ = false;
    }
    void create_journal(std::uint64_t, std::uint64_t) override {
        volume_.create_journal();
        has_journal_ = true;
    }
    bool outrun_journal(std::int64_t, std::wstring_view folder) override {
        volume_.write(std::wstring(folder) + L"\\x", "x");
        volume_.purge_journal();
        return true;
    }

  private:
    TempTree tree_;
    FakeVolume volume_{tree_};
    bool has_journal_ = true;
    std::wstring held_;
};

class ProgramInProcess : public check::Program {
  public:
    explicit ProgramInProcess(FakePlace& place) : place_(place) {
        hooks().GetConsoleMode = [](auto...) { return FALSE; };
    }

    check::RunOutcome run(const check::RunRequest& request) override {
        const std::wstring folder = work_.folder(std::to_wstring(++runs_));
        const ScopedCurrentDirectory here(strip_long_path_prefix(folder));
        const ScopedEnvironment index(L"LARKSPINE_INDEX_DIRECTORY", request.index_folder);
        const ScopedEnvironment local(L"LOCALAPPDATA", L"Q:\\profil");
        if (request.rights == check::Rights::restricted)
            place_.volume().plant(failing(Request::open_volume, every_call, ERROR_ACCESS_DENIED));
        std::vector<const wchar_t*> arguments = {L"larkspine.exe"};
        for (const std::wstring& argument : request.arguments)
            arguments.push_back(argument.c_str());
        check::RunOutcome outcome;
        {
            const CapturedStream output(std::wcout);
            const CapturedStream errors(std::wcerr);
            outcome.code = static_cast<std::uint32_t>(
                run_guarded(static_cast<int>(arguments.size()), arguments.data()));
            outcome.output = check::utf8(output.str());
            outcome.errors = check::utf8(errors.str());
        }
        place_.volume().clear_faults();
        for (const check::ListedName& entry : check::names_in(folder))
            outcome.reports.push_back(check::read_file(folder + L'\\' + entry.name));
        return outcome;
    }

  private:
    FakePlace& place_;
    TempTree work_;
    unsigned runs_ = 0;
};

}  // namespace larkspine::testing
