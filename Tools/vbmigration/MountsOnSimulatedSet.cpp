#include <Live.h>
#include <PlatformPath.h>
#include <Set.h>

#include <cstdlib>

#include "Mounts.h"

namespace command {

namespace {

Partition Look(const char* name, const char* mountPoint)
{
    const char* tv = std::getenv("VBSET_TV");
    const char* box = std::getenv("VBSET_BOX");
    const bool mounted = tv != nullptr && box != nullptr && vbset::Set(tv, box).IsMounted(name);
    return {name, mountPoint, mounted};
}

}  // namespace

Partition MigrationPartition() { return Look("migration", "/opt/korvane_vbmg"); }

Partition DataSyncPartition()
{
    const char* mountPoint = tzplatform_mkpath(PLATFORM_PATH_MIGRATION, "migration/service");
    return Look("data_sync", mountPoint != nullptr ? mountPoint : "(no path)");
}

std::optional<std::string> WhyNotOnASet()
{
    if (vbset::live::OnSet()) {
        return std::nullopt;
    }
    return "this is not a set; run it on a simulated one: vbset run TV BOX -- vbmigration ...";
}

}  // namespace command
