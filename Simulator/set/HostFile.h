/** @file
 * Whole files of the host: read, replaced, appended to. Results are error numbers; 0 is success.
 */
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vbset {

/** @return nothing when the file cannot be read, and then errno says why */
std::optional<std::vector<unsigned char>> ReadHostFile(const std::filesystem::path& file);
std::optional<std::string> ReadHostText(const std::filesystem::path& file);

/** Replaces a file by rename: whoever reads it finds the old contents or the new, also after a kill. */
int WriteHostFile(const std::filesystem::path& file, const std::vector<unsigned char>& bytes);
int WriteHostText(const std::filesystem::path& file, std::string_view text);

/** Appends in one write, so that the lines of several processes do not mix. */
int AppendHostText(const std::filesystem::path& file, std::string_view text);

}  // namespace vbset
