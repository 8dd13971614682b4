// The rows of the report, read back by an independent reader: fields between semicolons, records
// between line ends, quoted fields with doubled quotes. Rows of any bytes must be read back field
// by field.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "expect.h"
#include "report/csv_row.h"

namespace {

using namespace larkspine;
using fuzz::expect;

struct Field {
    std::string text;
    bool quoted = false;
};

// Strict: a double quote stands only around a quoted field, or doubled in it, and every record ends
// with a line end.
class CsvReader {
  public:
    explicit CsvReader(const std::string& text) : text_(text) {}

    std::vector<std::vector<Field>> records() {
        std::vector<std::vector<Field>> all;
        while (at_ < text_.size()) {
            all.emplace_back();
            do
                all.back().push_back(field());
            while (take(";"));
            expect(take("\r\n"), "a record ends with a line end");
        }
        return all;
    }

  private:
    bool take(const std::string& token) {
        if (text_.compare(at_, token.size(), token) != 0)
            return false;
        at_ += token.size();
        return true;
    }
    Field field() {
        Field result;
        result.quoted = take("\"");
        for (; at_ < text_.size(); ++at_) {
            const char unit = text_[at_];
            if (result.quoted && unit == '"') {
                ++at_;
                if (at_ == text_.size() || text_[at_] != '"')
                    return result;
            } else if (!result.quoted) {
                if (unit == ';' || unit == '\r')
                    return result;
                expect(unit != '"' && unit != '\n', "a bare field has neither quote nor line end");
            }
            result.text.push_back(text_[at_]);
        }
        expect(!result.quoted, "a quoted field is closed");
        return result;
    }

    const std::string& text_;
    std::size_t at_ = 0;
};

// Rows out of the input: 18 bytes of numbers, flag and length, then the path.
class RowsOfInput {
  public:
    RowsOfInput(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

    [[nodiscard]] bool empty() const { return rest_.empty(); }
    std::uint64_t number() {
        std::uint64_t value = 0;
        for (int i = 0; i < 8; ++i)
            value = value << 8 | byte();
        return value;
    }
    std::uint8_t byte() {
        if (rest_.empty())
            return 0;
        const std::uint8_t value = rest_[0];
        rest_ = rest_.subspan(1);
        return value;
    }
    std::string text() {
        std::string value;
        for (std::size_t left = byte(); left > 0 && !rest_.empty(); --left)
            value.push_back(static_cast<char>(byte()));
        return value;
    }

  private:
    std::span<const std::uint8_t> rest_;
};

void append_field(std::string& text, const std::string& path) {
    text.push_back('"');
    const std::size_t start = text.size();
    text.append(path);
    double_quotes(text, start);
    text.push_back('"');
}

void check_field(const std::string& path) {
    std::string written;
    append_field(written, path);
    std::size_t quotes = 0;
    for (const char unit : path)
        quotes += unit == '"' ? 1 : 0;
    expect(written.size() == path.size() + quotes + 2, "nothing but quotes is added");
    const auto read = CsvReader(written + "\r\n").records();
    expect(read.size() == 1 && read[0].size() == 1, "a field reads back as one field");
    expect(read[0][0].quoted && read[0][0].text == path, "a field reads back as its text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string written;
    CsvRowFrame frame;
    std::vector<std::vector<std::string>> expected;
    for (RowsOfInput input(data, size); !input.empty();) {
        const std::uint64_t group = input.number();
        const bool original = input.byte() % 2 == 1;
        const std::uint64_t size_of_file = input.number();
        const std::string path = input.text();
        check_field(path);
        frame.begin_group(group);
        frame.append_start(written, original);
        append_field(written, path);
        frame.append_end(written, size_of_file);
        expected.push_back({std::to_string(group), original ? "Original" : "Doublon", path,
                            std::to_string(size_of_file)});
    }
    const auto read = CsvReader(written).records();
    expect(read.size() == expected.size(), "every row is one record");
    for (std::size_t i = 0; i < read.size(); ++i) {
        expect(read[i].size() == 4, "a row has four fields");
        for (std::size_t field = 0; field < 4; ++field) {
            expect(read[i][field].text == expected[i][field],
                   "a field reads back as it was written");
            expect(read[i][field].quoted == (field == 2), "only the path is quoted");
        }
    }
    return 0;
}
