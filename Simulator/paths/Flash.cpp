#include "Flash.h"

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string_view>

#include "Here.h"
#include "Layout.h"
#include "Live.h"

namespace vbset::shim {

namespace {

namespace fs = std::filesystem;

constexpr struct {
    const char* mountPoint;
    const char* partition;
} mounts[] = {
    {"/opt/korvane_vbmg", "migration"},
    {"/opt/tv/migration/service", "data_sync"},
};

fs::path DirectoryOf(std::string_view partition)
{
    const Here& here = *Loaded();
    if (partition == "migration") return layout::Migration(here.box);
    return partition == "data_sync" ? layout::DataSync(here.tv) : layout::Root(here.tv);
}

/** What stands for a mount point leads to its partition, or else to the bare folder. */
bool IsMounted(const char* partition) noexcept
{
    try {
        std::error_code error;
        return fs::read_symlink(layout::Mounts(Loaded()->tv) / partition, error) == DirectoryOf(partition);
    } catch (...) {
        return false;  // no memory to look
    }
}

bool LiesBelow(const char* path, const char* directory) noexcept
{
    const std::size_t length = std::strlen(directory);
    return std::strncmp(path, directory, length) == 0 && (path[length] == '/' || path[length] == '\0');
}

long long BytesBelow(const fs::path& directory)
{
    long long sum = 0;
    std::error_code error;
    for (fs::recursive_directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code vanished;
        const bool counts = entry->symlink_status(vanished).type() == fs::file_type::regular;
        const auto size = counts ? entry->file_size(vanished) : 0;
        if (!vanished) sum += static_cast<long long>(size);
    }
    return sum;
}

long long UsedBytes(const char* partition) noexcept
{
    try {
        return BytesBelow(DirectoryOf(partition));
    } catch (...) {
        return 0;  // no memory to walk on
    }
}

}  // namespace

const char* PartitionOf(const SetPath& path) noexcept
{
    const KeepErrno keep;
    const Within within;
    char host[PATH_MAX];
    for (const auto& mount : mounts) {
        if (live::MapPath(mount.mountPoint, host, sizeof host) && LiesBelow(path.Host(), host)) {
            return IsMounted(mount.partition) ? mount.partition : "root";
        }
    }
    return "root";
}

bool RoomLeft(const char* partition, unsigned long long& bytes) noexcept
{
    const KeepErrno keep;
    const Within within;
    char key[64];
    std::snprintf(key, sizeof key, "flash.%s.free", partition);
    unsigned long long free = 0;
    if (!FaultNumber(live::Fault(key), "", free)) return false;
    char state[96];
    std::snprintf(state, sizeof state, "flash.%s.%llu", partition, free);
    const long long used = UsedBytes(partition);
    long long usedThen = 0;
    if (!ReadState(state, usedThen)) {
        usedThen = used;
        WriteState(state, used);
    }
    const long long left = usedThen + static_cast<long long>(free) - used;
    bytes = left > 0 ? static_cast<unsigned long long>(left) : 0;
    return true;
}

}  // namespace vbset::shim
