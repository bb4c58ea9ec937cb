#include "Memory.h"

#include <DBusServiceClient.h>
#include <PictureMigration.h>
#include <Process.h>

#include <fcntl.h>
#include <malloc.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <iostream>

#include "BenchSet.h"
#include "OwnProcess.h"

namespace bench {

namespace {

/** Takes no memory itself. */
MemorySample Now(long operations)
{
    char text[100] = {};
    const int file = open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
    const ssize_t length = read(file, text, sizeof text - 1);
    close(file);
    long total = 0;
    long resident = 0;
    if (length < 0 || std::sscanf(text, "%ld %ld", &total, &resident) != 2) return {};
    return {operations, static_cast<long>(mallinfo2().uordblks), resident * sysconf(_SC_PAGESIZE)};
}

/** Samples after 100 operations, then after ten times as many each. */
std::vector<MemorySample> Repeat(long operations, const std::function<void()>& operation)
{
    std::vector<MemorySample> samples;
    samples.reserve(20);
    long next = kFirstMemorySample;
    for (long done = 1; done <= operations; ++done) {
        operation();
        if (done != next) continue;
        Now(done);  // what sampling itself needs is there by now
        samples.push_back(Now(done));
        next *= 10;
    }
    return samples;
}

std::string Written(const std::vector<MemorySample>& samples)
{
    auto rows = nlohmann::json::array();
    for (const MemorySample& one : samples) rows.push_back({one.operations, one.heap, one.resident});
    return rows.dump();
}

MemoryOverTime Read(const std::string& what, const std::string& text)
{
    MemoryOverTime memory{what, {}, {}};
    for (const auto& row : nlohmann::json::parse(text)) memory.samples.push_back({row[0], row[1], row[2]});
    return memory;
}

std::vector<MemorySample> SampleServiceCalls(const std::filesystem::path& place, long operations)
{
    BenchSet set(place, "tv15", "box15");
    set.StartAnsweringService();
    DBusClient& client = *DBusClient::Instance();
    return Repeat(operations, [&] { Demand(client.SendCmdToServer("true") == 0, "a service call"); });
}

std::vector<MemorySample> SampleStores(const std::filesystem::path& place, long operations)
{
    const BenchSet set(place, "tv15", "box15");
    PictureDataMigration pictures;
    std::vector<unsigned int> uids = vbset::ItemIds(44);
    return Repeat(operations, [&] {
        const auto count = static_cast<unsigned int>(uids.size());
        Demand(pictures.t_StartMigration(uids.data(), count, "/opt/tv/picture.dat", true) == kPictureOk, "a store");
    });
}

}  // namespace

bool MemoryOverTime::IsFlat() const
{
    return samples.back().heap <= samples.front().heap && samples.back().resident <= samples.front().resident;
}

MemoryOverTime ServiceCallMemory(const std::filesystem::path& place, long operations)
{
    return Read("service calls", InOwnProcess("memory over service calls", [&] {
                    return Written(SampleServiceCalls(place, operations));
                }));
}

MemoryOverTime StoreMemory(const std::filesystem::path& place, long operations)
{
    return Read("picture stores",
                InOwnProcess("memory over stores", [&] { return Written(SampleStores(place, operations)); }));
}

MemoryOverTime ServiceCallMemoryWithPlainMalloc(const std::string& program, long operations)
{
    std::cerr << "memory over service calls, plain malloc..." << std::endl;
    vbset::Pipe pipe = vbset::MakePipe();
    vbset::Launch launch;
    launch.program = program;
    launch.passed = pipe.write.Get();
    launch.arguments = {program, "--sample", std::to_string(operations), std::to_string(launch.passed)};
    constexpr const char* kPlain = "glibc.malloc.tcache_count=0:glibc.malloc.arena_max=1";
    launch.environment = vbset::Environment({{"GLIBC_TUNABLES", kPlain}});
    const pid_t child = vbset::Start(launch);
    pipe.write.Close();
    const std::string text = vbset::ReadText(pipe.read, false);
    if (vbset::WaitFor(child) != 0) throw vbset::Error("the memory of service calls could not be measured");
    return Read("service calls, malloc without caches of threads and with one arena", text);
}

void WriteServiceCallSamples(const std::filesystem::path& place, long operations, int descriptor)
{
    const std::string text = Written(SampleServiceCalls(place, operations));
    if (dprintf(descriptor, "%s", text.c_str()) < 0) throw vbset::Error("the samples could not be written");
}

}  // namespace bench
