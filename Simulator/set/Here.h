/** @file
 * The set that this process runs on.
 */
#pragma once

#include <atomic>
#include <cerrno>
#include <filesystem>

#include "PathTable.h"
#include "Set.h"

namespace vbset {

/** Numbers interactions; shared by all processes on the set. */
struct Counter {
    std::atomic<unsigned long long> last;
    std::atomic<long long> began;  ///< microseconds of the monotonic clock
};
static_assert(std::atomic<unsigned long long>::is_always_lock_free && std::atomic<long long>::is_always_lock_free);

/** What a process knows of its set; made once, then only read. */
struct Here {
    Here(const std::filesystem::path& tvDirectory, const std::filesystem::path& boxDirectory);
    ~Here();
    Here(const Here&) = delete;
    Here& operator=(const Here&) = delete;

    std::filesystem::path tv;
    std::filesystem::path box;
    TvDescription tvDescription;
    BoxDescription boxDescription;
    PathTable paths;
    std::filesystem::path traceFile;
    std::filesystem::path logFile;
    Counter* counter = nullptr;  ///< mapped from the set's file
};

/** The set of this process, null when it runs on none. */
const Here* Current() noexcept;

/** The same, without looking for one that has been switched on since: does no more than read a pointer. */
const Here* Loaded() noexcept;

/** Puts this process on a set, which must be on; no other thread may be inside the simulator meanwhile. */
void Attach(const std::filesystem::path& tv, const std::filesystem::path& box);

/** Takes this process off its set. */
void Detach();

/** The two sides are the ones that the environment of this process names. */
bool IsInEnvironment(const std::filesystem::path& tv, const std::filesystem::path& box);

/** Both sides are on, joined to each other. */
bool IsOn(const std::filesystem::path& tv, const std::filesystem::path& box);

/** Reads the faults that are on; @p tv is the directory of the TV, empty for none. */
void LoadFaults(const std::filesystem::path& tv);

/** Microseconds of the monotonic clock. */
long long MonotonicMicroseconds() noexcept;

/** Leaves errno as it was: what the simulator does on the side must not show in the program that it watches. */
class ErrnoKeeper {
 public:
    ErrnoKeeper() noexcept : kept_(errno) {}
    ~ErrnoKeeper() { errno = kept_; }
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

 private:
    int kept_;
};

}  // namespace vbset
