/** @file
 * Where things lie in the directories of a TV and a box.
 */
#pragma once

#include <filesystem>
#include <string>

#include "Text.h"

namespace vbset::layout {

using Path = std::filesystem::path;

inline Path Eeprom(const Path& tv) { return tv / "nonvolatile/eeprom"; }
inline Path EepromItem(const Path& tv, unsigned int item) { return Eeprom(tv) / ItemName(item); }
inline Path MigratedMac(const Path& tv) { return Eeprom(tv) / "migrated_mac"; }
inline Path DataSync(const Path& tv) { return tv / "nonvolatile/data_sync"; }
inline Path Root(const Path& tv) { return tv / "nonvolatile/root"; }
inline Path WorkingDirectory(const Path& tv) { return tv / "nonvolatile/work"; }
inline Path TraceFile(const Path& tv) { return tv / "trace.jsonl"; }
inline Path PlatformLog(const Path& tv) { return tv / "platform.log"; }

inline Path Factory(const Path& box) { return box / "nonvolatile/factory"; }
inline Path Migration(const Path& box) { return box / "nonvolatile/migration"; }
inline Path MacBlock(const Path& box) { return box / "nonvolatile/mac"; }
inline Path BootPartition(const Path& box) { return box / "nonvolatile/boot_partition"; }

inline Path Volatile(const Path& side) { return side / "volatile"; }
inline Path Joined(const Path& side) { return Volatile(side) / "joined"; }
inline Path Paths(const Path& tv) { return Volatile(tv) / "paths"; }
inline Path Faults(const Path& tv) { return Volatile(tv) / "faults"; }
/** The keys of the faults that were on when something asked for them, a line each. */
inline Path FaultsMet(const Path& tv) { return Volatile(tv) / "faults_met"; }
inline Path Counter(const Path& tv) { return Volatile(tv) / "counter"; }
inline Path Mounts(const Path& tv) { return Volatile(tv) / "mnt"; }
inline Path Devices(const Path& tv) { return Volatile(tv) / "dev"; }
inline Path Gpio(const Path& tv) { return Volatile(tv) / "gpio"; }
inline Path Durable(const Path& tv) { return Volatile(tv) / "durable"; }

// The bare folders that are seen at the mount points while nothing is mounted there.
inline Path BareMigration(const Path& tv) { return Root(tv) / "opt/korvane_vbmg"; }
inline Path BareDataSync(const Path& tv) { return Root(tv) / "opt/tv/migration/service"; }

}  // namespace vbset::layout
