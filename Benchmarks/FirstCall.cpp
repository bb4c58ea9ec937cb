#include <Process.h>

#include "BenchSet.h"
#include "Comparison.h"
#include "Groups.h"

namespace bench {

namespace {

constexpr double kLimit = 1.10;

/** Runs a fresh process to its end. */
Operation Fresh(const char* program, const std::string& what)
{
    return [=] {
        vbset::Launch launch;
        launch.program = program;
        launch.arguments = {program, what};
        launch.environment = vbset::Environment({});
        if (vbset::WaitFor(vbset::Start(launch)) != 0) throw vbset::Error(std::string(program) + " failed");
    };
}

void CompareFirstCalls(const std::filesystem::path& parent, const std::function<void()>& measure)
{
    BenchSet set(parent, "tv15", "box15");
    set.StartAnsweringService();
    Compare("first call of a process that reaches the service", kLimit, "floor",
            "the rest is the proxy, which asks the bus for the name's owner, and the call itself")
        .Library(Fresh(FRESH_CALLER, "call"))
        .Floor(Fresh(FRESH_FLOOR, "bus"))
        .Instead("GLib: bus, proxy, call", Fresh(FRESH_FLOOR, "call"));
    Compare("loading the library", kLimit)
        .Library(Fresh(FRESH_CALLER, "nothing"))
        .Floor(Fresh(FRESH_FLOOR, "nothing"));
    measure();
}

}  // namespace

std::vector<Group> FirstCallGroups(const Places& places)
{
    return {{"first-call", [=](const auto& measure) { CompareFirstCalls(places.memory, measure); }}};
}

}  // namespace bench
