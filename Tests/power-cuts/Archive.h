/** @file
 * An archive of the set in memory: what holds one file, the picture file of a backup.
 */
#pragma once

#include <optional>
#include <string>

#include "MemorySet.h"

namespace powercut {

constexpr const char* pictureFile = "PictureMigrationData.dat";

Bytes PackArchive(const Bytes& file);

/** @return nothing unless the archive is whole */
std::optional<Bytes> UnpackArchive(const Bytes& archive);

}  // namespace powercut
