#include <VBMigration.h>

#include "BenchSet.h"
#include "Comparison.h"
#include "Groups.h"
#include "OutsideCalls.h"

namespace bench {

namespace {

constexpr double kLimit = 1.10;

void Notify(VB_VornBoxMigrationType_k type, VB_VornBoxMigrationProgress_k progress)
{
    VB_VornBoxMigrationStatus_k status{};
    migration_api_notify_migration_status(type, progress, &status);
}

void Backup()
{
    Notify(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_START);
    migration_api_dump_non_volatile_data();
    Notify(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_END);
}

void Restore()
{
    Notify(VB_MIGRATION_TYPE_RESTORE, VB_MIGRATION_PROGRESS_START);
    migration_api_restore_non_volatile_data();
    Notify(VB_MIGRATION_TYPE_RESTORE, VB_MIGRATION_PROGRESS_END);
}

/** The service answers at once; what is left of a command in this process is a shell that ends at once. */
void CompareFlow(const std::filesystem::path& parent, const std::string& year, const std::string& what,
                 const Operation& before, const Operation& flow, const std::function<void()>& measure)
{
    BenchSet set(parent, "tv" + year, "box" + year);
    set.StartAnsweringService();
    set.EndCommandsAtOnce();
    before();
    flow();
    const OutsideCalls calls = OutsideCalls::Record(flow);
    Compare(what + ", TV code " + year + " (" + std::to_string(calls.Count()) + " calls)", kLimit)
        .Library(flow)
        .Floor([calls] { calls.Replay(); });
    measure();
}

}  // namespace

std::vector<Group> FlowGroups(const Places& places)
{
    return {{"backup", [=](const auto& measure) {
                 CompareFlow(places.memory, "15", "whole backup", [] {}, Backup, measure);
             }},
            {"restore", [=](const auto& measure) {
                 CompareFlow(places.memory, "14", "whole restore", Backup, Restore, measure);
             }}};
}

}  // namespace bench
