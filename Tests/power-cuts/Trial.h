/** @file
 * Trying one case: a flow that is cut, and after each cut the recovery, cut again or not; all of it checked.
 */
#pragma once

#include <PowerCut.h>

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include "Launcher.h"
#include "Model.h"
#include "Scenario.h"

namespace powercut {

/** A scenario and its cuts: the first in the flow, each later one in the recovery after the one before.
 * Its id is the scenario's and the cuts', with slashes between: "backup-15-44/57a-o/12b". */
struct Case {
    const Scenario* scenario = nullptr;
    std::vector<vbset::PowerCut> cuts;

    std::string Id() const;
    static Case Parse(const std::string& id);  ///< @throw vbset::Error
};

/** What became of the data in the end. */
enum class Outcome {
    Complete,       ///< as if nothing had been cut
    MacBlockTorn,   ///< complete, but a part of a MAC address stays in the raw block
    FromTv,         ///< a restore: the partition was formatted, what had been unpacked on the TV could be restored
    BackupLost,     ///< a restore: the partition was formatted, nothing could be restored
    Nothing,        ///< the flow is refused on such a set, cut or not
    count
};
const char* NameOf(Outcome outcome);

struct Tried {
    std::string complaint;  ///< empty: all is well
    Outcome outcome = Outcome::Complete;
    std::vector<std::uint64_t> states;  ///< after each cut
    int cuts = 0;
    int runs = 0;  ///< of a flow, in a process of its own
};

/** Who wants to look at the steps of a case. */
class Watcher {
 public:
    virtual ~Watcher() = default;
    /** A flow has run to its end or to a cut. */
    virtual void Ran(Flow flow, const vbset::PowerCut* cut, const Machine& after) = 0;
    /** The set has lost its power by that cut, or was switched off in order. */
    virtual void Left(const MemorySet& set) = 0;
};

class Trial {
 public:
    Trial();
    ~Trial();
    Trial(const Trial&) = delete;
    Trial& operator=(const Trial&) = delete;

    Tried Try(const Case& tried, Watcher* watcher = nullptr);

    /** Runs the flow of a scenario without a cut, after the cuts of a case. @return where it could be cut */
    std::vector<Point> PointsAfter(const Case& tried);

 private:
    void Begin(const Scenario& scenario);
    std::string RunFlow(Flow flow, const vbset::PowerCut* cut);
    const Model& ModelOf(Flow flow);
    const Model& UncutModel();
    std::string Cut(Flow flow, const vbset::PowerCut& cut);
    std::string RunWhole(Flow flow);
    std::string CompareCalls(const Model& model, std::size_t& done) const;
    std::string Recover(Tried& tried);
    std::string FinishBackup(Tried& tried, const Results& last);
    std::string FinishRestore(Tried& tried, const Results& last);
    std::string CompareWithUncut(Tried& tried);

    void Settle(const vbset::PowerCut* cut);

    Machine* machine_;
    std::unique_ptr<Launcher> launcher_;
    const Scenario* scenario_ = nullptr;
    MemorySet first_;
    Watcher* watcher_ = nullptr;
    int runs_ = 0;
    bool recordsStates_ = false;
    std::map<std::pair<std::uint64_t, Flow>, std::unique_ptr<Model>> models_;
    std::unordered_set<std::uint64_t> checked_;
};

}  // namespace powercut
