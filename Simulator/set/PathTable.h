/** @file
 * Where the paths of a set lie on the host: the one table that programs, scripts and service go by.
 */
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vbset {

class PathTable {
 public:
    /** The table of a TV joined to a box. */
    static PathTable Of(const std::filesystem::path& tv, const std::filesystem::path& box);

    /** Reads rows "PREFIX<TAB>TARGET". */
    static PathTable Parse(std::string_view text);

    std::string Text() const;

    /** As live::MapPath(). */
    bool Map(const char* path, char* out, std::size_t size) const noexcept;

 private:
    struct Row {
        std::string prefix;
        std::string target;
    };
    std::vector<Row> rows_;  // most specific first
};

/** True for the set's paths and everything below them. */
bool IsPathOfASet(const std::string& path);

}  // namespace vbset
