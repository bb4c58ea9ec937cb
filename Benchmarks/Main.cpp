// vbmigration-bench: measures the library beside its floors. See --help.

#include <Process.h>
#include <Set.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>

#include "Groups.h"
#include "Report.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

struct Options {
    bool json = false;
    bool quick = false;
    std::vector<std::string> only;
    std::string count;  ///< the group whose operations are carried out under callgrind
    std::vector<std::string> libraries;  ///< NAME=FILE
    Places places{"/dev/shm", fs::current_path()};
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

/** Does something in a process of its own, because the library has one client and one set a process.
 * @return what it gives */
std::string InOwnProcess(const std::string& name, const std::function<std::string()>& work)
{
    std::cerr << name << "..." << std::endl;
    vbset::Pipe pipe = vbset::MakePipe();
    const pid_t child = fork();
    if (child == 0) {
        try {
            const std::string text = work();
            FILE* const out = fdopen(pipe.write.Get(), "w");
            std::fputs(text.c_str(), out);
            std::fflush(out);
            _exit(0);
        } catch (const std::exception& error) {
            std::cerr << "vbmigration-bench: " << name << ": " << error.what() << std::endl;
            _exit(1);
        }
    }
    pipe.write.Close();
    const std::string text = vbset::ReadText(pipe.read, false);
    if (vbset::WaitFor(child) != 0) throw vbset::Error(name + " could not be measured");
    return text;
}

std::string MeasureGroup(const Group& group, const Effort& effort)
{
    std::string text;
    group.run([&] { text = Written(MeasureAll(effort)); });
    return text;
}

/** Counts the instructions of a group's operations under callgrind. */
std::vector<Instructions> CountGroup(const std::string& name, const std::string& program)
{
    std::cerr << "instructions of " << name << "..." << std::endl;
    std::string directory = (fs::temp_directory_path() / "vbmigration-count-XXXXXX").string();
    if (mkdtemp(directory.data()) == nullptr) throw vbset::Error("no temporary directory");
    vbset::Launch launch;
    launch.program = vbset::FindProgram("valgrind").value_or("valgrind");
    launch.arguments = {"valgrind", "--tool=callgrind", "-q", "--callgrind-out-file=" + directory + "/out", program,
                        "--count", name};
    launch.environment = vbset::Environment({});
    const int status = vbset::WaitFor(vbset::Start(launch));
    std::vector<Instructions> counts;
    for (int dump = 1; status == 0; ++dump) {
        std::ifstream file(directory + "/out." + std::to_string(dump));
        if (!file) break;
        Instructions one;
        constexpr const char* kTrigger = "desc: Trigger: Client Request: ";
        constexpr const char* kCount = "summary: ";
        for (std::string line; std::getline(file, line);) {
            if (line.rfind(kTrigger, 0) == 0) one.name = line.substr(std::char_traits<char>::length(kTrigger));
            if (line.rfind(kCount, 0) == 0) one.count = std::atoll(line.c_str() + std::char_traits<char>::length(kCount));
        }
        if (one.name != kNotCounted) counts.push_back(one);
    }
    fs::remove_all(directory);
    if (counts.empty()) throw vbset::Error("the instructions of " + name + " could not be counted");
    return counts;
}

MemoryOverTime ReadMemory(const std::string& text)
{
    const auto row = nlohmann::json::parse(text);
    return {row[0], row[1], row[2], row[3]};
}

std::string WrittenMemory(const MemoryOverTime& one)
{
    return nlohmann::json{one.what, one.operations, one.heapGrowth, one.residentGrowth}.dump();
}

void MeasureSteadiness(const Options& options, Results& results)
{
    const fs::path place = options.places.memory;
    const long calls = options.quick ? 10000 : 1000000;
    const long stores = options.quick ? 1000 : 10000;
    if (IsWanted(options, "memory")) {
        results.memory.push_back(ReadMemory(
            InOwnProcess("memory over service calls", [&] { return WrittenMemory(ServiceCallMemory(place, calls)); })));
        results.memory.push_back(ReadMemory(
            InOwnProcess("memory over stores", [&] { return WrittenMemory(StoreMemory(place, stores)); })));
    }
    if (IsWanted(options, "growth")) {
        const std::string text = InOwnProcess("growth", [&] {
            auto rows = nlohmann::json::array();
            for (const Growth& one : GrowthOverRecords(place)) rows.push_back({one.what, one.nanoseconds, one.exponent});
            return rows.dump();
        });
        for (const auto& row : nlohmann::json::parse(text)) results.growth.push_back({row[0], row[1], row[2]});
    }
}

Results MeasureEverything(const Options& options, const std::string& program)
{
    const Effort effort = options.quick ? Effort{5, 0.01} : Effort{};
    Results results;
    for (const Group& group : AllGroups(options.places)) {
        if (!IsWanted(options, group.name)) continue;
        const std::string text = InOwnProcess(group.name, [&] { return MeasureGroup(group, effort); });
        for (Comparison& one : ReadComparisons(text)) results.comparisons.push_back(std::move(one));
    }
    MeasureSteadiness(options, results);
    if (IsWanted(options, "instructions")) {
        for (const char* group : {"picture44-memory", "picture62-memory", "service"}) {
            for (Instructions& one : CountGroup(group, program)) results.instructions.push_back(std::move(one));
        }
    }
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
    for (const Group& group : AllGroups(options.places)) {
        if (group.name == options.count) group.run(CountAll);
    }
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
    app.add_option("--only", options.only, "what to measure: picture44-memory and so on, memory, growth, instructions, size")
        ->type_name("GROUP")
        ->allow_extra_args(false);
    app.add_option("libraries", options.libraries, "libraries whose size is told")->type_name("NAME=FILE");
    app.add_option("--count", options.count)->group("");
    CLI11_PARSE(app, count, values);
    if (!options.count.empty()) {
        Count(options);
        return 0;
    }
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
