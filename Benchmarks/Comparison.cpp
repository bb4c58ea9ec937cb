#include "Comparison.h"

#include <Set.h>

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "Statistics.h"

namespace bench {

namespace {

constexpr const char* kFloorAgain = "floor again";

/** The times of a repetition: one row a role, in which the times of one round have the same place. */
using Times = std::vector<std::vector<double>>;

/** A comparison, how its roles do the work, and the times of each repetition. */
struct Registration {
    Comparison comparison;
    std::vector<Operation> operations;
    std::function<void()> prepare = [] {};
    Operation holds = [] { return true; };
    std::vector<Times> repetitions;
};

std::vector<Registration>& Registered()
{
    static std::vector<Registration> registered;
    return registered;
}

double TimeOfTurn(const Registration& registration, std::size_t role)
{
    registration.prepare();
    return TimeOf(registration.operations[role]);
}

/** A repetition: rounds in each of which every role has its turn, in an order that changes. */
void Repeat(benchmark::State& state, Registration& registration)
{
    static std::mt19937 random;
    const std::size_t roles = registration.operations.size();
    std::vector<std::size_t> order(roles);
    std::iota(order.begin(), order.end(), 0);
    Times times(roles);
    for (auto _ : state) {
        std::shuffle(order.begin(), order.end(), random);
        double round = 0;
        for (const std::size_t role : order) {
            times[role].push_back(TimeOfTurn(registration, role));
            round += times[role].back();
        }
        state.SetIterationTime(round / 1e9);
    }
    registration.repetitions.push_back(std::move(times));
}

/** How long a repetition takes that has so many rounds, in seconds. */
double TimeOfRounds(int rounds, const Registration& registration)
{
    double round = 0;
    for (std::size_t role = 0; role < registration.operations.size(); ++role) round += TimeOfTurn(registration, role);
    return round * rounds / 1e9;
}

/** What does not do its work is not worth measuring. */
void CheckAll()
{
    for (const Registration& registration : Registered()) {
        for (std::size_t i = 0; i < registration.operations.size(); ++i) {
            const Measured& role = registration.comparison.measured[i];
            registration.prepare();
            const bool isDone = registration.operations[i]() && (!role.isAlternative || registration.holds());
            if (!isDone) throw vbset::Error(registration.comparison.what + ": " + role.role + " failed");
        }
    }
}

/** Times are kept by Repeat(). */
class NoReport : public benchmark::BenchmarkReporter {
 public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>&) override {}
};

/** The library behind what repeats measurements finds out by shorter ones how many rounds fit into a repetition. */
void DropShortRepetitions(std::vector<Times>& repetitions)
{
    std::size_t rounds = 0;
    for (const Times& times : repetitions) rounds = std::max(rounds, times.front().size());
    const auto isShort = [&](const Times& times) { return times.front().size() < rounds; };
    repetitions.erase(std::remove_if(repetitions.begin(), repetitions.end(), isShort), repetitions.end());
}

/** A value for each round of a repetition. */
using RowOf = std::function<std::vector<double>(const Times& times)>;

struct MedianAndSpread {
    double median;  ///< of all rounds
    double spread;  ///< half the distance of the quartiles of the repetitions' medians
};

MedianAndSpread RoundByRound(const Registration& registration, const RowOf& rowOf)
{
    std::vector<double> all;
    std::vector<double> medians;
    for (const Times& times : registration.repetitions) {
        const std::vector<double> row = rowOf(times);
        all.insert(all.end(), row.begin(), row.end());
        medians.push_back(Median(row));
    }
    return {Median(all), Spread(medians)};
}

std::size_t PlaceOf(const Registration& registration, const std::string& role)
{
    const Comparison& comparison = registration.comparison;
    return static_cast<std::size_t>(comparison.Find(role) - comparison.measured.data());
}

/** What two roles have to do with each other in each round. */
template <typename Combine>
RowOf Combined(const Registration& registration, const std::string& one, const std::string& other, Combine combine)
{
    return [=, first = PlaceOf(registration, one), second = PlaceOf(registration, other)](const Times& times) {
        std::vector<double> row(times[first].size());
        std::transform(times[first].begin(), times[first].end(), times[second].begin(), row.begin(), combine);
        return row;
    };
}

void EvaluateRole(const Registration& registration, std::size_t place, Measured& one)
{
    std::vector<double> row;
    for (const Times& times : registration.repetitions) row.insert(row.end(), times[place].begin(), times[place].end());
    one.median = Median(row);
    one.spread = Spread(row);
    const bool isFloorAgain = one.role == kFloorAgain;
    const MedianAndSpread ratio =
        RoundByRound(registration, Combined(registration, isFloorAgain ? kFloorAgain : "library",
                                            isFloorAgain ? "floor" : one.role, std::divides<>()));
    one.ratio = ratio.median;
    one.ratioSpread = ratio.spread;
    one.overFloor = RoundByRound(registration, Combined(registration, one.role, "floor", std::divides<>())).median;
}

/** The parts that are known, what is left in each round beside them, and the whole. */
void EvaluateParts(const Registration& registration, std::vector<Part>& parts)
{
    std::vector<RowOf> known;
    for (Part& part : parts) {
        known.push_back(Combined(registration, part.longer, part.shorter, std::minus<>()));
        const MedianAndSpread difference = RoundByRound(registration, known.back());
        part.nanoseconds = difference.median;
        part.spread = difference.spread;
    }
    const RowOf whole = Combined(registration, "library", "floor", std::minus<>());
    const MedianAndSpread left = RoundByRound(registration, [&](const Times& times) {
        std::vector<double> row = whole(times);
        for (const RowOf& part : known) {
            const std::vector<double> taken = part(times);
            std::transform(row.begin(), row.end(), taken.begin(), row.begin(), std::minus<>());
        }
        return row;
    });
    const MedianAndSpread all = RoundByRound(registration, whole);
    parts.push_back({"all else", "", "", left.median, left.spread});
    parts.push_back({"the rest", "library", "floor", all.median, all.spread});
}

void Evaluate(Registration& registration)
{
    DropShortRepetitions(registration.repetitions);
    Comparison& comparison = registration.comparison;
    for (std::size_t i = 0; i < comparison.measured.size(); ++i) {
        EvaluateRole(registration, i, comparison.measured[i]);
    }
    if (!comparison.parts.empty()) EvaluateParts(registration, comparison.parts);
}

}  // namespace

const Measured* Comparison::Find(const std::string& role) const
{
    const auto found =
        std::find_if(measured.begin(), measured.end(), [&](const Measured& one) { return one.role == role; });
    return found == measured.end() ? nullptr : &*found;
}

double Comparison::SpreadOfFloors() const
{
    const Measured* const again = Find(kFloorAgain);
    return again == nullptr ? 1 : std::max(again->ratio, 1 / again->ratio) + again->ratioSpread;
}

double Comparison::Doubt() const
{
    const Measured* const again = Find(kFloorAgain);
    const double apart = again == nullptr ? 0 : std::max(again->ratio, 1 / again->ratio) - 1;
    return std::max({Find(against)->ratioSpread, apart, again == nullptr ? 0 : again->ratioSpread});
}

bool Comparison::IsInsideSpread() const
{
    constexpr double kMost = 1.1;  // beyond that, two runs of the floor say nothing of each other
    return orInsideSpread && Ratio() <= SpreadOfFloors() && SpreadOfFloors() <= kMost;
}

Verdict Comparison::Judged() const
{
    const bool syncsWrongly = syncs != -1 && syncs != 1;
    if (syncsWrongly) return Verdict::NotReached;
    if (IsInsideSpread()) return Verdict::Reached;
    if (Ratio() - Doubt() > limit) return Verdict::NotReached;
    if (Doubt() > limit - 1) return Verdict::NotTold;
    return Ratio() <= limit ? Verdict::Reached : Verdict::NotReached;
}

Compare::Compare(std::string what, double limit, std::string against)
{
    Registration registration;
    registration.comparison.what = std::move(what);
    registration.comparison.against = std::move(against);
    registration.comparison.limit = limit;
    Registered().push_back(std::move(registration));
}

Compare& Compare::Floor(const Operation& operation)
{
    Add("floor", operation);
    return Add(kFloorAgain, operation);
}

Compare& Compare::OrInsideSpread()
{
    Registered().back().comparison.orInsideSpread = true;
    return *this;
}

Compare& Compare::Beside(const std::string& name, Operation operation)
{
    Add(name, std::move(operation));
    Registered().back().comparison.measured.back().isAlternative = false;
    return *this;
}

Compare& Compare::SyncsOnce(int syncs)
{
    Registered().back().comparison.syncs = syncs;
    return *this;
}

Compare& Compare::Before(std::function<void()> prepare)
{
    Registered().back().prepare = std::move(prepare);
    return *this;
}

Compare& Compare::Leaves(Operation holds)
{
    Registered().back().holds = std::move(holds);
    return *this;
}

Compare& Compare::RestHas(std::string name, std::string longer, std::string shorter)
{
    Registered().back().comparison.parts.push_back({std::move(name), std::move(longer), std::move(shorter), 0, 0});
    return *this;
}

Compare& Compare::Add(const std::string& role, Operation operation)
{
    Measured measured;
    measured.role = role;
    Registered().back().comparison.measured.push_back(measured);
    Registered().back().operations.push_back(std::move(operation));
    return *this;
}

std::vector<Comparison> MeasureAll(const Effort& effort)
{
    CheckAll();
    for (Registration& registration : Registered()) {
        benchmark::RegisterBenchmark(registration.comparison.what.c_str(), [&](benchmark::State& state) {
            Repeat(state, registration);
        })->UseManualTime()->MinTime(std::max(effort.seconds, TimeOfRounds(effort.rounds, registration)));
    }
    std::vector<std::string> words{"bench", "--benchmark_enable_random_interleaving=true",
                                   "--benchmark_repetitions=" + std::to_string(effort.repetitions)};
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    auto count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    NoReport reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    CheckAll();
    std::vector<Comparison> comparisons;
    for (Registration& registration : Registered()) {
        Evaluate(registration);
        comparisons.push_back(registration.comparison);
    }
    return comparisons;
}

void CountAll()
{
    CheckAll();  // and what happens once only is not counted
    for (const Registration& registration : Registered()) {
        for (std::size_t i = 0; i < registration.operations.size(); ++i) {
            const std::string& role = registration.comparison.measured[i].role;
            if (role == kFloorAgain) continue;
            const std::string name = registration.comparison.what + kRoleSeparator + role;
            for (int turn = 0; turn < kCounts; ++turn) {
                registration.prepare();
                CALLGRIND_DUMP_STATS_AT(kNotCounted);  // CALLGRIND_ZERO_STATS would leave other threads alone
                registration.operations[i]();
                CALLGRIND_DUMP_STATS_AT(name.c_str());
            }
        }
    }
    CheckAll();
}

namespace {

nlohmann::ordered_json JsonOf(const Measured& one)
{
    return {{"role", one.role},
            {"is_alternative", one.isAlternative},
            {"median_ns", one.median},
            {"spread_ns", one.spread},
            {"ratio", one.ratio},
            {"ratio_spread", one.ratioSpread},
            {"over_floor", one.overFloor}};
}

nlohmann::ordered_json JsonOf(const Part& one)
{
    return {{"name", one.name},
            {"longer", one.longer},
            {"shorter", one.shorter},
            {"ns", one.nanoseconds},
            {"spread_ns", one.spread}};
}

nlohmann::ordered_json JsonOf(const Comparison& one)
{
    const Verdict verdict = one.Judged();
    nlohmann::ordered_json row{{"what", one.what},
                               {"against", one.against},
                               {"limit", one.limit},
                               {"or_inside_spread", one.orInsideSpread},
                               {"syncs", one.syncs},
                               {"ratio", one.Ratio()},
                               {"doubt", one.Doubt()},
                               {"spread_of_floors", one.SpreadOfFloors()},
                               {"reached", nullptr},
                               {"measured", nlohmann::ordered_json::array()},
                               {"parts", nlohmann::ordered_json::array()}};
    if (verdict != Verdict::NotTold) row["reached"] = verdict == Verdict::Reached;
    for (const Measured& measured : one.measured) row["measured"].push_back(JsonOf(measured));
    for (const Part& part : one.parts) row["parts"].push_back(JsonOf(part));
    return row;
}

}  // namespace

std::string Written(const std::vector<Comparison>& comparisons)
{
    auto rows = nlohmann::ordered_json::array();
    for (const Comparison& comparison : comparisons) rows.push_back(JsonOf(comparison));
    return rows.dump(2);
}

std::vector<Comparison> ReadComparisons(const std::string& text)
{
    std::vector<Comparison> comparisons;
    for (const auto& row : nlohmann::json::parse(text)) {
        Comparison comparison;
        comparison.what = row["what"];
        comparison.against = row["against"];
        comparison.limit = row["limit"];
        comparison.orInsideSpread = row["or_inside_spread"];
        comparison.syncs = row["syncs"];
        for (const auto& one : row["measured"]) {
            comparison.measured.push_back({one["role"], one["is_alternative"], one["median_ns"], one["spread_ns"],
                                           one["ratio"], one["ratio_spread"], one["over_floor"]});
        }
        for (const auto& one : row["parts"]) {
            comparison.parts.push_back({one["name"], one["longer"], one["shorter"], one["ns"], one["spread_ns"]});
        }
        comparisons.push_back(std::move(comparison));
    }
    return comparisons;
}

}  // namespace bench
