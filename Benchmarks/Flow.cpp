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

void Demand(bool isDone, const std::string& what)
{
    if (!isDone) throw vbset::Error(what + " failed");
}

void Backup()
{
    VB_VornBoxMigrationStatus_k status{};
    Demand(migration_api_notify_migration_status(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_START, &status) == 0,
           "the start of a backup");
    migration_api_dump_non_volatile_data();  // says whether the service wrote the MAC address, which it need not
    Demand(migration_api_notify_migration_status(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_END, &status) == 0,
           "the end of a backup");
}

/** By a strategy of its own: one restores once. */
void Restore()
{
    MavoTeskStratgegy strategy;
    strategy.SetObserver(get_vemigration_instance());
    VB_VornBoxMigrationStatus_k status{};
    Demand(strategy.NotifyMigrationStatus(VB_MIGRATION_TYPE_RESTORE, VB_MIGRATION_PROGRESS_START, &status),
           "the start of a restore");
    Demand(strategy.RestoreNonVolatileData(), "a restore");
    Demand(strategy.NotifyMigrationStatus(VB_MIGRATION_TYPE_RESTORE, VB_MIGRATION_PROGRESS_END, &status),
           "the end of a restore");
}

/** The backup folder, in which a backup is left. */
void LeaveBackup(BenchSet& set)
{
    MigrationStrategy& strategy = *get_Startegy();
    Demand(strategy.CreateSPFolder() && strategy.RestorBkupPath(), "the backup folder");
    set.EndCommandsAtOnce();
    const int syncs = OutsideCalls::Record(Backup).Syncs();
    Demand(syncs == 1, "the store of the picture items");
}

/** The service answers at once; what is left of a command in this process is a shell that ends at once. */
void CompareFlow(const std::filesystem::path& parent, const std::string& year, const std::string& what,
                 const Operation& flow, const std::function<void()>& measure)
{
    BenchSet set(parent, "tv" + year, "box" + year);
    set.StartAnsweringService();
    LeaveBackup(set);
    flow();
    const OutsideCalls calls = OutsideCalls::Record(flow);
    Compare(what + ", TV code " + year + calls.Told(), kLimit).Library(flow).Floor([calls] { calls.Replay(); });
    measure();
}

}  // namespace

std::vector<Group> FlowGroups(const Places& places)
{
    return {{"backup", [=](const auto& measure) { CompareFlow(places.memory, "15", "whole backup", Backup, measure); }},
            {"restore",
             [=](const auto& measure) { CompareFlow(places.memory, "14", "whole restore", Restore, measure); }}};
}

}  // namespace bench
