/** power-cut-replay: the same cases on simulated sets of directories, with the real bus, service, scripts and processes.
 * They have to leave the same as on the set in memory, after every step. */
#include <Program.h>
#include <Set.h>
#include <Text.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>

#include "RealSet.h"

namespace powercut {

namespace {

namespace fs = std::filesystem;

/** A step of a case on the set in memory. */
struct Expected {
    std::string flow;
    std::string cut;  ///< empty for none
    std::string results;
    Holdings held;
};

std::vector<Expected> ExpectedSteps(const std::string& id)
{
    const auto told = program::Run({POWER_CUT_SWEEP, "--states", id});
    if (told.status != 0) throw vbset::Error("power-cut-sweep --states " + id + " ended with an error: " + told.errors);
    std::vector<Expected> steps;
    std::istringstream lines(told.output);
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, 2, "= ") == 0) {
            Expected step;
            std::istringstream words(line.substr(2));
            words >> step.flow >> step.cut >> std::ws;
            std::getline(words, step.results);
            if (step.cut == "-") step.cut.clear();
            steps.push_back(step);
        } else {
            const std::size_t tab = line.find('\t');
            const auto bytes = vbset::ParseHex(line.substr(tab + 1)).value_or(std::vector<unsigned char>());
            steps.back().held[line.substr(0, tab)] = Bytes(bytes.begin(), bytes.end());
        }
    }
    return steps;
}

class Replay {
 public:
    Replay()
    {
        std::string name = fs::temp_directory_path() / "power-cut-replay-XXXXXX";
        directory_ = mkdtemp(name.data());
    }
    ~Replay() { fs::remove_all(directory_); }
    Replay(const Replay&) = delete;
    Replay& operator=(const Replay&) = delete;

    /** @return what was different, empty when nothing was */
    std::string Try(const std::string& id)
    {
        const Scenario* const scenario = FindScenario(id.substr(0, id.find('/')));
        if (scenario == nullptr) throw vbset::Error("there is no scenario of " + id);
        const fs::path directory = directory_ / "case";
        RealSet set(FirstSet(*scenario), directory);
        std::string wrong;
        for (const Expected& step : ExpectedSteps(id)) {
            const std::string results = set.Run(*FlowOf(step.flow), step.cut);
            const std::string name = step.flow + " " + step.cut + ": ";
            if (results != step.results) wrong += name + results + ", not " + step.results + "\n";
            const std::string differences = Differences(step.held, set.Held());
            if (!differences.empty()) wrong += name + "\n" + differences;
            if (!step.cut.empty()) wrong += CheckStatus(*scenario, step, set);
        }
        fs::remove_all(directory);
        return wrong;
    }

 private:
    /** A scenario's set before the flow is made once. */
    const RealSet& FirstSet(const Scenario& scenario)
    {
        auto& made = first_[scenario.id];
        if (made == nullptr) {
            made = std::make_unique<RealSet>(scenario, directory_ / scenario.id);
            const std::string differences = Differences(HoldingsOf(FirstState(scenario)), made->Held());
            if (!differences.empty()) throw vbset::Error(scenario.id + " begins differently:\n" + differences);
        }
        return *made;
    }

    /** The operator's command has to warn of a START that formats before it does. */
    static std::string CheckStatus(const Scenario& scenario, const Expected& step, RealSet& set)
    {
        const bool formats = scenario.facts.tvCode != 13 && step.held.at("eeprom/F211") == "\xAA";
        return set.SaysThatStartFormats() == formats ? "" : "vbmigration status does not tell what START will do\n";
    }

    fs::path directory_;
    std::map<std::string, std::unique_ptr<RealSet>> first_;
};

std::vector<std::string> SomeIds(const std::string& count, const std::string& seed)
{
    const auto named = program::Run({POWER_CUT_SWEEP, "--seed", seed, "--ids", count});
    if (named.status != 0) throw vbset::Error("power-cut-sweep --ids: " + named.errors);
    std::vector<std::string> ids;
    std::istringstream lines(named.output);
    for (std::string line; std::getline(lines, line);) ids.push_back(line);
    return ids;
}

int ReplayAll(const std::vector<std::string>& ids)
{
    Replay replay;
    std::size_t failed = 0;
    for (const std::string& id : ids) {
        const std::string wrong = replay.Try(id);
        if (wrong.empty()) continue;
        ++failed;
        std::printf("FAILED %s\n%s", id.c_str(), wrong.c_str());
    }
    std::printf("%zu cases replayed on real processes, %zu failed\n", ids.size(), failed);
    return failed == 0 && !ids.empty() ? 0 : 1;
}

}  // namespace

}  // namespace powercut

int main(int argc, char** argv)
{
    const std::vector<std::string> words(argv + 1, argv + argc);
    if (words.empty() || words[0] == "--help" || (words[0] == "--sample" && words.size() > 3)) {
        std::fputs("usage: power-cut-replay ID... | --sample N [SEED]\n", stderr);
        return 2;
    }
    try {
        const bool isSample = words[0] == "--sample" && words.size() > 1;
        return powercut::ReplayAll(isSample ? powercut::SomeIds(words[1], words.size() > 2 ? words[2] : "1") : words);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "power-cut-replay: %s\n", error.what());
        return 1;
    }
}
