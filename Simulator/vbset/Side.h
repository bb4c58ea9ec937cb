/** @file
 * One side of a set as data: what it is and what it holds now.
 */
#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace vbset {

/** Describes the TV or box in a directory. What is nonvolatile stands under "holds".
 * @throw Error when there is neither a TV nor a box, or its description is bad */
nlohmann::ordered_json DescribeSide(const std::filesystem::path& directory);

/** A file or item of "holds", in a few words. */
std::string InWords(const nlohmann::ordered_json& value);

}  // namespace vbset
