// Finds the place that the options name, and finally removes everything that was put there.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "kit_options.h"
#include "real_place.h"
#include "work_folder.h"

namespace larkspine::check {

class ChosenPlace {
  public:
    ChosenPlace() = default;
    virtual ~ChosenPlace() = default;
    ChosenPlace(const ChosenPlace&) = delete;
    ChosenPlace& operator=(const ChosenPlace&) = delete;

    // As the program receives it.
    [[nodiscard]] virtual std::wstring root() const = 0;
    // Mounts another volume in a folder; empty when there is none.
    [[nodiscard]] virtual std::function<void(const std::wstring&)> mount() { return {}; }
    // Gives a volume a journal.
    virtual void prepare(RealPlace& place) = 0;
};

// Describes what the kit is about to do, for the person who must agree.
[[nodiscard]] std::string description_of(const KitOptions& options);

// Throws std::runtime_error: no rights, a drive or folder that is not empty, a drive without NTFS.
[[nodiscard]] std::unique_ptr<ChosenPlace> choose_place(const KitOptions& options,
                                                        const WorkFolder& work);

}  // namespace larkspine::check
