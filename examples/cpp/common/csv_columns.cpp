#include "csv_columns.h"

#include "interruption.h"

#include "host/host_error.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <string_view>

namespace Harmotrack::Examples {
namespace {

using Host::HostError;

std::string_view trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// The fields of a line, without the quotes and blanks round them; a doubled quote inside quotes
// stands for one.
std::vector<std::string> splitLine(std::string_view line, char separator)
{
    std::vector<std::string> fields;
    std::string field;
    bool quoted = false;
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (quoted && c == '"' && i + 1 < line.size() && line[i + 1] == '"') {
            field += c;
            ++i;
        } else if (c == '"') {
            quoted = !quoted;
        } else if (c == separator && !quoted) {
            fields.emplace_back(trimmed(field));
            field.clear();
        } else {
            field += c;
        }
    }
    fields.emplace_back(trimmed(field));
    return fields;
}

// As a sentence shows it: in one line, and no longer than that.
std::string shown(std::string_view text)
{
    constexpr std::size_t kMost = 300;
    const bool cut = text.size() > kMost;
    std::string line(text.substr(0, kMost));
    std::replace_if(
        line.begin(),
        line.end(),
        [](char c) { return (c >= '\0' && c < ' ') || c == '\x7F'; },
        '?');
    return cut ? line + " ..." : line;
}

char separatorOf(std::string_view header)
{
    for (const char separator : {',', ';', '\t'}) {
        if (header.find(separator) != std::string_view::npos) return separator;
    }
    return ',';
}

std::size_t columnOf(const std::vector<std::string>& header, const std::string& asked)
{
    const std::string_view name = trimmed(asked);
    const auto found = std::find(header.begin(), header.end(), name);
    if (found == header.end()) {
        std::string names;
        for (const std::string& column : header) names += (names.empty() ? "" : ", ") + column;
        throw HostError("There is no column \"" + std::string(name) +
                        "\"; the columns are: " + shown(names) + ".");
    }
    if (std::find(found + 1, header.end(), name) != header.end())
        throw HostError("The column \"" + std::string(name) + "\" stands twice in the file.");
    return static_cast<std::size_t>(found - header.begin());
}

double numberOf(const std::string& field, std::size_t line, const std::string& column)
{
    double value = 0.0;
    const char* begin = field.data();
    const char* end = begin + field.size();
    if (field.size() > 1 && *begin == '+') ++begin;
    const auto [stop, error] = std::from_chars(begin, end, value);
    if (error != std::errc() || stop != end || !std::isfinite(value))
        throw HostError("Line " + std::to_string(line) + " holds " +
                        (field.empty() ? "nothing" : "\"" + shown(field) + "\"") +
                        " in the column \"" + column + "\", and a finite number is needed there.");
    return value;
}

} // namespace

std::vector<std::vector<double>> readCsvColumns(const std::filesystem::path& file,
                                                const std::vector<std::string>& names)
{
    if (!std::filesystem::exists(file)) throw HostError("There is no file " + file.string() + ".");
    std::ifstream stream(file);
    std::string line;
    if (!std::filesystem::is_regular_file(file) || !stream || !std::getline(stream, line))
        throw HostError("The file " + file.string() + " can't be read or is empty.");
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (line.starts_with(kByteOrderMark)) line.erase(0, kByteOrderMark.size());

    const char separator = separatorOf(line);
    const std::vector<std::string> header = splitLine(line, separator);
    std::vector<std::size_t> indices;
    indices.reserve(names.size());
    for (const std::string& name : names) indices.push_back(columnOf(header, name));

    std::vector<std::vector<double>> columns(names.size());
    for (std::size_t number = 2; std::getline(stream, line); ++number) {
        if (number % 4096 == 0) Interruption::check();
        if (trimmed(line).empty()) continue;
        const std::vector<std::string> fields = splitLine(line, separator);
        for (std::size_t c = 0; c < indices.size(); ++c) {
            if (indices[c] >= fields.size())
                throw HostError("Line " + std::to_string(number) + " ends before the column \"" +
                                names[c] + "\".");
            columns[c].push_back(numberOf(fields[indices[c]], number, names[c]));
        }
    }
    if (stream.bad()) throw HostError("The file " + file.string() + " can't be read to its end.");
    if (columns.empty() || columns.front().empty())
        throw HostError("The file " + file.string() + " has no rows below its header.");
    return columns;
}

} // namespace Harmotrack::Examples
