/** @file
 * How much room the set's flash has left, for the fault "flash.PARTITION.free".
 *
 * The fault's number is the room at the moment when the set first looks after it was switched on; from then on what is
 * written takes from it and what is removed gives back. That moment's use of the partition is kept in the TV's
 * volatile directory, "flash.PARTITION.FREE", where the scripts find it too.
 */
#pragma once

#include "Shim.h"

namespace vbset::shim {

/** The partition that holds a path: "migration", "data_sync", or "root", the TV's own file system. */
const char* PartitionOf(const SetPath& path) noexcept;

/** The bytes that still fit on a partition. @return false when it has no limit */
bool RoomLeft(const char* partition, unsigned long long& bytes) noexcept;

}  // namespace vbset::shim
