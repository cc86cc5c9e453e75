#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace Harmotrack::Tests {

/// A folder of a test's own, removed with everything in it at the end.
class ScratchFolder {
public:
    ScratchFolder()
    {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "harmotrack.XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no folder");
        path_ = pattern;
    }

    ~ScratchFolder()
    {
        std::error_code ignored;
        std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ignored);
        std::filesystem::remove_all(path_, ignored);
    }

    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    [[nodiscard]] std::string operator/(const std::string& name) const
    {
        return (path_ / name).string();
    }

    /// Names of what stands in it, hidden files too, in order.
    [[nodiscard]] std::vector<std::string> names() const
    {
        std::vector<std::string> result;
        for (const auto& entry : std::filesystem::directory_iterator(path_))
            result.push_back(entry.path().filename().string());
        std::sort(result.begin(), result.end());
        return result;
    }

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

inline std::string contentOf(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

inline void store(const std::string& file, const std::string& content)
{
    std::filesystem::remove(file); // some file systems write through what replaces content
    std::ofstream(file, std::ios::binary) << content;
}

/// Lines of a table, each split at its commas.
inline std::vector<std::vector<std::string>> rowsOf(const std::string& file)
{
    std::vector<std::vector<std::string>> rows;
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        std::vector<std::string> fields;
        std::istringstream text(line);
        for (std::string field; std::getline(text, field, ',');) fields.push_back(field);
        rows.push_back(fields);
    }
    return rows;
}

} // namespace Harmotrack::Tests
