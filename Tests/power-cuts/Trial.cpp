#include "Trial.h"

#include <Set.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <new>
#include <sstream>

namespace powercut {

namespace {

std::uint64_t Mix(std::uint64_t a, std::uint64_t b) { return HashBytes(&b, sizeof b, a); }

/** How a child ended, if not as it should. */
std::string Complaint(int status, bool isCut)
{
    if (WIFSIGNALED(status)) return "  the process was ended by signal " + std::to_string(WTERMSIG(status)) + "\n";
    const int expected = isCut ? powerCutStatus : 0;
    if (WEXITSTATUS(status) == expected) return "";
    if (isCut) return "  the run did not come to the cut\n";
    return "  the process ended with " + std::to_string(WEXITSTATUS(status)) + "\n";
}

}  // namespace

std::string Case::Id() const
{
    std::string id = scenario->id;
    for (const auto& cut : cuts) id += "/" + Text(cut);
    return id;
}

Case Case::Parse(const std::string& id)
{
    std::istringstream text(id);
    std::string word;
    std::getline(text, word, '/');
    Case made;
    made.scenario = FindScenario(word);
    if (made.scenario == nullptr) throw vbset::Error("there is no scenario '" + word + "'; --scenarios names them");
    while (std::getline(text, word, '/')) made.cuts.push_back(vbset::ParsePowerCut(word));
    return made;
}

const char* NameOf(Outcome outcome)
{
    switch (outcome) {
        case Outcome::Complete: return "complete, as without a cut";
        case Outcome::MacBlockTorn: return "complete, but for a part of a MAC address in the raw block";
        case Outcome::FromTv: return "backup formatted, restored from what was unpacked on the TV";
        case Outcome::BackupLost: return "backup formatted, nothing left to restore from";
        case Outcome::Nothing: return "refused on such a set, cut or not";
        case Outcome::count: break;
    }
    return "";
}

Trial::Trial()
{
    void* const memory = mmap(nullptr, sizeof(Machine), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    machine_ = new (memory) Machine();
    launcher_ = std::make_unique<Launcher>(*machine_);
}

Trial::~Trial()
{
    launcher_.reset();
    munmap(machine_, sizeof(Machine));
}

void Trial::Begin(const Scenario& scenario)
{
    if (scenario_ != &scenario) {
        scenario_ = &scenario;
        first_ = FirstState(scenario);
        models_.clear();
        checked_.clear();
    }
    machine_->facts = scenario.facts;
    machine_->set = first_;
}

/** Runs a flow in a process of its own, which the cut ends, if there is one. */
std::string Trial::RunFlow(Flow flow, const vbset::PowerCut* cut)
{
    machine_->run = Run();
    machine_->run.recordsStates = recordsStates_;
    if (cut != nullptr) {
        machine_->run.isCut = true;
        machine_->run.interaction = cut->interaction;
        machine_->run.when = cut->when;
        machine_->run.amount = cut->amount;
    }
    ++runs_;
    const int status = launcher_->Run(flow);
    if (watcher_ != nullptr) watcher_->Ran(flow, cut, *machine_);
    return Complaint(status, cut != nullptr);
}

const Model& Trial::ModelOf(Flow flow)
{
    auto& model = models_[{machine_->set.Hash(), flow}];
    if (model == nullptr) model = std::make_unique<Model>(machine_->facts, HoldingsOf(machine_->set), flow);
    return *model;
}

/** What was asked of the set has to be what the model says, in its order. @param done  receives the number of it */
std::string Trial::CompareCalls(const Model& model, std::size_t& done) const
{
    done = 0;
    for (int i = 0; i < machine_->run.points; ++i) {
        const char* const call = machine_->points[i].call;
        if (!Model::IsEvent(call)) continue;
        const std::string expected = done < model.Events().size() ? model.Events()[done].call : "nothing";
        if (expected.compare(0, sizeof(Point::call) - 1, call) != 0) {
            return "  interaction " + std::to_string(machine_->points[i].interaction) + " is '" + call + "', not '" +
                   expected + "'\n";
        }
        ++done;
    }
    return "";
}

/** Runs a flow with a cut; the set is switched on again after it. */
std::string Trial::Cut(Flow flow, const vbset::PowerCut& cut)
{
    const Model& model = ModelOf(flow);
    const std::uint64_t before = Mix(machine_->set.Hash(), static_cast<std::uint64_t>(flow));
    std::string complaint = RunFlow(flow, &cut);
    std::size_t done = 0;
    complaint += CompareCalls(model, done);
    using When = vbset::PowerCut::When;
    const bool inside = cut.when == When::Step || cut.when == When::Bytes;
    if (cut.when == When::Bytes) --done;  // its interaction was recorded
    Settle(&cut);
    const std::uint64_t key = Mix(Mix(Mix(before, done), (inside ? 2U : 0U) + (cut.unsynced.empty() ? 1U : 0U)),
                                  machine_->set.Hash());
    if (!complaint.empty() || checked_.count(key) != 0) return complaint;
    complaint = model.CheckCut(done, inside, cut.unsynced.empty(), HoldingsOf(machine_->set));
    if (complaint.empty()) checked_.insert(key);
    return complaint;
}

/** Runs a flow to its end; everything has to be as the model says. */
std::string Trial::RunWhole(Flow flow)
{
    const Model& model = ModelOf(flow);
    const std::uint64_t before = Mix(machine_->set.Hash(), static_cast<std::uint64_t>(flow));
    std::string complaint = RunFlow(flow, nullptr);
    std::size_t done = 0;
    complaint += CompareCalls(model, done);
    if (complaint.empty() && done != model.Events().size()) {
        complaint = "  not done: '" + model.Events()[done].call + "'\n";
    }
    if (!(machine_->run.results == model.ExpectedResults())) {
        complaint += "  " + std::string(NameOf(flow)) + " gave " + machine_->run.results.Text() + ", not " +
                     model.ExpectedResults().Text() + "\n";
    }
    const std::uint64_t key = Mix(before, machine_->set.Hash());
    if (complaint.empty() && checked_.count(key) == 0) {
        complaint = Differences(model.Final(), HoldingsOf(machine_->set));
        if (complaint.empty()) checked_.insert(key);
    }
    Settle(nullptr);
    return complaint;
}

/** The set is off and on again. */
void Trial::Settle(const vbset::PowerCut* cut)
{
    if (cut != nullptr) {
        machine_->set.LosePower(cut->unsynced);
    } else {
        machine_->set.SwitchOff();
    }
    if (watcher_ != nullptr) watcher_->Left(machine_->set);
    SwitchOn(*scenario_, machine_->set);
}

const Model& Trial::UncutModel()
{
    auto& model = models_[{first_.Hash(), scenario_->flow}];
    if (model == nullptr) model = std::make_unique<Model>(scenario_->facts, HoldingsOf(first_), scenario_->flow);
    return *model;
}

/** The set has to hold what it would hold without any cut. */
std::string Trial::CompareWithUncut(Tried& tried)
{
    Holdings expected = UncutModel().Final();
    Holdings found = HoldingsOf(machine_->set);
    const std::uint64_t key = Mix(first_.Hash(), machine_->set.Hash());
    if (checked_.count(key) != 0) return "";
    // A MAC address that was cut in two is never written again, since the block is not blank.
    if (scenario_->flow == Flow::Backup && found["mac"] != expected["mac"]) {
        tried.outcome = Outcome::MacBlockTorn;
        found["mac"] = expected["mac"];
    }
    // A backup that went beside the mount point leaves its tree there.
    for (const char* left : {"directory/root/opt/korvane_vbmg/SP_VB_Data",
                             "root/opt/korvane_vbmg/SP_VB_Data/PictureMigrationData.dat"}) {
        if (scenario_->facts.tvCode != 13) found.erase(left), expected.erase(left);
    }
    const std::string differences = Differences(expected, found);
    if (differences.empty()) {
        if (tried.outcome == Outcome::Complete) checked_.insert(key);
        return "";
    }
    return "  in the end it is not as without a cut:\n" + differences;
}

/** On a new board the recovery's format leaves the partition unmounted, and that backup fails at its end: the next one,
 * in a new process, is whole. */
std::string Trial::FinishBackup(Tried& tried, const Results& last)
{
    const bool failed = last.values[last.count - 1] != 0;
    if (failed && scenario_->facts.newBoard && scenario_->facts.tvCode != 13) {
        const std::string complaint = RunWhole(Flow::Backup);
        if (!complaint.empty()) return "  the backup after the next one:\n" + complaint;
    }
    return CompareWithUncut(tried);
}

/** After a restore that was refused, what is still there can be restored without a START. */
std::string Trial::FinishRestore(Tried& tried, const Results& last)
{
    if (last.values[0] == 0) {
        const bool restored = last.values[1] == 0;
        tried.outcome = restored ? Outcome::Complete : Outcome::Nothing;
        return restored ? CompareWithUncut(tried) : "";
    }
    const std::string complaint = RunWhole(Flow::RestoreAlone);
    const bool restored = machine_->run.results.values[0] == 0;
    const bool isRefusedUncut = UncutModel().ExpectedResults().values[0] != 0;
    tried.outcome = restored ? Outcome::FromTv : isRefusedUncut ? Outcome::Nothing : Outcome::BackupLost;
    return complaint;
}

std::string Trial::Recover(Tried& tried)
{
    const Flow flow = scenario_->flow;
    std::string complaint = RunWhole(flow);
    if (!complaint.empty()) return "  the recovery:\n" + complaint;
    const Results last = machine_->run.results;
    if (flow == Flow::Backup) return FinishBackup(tried, last);
    if (flow == Flow::Restore) return FinishRestore(tried, last);
    return CompareWithUncut(tried);
}

Tried Trial::Try(const Case& tried, Watcher* watcher)
{
    Begin(*tried.scenario);
    watcher_ = watcher;
    runs_ = 0;
    Tried result;
    for (const auto& cut : tried.cuts) {
        result.complaint += Cut(tried.scenario->flow, cut);
        result.states.push_back(machine_->set.Hash());
        ++result.cuts;
        if (!result.complaint.empty()) break;
    }
    if (result.complaint.empty()) result.complaint = Recover(result);
    result.runs = runs_;
    watcher_ = nullptr;
    return result;
}

std::vector<Point> Trial::PointsAfter(const Case& tried)
{
    Begin(*tried.scenario);
    for (const auto& cut : tried.cuts) {
        RunFlow(tried.scenario->flow, &cut);
        Settle(&cut);
    }
    recordsStates_ = true;
    RunFlow(tried.scenario->flow, nullptr);
    recordsStates_ = false;
    return {machine_->points, machine_->points + machine_->run.points};
}

}  // namespace powercut
