/** @file
 * The functions that take a path: the set's paths lead to its directories, all others pass.
 *
 * C++ streams open through fopen64, C programs through open or fopen, programs with 64-bit file offsets through the
 * functions whose names end in 64, and those with 64-bit times on a 32-bit machine in _time64. The stream functions of
 * the C library do not come through here again: a stream of the set is made from a descriptor of the set.
 */
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "Flash.h"
#include "OpenFiles.h"
#include "Shim.h"

namespace vbset::shim {
namespace {

/** Calls a function on a path's place on the host, and traces it when the path is the set's. */
template <typename Function, typename... Rest>
auto OnPath(const char* call, Function next, const char* named, Rest... rest) noexcept
{
    using Result = decltype(next(named, rest...));
    const SetPath path(named);
    if (!path) return next(named, rest...);
    Result result{};
    if constexpr (std::is_pointer_v<Result>) {
        if (!path.IsRefused()) result = next(path.Host(), rest...);
        RecordResult("file", call, named, result == nullptr ? -1 : 0);
    } else {
        result = path.IsRefused() ? -1 : next(path.Host(), rest...);
        RecordResult("file", call, named, result);
    }
    return result;
}

/** The same for functions that take a directory first: it is of no account for an absolute path. */
template <typename Function, typename... Rest>
int OnPathAt(const char* call, Function next, int directory, const char* named, Rest... rest) noexcept
{
    return OnPath(
        call, [=](const char* path, Rest... more) { return next(directory, path, more...); }, named, rest...);
}

bool CreatesFile(int flags) { return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE; }

void RecordOpen(const char* call, const char* path, int flags, int descriptor) noexcept
{
    const char* access = (flags & O_ACCMODE) == O_RDONLY ? " O_RDONLY" : (flags & O_ACCMODE) == O_WRONLY ? " O_WRONLY"
                                                                                                         : " O_RDWR";
    Text args;
    args.Add(path).Add(access);
    if ((flags & O_CREAT) != 0) args.Add("|O_CREAT");
    if ((flags & O_EXCL) != 0) args.Add("|O_EXCL");
    if ((flags & O_TRUNC) != 0) args.Add("|O_TRUNC");
    if ((flags & O_APPEND) != 0) args.Add("|O_APPEND");
    RecordResult("file", call, args.Get(), descriptor < 0 ? -1 : 0);
}

/** Opens a path of the set and remembers its descriptor. */
int OpenOnSet(const char* call, const SetPath& path, int flags, mode_t mode) noexcept
{
    int descriptor = -1;
    if (!path.IsRefused()) {
        const Kind kind = KindOf(path);
        unsigned long long room = 0;
        // The room is first looked at before O_TRUNC gives some back.
        if (kind == Kind::File && (flags & O_ACCMODE) != O_RDONLY) RoomLeft(PartitionOf(path), room);
        // A device neither comes into being nor gets shorter by being opened.
        const int effective = kind == Kind::File ? flags : flags & ~(O_CREAT | O_EXCL | O_TRUNC);
        descriptor = VBSET_NEXT(open)(path.Host(), effective | O_LARGEFILE, mode);
        if (descriptor >= 0 && !RememberOpenFile(descriptor, kind, path)) {
            const KeepErrno keep;
            VBSET_NEXT(close)(descriptor);
            descriptor = -1;
        }
    }
    RecordOpen(call, path.Named(), flags, descriptor);
    return descriptor;
}

template <typename Function>
int Open(const char* call, Function next, const char* named, int flags, mode_t mode) noexcept
{
    const SetPath path(named);
    return path ? OpenOnSet(call, path, flags, mode) : next(named, flags, mode);
}

template <typename Function>
int OpenAt(Function next, int directory, const char* named, int flags, mode_t mode) noexcept
{
    const SetPath path(named);
    return path ? OpenOnSet("open", path, flags, mode) : next(directory, named, flags, mode);
}

/** What a stream's mode means to open(). @return false when it is no mode */
bool FlagsOfMode(const char* mode, int& flags) noexcept
{
    const int access = std::strchr(mode, '+') != nullptr ? O_RDWR : mode[0] == 'r' ? O_RDONLY : O_WRONLY;
    switch (mode[0]) {
        case 'r':
            flags = access;
            break;
        case 'w':
            flags = access | O_CREAT | O_TRUNC;
            break;
        case 'a':
            flags = access | O_CREAT | O_APPEND;
            break;
        default:
            return false;
    }
    if (std::strchr(mode, 'x') != nullptr) flags |= O_EXCL;
    if (std::strchr(mode, 'e') != nullptr) flags |= O_CLOEXEC;
    return true;
}

template <typename Function>
FILE* OpenStream(Function next, const char* named, const char* mode) noexcept
{
    const SetPath path(named);
    if (!path) return next(named, mode);
    int flags = 0;
    if (!FlagsOfMode(mode, flags)) {
        errno = EINVAL;
        return nullptr;
    }
    const int descriptor = OpenOnSet("fopen", path, flags, 0666);
    if (descriptor < 0) return nullptr;
    FILE* stream = fdopen(descriptor, mode);
    if (stream == nullptr) {
        const KeepErrno keep;
        OpenFile* file = FindOpenFile(descriptor);
        if (file != nullptr) ForgetOpenFile(*file);
        VBSET_NEXT(close)(descriptor);
    }
    return stream;
}

}  // namespace
}  // namespace vbset::shim

namespace shim = vbset::shim;

#define OPENER(name)                                                                         \
    VBSET_INTERPOSED int name(const char* path, int flags, ...)                              \
    {                                                                                        \
        va_list list;                                                                        \
        va_start(list, flags);                                                               \
        const mode_t mode = shim::CreatesFile(flags) ? va_arg(list, mode_t) : 0;             \
        va_end(list);                                                                        \
        return shim::Open("open", VBSET_NEXT(name), path, flags, mode);                      \
    }
OPENER(open)
OPENER(open64)
#undef OPENER

#define OPENER_AT(name)                                                                      \
    VBSET_INTERPOSED int name(int directory, const char* path, int flags, ...)               \
    {                                                                                        \
        va_list list;                                                                        \
        va_start(list, flags);                                                               \
        const mode_t mode = shim::CreatesFile(flags) ? va_arg(list, mode_t) : 0;             \
        va_end(list);                                                                        \
        return shim::OpenAt(VBSET_NEXT(name), directory, path, flags, mode);                 \
    }
OPENER_AT(openat)
OPENER_AT(openat64)
#undef OPENER_AT

// What open() becomes with _FORTIFY_SOURCE when the flags are no constant.
extern "C" int __open_2(const char* path, int flags);
extern "C" int __open64_2(const char* path, int flags);

VBSET_INTERPOSED int __open_2(const char* path, int flags)
{
    const auto next = VBSET_NEXT(__open_2);
    return shim::Open("open", [=](const char* p, int f, mode_t) { return next(p, f); }, path, flags, 0);
}

VBSET_INTERPOSED int __open64_2(const char* path, int flags)
{
    const auto next = VBSET_NEXT(__open64_2);
    return shim::Open("open", [=](const char* p, int f, mode_t) { return next(p, f); }, path, flags, 0);
}

VBSET_INTERPOSED int creat(const char* path, mode_t mode)
{
    const auto next = VBSET_NEXT(creat);
    return shim::Open(
        "creat", [=](const char* p, int, mode_t m) { return next(p, m); }, path, O_WRONLY | O_CREAT | O_TRUNC, mode);
}

VBSET_INTERPOSED int creat64(const char* path, mode_t mode)
{
    const auto next = VBSET_NEXT(creat64);
    return shim::Open(
        "creat", [=](const char* p, int, mode_t m) { return next(p, m); }, path, O_WRONLY | O_CREAT | O_TRUNC, mode);
}

VBSET_INTERPOSED FILE* fopen(const char* path, const char* mode)
{
    return shim::OpenStream(VBSET_NEXT(fopen), path, mode);
}

VBSET_INTERPOSED FILE* fopen64(const char* path, const char* mode)
{
    return shim::OpenStream(VBSET_NEXT(fopen64), path, mode);
}

VBSET_INTERPOSED DIR* opendir(const char* path)
{
    return shim::OnPath("opendir", VBSET_NEXT(opendir), path);
}

// What libstdc++ and coreutils call to look at files, make and remove them, beside what the C headers make of stat().
#define ON_PATH(name, traced, type)                                                          \
    VBSET_INTERPOSED int name(const char* path, type argument) noexcept                      \
    {                                                                                        \
        return shim::OnPath(traced, VBSET_NEXT(name), path, argument);                       \
    }
ON_PATH(stat, "stat", struct stat*)
ON_PATH(stat64, "stat", struct stat64*)
ON_PATH(lstat, "lstat", struct stat*)
ON_PATH(lstat64, "lstat", struct stat64*)
ON_PATH(access, "access", int)
ON_PATH(mkdir, "mkdir", mode_t)
ON_PATH(chmod, "chmod", mode_t)
ON_PATH(truncate, "truncate", off_t)
ON_PATH(truncate64, "truncate", off64_t)
#undef ON_PATH

#define ON_PATH_ALONE(name)                                                                  \
    VBSET_INTERPOSED int name(const char* path) noexcept { return shim::OnPath(#name, VBSET_NEXT(name), path); }
ON_PATH_ALONE(unlink)
ON_PATH_ALONE(rmdir)
ON_PATH_ALONE(remove)
#undef ON_PATH_ALONE

VBSET_INTERPOSED int fstatat(int directory, const char* path, struct stat* status, int flags) noexcept
{
    return shim::OnPathAt("stat", VBSET_NEXT(fstatat), directory, path, status, flags);
}

VBSET_INTERPOSED int fstatat64(int directory, const char* path, struct stat64* status, int flags) noexcept
{
    return shim::OnPathAt("stat", VBSET_NEXT(fstatat64), directory, path, status, flags);
}

VBSET_INTERPOSED int statx(int directory, const char* path, int flags, unsigned int mask, struct statx* status) noexcept
{
    return shim::OnPathAt("stat", VBSET_NEXT(statx), directory, path, flags, mask, status);
}

VBSET_INTERPOSED int faccessat(int directory, const char* path, int mode, int flags) noexcept
{
    return shim::OnPathAt("access", VBSET_NEXT(faccessat), directory, path, mode, flags);
}

VBSET_INTERPOSED int unlinkat(int directory, const char* path, int flags) noexcept
{
    return shim::OnPathAt("unlink", VBSET_NEXT(unlinkat), directory, path, flags);
}

VBSET_INTERPOSED int rename(const char* from, const char* to) noexcept
{
    const shim::SetPath source(from);
    const shim::SetPath target(to);
    if (!source && !target) return VBSET_NEXT(rename)(from, to);
    const bool refused = (source && source.IsRefused()) || (target && target.IsRefused());
    const int result =
        refused ? -1 : VBSET_NEXT(rename)(source ? source.Host() : from, target ? target.Host() : to);
    shim::Text args;
    shim::RecordResult("file", "rename", args.Add(from).Add(" ").Add(to).Get(), result);
    return result;
}

// Programs that were linked with a C library older than 2.33 call these for stat() and lstat().
#define OLD_STAT(name, traced)                                                               \
    extern "C" int name(int version, const char* path, void* status) noexcept;               \
    VBSET_INTERPOSED int name(int version, const char* path, void* status) noexcept          \
    {                                                                                        \
        return shim::OnPathAt(traced, VBSET_NEXT(name), version, path, status);              \
    }
OLD_STAT(__xstat, "stat")
OLD_STAT(__xstat64, "stat")
OLD_STAT(__lxstat, "lstat")
OLD_STAT(__lxstat64, "lstat")
#undef OLD_STAT

#if __TIMESIZE == 32
#define STAT_TIME64(name, traced)                                                            \
    extern "C" int name(const char* path, void* status) noexcept;                            \
    VBSET_INTERPOSED int name(const char* path, void* status) noexcept                       \
    {                                                                                        \
        return shim::OnPath(traced, VBSET_NEXT(name), path, status);                         \
    }
STAT_TIME64(__stat64_time64, "stat")
STAT_TIME64(__lstat64_time64, "lstat")
#undef STAT_TIME64

extern "C" int __fstatat64_time64(int directory, const char* path, void* status, int flags) noexcept;
VBSET_INTERPOSED int __fstatat64_time64(int directory, const char* path, void* status, int flags) noexcept
{
    return shim::OnPathAt("stat", VBSET_NEXT(__fstatat64_time64), directory, path, status, flags);
}
#endif
