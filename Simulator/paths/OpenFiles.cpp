#include "OpenFiles.h"

#include <cstring>

#include "BoardDevices.h"
#include "Flash.h"
#include "Live.h"

namespace vbset::shim {

namespace {

constexpr int capacity = 1024;
OpenFile openFiles[capacity];

constexpr struct {
    const char* path;
    Kind kind;
} devices[] = {
    {RAW_MAC_BKUP_PATH, Kind::Block},
    {SYSTEM_DEVICE_PATH, Kind::System},
    {TUNER_FRONTEND_PATH, Kind::Frontend},
};

}  // namespace

Kind KindOf(const SetPath& path) noexcept
{
    // By where the path leads, since a program may write it in more than one way.
    char host[PATH_MAX];
    for (const auto& device : devices) {
        if (live::MapPath(device.path, host, sizeof host) && std::strcmp(host, path.Host()) == 0) return device.kind;
    }
    return Kind::File;
}

OpenFile* FindOpenFile(int descriptor) noexcept
{
    if (descriptor < 0 || descriptor >= capacity) return nullptr;
    OpenFile& file = openFiles[descriptor];
    if (file.kind.load(std::memory_order_acquire) == Kind::NotOfSet || Within::Already()) return nullptr;
    return &file;
}

bool RememberOpenFile(int descriptor, Kind kind, const SetPath& path) noexcept
{
    if (descriptor >= capacity) {
        errno = EMFILE;
        return false;
    }
    OpenFile& file = openFiles[descriptor];
    const std::size_t length = std::strlen(path.Named());
    if (length >= sizeof file.path) {
        errno = ENAMETOOLONG;
        return false;
    }
    // Whoever had this number before has let go of the entry: his last use of it comes before ours.
    file.kind.load(std::memory_order_acquire);
    std::memcpy(file.path, path.Named(), length + 1);
    file.written.store(0, std::memory_order_relaxed);
    file.partition = kind == Kind::File ? PartitionOf(path) : nullptr;
    file.kind.store(kind, std::memory_order_release);
    return true;
}

void ForgetOpenFile(OpenFile& file) noexcept
{
    file.kind.store(Kind::NotOfSet, std::memory_order_release);
}

}  // namespace vbset::shim
