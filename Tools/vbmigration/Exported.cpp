#include "Exported.h"

#include <FactoryInterface.h>
#include <SystemInfo.h>
#include <VBMigration.h>

#include <array>

#include "BackupSummary.h"
#include "PictureItems.h"

namespace command {

namespace {

int SizeFromPlatform(unsigned int uid, int* size) { return GetMigrationItemSize(uid, size); }

int DataFromPlatform(unsigned int uid, unsigned int* storeType, int* length, unsigned char* data)
{
    return GetMigrationItemData(uid, storeType, length, data);
}

Field Named(const char* name, int value, const Words& words) { return {name, value, words.NameOf(value)}; }

}  // namespace

int TvCode()
{
    int code = -1;
    return system_info_get_value_int(SYSTEM_INFO_KEY_TV_YEAR, &code) == 0 ? code : -1;
}

template <class Function>
bool Exported::Run(const std::string& function, std::vector<Field> arguments, Function call)
{
    log_.Begin(function, std::move(arguments));
    std::vector<Field> out;
    const int result = call(out);
    log_.Finish(result, std::move(out), MigrationCommon::miTVYear);
    return result == 0;
}

bool Exported::Notify(const Words& types, int type, int progress)
{
    return Run("migration_api_notify_migration_status",
               {Named("type", type, types), Named("progress", progress, kProgresses)}, [&](std::vector<Field>& out) {
                   WatchService();
                   constexpr int kUntouched = -1;
                   auto status = static_cast<VB_VornBoxMigrationStatus_k>(kUntouched);
                   const int result = migration_api_notify_migration_status(
                       static_cast<VB_VornBoxMigrationType_k>(type),
                       static_cast<VB_VornBoxMigrationProgress_k>(progress), &status);
                   if (status != kUntouched) {
                       out.push_back(Named("status", status, kStatuses));
                   }
                   return result;
               });
}

bool Exported::Dump()
{
    return Run("migration_api_dump_non_volatile_data", {}, [](std::vector<Field>& out) {
        WatchService();
        const PictureItems items;
        const int result = migration_api_dump_non_volatile_data();
        out = items.AfterDump();
        return result;
    });
}

void Exported::SumUpBackup() { log_.SumUp(command::SumUpBackup); }

bool Exported::Restore()
{
    return Run("migration_api_restore_non_volatile_data", {}, [](std::vector<Field>&) {
        WatchService();
        return migration_api_restore_non_volatile_data();
    });
}

bool Exported::SyncPictures(int direction)
{
    return Run("migration_api_do_vornBox_picture_data_sync", {Named("direction", direction, kDirections)},
               [&](std::vector<Field>&) {
                   return migration_api_do_vornBox_picture_data_sync(static_cast<VB_VornBoxInfo_k>(direction));
               });
}

bool Exported::SetItem(int id, int value)
{
    return Run("migration_api_set_factory_item", {Named("item_id", id, kItemCommands), {"value", value, {}}},
               [&](std::vector<Field>&) {
                   WatchService();
                   return migration_api_set_factory_item(id, value);
               });
}

bool Exported::ConvertItem(int id)
{
    return Run("migration_api_convert_factory_value_to_str", {{"item_id", id, {}}, {"value", 0, {}}},
               [&](std::vector<Field>& out) {
                   std::array<char, 10> text{};
                   const int result = migration_api_convert_factory_value_to_str(id, 0, text.data());
                   if (result == 0) {
                       out.push_back({"out", std::string(text.data()), {}});
                   }
                   return result;
               });
}

bool Exported::Test(int code)
{
    return Run("migration_api_get_vornBox_migration_test_data", {Named("selector", code, kTestCodes)},
               [&](std::vector<Field>&) { return migration_api_get_vornBox_migration_test_data(code); });
}

bool Exported::SetBootPartition(int partition)
{
    return Run("migration_api_SetBootPartition", {{"partition", partition, {}}},
               [&](std::vector<Field>&) {
                   WatchService();
                   return migration_api_SetBootPartition(partition);
               });
}

bool Exported::GetBootPartition()
{
    return Run("migration_api_GetBootPartition", {}, [](std::vector<Field>& out) {
        WatchService();
        int partition = 0;
        const int result = migration_api_GetBootPartition(&partition);
        if (result == 0) {
            out.push_back({"partition", partition, {}});
        }
        return result;
    });
}

bool Exported::FreeMemory()
{
    return Run("migration_api_get_migration_free_memory", {},
               [](std::vector<Field>&) { return migration_api_get_migration_free_memory(); });
}

bool Exported::SyncStore()
{
    return Run("migration_api_do_vornBox_store_data_sync", {},
               [](std::vector<Field>&) { return migration_api_do_vornBox_store_data_sync(); });
}

bool Exported::MountPartition()
{
    return Run("migration_api_mountpartition", {}, [](std::vector<Field>&) { return migration_api_mountpartition(); });
}

bool Exported::ResetTuner()
{
    return Run("migration_api_SetResetTunerGPIO", {},
               [](std::vector<Field>&) { return migration_api_SetResetTunerGPIO(); });
}

bool Exported::RegisterCallbacks()
{
    const bool size = Run("migration_api_assign_callback_getsize", {},
                          [](std::vector<Field>&) { return migration_api_assign_callback_getsize(SizeFromPlatform); });
    const bool data = Run("migration_api_assign_callback_getdata", {},
                          [](std::vector<Field>&) { return migration_api_assign_callback_getdata(DataFromPlatform); });
    const bool sizeIsThere =
        Run("funptrretSize", {}, [](std::vector<Field>&) { return funptrretSize() == SizeFromPlatform ? 0 : -1; });
    const bool dataIsThere =
        Run("funptrretData", {}, [](std::vector<Field>&) { return funptrretData() == DataFromPlatform ? 0 : -1; });
    return size && data && sizeIsThere && dataIsThere;
}

bool Exported::GetObjects()
{
    const bool strategy =
        Run("get_Startegy", {}, [](std::vector<Field>&) { return get_Startegy() != nullptr ? 0 : -1; });
    const bool migrator = Run("get_vemigration_instance", {},
                              [](std::vector<Field>&) { return get_vemigration_instance() != nullptr ? 0 : -1; });
    return strategy && migrator;
}

}  // namespace command
