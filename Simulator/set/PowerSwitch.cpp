#include "PowerSwitch.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>
#include <string>

#include "Here.h"
#include "Layout.h"
#include "PowerCut.h"
#include "Set.h"

namespace vbset::power {

namespace {

namespace fs = std::filesystem;
using When = PowerCut::When;

std::optional<PowerCut> CutOfThisRun() noexcept
{
    try {
        const char* const text = std::getenv(cutVariable);
        return text == nullptr ? std::nullopt : std::optional(ParsePowerCut(text));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

/** Null in a run without a cut. */
const PowerCut* Cut() noexcept
{
    static const std::optional<PowerCut> cut = CutOfThisRun();
    return cut ? &*cut : nullptr;
}

unsigned long LastInteraction() noexcept
{
    const Here* const here = Current();
    return here == nullptr ? 0 : static_cast<unsigned long>(here->counter->last);
}

/** The cut, when it is one of this kind in the interaction that is going on. */
const PowerCut* CutGoingOn(When when) noexcept
{
    const PowerCut* const cut = Cut();
    return cut != nullptr && cut->when == when && cut->interaction == LastInteraction() + 1 ? cut : nullptr;
}

}  // namespace

void Over(unsigned long number) noexcept
{
    const PowerCut* const cut = Cut();
    if (cut == nullptr || cut->when == When::Step) return;
    if (number == (cut->when == When::Before ? cut->interaction - 1 : cut->interaction)) GoAway();
}

std::size_t BytesBeforeCut() noexcept
{
    const PowerCut* const cut = CutGoingOn(When::Bytes);
    return cut == nullptr ? std::numeric_limits<std::size_t>::max() : cut->amount;
}

bool GoesAwayAtStep() noexcept
{
    static unsigned long steps = 0;
    const PowerCut* const cut = CutGoingOn(When::Step);
    return cut != nullptr && ++steps == cut->amount;
}

void GoAway() noexcept
{
    const char* const told = std::getenv(switchVariable);
    int process = 0;
    int signal = 0;
    if (told == nullptr || std::sscanf(told, "%d %d", &process, &signal) != 2) std::abort();
    kill(process, signal);
    for (;;) pause();
}

void Synced(const fs::path& file) noexcept
{
    if (Cut() == nullptr || Current() == nullptr) return;
    const ErrnoKeeper keeper;
    try {
        const fs::path durable = layout::Durable(Current()->tv);
        for (const fs::path& side : {Current()->tv, Current()->box}) {
            const fs::path name = file.lexically_relative(side / "nonvolatile");
            if (name.empty() || *name.begin() == ".." || !fs::exists(durable / *name.begin())) continue;
            std::error_code missing;
            fs::remove(durable / name, missing);
            if (!fs::exists(file)) continue;
            fs::create_directories((durable / name).parent_path());
            fs::copy_file(file, durable / name);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vbset: %s\n", error.what());
        std::abort();  // what a cut leaves would not be known any more
    }
}

void Synced(int descriptor) noexcept
{
    if (Cut() == nullptr) return;
    char link[32];
    char file[4096];
    std::snprintf(link, sizeof link, "/proc/self/fd/%d", descriptor);
    const ssize_t length = readlink(link, file, sizeof file - 1);
    if (length <= 0) return;
    file[length] = '\0';
    Synced(fs::path(file));
}

}  // namespace vbset::power
