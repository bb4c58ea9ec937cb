#include "Machine.h"

#include <PathTable.h>
#include <unistd.h>

#include <climits>

namespace powercut {

Machine* machine = nullptr;

namespace {

using When = vbset::PowerCut::When;

[[noreturn]] void GoOff()
{
    machine->run.powerIsOff = true;
    _exit(powerCutStatus);
}

bool IsCutHere(When when)
{
    const Run& run = machine->run;
    return run.isCut && run.when == when && run.interaction == run.last + 1;
}

Point& NextPoint()
{
    Run& run = machine->run;
    if (run.points == Machine::capacity) std::abort();
    Point& point = machine->points[run.points++];
    point.interaction = static_cast<std::uint16_t>(run.last + 1);
    point.step = 0;
    point.bytes = 0;
    point.call[0] = '\0';
    point.unsynced = static_cast<std::uint8_t>(machine->set.kept.files.CountUnsynced());
    point.state = run.recordsStates ? machine->set.HashOfAll() : 0;
    return point;
}

/** "@" and an area stand for what is seen where a partition is mounted. */
const vbset::PathTable& Paths()
{
    static const vbset::PathTable table = vbset::PathTable::Parse(
        "/dev/mtdblock3\tmac\n"
        "/dev/system\tdevice/system\n"
        "/dev/dvb/adapter0/frontend0\tdevice/frontend0\n"
        "/opt/korvane_vbmg_Tavix.tar.gz\troot/opt/korvane_vbmg_Tavix.tar.gz\n"
        "/opt/korvane_vbmg\t@migration\n"
        "/opt/tv/migration/service\t@data_sync\n"
        "/opt/tv\troot/opt/tv\n");
    return table;
}

}  // namespace

void Begin()
{
    if (machine->run.powerIsOff || IsCutHere(When::Before)) GoOff();
    machine->run.steps = 0;
}

void Step()
{
    Run& run = machine->run;
    ++run.steps;
    NextPoint().step = static_cast<std::uint8_t>(run.steps);
    if (IsCutHere(When::Step) && run.amount == run.steps) GoOff();
}

void End(const std::string& call, std::size_t bytesWritten)
{
    Point& point = NextPoint();
    point.bytes = static_cast<std::uint16_t>(bytesWritten);
    point.call[call.copy(point.call, sizeof point.call - 1)] = '\0';
    if (IsCutHere(When::After) || IsCutHere(When::Bytes)) GoOff();
    ++machine->run.last;
}

std::size_t BytesBeforeCut(std::size_t size)
{
    return IsCutHere(When::Bytes) && machine->run.amount < size ? machine->run.amount : size;
}

std::string Locate(const char* path)
{
    const vbset::PathTable& paths = Paths();
    char found[PATH_MAX];
    if (machine == nullptr || !paths.Map(path, found, sizeof found)) return {};
    std::string name = found;
    if (name.size() > 1 && name.back() == '/') name.pop_back();
    if (name.front() != '@') return name;
    const bool isMigration = name.compare(0, 10, "@migration") == 0;
    if (machine->set.Mounted(isMigration)) return name.substr(1);
    return isMigration ? "root/opt/korvane_vbmg" + name.substr(10) : "root/opt/tv/migration/service" + name.substr(10);
}

}  // namespace powercut
