// Makes one use of one system call fail in a program that runs in this process, and counts the
// handles that it leaves open. For programs with replaced imports.
//
//     CallFaults faults;                    // after everything else that sets hooks
//     faults.plant(call, 3);                // its fourth use from begin() on
//     faults.begin();
//     ... the program ...
//     faults.end();
//     EXPECT_TRUE(faults.happened());
//     EXPECT_EQ(faults.open_handles(), 0u);
//
// Uses are counted over all threads. Calls on handles count only for files, listings and volumes
// that were opened since begin(), and for the program's standard streams.
#pragma once

#include "base/win32_api.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <list>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "support/import_replacement.h"
#include "support/volume_calls.h"

namespace larkspine::testing {

class CallFaults;

// A system call together with the way in which it fails.
struct SweptCall {
    const char* name;
    void (*plant)(CallFaults&);
};

// Every call that a scan of a folder makes; those made only for a whole volume; those made for a
// console. DeleteFileW is left out: it is used only after another call failed.
[[nodiscard]] const std::vector<SweptCall>& swept_folder_calls();
[[nodiscard]] const std::vector<SweptCall>& swept_volume_calls();
[[nodiscard]] const std::vector<SweptCall>& swept_console_calls();
[[nodiscard]] const SweptCall& swept_delete();
[[nodiscard]] const SweptCall& swept_flush();

inline constexpr std::size_t every_use = SIZE_MAX;

class CallFaults {
  public:
    CallFaults();
    // Restores the hooks that it found.
    ~CallFaults();
    CallFaults(const CallFaults&) = delete;
    CallFaults& operator=(const CallFaults&) = delete;

    // Replaces the previous fault.
    void plant(const SweptCall& call, std::size_t use);
    // Keeps the previous fault. happened() and subject() concern the last one planted.
    void plant_also(const SweptCall& call, std::size_t use);
    void clear();

    void begin();
    void end() { active_ = false; }

    [[nodiscard]] bool happened() const;
    // The subject of the failing use: the path, the path behind the handle, or the name that was
    // passed.
    [[nodiscard]] std::wstring subject() const;
    [[nodiscard]] std::size_t open_handles() const;

    // ---- for the table of calls --------------------------------------------------------------
    // At the planted use, the call returns `fail(below, arguments...)`, where `below` is the call
    // itself. Only uses that `counts(arguments...)` accepts are counted.
    template <typename Result, typename... Arguments, typename Fail, typename Counts>
    void layer(std::function<Result(Arguments...)> ImportHooks::*hook,
               Result (WINAPI* RealImports::*real)(Arguments...), Fail fail, Counts counts) {
        const std::function<Result(Arguments...)> below = below_or_real(hook, real);
        Planted* const planted = &planted_.back();
        hooks().*hook = [this, below, fail, counts, planted](Arguments... arguments) -> Result {
            if (!counts(arguments...) || !takes(*planted, subject_of(arguments...)))
                return below(arguments...);
            return fail(below, arguments...);
        };
    }

  private:
    struct Planted {
        std::size_t use = 0;
        std::size_t count = 0;
        bool happened = false;
        std::wstring subject;
    };
    struct Subject {
        bool counts = true;
        std::wstring text;
    };

    template <typename Result, typename... Arguments>
    static std::function<Result(Arguments...)> below_or_real(
        std::function<Result(Arguments...)> ImportHooks::*hook,
        Result (WINAPI* RealImports::*real)(Arguments...)) {
        return hooks().*hook ? hooks().*hook
                             : std::function<Result(Arguments...)>(real_imports().*real);
    }

    template <typename First, typename... Others>
    [[nodiscard]] Subject subject_of(const First& first, const Others&...) const {
        if constexpr (std::is_same_v<First, LPCWSTR>)
            return {true, first == nullptr ? L"" : first};
        else if constexpr (std::is_same_v<First, HANDLE>)
            return subject_of_handle(first);
        else
            return {};
    }
    [[nodiscard]] Subject subject_of_handle(HANDLE handle) const;
    bool takes(Planted& planted, const Subject& subject);
    void track_handles();
    HANDLE opened(HANDLE handle, LPCWSTR path);
    void closed(HANDLE handle);

    ImportHooks before_;
    std::atomic<bool> active_{false};
    mutable VolumeLock lock_;
    std::map<HANDLE, std::wstring> open_;
    std::list<Planted> planted_;
};

}  // namespace larkspine::testing
