/** @file
 * Reading descriptions, beyond what Set.h offers.
 */
#pragma once

#include <filesystem>

namespace vbset {

enum class Side { Tv, Box };

/** Which side a description is of. @throw Error as ReadTvDescription() */
Side ReadSide(const std::filesystem::path& file);

}  // namespace vbset
