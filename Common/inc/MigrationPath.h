/** @file
 * Paths below the directory in which the TV keeps what it migrates.
 */
#pragma once

#include <PlatformPath.h>

#include <string>

/** @return a copy, because registered callbacks may ask the platform for a path too; without a directory, a path at
 * which nothing can be or be made, so that no data goes astray */
inline std::string MigrationPath(const char* below)
{
    const char* const path = tzplatform_mkpath(PLATFORM_PATH_MIGRATION, below);
    return path != nullptr ? path : std::string("/dev/null/") + below;
}
