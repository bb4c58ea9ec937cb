#include <PlatformPath.h>
#include <mntent.h>

#include <memory>

#include "Mounts.h"

namespace command {

namespace {

bool IsMountPoint(const std::string& path)
{
    const std::unique_ptr<FILE, int (*)(FILE*)> mounts(setmntent("/proc/mounts", "r"), endmntent);
    if (!mounts) {
        return false;
    }
    while (const mntent* entry = getmntent(mounts.get())) {
        if (path == entry->mnt_dir) {
            return true;
        }
    }
    return false;
}

Partition Look(const char* name, const std::string& mountPoint) { return {name, mountPoint, IsMountPoint(mountPoint)}; }

}  // namespace

Partition MigrationPartition() { return Look("migration", "/opt/korvane_vbmg"); }

Partition DataSyncPartition()
{
    const char* mountPoint = tzplatform_mkpath(PLATFORM_PATH_MIGRATION, "migration/service");
    return Look("data_sync", mountPoint != nullptr ? mountPoint : "(no path)");
}

std::optional<std::string> WhyNotOnASet() { return std::nullopt; }

}  // namespace command
