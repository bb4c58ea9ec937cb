#include <link.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <set>
#include <sstream>

#include "Bus.h"
#include "Commands.h"
#include "Here.h"
#include "HostFile.h"
#include "Layout.h"
#include "PowerLoss.h"
#include "PowerSwitch.h"
#include "Process.h"
#include "Set.h"
#include "Supervise.h"

namespace vbset {
namespace {

constexpr int exitNotExecutable = 126;
constexpr int exitNotFound = 127;
constexpr int exitPowerCut = 125;

/** The address of a bus that no one can connect to: below a file that is no directory. */
constexpr const char* noBusAddress = "unix:path=/dev/null/no-bus";

/** The runtime of the sanitizer that this command was built with, when it was.
 *
 * A sanitizer's runtime must come before every other library of a process. The preloaded library comes before those
 * that the program names itself, so in a sanitizer build the runtime is preloaded too, ahead of it. */
std::string SanitizerRuntime()
{
    std::string runtime;
    const auto look = [](dl_phdr_info* object, std::size_t, void* found) {
        const std::string name = object->dlpi_name;
        if (name.find("/libasan.so") != std::string::npos || name.find("/libtsan.so") != std::string::npos) {
            *static_cast<std::string*>(found) = name;
        }
        return 0;
    };
    dl_iterate_phdr(look, &runtime);
    return runtime;
}

/** What of another program is reported as a leak is not for it to change that program's exit status. A program built
 * with the sanitizer names its runtime and is left to look for leaks. */
void LookForNoLeaksOfOthers(EnvironmentChanges& changes, const std::filesystem::path& program)
{
    const std::string runtime = SanitizerRuntime();
    const std::string name = runtime.substr(runtime.rfind('/') + 1);
    if (name.rfind("libasan.so", 0) == 0 && ReadHostText(program).value_or(name).find(name) == std::string::npos) {
        const char* const options = std::getenv("ASAN_OPTIONS");
        changes["ASAN_OPTIONS"] = (options != nullptr ? options + std::string(":") : "") + "detect_leaks=0";
    }
}

std::string Preload()
{
    const std::string own = PathsLibrary().string();
    // The dynamic linker passes over a library that it does not find, and the program would see the host's paths.
    if (!std::filesystem::is_regular_file(own)) {
        throw Error("there is no " + own);
    }
    if (own.find_first_of(" :") != std::string::npos) {
        throw Error(own + " cannot be preloaded: the path has a blank or a colon");
    }
    std::string libraries = SanitizerRuntime();
    libraries += (libraries.empty() ? "" : ":") + PreloadedPathsLibrary();
    const char* const others = std::getenv("LD_PRELOAD");
    return others != nullptr && *others != '\0' ? libraries + ":" + others : libraries;
}

std::string Joined(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

Launch PlanLaunch(const RunOptions& options, const std::filesystem::path& program, const std::string& preload,
                  const Set& set)
{
    EnvironmentChanges changes = {{"LD_PRELOAD", preload}, {"VBSET_REAL_TIME", std::nullopt}};
    if (options.realTime) {
        changes["VBSET_REAL_TIME"] = "1";
    }
    if (options.noBus) {
        changes["DBUS_SYSTEM_BUS_ADDRESS"] = noBusAddress;
    }
    LookForNoLeaksOfOthers(changes, program);
    Launch launch;
    launch.program = program;
    launch.arguments = options.program;
    launch.environment = Environment(changes);
    launch.directory = layout::WorkingDirectory(set.TvDirectory());
    launch.endsWithParent = true;
    return launch;
}

/** The last line of the trace: what the program did before it hung. */
std::string LastInteraction(const Set& set)
{
    std::string trace = ReadHostText(layout::TraceFile(set.TvDirectory())).value_or("");
    if (!trace.empty() && trace.back() == '\n') {
        trace.pop_back();
    }
    return trace.substr(trace.rfind('\n') + 1);
}

/** Tells the processes of the run where the power goes away. */
void AnnounceCut(const RunOptions& options, const Set& set)
{
    unsetenv(power::cutVariable);
    if (options.cut) {
        KeepDurable(set);
        const std::string whom = std::to_string(getpid()) + " " + std::to_string(PowerCutSignal());
        setenv(power::cutVariable, Text(*options.cut).c_str(), 1);
        setenv(power::switchVariable, whom.c_str(), 1);
    }
}

/** Leaves the set as the cut leaves it. */
int EndAtCut(const PowerCut& cut, Set& set)
{
    LosePower(set, cut.unsynced);
    std::fprintf(stderr, "vbset: the power went away at %s; the set is off\n", Text(cut).c_str());
    return exitPowerCut;
}

/** Says which faults of the command line nothing has asked for: mistyped ones do not show otherwise. */
void TellFaultsNeverMet(const RunOptions& options, const Set& set)
{
    std::set<std::string> met;
    std::istringstream lines(ReadHostText(layout::FaultsMet(set.TvDirectory())).value_or(""));
    for (std::string key; std::getline(lines, key);) {
        met.insert(key);
    }
    for (const auto& [key, value] : options.faults) {
        if (met.count(key) == 0) {
            std::fprintf(stderr, "vbset: the fault %s=%s was never met: nothing in this run asked for it\n",
                         key.c_str(), value.c_str());
        }
    }
}

int RunOnSet(const RunOptions& options, const std::filesystem::path& program, const std::string& preload, Set& set)
{
    const bool isCutFirst = options.cut && options.cut->when == PowerCut::When::Before && options.cut->interaction == 1;
    if (isCutFirst) {
        return EndAtCut(*options.cut, set);
    }
    Supervisor supervisor;
    AnnounceCut(options, set);
    std::optional<Bus> bus;
    if (!options.noBus) {
        bus.emplace(set);
    }
    const pid_t process = Start(PlanLaunch(options, program, preload, set));
    const int status = supervisor.Wait(process, options.timeout, [&] {
        std::fprintf(stderr, "vbset: %s did not end within %g s and is ended; last in the trace: %s\n",
                     options.program.front().c_str(), options.timeout, LastInteraction(set).c_str());
    });
    bus.reset();
    supervisor.EndOrphans();
    TellFaultsNeverMet(options, set);
    if (supervisor.PowerWentAway()) {
        return EndAtCut(*options.cut, set);
    }
    if (options.cut) {
        std::fprintf(stderr, "vbset: the run ended before it came to %s\n", Text(*options.cut).c_str());
    }
    return status;
}

/** Refuses a side that is on with another one: to switch it off without a word would be a power cut to that set.
 * @throw Error */
void RefuseWhatIsOnElsewhere(const Set& set)
{
    const auto refuse = [](const std::filesystem::path& side, const std::filesystem::path& tv,
                           const std::filesystem::path& box) {
        if (IsOn(tv, box)) {
            throw Error(side.string() + " is on with another side; switch that set off first: vbset off " +
                        tv.string() + " " + box.string());
        }
    };
    if (set.IsOn()) {
        return;
    }
    const std::filesystem::path& tv = set.TvDirectory();
    const std::filesystem::path& box = set.BoxDirectory();
    refuse(tv, tv, ReadHostText(layout::Joined(tv)).value_or(""));
    refuse(box, ReadHostText(layout::Joined(box)).value_or(""), box);
}

/** Refuses a side of which something is missing that is never removed: programs would fail for reasons that no set has.
 * @throw Error */
void RefuseWhatIsDamaged(const Set& set)
{
    const std::filesystem::path& tv = set.TvDirectory();
    const std::filesystem::path& box = set.BoxDirectory();
    for (const auto& needed : {layout::Eeprom(tv), layout::Root(tv), layout::WorkingDirectory(tv), layout::Factory(box),
                               layout::MacBlock(box)}) {
        if (!std::filesystem::exists(needed)) {
            throw Error("the set is damaged: there is no " + needed.string());
        }
    }
    for (const auto& needed : {layout::Paths(tv), layout::Counter(tv), layout::Mounts(tv), layout::Faults(tv)}) {
        if (set.IsOn() && !std::filesystem::exists(needed)) {
            throw Error("what is volatile of the set is damaged: there is no " + needed.string() +
                        "; switch it off and on again: vbset off " + tv.string() + " " + box.string());
        }
    }
}

}  // namespace

int Run(const RunOptions& options)
{
    Set set(options.tv, options.box);
    for (const auto& [key, value] : options.faults) {
        CheckFault(key, value);
    }
    const auto program = FindProgram(options.program.front());
    if (!program) {
        std::fprintf(stderr, "vbset: %s: no such program\n", options.program.front().c_str());
        return exitNotFound;
    }
    if (access(program->c_str(), X_OK) != 0) {
        std::fprintf(stderr, "vbset: %s: %s\n", options.program.front().c_str(), std::strerror(errno));
        return exitNotExecutable;
    }
    const std::string preload = Preload();
    set.Lock();
    RefuseWhatIsOnElsewhere(set);
    RefuseWhatIsDamaged(set);
    set.PowerOn();
    std::filesystem::remove(layout::FaultsMet(set.TvDirectory()));
    set.SetFaults(options.faults);
    set.BeginRun(Joined(options.program));
    set.Enter();
    const int status = RunOnSet(options, *program, preload, set);
    if (set.IsOn()) {
        set.SetFaults({});  // those of this run end with it
    }
    return status;
}

int Off(const std::filesystem::path& tv, const std::filesystem::path& box)
{
    Set set(tv, box);
    set.Lock();
    RefuseWhatIsOnElsewhere(set);
    set.PowerOff();
    return exitDone;
}

}  // namespace vbset
