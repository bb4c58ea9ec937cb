#include <FactoryInterface.h>
#include <Log.h>
#include <MavoMavoStratgegy.h>
#include <MavoNufStratgegy.h>
#include <MavoTeskStratgegy.h>
#include <MigrationStrategy.h>
#include <RiloRiloStratgegy.h>
#include <SystemConfig.h>
#include <VBMigration.h>
#include <VEMigrationImpl.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <new>

#define LOG_UNIT "VBMigration.cpp"

migration_get_size_callback_t migration_callback_fac_get_size = nullptr;
migration_get_data_callback_t migration_callback_fac_get_data = nullptr;

namespace {

/** Guards creation and teardown of the two objects, never their use. */
std::mutex VBMigrationlock;

/** Set once the picture migrator exists and says that it is created; never reset, so that nothing starts up again after
 * migration_final(). */
std::atomic<bool> MigObjectCreated{false};

/** The one picture migrator, owned. */
std::atomic<VEMigration*> pVEMigration{nullptr};

/** The one strategy, owned and never freed. */
std::atomic<MigrationStrategy*> pMigStartegy{nullptr};

constexpr int kUnsupported = -2;

/** The TV main chip whose sets have the extended picture item table. */
constexpr int kExtendedItemsChip = 3;

VEMigration* NewMigrator()
{
    if (ReadConfig(MigrationCommon::miTVMainChip) == kExtendedItemsChip) {
        return new (std::nothrow) VEMigrationImpl<62>;
    }
    return new (std::nothrow) VEMigrationImpl<44>;
}

template <class Strategy>
MigrationStrategy* NewStrategy()
{
    try {
        return new (std::nothrow) Strategy;
    } catch (...) {  // of its path texts: the same as having no memory for the object
        return nullptr;
    }
}

struct StrategyOfYear {
    int year;
    MigrationStrategy* (*make)();
};

// By the TV code alone, although the names pair a TV with a box.
constexpr StrategyOfYear kStrategies[] = {
    {13, NewStrategy<MavoNufStratgegy>},
    {14, NewStrategy<MavoTeskStratgegy>},
    {15, NewStrategy<MavoMavoStratgegy>},
    {17, NewStrategy<RiloRiloStratgegy>},
};

const StrategyOfYear* FindStrategy(int year)
{
    for (const StrategyOfYear& entry : kStrategies) {
        if (entry.year == year) {
            return &entry;
        }
    }
    return nullptr;
}

void CreateAll()
{
    const std::lock_guard<std::mutex> lock(VBMigrationlock);
    LOG_INFO("Creating VBMigration ");
    LOG_INFO("migration_start ======> ");
    if (MigrationCommon::SetVornBoxSystemConfig() != 0) {
        LOG_ERROR("Fetch Information from System-Config-Info has been Failed. VBMigrationLib IS NOT SAFE for use...");
    } else {
        LOG_INFO("Fetch Information from System-Config-Info has been Success. VBMigrationLib IS SAFE for use...");
    }
    LOG_INFO("migration_start <====== ");
    if (pVEMigration == nullptr) {
        VEMigration* const migrator = NewMigrator();
        pVEMigration = migrator;
        if (migrator != nullptr) {
            migrator->Create();
        }
    }
    LOG_INFO("pVEMigration Created ");
    if (pVEMigration != nullptr && pVEMigration.load()->FlagCreate()) {
        MigObjectCreated = true;
    }
    LOG_INFO("OVer Creation VBMigration ");
}

/** Calls a strategy operation: 0 for true, -1 for false or without a strategy. */
template <class Operation>
int CallStrategy(Operation operation)
{
    MigrationStrategy* const strategy = get_Startegy();
    return strategy != nullptr && operation(*strategy) ? 0 : -1;
}

/** The item record that stands for an item id in calls of the migrator. */
VB_FactoryItemNode_t ItemNode(int itemId)
{
    VB_FactoryItemNode_t node = {};
    node.uiSpecialId = static_cast<unsigned int>(itemId);
    node.uiUniqueIndex = static_cast<unsigned int>(itemId);
    return node;
}

}  // namespace

// No exception leaves an exported function: what could throw stands in a function-try-block.

MigrationStrategy* GetMigrationStrategy(int year)
try {
    if (pMigStartegy != nullptr) {
        return pMigStartegy;
    }
    const std::lock_guard<std::mutex> lock(VBMigrationlock);
    if (pMigStartegy == nullptr) {
        LOG_INFO("GetMigrationStrategy::creating strategy ");
        LOG_INFO("TV Year is %d  ", year);
        const StrategyOfYear* const entry = FindStrategy(year);
        if (entry == nullptr) {
            LOG_ERROR("FATAL!! FATAL!!! FATAL!!! Wrong Year Passed ");
        }
        MigrationStrategy* const strategy = entry != nullptr ? entry->make() : nullptr;
        if (strategy != nullptr) {
            strategy->SetObserver(pVEMigration);
            pMigStartegy = strategy;
        } else {
            LOG_ERROR("new failed for strategy ");
        }
    }
    return pMigStartegy;
} catch (...) {
    return nullptr;
}

void migration_final()
try {
    LOG_INFO("migration_final  ");
    {
        const std::lock_guard<std::mutex> lock(VBMigrationlock);
        LOG_INFO("migration_final lock achieved");
        LOG_INFO("pMigrationService Deleted VBMigration ");
        // The strategy's own pointer stays as it is.
        std::unique_ptr<VEMigration> migrator(pVEMigration.exchange(nullptr));
        if (migrator != nullptr && migrator->FlagCreate()) {
            migrator->Destroy();
        }
        migrator.reset();
        LOG_INFO("pVEMigration destructed VBMigration ");
    }
    LOG_INFO("migration_final lock over");
} catch (...) {
}

extern "C" {

MigrationStrategy* get_Startegy(void)
try {
    LOG_INFO("get_Startegy VBMigration ");
    if (!MigObjectCreated) {
        CreateAll();
    }
    return GetMigrationStrategy(TvYear());
} catch (...) {
    return nullptr;
}

VEMigration* get_vemigration_instance(void)
try {
    LOG_INFO("get_vemigration_instance VBMigration ");
    if (!MigObjectCreated) {
        CreateAll();
    }
    return pVEMigration;
} catch (...) {
    return nullptr;
}

int migration_api_get_migration_free_memory(void)
{
    LOG_ENTRY();
    return kUnsupported;
}

int migration_api_notify_migration_status(VB_VornBoxMigrationType_k type, VB_VornBoxMigrationProgress_k progress,
                                          VB_VornBoxMigrationStatus_k* status)
try {
    LOG_ENTRY();
    if (status == nullptr) {
        LOG_ERROR("NULL Parameter Passed..");
        return -1;
    }
    return CallStrategy([&](MigrationStrategy& strategy) {
        return strategy.NotifyMigrationStatus(type, progress, status);
    });
} catch (...) {
    return -1;
}

int migration_api_restore_non_volatile_data(void)
try {
    LOG_ENTRY();
    return CallStrategy([](MigrationStrategy& strategy) { return strategy.RestoreNonVolatileData(); });
} catch (...) {
    return -1;
}

int migration_api_dump_non_volatile_data(void)
try {
    LOG_ENTRY();
    return CallStrategy([](MigrationStrategy& strategy) { return strategy.DumpNonVolatileData(); });
} catch (...) {
    return -1;
}

int migration_api_do_vornBox_store_data_sync(void)
{
    LOG_ENTRY();
    return kUnsupported;
}

int migration_api_do_vornBox_picture_data_sync(VB_VornBoxInfo_k direction)
try {
    LOG_ENTRY();
    const int result =
        CallStrategy([direction](MigrationStrategy& strategy) { return strategy.DoVornBoxDataSync(direction); });
    LOG_ENTRY();
    return result;
} catch (...) {
    return -1;
}

int migration_api_mountpartition(void)
{
    LOG_ENTRY();
    return kUnsupported;
}

int migration_api_set_factory_item(int item_id, int value)
try {
    LOG_ENTRY();
    if (get_vemigration_instance() == nullptr) {
        LOG_ERROR("Migration Instance is NULL");
        return -1;
    }
    const VB_FactoryItemNode_t node = ItemNode(item_id);
    LOG_INFO("Special ID[%d],Set Val[%d]", item_id, value);
    VEMigration* const migrator = get_vemigration_instance();  // asked again, as ever: the log shows both
    return migrator != nullptr && migrator->SetFactoryItem(&node, value) == 0 ? 0 : -1;
} catch (...) {
    return -1;
}

int migration_api_convert_factory_value_to_str(int item_id, int value, char* out)
try {
    LOG_ENTRY();
    if (out == nullptr) {
        return -1;
    }
    if (get_vemigration_instance() == nullptr) {
        LOG_ERROR("VEMigration Instance is NULL");
        return -1;
    }
    VB_FactoryItemNode_t node = ItemNode(item_id);
    LOG_INFO("Special ID[%d],Set Val[%d]", item_id, value);
    VEMigration* const migrator = get_vemigration_instance();
    if (migrator == nullptr || migrator->ConvertValueToStr(&node, value, out) != 0) {
        LOG_ERROR("Call to ConvertValueToStr Failed");
        return -1;
    }
    return 0;
} catch (...) {
    return -1;
}

int migration_api_get_vornBox_migration_test_data(int selector)
try {
    LOG_ENTRY();
    LOG_INFO("migration_api_get_vornBox_migration_test_data() called ");
    int result = -1;
    VEMigration* const migrator = get_vemigration_instance();
    if (migrator == nullptr) {
        LOG_ERROR("VEMigration Instance is NULL");
    } else if (migrator->GetVBMigrationTestData(selector) != 0) {
        LOG_ERROR("Call to GetVBMigrationTestData Failed");
    } else {
        result = 0;
    }
    LOG_ENTRY();
    return result;
} catch (...) {
    return -1;
}

int migration_api_assign_callback_getsize(migration_get_size_callback_t callback)
{
    LOG_ENTRY();
    if (callback == nullptr) {
        LOG_ERROR("migration_api_assign_callback_getsize is NULL");
        return -1;
    }
    migration_callback_fac_get_size = callback;
    return 0;
}

int migration_api_assign_callback_getdata(migration_get_data_callback_t callback)
{
    LOG_ENTRY();
    if (callback == nullptr) {
        LOG_ERROR("migration_api_assign_callback_getsize is NULL");  // the text of the other registration, as ever
        return -1;
    }
    migration_callback_fac_get_data = callback;
    return 0;
}

migration_get_size_callback_t funptrretSize(void)
{
    return migration_callback_fac_get_size;
}

migration_get_data_callback_t funptrretData(void)
{
    return migration_callback_fac_get_data;
}

int migration_api_SetResetTunerGPIO(void)
{
    return 0;  // the notifications hold and release the tuner; callers of old still call this
}

int migration_api_SetBootPartition(int partition)
try {
    return CallStrategy([partition](MigrationStrategy& strategy) { return strategy.SetBootPartition(partition); });
} catch (...) {
    return -1;
}

int migration_api_GetBootPartition(int* partition)
try {
    if (partition == nullptr) {
        return -1;
    }
    int value = 0;
    const int result =
        CallStrategy([&value](MigrationStrategy& strategy) { return strategy.GetBootPartition(&value); });
    if (result == 0) {
        *partition = value;
    }
    return result;
} catch (...) {
    return -1;
}

}  // extern "C"
