#include "Comparison.h"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <cstdlib>
#include <map>

namespace bench {

namespace {

constexpr const char* kFloorAgain = "floor again";

/** What has been registered, in order. */
std::vector<Comparison>& Registered()
{
    static std::vector<Comparison> registered;
    return registered;
}

struct NamedOperation {
    std::string name;
    Operation operation;
};

std::vector<NamedOperation>& Operations()
{
    static std::vector<NamedOperation> operations;
    return operations;
}

/** Value at a part of a sorted row, between neighbours by proportion. */
double Quantile(const std::vector<double>& sorted, double part)
{
    const double place = part * static_cast<double>(sorted.size() - 1);
    const auto below = static_cast<std::size_t>(place);
    const std::size_t above = std::min(below + 1, sorted.size() - 1);
    return sorted[below] + (sorted[above] - sorted[below]) * (place - static_cast<double>(below));
}

/** Keeps the time of every repetition and prints nothing. */
class Collector : public benchmark::BenchmarkReporter {
 public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration) times_[run.run_name.function_name].push_back(run.GetAdjustedRealTime());
        }
    }

    Measured Of(const std::string& what, const std::string& role) const
    {
        std::vector<double> times = times_.at(what + "/" + role);
        std::sort(times.begin(), times.end());
        return {role, Quantile(times, 0.5), (Quantile(times, 0.75) - Quantile(times, 0.25)) / 2};
    }

 private:
    std::map<std::string, std::vector<double>> times_;
};

}  // namespace

const Measured* Comparison::Find(const std::string& role) const
{
    const auto found =
        std::find_if(measured.begin(), measured.end(), [&](const Measured& one) { return one.role == role; });
    return found == measured.end() ? nullptr : &*found;
}

double Comparison::Ratio() const
{
    return Find("library")->median / Find(against)->median;
}

double Comparison::FloorAgain() const
{
    const Measured* const again = Find(kFloorAgain);
    if (again == nullptr) return 1;
    const double ratio = again->median / Find("floor")->median;
    return ratio < 1 ? 1 / ratio : ratio;
}

bool Comparison::IsReached() const
{
    return Ratio() <= limit || (against == "floor" && Ratio() <= FloorAgain());
}

Compare::Compare(std::string what, double limit, std::string against, std::string note) : what_(std::move(what))
{
    Comparison comparison;
    comparison.what = what_;
    comparison.against = std::move(against);
    comparison.limit = limit;
    comparison.note = std::move(note);
    Registered().push_back(std::move(comparison));
}

Compare& Compare::Floor(const Operation& operation)
{
    Add("floor", operation);
    return Add(kFloorAgain, operation);
}

Compare& Compare::Add(const std::string& role, Operation operation)
{
    const std::string name = what_ + "/" + role;
    Registered().back().measured.push_back({role});
    Operations().push_back({name, operation});
    benchmark::RegisterBenchmark(name.c_str(), [operation](benchmark::State& state) {
        for (auto _ : state) operation();
    })->UseRealTime()->Unit(benchmark::kNanosecond);
    return *this;
}

std::vector<Comparison> MeasureAll(const Effort& effort)
{
    std::vector<std::string> words{"bench", "--benchmark_enable_random_interleaving=true",
                                   "--benchmark_repetitions=" + std::to_string(effort.repetitions),
                                   "--benchmark_min_time=" + std::to_string(effort.seconds)};
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    auto count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    std::vector<Comparison> comparisons = Registered();
    for (Comparison& comparison : comparisons) {
        for (Measured& one : comparison.measured) one = collector.Of(comparison.what, one.role);
    }
    return comparisons;
}

void CountAll()
{
    for (const NamedOperation& one : Operations()) {
        one.operation();  // what happens once only is not counted
        CALLGRIND_DUMP_STATS_AT(kNotCounted);  // CALLGRIND_ZERO_STATS would leave other threads alone
        one.operation();
        CALLGRIND_DUMP_STATS_AT(one.name.c_str());
    }
}

std::string Written(const std::vector<Comparison>& comparisons)
{
    auto rows = nlohmann::ordered_json::array();
    for (const Comparison& comparison : comparisons) {
        auto measured = nlohmann::ordered_json::array();
        for (const Measured& one : comparison.measured) {
            measured.push_back({{"role", one.role}, {"median_ns", one.median}, {"spread_ns", one.spread}});
        }
        rows.push_back({{"what", comparison.what},
                        {"against", comparison.against},
                        {"limit", comparison.limit},
                        {"note", comparison.note},
                        {"ratio", comparison.Ratio()},
                        {"floor_again", comparison.FloorAgain()},
                        {"reached", comparison.IsReached()},
                        {"measured", measured}});
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
        comparison.note = row["note"];
        for (const auto& one : row["measured"]) {
            comparison.measured.push_back({one["role"], one["median_ns"], one["spread_ns"]});
        }
        comparisons.push_back(std::move(comparison));
    }
    return comparisons;
}

}  // namespace bench
