/** power-cut-sweep: cuts the power of a set in memory at every place of every flow, and looks at what is left. */
#include <Set.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "Sweep.h"
#include "Table.h"

namespace {

using namespace std::string_literals;

constexpr const char* usage = R"(usage: power-cut-sweep [--all | --sample N] [--seed N] [--jobs N] [--only BEGINNING]
       power-cut-sweep --replay ID | --states ID | --points ID | --table | --scenarios | [--seed N] --ids N

Cuts the power of a simulated set at every interaction of library and set, starts again, and compares what is found with
what the documented behaviour says.

  --all             every case with one cut, every pair of cuts of some flows of each pairing, sampled triples
  --sample N        about so many of all these (20000)
  --seed N          chooses the sample and the triples (1)
  --jobs N          processes (one for each core)
  --only BEGINNING  only scenarios whose id begins so
  --replay ID       tries one case, such as backup-15-44/57a-o, and tells what happened
  --states ID       the same in a form for programs: what the set holds after each step
  --points ID       the places at which a scenario, or the recovery after its cuts, can be cut
  --table           what is guaranteed, cut point by cut point, as the documentation has it
  --scenarios       names the scenarios
  --ids N           names some cases

Exit status: 0 all as it should be, 1 a case failed, 2 wrong usage.
)";

[[noreturn]] void Refuse(const std::string& reason)
{
    std::fprintf(stderr, "power-cut-sweep: %s (see --help)\n", reason.c_str());
    std::exit(2);
}

unsigned long Number(const std::string& option, const char* text)
{
    char* end = nullptr;
    const unsigned long number = text == nullptr ? 0 : std::strtoul(text, &end, 10);
    if (text == nullptr || end == text || *end != '\0') Refuse(option + " takes a number");
    return number;
}

int ListScenarios()
{
    for (const auto& scenario : powercut::Scenarios()) std::printf("%s\n", scenario.id.c_str());
    return 0;
}

int ListPoints(const std::string& id)
{
    powercut::Trial trial;
    for (const auto& point : trial.PointsAfter(powercut::Case::Parse(id))) {
        if (point.step > 0) {
            std::printf("%u.%u\t%u not synced\n", point.interaction, point.step, point.unsynced);
        } else {
            std::printf("%u\t%u not synced\t%s\n", point.interaction, point.unsynced, point.call);
        }
    }
    return 0;
}

int Parse(int argc, char** argv)
{
    powercut::SweepOptions options;
    options.jobs = std::max(std::thread::hardware_concurrency(), 1U);
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        const char* const next = argv[i + 1];
        if (option == "-h" || option == "--help") return std::fputs(usage, stdout) < 0;
        if (option == "--scenarios") return ListScenarios();
        if (option == "--table") return powercut::PrintTable() ? 0 : 1;
        if (option == "--all") {
            options.all = true;
            continue;
        }
        if (next == nullptr) Refuse("'" + option + "' is not known, or takes a word");
        ++i;
        if (option == "--replay") return powercut::Replay(next) ? 0 : 1;
        if (option == "--states") return powercut::PrintStates(next) ? 0 : 1;
        if (option == "--points") return ListPoints(next);
        if (option == "--ids") {
            powercut::PrintSomeIds(Number(option, next), options.seed);
            return 0;
        }
        if (option == "--only") options.only = next;
        else if (option == "--sample") options.sample = Number(option, next);
        else if (option == "--seed") options.seed = Number(option, next);
        else if (option == "--jobs") options.jobs = static_cast<unsigned int>(Number(option, next));
        else Refuse("'" + option + "' is not known");
    }
    return powercut::Sweep(options) ? 0 : 1;
}

}  // namespace

/** Has every function bound when a library is loaded: else each process that is forked would bind those it calls. */
void BindAtOnce(char** argv)
{
    if (std::getenv("LD_BIND_NOW") != nullptr) return;
    setenv("LD_BIND_NOW", "1", 1);
    execv("/proc/self/exe", argv);
}

int main(int argc, char** argv)
{
    BindAtOnce(argv);
    try {
        return Parse(argc, argv);
    } catch (const vbset::Error& error) {
        Refuse(error.what());
    }
}
