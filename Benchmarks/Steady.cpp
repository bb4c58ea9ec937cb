#include "Steady.h"

#include <DBusServiceClient.h>
#include <PictureMigration.h>

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <fstream>
#include <functional>

#include "BenchSet.h"

namespace bench {

namespace {

constexpr long kWarmUp = 100;

struct Usage {
    long heap;
    long resident;
};

Usage CurrentUsage()
{
    long total = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return {static_cast<long>(mallinfo2().uordblks), resident * sysconf(_SC_PAGESIZE)};
}

MemoryOverTime Repeat(const std::string& what, long operations, const std::function<void()>& operation)
{
    for (long i = 0; i < kWarmUp; ++i) operation();
    const Usage before = CurrentUsage();
    for (long i = kWarmUp; i < operations; ++i) operation();
    const Usage after = CurrentUsage();
    return {what, operations, after.heap - before.heap, after.resident - before.resident};
}

/** The shortest of several runs, which disturbances only ever lengthen. */
double ShortestTime(const std::function<void()>& operation)
{
    constexpr int kRuns = 25;
    double shortest = HUGE_VAL;
    for (int i = 0; i < kRuns; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        operation();
        const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - begin;
        shortest = std::min(shortest, taken.count());
    }
    return shortest;
}

/** By least squares over the logarithms, of what each size takes more than one record does. */
double Exponent(const std::vector<std::pair<int, double>>& times)
{
    double count = 0, x = 0, y = 0, xx = 0, xy = 0;
    for (const auto& [records, time] : times) {
        if (records < 100) continue;  // the fixed cost of a file is most of it there
        const double logRecords = std::log(records - 1);
        const double logTime = std::log(time - times.front().second);
        count += 1;
        x += logRecords;
        y += logTime;
        xx += logRecords * logRecords;
        xy += logRecords * logTime;
    }
    return (count * xy - x * y) / (count * xx - x * x);
}

Growth Measure(const std::string& what, const std::function<void(unsigned int)>& prepare,
               const std::function<void(unsigned int)>& operation)
{
    Growth growth;
    growth.what = what;
    for (const int records : {1, 10, 100, 300, 1000, 3000, 10000}) {
        prepare(static_cast<unsigned int>(records));
        growth.nanoseconds.emplace_back(records, ShortestTime([&] { operation(static_cast<unsigned int>(records)); }));
    }
    growth.exponent = Exponent(growth.nanoseconds);
    return growth;
}

}  // namespace

MemoryOverTime ServiceCallMemory(const std::filesystem::path& place, long operations)
{
    BenchSet set(place, "tv15", "box15");
    set.StartAnsweringService();
    DBusClient& client = *DBusClient::Instance();
    return Repeat("service calls", operations, [&] { client.SendCmdToServer("true"); });
}

MemoryOverTime StoreMemory(const std::filesystem::path& place, long operations)
{
    const BenchSet set(place, "tv15", "box15");
    PictureDataMigration pictures;
    std::vector<unsigned int> uids = vbset::ItemIds(44);
    return Repeat("picture stores", operations, [&] {
        pictures.t_StartMigration(uids.data(), static_cast<unsigned int>(uids.size()), "/opt/tv/picture.dat", true);
    });
}

std::vector<Growth> GrowthOverRecords(const std::filesystem::path& place)
{
    constexpr const char* kFile = "/opt/tv/picture.dat";
    const BenchSet set(place, "tv15", "box15");
    PictureDataMigration pictures;
    const std::vector<unsigned int> known = vbset::ItemIds(44);
    std::vector<unsigned int> uids(10000);
    for (std::size_t i = 0; i < uids.size(); ++i) uids[i] = known[i % known.size()];
    std::vector<int> values;
    const auto store = [&](unsigned int records) { pictures.t_StartMigration(uids.data(), records, kFile, true); };
    return {Measure("picture store", [](unsigned int) {}, store),
            Measure("picture load", store,
                    [&](unsigned int) {
                        values.clear();
                        pictures.ReadValues(kFile, values);
                    }),
            Measure("picture restore into the box", store, [&](unsigned int) { pictures.t_WriteToVB(kFile); })};
}

}  // namespace bench
