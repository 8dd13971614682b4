// Whole runs in this process, with their two streams captured.
#pragma once

#include "base/win32_api.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "app/banner.h"
#include "app/run.h"
#include "base/path_forms.h"
#include "support/import_replacement.h"
#include "support/scoped_environment.h"
#include "support/temp_tree.h"

namespace larkspine::testing {

inline const std::wstring banner(banner_text());
inline constexpr const wchar_t* report_name = L"Fennick_Resultats_2024-01-02_03-04-05.csv";
inline constexpr const wchar_t* unfinished_scan = L"L’analyse n’a pas pu être terminée.\n";
inline constexpr const wchar_t* unfinished_run = L"Larkspine n’a pas pu terminer l’opération.\n";
inline constexpr const wchar_t* unknown_exception = L"Erreur : exception C++ inconnue.\n";
inline constexpr const wchar_t* not_accessible = L"Impossible d’accéder au dossier sélectionné.\n";
inline constexpr const wchar_t* not_saved = L"Impossible d’enregistrer les résultats.\n";
inline constexpr const wchar_t* invalid_parameters =
    L"Les paramètres fournis ne sont pas valides.\n";

// Captures a stream for its lifetime. flushed() is the text at the last explicit flush: insertions
// do not flush by themselves.
class CapturedStream : public std::wstringbuf {
  public:
    explicit CapturedStream(std::wostream& stream)
        : stream_(stream), old_tie_(stream.tie(nullptr)), old_flags_(stream.flags()) {
        stream.unsetf(std::ios_base::unitbuf);
        // The first call replaces the streams' buffers.
        std::ios_base::sync_with_stdio(false);
        old_buffer_ = stream.rdbuf(this);
    }
    ~CapturedStream() override {
        stream_.rdbuf(old_buffer_);
        stream_.flags(old_flags_);
        stream_.tie(old_tie_);
    }
    const std::wstring& flushed() const { return flushed_; }

  protected:
    int sync() override {
        flushed_ = str();
        return 0;
    }

  private:
    std::wostream& stream_;
    std::wostream* old_tie_;
    std::ios_base::fmtflags old_flags_;
    std::wstreambuf* old_buffer_ = nullptr;
    std::wstring flushed_;
};

struct Outcome {
    int code;
    std::wstring output;
    std::wstring errors;
    bool operator==(const Outcome&) const = default;
    friend std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
        return out << outcome.code << ' ' << ::testing::PrintToString(outcome.output) << ' '
                   << ::testing::PrintToString(outcome.errors);
    }
};

inline bool is_report(LPCWSTR path) {
    return std::wstring_view(path).ends_with(report_name);
}

// A run on the folder "in" with "out" as the current directory, at a fixed local time.
class RunTest : public ::testing::Test {
  protected:
    RunTest() {
        hooks().GetLocalTime = [](LPSYSTEMTIME time) { *time = {2024, 1, 2, 2, 3, 4, 5, 6}; };
        // No progress block, even when the tests run on a console.
        hooks().GetConsoleMode = [](auto...) { return FALSE; };
    }

    // Without an index, so that nothing is left outside the tree.
    Outcome run_on(const std::wstring& folder) { return run_with({folder.c_str(), L"--no-index"}); }
    Outcome run_with(std::initializer_list<const wchar_t*> arguments) {
        std::vector<const wchar_t*> argv = {L"larkspine.exe"};
        argv.insert(argv.end(), arguments);
        const int count = static_cast<int>(argv.size());
        argv.push_back(nullptr);
        const int code = run_guarded(count, argv.data());
        return {code, output.str(), errors.str()};
    }
    std::wstring summary(const std::wstring& counts) const {
        return L"Analyse terminée.\n\n" + counts + L"Résultats enregistrés dans :\n" +
               strip_long_path_prefix(report) + L"\n";
    }

    TempTree tree;
    std::wstring in = tree.folder(L"in");
    std::wstring out = tree.folder(L"out");
    std::wstring report = out + L"\\" + report_name;
    CapturedStream output{std::wcout};
    CapturedStream errors{std::wcerr};

  private:
    ScopedCurrentDirectory here_{strip_long_path_prefix(out)};
    ImportReset reset_;
};

}  // namespace larkspine::testing
