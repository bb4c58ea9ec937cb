#include <Process.h>

#include "BenchSet.h"
#include "Comparison.h"
#include "Groups.h"

namespace bench {

namespace {

constexpr double kLimit = 1.10;
constexpr const char* kProxy = "GLib: bus, proxy";
constexpr const char* kCall = "GLib: bus, proxy, call";
constexpr const char* kLibraryLoaded = "the library loaded";
constexpr const char* kEmptyLoaded = "an empty library loaded";

/** Runs a fresh process to its end. */
Operation Fresh(const std::string& program, const std::vector<std::string>& words = {})
{
    vbset::Launch launch;
    launch.program = program;
    launch.arguments = {program};
    launch.arguments.insert(launch.arguments.end(), words.begin(), words.end());
    launch.environment = vbset::Environment({});
    return [=] { return vbset::WaitFor(vbset::Start(launch)) == 0; };
}

void CompareFirstCalls(const std::filesystem::path& parent, const std::function<void()>& measure)
{
    BenchSet set(parent, "tv15", "box15");
    set.StartAnsweringService();
    Compare("first call of a process that reaches the service", kLimit)
        .Library(Fresh(FRESH_CALLER))
        .Floor(Fresh(FRESH_FLOOR, {"bus"}))
        .Beside(kProxy, Fresh(FRESH_FLOOR, {"proxy"}))
        .Instead(kCall, Fresh(FRESH_FLOOR, {"call"}))
        .Beside(kLibraryLoaded, Fresh(LOAD_LIBRARY))
        .Beside(kEmptyLoaded, Fresh(LOAD_EMPTY))
        .RestHas("GLib's proxy, which asks the bus for the service's name and properties", kProxy, "floor")
        .RestHas("GLib's call", kCall, kProxy)
        .RestHas("loading the library", kLibraryLoaded, kEmptyLoaded);
    measure();
}

/** Of both, the platform's library is loaded too. */
void CompareLoading(const std::string& machine, const std::string& library, const std::string& empty,
                    const std::function<void()>& measure)
{
    Compare("loading the library, " + machine, kLimit).Library(Fresh(library)).Floor(Fresh(empty));
    measure();
}

}  // namespace

std::vector<Group> FirstCallGroups(const Places& places)
{
    std::vector<Group> groups{
        {"first-call", [=](const auto& measure) { CompareFirstCalls(places.memory, measure); }},
        {"loading", [](const auto& measure) { CompareLoading("this machine", LOAD_LIBRARY, LOAD_EMPTY, measure); }}};
    if (!places.armhf.empty()) {
        groups.push_back({"loading-armhf", [=](const auto& measure) {
                              CompareLoading("32-bit ARM, emulated", places.armhf / "load-library",
                                             places.armhf / "load-empty", measure);
                          }});
    }
    return groups;
}

}  // namespace bench
