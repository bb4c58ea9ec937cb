// vbmigration-bench: measures the library beside its floors. See --help.

#include <Set.h>

#include <CLI/CLI.hpp>

#include <linux/magic.h>
#include <sys/vfs.h>

#include <algorithm>
#include <iostream>
#include <iterator>
#include <sstream>

#include "Groups.h"
#include "OwnProcess.h"
#include "Report.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

struct Options {
    bool json = false;
    bool quick = false;
    std::vector<std::string> only;
    std::string count;  ///< the group whose operations are carried out under callgrind
    std::pair<long, int> sample;  ///< how many service calls, and where the samples go
    std::vector<std::string> libraries;  ///< NAME=FILE
    Places places{"/dev/shm", fs::current_path(), {}};
};

bool IsWanted(const Options& options, const std::string& name)
{
    const std::vector<std::string>& only = options.only;
    return only.empty() || std::find(only.begin(), only.end(), name) != only.end();
}

std::vector<Group> AllGroups(const Places& places)
{
    std::vector<Group> all;
    for (auto groups : {PictureGroups(places), ServiceGroups(places), CommandGroups(), FlowGroups(places),
                        FirstCallGroups(places)}) {
        std::move(groups.begin(), groups.end(), std::back_inserter(all));
    }
    return all;
}

/** Everything that can be measured on its own. */
std::vector<std::string> Names()
{
    std::istringstream text(GROUPS);
    return {std::istream_iterator<std::string>(text), {}};
}

/** @return whether all that is wanted is there to be measured; says what there is otherwise */
bool AreKnown(const std::vector<std::string>& wanted)
{
    const std::vector<std::string> names = Names();
    for (const std::string& name : wanted) {
        if (std::find(names.begin(), names.end(), name) != names.end()) continue;
        std::cerr << "vbmigration-bench: nothing that is measured is called '" << name << "'; there is";
        for (const std::string& known : names) std::cerr << ' ' << known;
        std::cerr << '\n';
        return false;
    }
    return true;
}

bool IsInMemory(const fs::path& directory)
{
    struct statfs status {};
    if (statfs(directory.c_str(), &status) != 0) throw vbset::Error(directory.string() + " cannot be looked at");
    return status.f_type == TMPFS_MAGIC || status.f_type == RAMFS_MAGIC;
}

/** The lines of the table say "tmpfs" and "disk". */
void CheckPlaces(const Options& options)
{
    const Places& places = options.places;
    if (!IsInMemory(places.memory)) throw vbset::Error(places.memory.string() + " is no tmpfs");
    if (!IsWanted(options, "picture44-disk") && !IsWanted(options, "picture62-disk")) return;
    if (IsInMemory(places.disk)) throw vbset::Error(places.disk.string() + " is on no disk; --disk takes another one");
}

std::string MeasureGroup(const Group& group, const Effort& effort)
{
    std::string text;
    group.run([&] { text = Written(MeasureAll(effort)); });
    return text;
}

void MeasureSteadiness(const Options& options, const std::string& program, Results& results)
{
    const fs::path place = options.places.memory;
    if (IsWanted(options, "memory")) {
        const long calls = options.quick ? 10000 : 1000000;
        MemoryOverTime usual = ServiceCallMemory(place, calls);
        const MemoryOverTime plain = ServiceCallMemoryWithPlainMalloc(program, calls);
        if (plain.IsFlat()) usual.rest = "the rest is what malloc keeps for threads; the next lines are without that";
        results.memory.push_back(usual);
        results.memory.push_back(plain);
        results.memory.push_back(StoreMemory(place, options.quick ? 1000 : 10000));
    }
    if (IsWanted(options, "growth")) results.growth = GrowthOverRecords(place, options.quick ? 3 : 15);
}

Results MeasureEverything(const Options& options, const std::string& program)
{
    const Effort effort = options.quick ? Effort{5, 0.02, 1} : Effort{};
    Results results;
    for (const Group& group : AllGroups(options.places)) {
        if (!IsWanted(options, group.name)) continue;
        const std::string text = InOwnProcess(group.name, [&] { return MeasureGroup(group, effort); });
        for (Comparison& one : ReadComparisons(text)) results.comparisons.push_back(std::move(one));
    }
    MeasureSteadiness(options, program, results);
    if (IsWanted(options, "instructions")) results.instructions = CountInstructions(program);
    for (const std::string& library : options.libraries) {
        const std::size_t equals = library.find('=');
        if (equals == std::string::npos) throw vbset::Error("'" + library + "' is not NAME=FILE");
        if (IsWanted(options, "size")) {
            results.sizes.push_back(SizeOf(library.substr(0, equals), library.substr(equals + 1)));
        }
    }
    return results;
}

void Count(const Options& options)
{
    const std::vector<Group> all = AllGroups(options.places);
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const Group& one) { return one.name == options.count; });
    if (found == all.end()) throw vbset::Error("nothing is counted of '" + options.count + "'");
    found->run(CountAll);
}

int Main(int count, char** values)
{
    Options options;
    CLI::App app("Measures the library beside its floors, on simulated sets.", "vbmigration-bench");
    app.add_flag("--json", options.json, "JSON in place of the table");
    app.add_flag("--quick", options.quick, "few repetitions: to see that all of it runs, not to go by");
    app.add_option("--disk", options.places.disk, "where sets on a disk are put; the working directory by default")
        ->type_name("DIRECTORY")
        ->check(CLI::ExistingDirectory);
    app.add_option("--armhf", options.places.armhf, "programs of a 32-bit build that load the library")
        ->type_name("DIRECTORY")
        ->check(CLI::ExistingDirectory);
    app.add_option("--only", options.only, "what to measure, such as picture44-memory, memory, instructions, size")
        ->type_name("GROUP")
        ->allow_extra_args(false);
    app.add_option("libraries", options.libraries, "libraries whose size is told")->type_name("NAME=FILE");
    app.add_option("--count", options.count)->group("");
    const CLI::Option* const sample = app.add_option("--sample", options.sample)->group("");
    CLI11_PARSE(app, count, values);
    if (!options.count.empty()) {
        Count(options);
        return 0;
    }
    if (!sample->empty()) {
        if (options.sample.first < kFirstMemorySample) throw vbset::Error("too few operations for a sample");
        WriteServiceCallSamples(options.places.memory, options.sample.first, options.sample.second);
        return 0;
    }
    if (!AreKnown(options.only)) return 2;
    CheckPlaces(options);
    const Results results = MeasureEverything(options, fs::absolute(values[0]).string());
    options.json ? PrintJson(std::cout, results) : PrintTable(std::cout, results);
    return 0;
}

}  // namespace
}  // namespace bench

int main(int count, char** values)
try {
    return bench::Main(count, values);
} catch (const std::exception& error) {
    std::cerr << "vbmigration-bench: " << error.what() << '\n';
    return 1;
}
