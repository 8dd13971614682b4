// What a reader of the table must know about the machine, without any personal data.
#pragma once

#include <string>

namespace larkspine::check {

// Windows version and build, or Wine's; processors; code pages; whether an administrator runs it.
[[nodiscard]] std::string system_facts();

// Wine has neither journals nor disks in files, and some calls for them terminate the caller.
[[nodiscard]] bool under_wine();

}  // namespace larkspine::check
