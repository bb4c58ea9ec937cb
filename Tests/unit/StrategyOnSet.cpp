#include "StrategyOnSet.h"

#include <AllocationFailure.h>

#include <unistd.h>

#include <algorithm>

namespace fs = std::filesystem;

namespace {

void Traced(const char* kind, const char* call, const std::string& args, int result)
{
    vbset::live::Trace(kind, call, args, std::to_string(result));
}

bool EndsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/** Takes the command line out of the text of a request that has one. */
bool CommandOf(const std::string& request, std::string& command)
{
    const std::string begin = "0:";
    const std::string end = ":EMPTY:EMPTY";
    if (request.size() < begin.size() + end.size() || request.rfind(begin, 0) != 0 || !EndsWith(request, end)) {
        return false;
    }
    command = request.substr(begin.size(), request.size() - begin.size() - end.size());
    return true;
}

/** The status in a reply to a command, "0:STATUS:0"; any other reply as it is. */
std::string StatusOf(const std::string& reply)
{
    const std::size_t colon = reply.find(':', 2);
    const bool isPlain = reply.rfind("0:", 0) == 0 && colon != std::string::npos && reply.substr(colon) == ":0";
    return isPlain ? reply.substr(2, colon - 2) : reply;
}

std::string StepOf(const Interaction& interaction)
{
    std::string command;
    if (interaction.kind == "request") {
        return CommandOf(interaction.call, command) ? "service: " + command + " = " + StatusOf(interaction.result)
                                                    : "request: " + interaction.call + " = " + interaction.result;
    }
    if (interaction.kind == "command") {
        return "here: " + interaction.call + " = " + interaction.result;
    }
    return interaction.call + (interaction.args.empty() ? "" : " " + interaction.args) + " = " + interaction.result;
}

}  // namespace

WithoutClient::WithoutClient()
{
    allocation_failure::FailEveryNothrow();  // which is how the library asks for its client
}

WithoutClient::~WithoutClient()
{
    allocation_failure::Stop();
}

void StrategyOnSet::StartSet(const std::string& tv, const std::string& box)
{
    Start(tv, box);
    StartService();
    ASSERT_EQ(MigrationCommon::SetVornBoxSystemConfig(), 0);
    Forget();
}

void StrategyOnSet::StartSetWith(const std::string& tv, const std::string& text, const std::string& replacement,
                                 const std::string& box)
{
    std::string description = ReadFile(vbset::ShareDirectory() / (tv + ".toml"));
    const std::size_t place = description.find(text);
    ASSERT_NE(place, std::string::npos) << text;
    description.replace(place, text.size(), replacement);
    const fs::path file = Temporary() / "changed.toml";
    WriteFile(file, description);
    StartSet(file, box);
}

Steps StrategyOnSet::Asked(const std::vector<std::string>& kinds) const
{
    Steps steps;
    for (const Interaction& interaction : Trace(kinds)) {
        steps.push_back(StepOf(interaction));
    }
    return steps;
}

std::vector<std::string> StrategyOnSet::UnitsOf(const std::vector<std::string>& functions) const
{
    std::vector<std::string> units;
    for (const LogLine& line : Log()) {
        const bool asked = std::find(functions.begin(), functions.end(), line.function) != functions.end();
        if (asked && std::find(units.begin(), units.end(), line.unit) == units.end()) {
            units.push_back(line.unit);
        }
    }
    return units;
}

int StrategyOnSet::PowerFlag() const
{
    const std::string bytes = ReadFile(Temporary() / "tv/nonvolatile/eeprom/F211");
    return bytes.size() == 1 ? static_cast<unsigned char>(bytes[0]) : -1;
}

void StrategyOnSet::PutOnTv(const std::string& path, const std::string& bytes)
{
    const fs::path file = Temporary().string() + "/tv/nonvolatile/root" + path;
    fs::create_directories(file.parent_path());
    WriteFile(file, bytes);
}

void StrategyOnSet::PutOnMigration(const std::string& name, const std::string& bytes)
{
    WriteFile(Set().Partition("migration") / name, bytes);
}

std::map<int, std::string> StrategyOnSet::OpenDescriptors()
{
    std::map<int, std::string> descriptors;
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code gone;  // the one that reads this directory
        const fs::path target = fs::read_symlink(entry.path(), gone);
        if (!gone && target != fs::path("/proc/" + std::to_string(getpid()) + "/fd")) {
            descriptors[std::stoi(entry.path().filename())] = target;
        }
    }
    return descriptors;
}

int SteeredMigrator::DumpNonVolatileData(std::string path)
{
    Traced("migrator", "DumpNonVolatileData", path, dumpResult);
    return dumpResult;
}

bool SteeredMigrator::RestoreNonVolatileData(std::string path)
{
    Traced("migrator", "RestoreNonVolatileData", path, restoreResult);
    return restoreResult;
}

bool SteeredMigrator::RestoreNonVolatileDataUlvey(std::string path, unsigned int* uids)
{
    const char* const given = uids == uids_ ? " of the item ids" : " of something else";
    Traced("migrator", "RestoreNonVolatileDataUlvey", path + given, restoreResult);
    return restoreResult;
}

int SteeredMigrator::DoVornBoxDataSync(VB_VornBoxInfo_k direction)
{
    Traced("migrator", "DoVornBoxDataSync", std::to_string(direction), syncResult);
    return syncResult;
}

bool SteeredStrategy::BackupMACAddress()
{
    Traced("strategy", "BackupMACAddress", "", backupMacResult);
    return backupMacResult;
}

bool SteeredStrategy::RestoreMACAddress()
{
    Traced("strategy", "RestoreMACAddress", "", restoreMacResult);
    return restoreMacResult;
}

bool SteeredStrategy::SetRestorePath()
{
    Traced("strategy", "SetRestorePath", "", 0);
    if (!chosenRestorePath.empty()) {
        mRestorePath = chosenRestorePath;
    }
    return false;  // nobody asks
}
