#include "ExportedFunctions.h"

#include <VBMigration.h>

namespace {

int Notify()
{
    VB_VornBoxMigrationStatus_k status{};
    return migration_api_notify_migration_status(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_START, &status);
}

int Convert()
{
    char text[10];
    return migration_api_convert_factory_value_to_str(1716, 0, text);
}

int GetBootPartition()
{
    int partition = 0;
    return migration_api_GetBootPartition(&partition);
}

int IsThere(const void* object)
{
    return object != nullptr ? 0 : -1;
}

}  // namespace

const std::vector<ExportedFunction>& ExportedFunctions()
{
    static const std::vector<ExportedFunction> functions = {
        {"get_Startegy", false, [] { return IsThere(get_Startegy()); }},
        {"get_vemigration_instance", false, [] { return IsThere(get_vemigration_instance()); }},
        {"GetMigrationStrategy", false, [] { return IsThere(GetMigrationStrategy(15)); }},
        {"SetVornBoxSystemConfig", false, [] { return MigrationCommon::SetVornBoxSystemConfig(); }},
        {"free memory", false, [] { return migration_api_get_migration_free_memory(); }},
        {"notify", true, Notify},
        {"restore", true, [] { return migration_api_restore_non_volatile_data(); }},
        {"dump", true, [] { return migration_api_dump_non_volatile_data(); }},
        {"store sync", false, [] { return migration_api_do_vornBox_store_data_sync(); }},
        {"picture sync", true, [] { return migration_api_do_vornBox_picture_data_sync(VB_INFO_VB_FAC_TO_TV_SPI); }},
        {"mount", false, [] { return migration_api_mountpartition(); }},
        {"set item", true, [] { return migration_api_set_factory_item(1714, 1); }},
        {"convert", true, Convert},
        {"test data", true, [] { return migration_api_get_vornBox_migration_test_data(20); }},
        {"size callback", false, [] { return migration_api_assign_callback_getsize(nullptr); }},
        {"data callback", false, [] { return migration_api_assign_callback_getdata(nullptr); }},
        {"registered size callback", false, [] { return funptrretSize() == nullptr ? 0 : -1; }},
        {"registered data callback", false, [] { return funptrretData() == nullptr ? 0 : -1; }},
        {"tuner", false, [] { return migration_api_SetResetTunerGPIO(); }},
        {"set boot partition", false, [] { return migration_api_SetBootPartition(1); }},
        {"get boot partition", false, GetBootPartition},
        {"command", false, [] { return MigrationCommon::ExecuteUserShell("/bin/spi_init.sh mount data_sync", false); }},
    };
    return functions;
}
