// A zip of stored files, uncompressed: reports and indexes are small. No library is needed for it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace larkspine::check {

class ZipWriter {
  public:
    // `name` in UTF-8 with slashes. Not for more than 65,535 files or 4 GiB in all.
    void add(const std::string& name, std::string_view contents);
    // The whole archive.
    [[nodiscard]] std::string finish() const;

  private:
    std::string files_;
    std::string directory_;
    std::uint16_t count_ = 0;
};

}  // namespace larkspine::check
