#include "Comparison.h"

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
    std::vector<Times> repetitions;
};

std::vector<Registration>& Registered()
{
    static std::vector<Registration> registered;
    return registered;
}

/** A repetition: rounds in each of which every role has its turn, in an order that changes. */
void Repeat(benchmark::State& state, Registration& registration)
{
    static std::mt19937 random;  // the same orders in every run
    const std::vector<Operation>& operations = registration.operations;
    std::vector<std::size_t> order(operations.size());
    std::iota(order.begin(), order.end(), 0);
    Times times(operations.size());
    for (auto _ : state) {
        std::shuffle(order.begin(), order.end(), random);
        double round = 0;
        for (const std::size_t role : order) {
            times[role].push_back(TimeOf(operations[role]));
            round += times[role].back();
        }
        state.SetIterationTime(round / 1e9);
    }
    registration.repetitions.push_back(std::move(times));
}

/** How long a repetition takes that has so many rounds, in seconds. */
double TimeOfRounds(int rounds, const std::vector<Operation>& operations)
{
    double round = 0;
    for (const Operation& operation : operations) round += TimeOf(operation);
    return round * rounds / 1e9;
}

/** Times are kept by Repeat(). */
class NoReport : public benchmark::BenchmarkReporter {
 public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>&) override {}
};

/** How many rounds fit into a repetition is found out by shorter ones, which do not count. */
void DropShortRepetitions(std::vector<Times>& repetitions)
{
    std::size_t rounds = 0;
    for (const Times& times : repetitions) rounds = std::max(rounds, times.front().size());
    const auto isShort = [&](const Times& times) { return times.front().size() < rounds; };
    repetitions.erase(std::remove_if(repetitions.begin(), repetitions.end(), isShort), repetitions.end());
}

/** What two roles have to do with each other, round by round: of all rounds, or the median of each repetition. */
template <typename Combine>
std::vector<double> RoundByRound(const Registration& registration, const std::string& one, const std::string& other,
                                 Combine combine, bool byRepetition)
{
    const std::vector<Measured>& roles = registration.comparison.measured;
    const auto place = [&](const std::string& role) { return registration.comparison.Find(role) - roles.data(); };
    const auto first = static_cast<std::size_t>(place(one));
    const auto second = static_cast<std::size_t>(place(other));
    std::vector<double> all;
    for (const Times& times : registration.repetitions) {
        std::vector<double> row(times[first].size());
        std::transform(times[first].begin(), times[first].end(), times[second].begin(), row.begin(), combine);
        if (byRepetition) row = {Median(row)};
        all.insert(all.end(), row.begin(), row.end());
    }
    return all;
}

void Evaluate(Registration& registration)
{
    DropShortRepetitions(registration.repetitions);
    std::vector<Measured>& measured = registration.comparison.measured;
    for (std::size_t i = 0; i < measured.size(); ++i) {
        std::vector<double> row;
        for (const Times& times : registration.repetitions) row.insert(row.end(), times[i].begin(), times[i].end());
        Measured& one = measured[i];
        one.median = Median(row);
        one.spread = Spread(row);
        const bool isFloorAgain = one.role == kFloorAgain;
        const std::string over = isFloorAgain ? kFloorAgain : "library";
        const std::string under = isFloorAgain ? "floor" : one.role;
        one.ratio = Median(RoundByRound(registration, over, under, std::divides<>(), false));
        one.ratioSpread = Spread(RoundByRound(registration, over, under, std::divides<>(), true));
    }
    for (Part& part : registration.comparison.parts) {
        part.nanoseconds = Median(RoundByRound(registration, part.longer, part.shorter, std::minus<>(), false));
    }
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

bool Comparison::IsSteady() const
{
    constexpr double kTenth = 0.1;
    return Find(against)->ratioSpread <= kTenth && SpreadOfFloors() <= 1 + kTenth;
}

bool Comparison::IsReached() const
{
    return Ratio() <= limit || (orInsideSpread && Ratio() <= SpreadOfFloors());
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

Compare& Compare::RestHas(std::string name, std::string longer, std::string shorter)
{
    Registered().back().comparison.parts.push_back({std::move(name), std::move(longer), std::move(shorter)});
    return *this;
}

Compare& Compare::Add(const std::string& role, Operation operation)
{
    Registered().back().comparison.measured.push_back({role});
    Registered().back().operations.push_back(std::move(operation));
    return *this;
}

std::vector<Comparison> MeasureAll(const Effort& effort)
{
    for (Registration& registration : Registered()) {
        benchmark::RegisterBenchmark(registration.comparison.what.c_str(), [&](benchmark::State& state) {
            Repeat(state, registration);
        })->UseManualTime()->MinTime(std::max(effort.seconds, TimeOfRounds(effort.rounds, registration.operations)));
    }
    std::vector<std::string> words{"bench", "--benchmark_enable_random_interleaving=true",
                                   "--benchmark_repetitions=" + std::to_string(effort.repetitions)};
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    auto count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    NoReport reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::vector<Comparison> comparisons;
    for (Registration& registration : Registered()) {
        Evaluate(registration);
        comparisons.push_back(registration.comparison);
    }
    return comparisons;
}

void CountAll()
{
    for (const Registration& registration : Registered()) {
        for (std::size_t i = 0; i < registration.operations.size(); ++i) {
            const std::string& role = registration.comparison.measured[i].role;
            if (role == kFloorAgain) continue;
            const std::string name = registration.comparison.what + kRoleSeparator + role;
            registration.operations[i]();  // what happens once only is not counted
            CALLGRIND_DUMP_STATS_AT(kNotCounted);  // CALLGRIND_ZERO_STATS would leave other threads alone
            registration.operations[i]();
            CALLGRIND_DUMP_STATS_AT(name.c_str());
        }
    }
}

std::string Written(const std::vector<Comparison>& comparisons)
{
    auto rows = nlohmann::ordered_json::array();
    for (const Comparison& comparison : comparisons) {
        auto measured = nlohmann::ordered_json::array();
        for (const Measured& one : comparison.measured) {
            measured.push_back({{"role", one.role},
                                {"median_ns", one.median},
                                {"spread_ns", one.spread},
                                {"ratio", one.ratio},
                                {"ratio_spread", one.ratioSpread}});
        }
        auto parts = nlohmann::ordered_json::array();
        for (const Part& one : comparison.parts) {
            parts.push_back(
                {{"name", one.name}, {"longer", one.longer}, {"shorter", one.shorter}, {"ns", one.nanoseconds}});
        }
        rows.push_back({{"what", comparison.what},
                        {"against", comparison.against},
                        {"limit", comparison.limit},
                        {"or_inside_spread", comparison.orInsideSpread},
                        {"ratio", comparison.Ratio()},
                        {"spread_of_floors", comparison.SpreadOfFloors()},
                        {"steady", comparison.IsSteady()},
                        {"reached", comparison.IsReached()},
                        {"measured", measured},
                        {"parts", parts}});
    }
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
        for (const auto& one : row["measured"]) {
            comparison.measured.push_back(
                {one["role"], one["median_ns"], one["spread_ns"], one["ratio"], one["ratio_spread"]});
        }
        for (const auto& one : row["parts"]) {
            comparison.parts.push_back({one["name"], one["longer"], one["shorter"], one["ns"]});
        }
        comparisons.push_back(std::move(comparison));
    }
    return comparisons;
}

}  // namespace bench
