// The one folder that the kit makes for itself. At the end it holds only the result.
#pragma once

#include <string>

#include "verdicts.h"

namespace larkspine::check {

class WorkFolder {
  public:
    // Below the current directory, named by the local time. Throws SystemError.
    WorkFolder();
    // Removes everything but the result.
    ~WorkFolder();
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;

    [[nodiscard]] const std::wstring& path() const { return path_; }
    [[nodiscard]] std::wstring runs() const;
    [[nodiscard]] std::wstring indexes() const;
    // The target of links on the place.
    [[nodiscard]] std::wstring elsewhere() const;
    [[nodiscard]] std::wstring image() const;
    [[nodiscard]] std::wstring zip() const;

    // Makes the zip of the table, the machine, the journal's data and the files of all runs.
    void write_result(const std::string& table, const std::string& facts,
                      const std::string& journal) const;

  private:
    std::wstring path_;  // long form
};

}  // namespace larkspine::check
