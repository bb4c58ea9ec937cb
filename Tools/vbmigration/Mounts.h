/** @file
 * What is mounted on the set that this process runs on.
 */
#pragma once

#include <optional>
#include <string>

namespace command {

/** A partition that the library uses. */
struct Partition {
    std::string name;
    std::string mountPoint;
    bool mounted = false;
};

Partition MigrationPartition();
Partition DataSyncPartition();

/** Why the library must not be called here; nothing when this is a set. */
std::optional<std::string> WhyNotOnASet();

}  // namespace command
