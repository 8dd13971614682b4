#include "zip_writer.h"

#include "base/win32_api.h"

#include <array>

namespace larkspine::check {
namespace {

std::uint32_t checksum(std::string_view bytes) {
    static const auto table = [] {
        std::array<std::uint32_t, 256> values{};
        for (std::uint32_t i = 0; i < values.size(); ++i) {
            std::uint32_t value = i;
            for (int bit = 0; bit < 8; ++bit)
                value = value >> 1 ^ ((value & 1) != 0 ? 0xEDB88320U : 0U);
            values[i] = value;
        }
        return values;
    }();
    std::uint32_t sum = 0xFFFFFFFF;
    for (const char byte : bytes)
        sum = sum >> 8 ^ table[(sum ^ static_cast<unsigned char>(byte)) & 0xFF];
    return ~sum;
}

void put16(std::string& text, std::uint64_t value) {
    text.push_back(static_cast<char>(value & 0xFF));
    text.push_back(static_cast<char>(value >> 8 & 0xFF));
}

void put32(std::string& text, std::uint64_t value) {
    put16(text, value & 0xFFFF);
    put16(text, value >> 16 & 0xFFFF);
}

// The fields that both headers of a file share: needed version, flags (the name is UTF-8), method,
// time, date, checksum, both sizes, and the lengths of name and extra field.
std::string common_fields(const std::string& name, std::string_view contents) {
    FILETIME now = {};
    FILETIME local = {};
    WORD date = 0;
    WORD time = 0;
    GetSystemTimeAsFileTime(&now);
    FileTimeToLocalFileTime(&now, &local);
    FileTimeToDosDateTime(&local, &date, &time);
    std::string fields;
    put16(fields, 20);
    put16(fields, 0x0800);
    put16(fields, 0);
    put16(fields, time);
    put16(fields, date);
    put32(fields, checksum(contents));
    put32(fields, contents.size());
    put32(fields, contents.size());
    put16(fields, name.size());
    put16(fields, 0);
    return fields;
}

}  // namespace

void ZipWriter::add(const std::string& name, std::string_view contents) {
    const std::string fields = common_fields(name, contents);
    const std::size_t at = files_.size();
    files_.append("PK\3\4").append(fields).append(name).append(contents);
    directory_.append("PK\1\2");
    put16(directory_, 20);
    directory_.append(fields);
    put16(directory_, 0);  // comment
    put16(directory_, 0);  // disk
    put16(directory_, 0);  // internal attributes
    put32(directory_, 0);  // external attributes
    put32(directory_, at);
    directory_.append(name);
    ++count_;
}

std::string ZipWriter::finish() const {
    std::string archive = files_ + directory_ + "PK\5\6";
    put32(archive, 0);  // disks
    put16(archive, count_);
    put16(archive, count_);
    put32(archive, directory_.size());
    put32(archive, files_.size());
    put16(archive, 0);
    return archive;
}

}  // namespace larkspine::check
