#include "Here.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>

#include "HostFile.h"
#include "Layout.h"

namespace vbset {

namespace {

/** Outlives everything: the program may still log while it ends. */
struct Attached {
    std::mutex mutex;
    std::unique_ptr<const Here> owner;
    std::atomic<const Here*> here{nullptr};
};

Attached& TheAttached()
{
    static Attached& attached = *new Attached;
    return attached;
}

Counter* MapCounter(const std::filesystem::path& file)
{
    const int descriptor = open(file.c_str(), O_RDWR | O_CLOEXEC);
    if (descriptor < 0) throw Error("cannot open " + file.string());
    struct stat status {};
    const bool whole = fstat(descriptor, &status) == 0 && status.st_size >= static_cast<off_t>(sizeof(Counter));
    void* mapping =
        whole ? mmap(nullptr, sizeof(Counter), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0) : MAP_FAILED;
    close(descriptor);
    if (mapping == MAP_FAILED) throw Error("cannot map " + file.string());
    return static_cast<Counter*>(mapping);
}

void Take(Attached& attached, const std::filesystem::path& tv, const std::filesystem::path& box)
{
    auto here = std::make_unique<const Here>(tv, box);
    LoadFaults(tv);
    attached.here = here.get();
    attached.owner = std::move(here);
}

/** What the environment names, if it is on; errors are told once, the program then runs on no set. */
void AttachFromEnvironment() noexcept
{
    static std::atomic<bool> told{false};
    const char* tv = std::getenv("VBSET_TV");
    const char* box = std::getenv("VBSET_BOX");
    if (tv == nullptr || box == nullptr) return;
    try {
        Attached& attached = TheAttached();
        const std::lock_guard<std::mutex> lock(attached.mutex);
        if (attached.owner != nullptr || !IsOn(tv, box)) return;
        Take(attached, tv, box);
    } catch (const std::exception& error) {
        if (!told.exchange(true)) std::fprintf(stderr, "vbset: %s\n", error.what());
    }
}

[[gnu::constructor]] void AttachWhileLoading()
{
    AttachFromEnvironment();
}

}  // namespace

Here::Here(const std::filesystem::path& tvDirectory, const std::filesystem::path& boxDirectory)
    : tv(tvDirectory), box(boxDirectory), tvDescription(ReadTvDescription(tv / "tv.toml")),
      boxDescription(ReadBoxDescription(box / "box.toml")),
      paths(PathTable::Parse(ReadHostText(layout::Paths(tv)).value_or(""))), traceFile(layout::TraceFile(tv)),
      logFile(layout::PlatformLog(tv)), counter(MapCounter(layout::Counter(tv)))
{
}

Here::~Here()
{
    munmap(counter, sizeof(Counter));
}

const Here* Loaded() noexcept
{
    return TheAttached().here.load();
}

const Here* Current() noexcept
{
    if (Loaded() == nullptr) AttachFromEnvironment();
    return Loaded();
}

void Attach(const std::filesystem::path& tv, const std::filesystem::path& box)
{
    Attached& attached = TheAttached();
    const std::lock_guard<std::mutex> lock(attached.mutex);
    Take(attached, tv, box);
}

void Detach()
{
    Attached& attached = TheAttached();
    const std::lock_guard<std::mutex> lock(attached.mutex);
    attached.here = nullptr;
    attached.owner.reset();
    LoadFaults("");
}

bool IsInEnvironment(const std::filesystem::path& tv, const std::filesystem::path& box)
{
    const char* namedTv = std::getenv("VBSET_TV");
    const char* namedBox = std::getenv("VBSET_BOX");
    return namedTv != nullptr && namedBox != nullptr && tv == namedTv && box == namedBox;
}

bool IsOn(const std::filesystem::path& tv, const std::filesystem::path& box)
{
    return ReadHostText(layout::Joined(tv)) == box.string() && ReadHostText(layout::Joined(box)) == tv.string();
}

long long MonotonicMicroseconds() noexcept
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000000LL + now.tv_nsec / 1000;
}

}  // namespace vbset
