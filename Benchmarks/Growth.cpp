#include "Growth.h"

#include <PictureMigration.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <functional>
#include <random>

#include "BenchSet.h"
#include "OutsideCalls.h"
#include "OwnProcess.h"
#include "Statistics.h"

namespace bench {

namespace {

const std::vector<int> kRecords{1, 10, 30, 100, 300, 1000, 3000, 10000};

using Times = std::vector<double>;  // nanoseconds, in the order of kRecords

/** How badly a + b * records^exponent fits, at best, when deviations count by their part of the time. */
double Misfit(const Times& times, double exponent)
{
    double uu = 0, uv = 0, vv = 0, u1 = 0, v1 = 0;
    for (std::size_t i = 0; i < times.size(); ++i) {
        const double u = 1 / times[i];
        const double v = std::pow(kRecords[i], exponent) / times[i];
        uu += u * u;
        uv += u * v;
        vv += v * v;
        u1 += u;
        v1 += v;
    }
    const double determinant = uu * vv - uv * uv;
    const double a = (u1 * vv - v1 * uv) / determinant;
    const double b = (v1 * uu - u1 * uv) / determinant;
    double sum = 0;
    for (std::size_t i = 0; i < times.size(); ++i) {
        const double fitted = a + b * std::pow(kRecords[i], exponent);
        sum += std::pow(fitted / times[i] - 1, 2);
    }
    return sum;
}

/** The exponent that fits best, to a thousandth. */
double Exponent(const Times& times)
{
    double best = 0;
    double least = HUGE_VAL;
    for (int thousandths = 500; thousandths <= 1500; ++thousandths) {
        const double misfit = Misfit(times, thousandths / 1000.0);
        if (misfit < least) {
            least = misfit;
            best = thousandths / 1000.0;
        }
    }
    return best;
}

/** Of this thread; nothing that grows waits, and so other processes do not count. */
double ProcessorTime()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

/** Short work is timed several times, for some milliseconds, and the median taken. */
double TimeInRound(const std::function<bool()>& operation)
{
    constexpr double kEnough = 5e6;
    Times times;
    double sum = 0;
    do {
        const double begin = ProcessorTime();
        operation();
        times.push_back(ProcessorTime() - begin);
        sum += times.back();
    } while (sum < kEnough);
    return Median(times);
}

/** Work with each number of records, by library and floor, once a round in an order that changes. */
struct Cell {
    std::size_t role;
    std::size_t size;
    std::function<bool()> operation;
};

GrowthOf Evaluate(const std::string& role, const std::vector<Times>& rounds)
{
    GrowthOf result;
    result.role = role;
    Times exponents;
    for (const Times& round : rounds) exponents.push_back(Exponent(round));
    result.exponent = Median(exponents);
    result.spread = Spread(exponents);
    for (std::size_t size = 0; size < kRecords.size(); ++size) {
        Times column;
        for (const Times& round : rounds) column.push_back(round[size]);
        result.nanoseconds.push_back(Median(column));
    }
    return result;
}

Growth Measure(const std::string& what, int rounds, const std::function<bool(int)>& operation)
{
    std::vector<Cell> cells;
    for (std::size_t size = 0; size < kRecords.size(); ++size) {
        const auto once = [&operation, records = kRecords[size]] { return operation(records); };
        Demand(once(), what.c_str());
        cells.push_back({0, size, once});
        cells.push_back({1, size, [calls = OutsideCalls::Record(once)] { return calls.Replay(); }});
    }
    for (const Cell& cell : cells) Demand(cell.operation(), what.c_str());
    std::mt19937 random;  // the same orders in every run
    std::vector<Times> times[2];
    for (int round = 0; round < rounds; ++round) {
        for (auto& role : times) role.emplace_back(kRecords.size());
        std::shuffle(cells.begin(), cells.end(), random);
        for (const Cell& cell : cells) times[cell.role].back()[cell.size] = TimeInRound(cell.operation);
    }
    for (const Cell& cell : cells) Demand(cell.operation(), what.c_str());
    return {what, kRecords, {Evaluate("library", times[0]), Evaluate("floor", times[1])}};
}

std::vector<Growth> MeasureAll(const std::filesystem::path& place, int rounds)
{
    const BenchSet set(place, "tv15", "box15");
    PictureDataMigration pictures;
    const std::vector<unsigned int> known = vbset::ItemIds(44);
    std::vector<unsigned int> uids(static_cast<std::size_t>(kRecords.back()));
    for (std::size_t i = 0; i < uids.size(); ++i) uids[i] = known[i % known.size()];
    const auto file = [](int records) { return "/opt/tv/picture" + std::to_string(records) + ".dat"; };
    const auto store = [&](int records) {
        const auto count = static_cast<unsigned int>(records);
        return pictures.t_StartMigration(uids.data(), count, file(records).c_str(), true) == kPictureOk;
    };
    const auto load = [&](int records) {
        std::vector<int> values;  // as the library has it
        return pictures.ReadValues(file(records).c_str(), values) == kPictureOk;
    };
    const auto restore = [&](int records) { return pictures.t_WriteToVB(file(records).c_str()) == kPictureOk; };
    return {Measure("picture store", rounds, store), Measure("picture load", rounds, load),
            Measure("picture restore into the box", rounds, restore)};
}

}  // namespace

bool Growth::IsReached() const
{
    return std::abs(roles.front().exponent - 1) <= kGrowthTolerance;
}

std::vector<Growth> GrowthOverRecords(const std::filesystem::path& place, int rounds)
{
    const std::string text = InOwnProcess("growth", [&] {
        auto rows = nlohmann::json::array();
        for (const Growth& one : MeasureAll(place, rounds)) {
            auto roles = nlohmann::json::array();
            for (const GrowthOf& role : one.roles) {
                roles.push_back({role.role, role.nanoseconds, role.exponent, role.spread});
            }
            rows.push_back({one.what, one.records, roles});
        }
        return rows.dump();
    });
    std::vector<Growth> all;
    for (const auto& row : nlohmann::json::parse(text)) {
        Growth one{row[0], row[1], {}};
        for (const auto& role : row[2]) one.roles.push_back({role[0], role[1], role[2], role[3]});
        all.push_back(std::move(one));
    }
    return all;
}

}  // namespace bench
