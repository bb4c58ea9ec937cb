#include "Flows.h"

#include <VBMigration.h>

#include <cstdlib>

namespace powercut {

namespace {

constexpr int storeItems = 1713;
constexpr int loadItems = 1714;
constexpr int firstValue = 1716;

int Notify(bool backup, int progress, int tvCode)
{
    const int type = tvCode == 13 ? (backup ? 0 : 1) : (backup ? 2 : 3);
    VB_VornBoxMigrationStatus_k status{};
    const int result = migration_api_notify_migration_status(
        static_cast<VB_VornBoxMigrationType_k>(type), static_cast<VB_VornBoxMigrationProgress_k>(progress), &status);
    const bool agree = (result == 0) == (status == VB_MIGRATION_STATUS_SUCCESS);
    return agree ? result : -100;
}

void Migrate(bool backup, int tvCode, Results& results)
{
    const int start = Notify(backup, VB_MIGRATION_PROGRESS_START, tvCode);
    results.Add(start);
    if (start == 0) {
        results.Add(backup ? migration_api_dump_non_volatile_data() : migration_api_restore_non_volatile_data());
    }
    results.Add(Notify(backup, VB_MIGRATION_PROGRESS_END, tvCode));
}

void Load(Results& results)
{
    char text[10] = "";
    results.Add(migration_api_set_factory_item(loadItems, 1));
    results.Add(migration_api_convert_factory_value_to_str(firstValue, 0, text));
    results.Add(std::atoi(text));
}

}  // namespace

void RunFlow(Flow flow, int tvCode, Results& results)
{
    switch (flow) {
        case Flow::Backup: return Migrate(true, tvCode, results);
        case Flow::Restore: return Migrate(false, tvCode, results);
        case Flow::RestoreAlone: return results.Add(migration_api_restore_non_volatile_data());
        case Flow::MountedSyncToFile: Load(results); [[fallthrough]];
        case Flow::SyncToFile: return results.Add(migration_api_do_vornBox_picture_data_sync(VB_INFO_VB_FAC_TO_TV_SPI));
        case Flow::MountedSyncToBox: Load(results); [[fallthrough]];
        case Flow::SyncToBox: return results.Add(migration_api_do_vornBox_picture_data_sync(VB_INFO_TV_SPI_TO_VB_FAC));
        case Flow::Store: return results.Add(migration_api_set_factory_item(storeItems, 1));
        case Flow::Load: return Load(results);
    }
}

}  // namespace powercut
