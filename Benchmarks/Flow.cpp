#include <MavoTeskStratgegy.h>
#include <Set.h>
#include <VBMigration.h>

#include "BenchSet.h"
#include "Comparison.h"
#include "Groups.h"
#include "OutsideCalls.h"

namespace bench {

namespace {

constexpr double kLimit = 1.10;

constexpr const char* kThroughGLib = "floor with g_dbus_proxy_call_sync";

/** The dump of a TV that writes the MAC address by itself says that it failed; whether it is there tells the block. */
bool Backup()
{
    VB_VornBoxMigrationStatus_k status{};
    if (migration_api_notify_migration_status(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_START, &status) != 0) {
        return false;
    }
    migration_api_dump_non_volatile_data();
    return migration_api_notify_migration_status(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_END, &status) == 0;
}

/** By a strategy of its own: one restores once. */
bool Restore()
{
    MavoTeskStratgegy strategy;
    strategy.SetObserver(get_vemigration_instance());
    VB_VornBoxMigrationStatus_k status{};
    return strategy.NotifyMigrationStatus(VB_MIGRATION_TYPE_RESTORE, VB_MIGRATION_PROGRESS_START, &status) &&
           strategy.RestoreNonVolatileData() &&
           strategy.NotifyMigrationStatus(VB_MIGRATION_TYPE_RESTORE, VB_MIGRATION_PROGRESS_END, &status);
}

/** A flow, and what is so before and after it; the service answers at once. */
void CompareFlow(const std::string& what, const Operation& flow, const std::function<void()>& prepare,
                 const Operation& holds)
{
    prepare();
    Demand(flow() && holds(), what.c_str());  // what happens once only is not recorded
    prepare();
    const OutsideCalls calls = OutsideCalls::Record([&] { Demand(flow(), what.c_str()); });
    Compare(what + calls.Told(), kLimit)
        .Library(flow)
        .Floor([calls] { return calls.Replay(); })
        .Instead(kThroughGLib, [calls] { return calls.Replay(OutsideCalls::Requests::ThroughGLib); })
        .RestHas("GLib's, to make the requests", kThroughGLib, "floor")
        .Before(prepare)
        .Leaves(holds);
}

/** The backup folder, in which a backup is left. */
void MakeBackupFolder(BenchSet& set)
{
    MigrationStrategy& strategy = *get_Startegy();
    Demand(strategy.CreateSPFolder() && strategy.RestorBkupPath(), "the backup folder");
    set.EndCommandsAtOnce();
}

/** On a board whose tuner is muted and whose GPIO levels are kept; the MAC block is blank before. */
void CompareBackup(const std::filesystem::path& parent, const std::function<void()>& measure)
{
    BenchSet set(parent, "tv15-newboard", "box15");
    set.StartAnsweringService();
    MakeBackupFolder(set);
    vbset::Set& sides = set.Sides();
    const vbset::Mac own = sides.Tv().mac;
    const std::vector<unsigned char> blank(own.size(), 0xFF);
    CompareFlow("whole backup, TV code 15, new board", Backup, [&] { sides.WriteMacBlock(blank); },
                [&] { return sides.MacBlock() == own; });
    measure();
}

void CompareRestore(const std::filesystem::path& parent, const std::function<void()>& measure)
{
    BenchSet set(parent, "tv14", "box14");
    set.StartAnsweringService();
    MakeBackupFolder(set);
    Backup();
    CompareFlow("whole restore, TV code 14", Restore, [] {}, [] { return true; });
    measure();
}

}  // namespace

std::vector<Group> FlowGroups(const Places& places)
{
    return {{"backup", [=](const auto& measure) { CompareBackup(places.memory, measure); }},
            {"restore", [=](const auto& measure) { CompareRestore(places.memory, measure); }}};
}

}  // namespace bench
