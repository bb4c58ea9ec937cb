/* A caller in plain C: the header with every warning on, every function by its type, and a few calls. */
#include <VBMigration.h>

#include <stdio.h>

typedef char TypeIs32Bits[sizeof(VB_VornBoxMigrationType_k) == 4 ? 1 : -1];
typedef char ProgressIs32Bits[sizeof(VB_VornBoxMigrationProgress_k) == 4 ? 1 : -1];
typedef char StatusIs32Bits[sizeof(VB_VornBoxMigrationStatus_k) == 4 ? 1 : -1];
typedef char InfoIs32Bits[sizeof(VB_VornBoxInfo_k) == 4 ? 1 : -1];
typedef char ValuesAreFixed[VB_MIGRATION_TYPE_BACKUP == 2 && VB_MIGRATION_TYPE_RESTORE == 3 &&
                                    VB_MIGRATION_PROGRESS_START == 0 && VB_MIGRATION_PROGRESS_END == 1 &&
                                    VB_MIGRATION_STATUS_SUCCESS == 0 && VB_MIGRATION_STATUS_UNKNOWN_ERROR == 2 &&
                                    VB_INFO_VB_FAC_TO_TV_SPI == 0 && VB_INFO_TV_SPI_TO_VB_FAC == 1
                                ? 1
                                : -1];

static int SizeOfAnItem(unsigned int uid, int* size)
{
    *size = (int)(uid % 4 + 1);
    return 1;
}

static int DataOfAnItem(unsigned int uid, unsigned int* storeType, int* length, unsigned char* data)
{
    *storeType = uid;
    *length = 1;
    *data = 1;
    return 1;
}

static int failures = 0;

static void Expect(int isSo, const char* what)
{
    if (!isSo) {
        printf("not so: %s\n", what);
        ++failures;
    }
}

#define EXPECT(condition) Expect(condition, #condition)

int main(void)
{
    int (*const plainCalls[])(void) = {
        migration_api_get_migration_free_memory,  migration_api_restore_non_volatile_data,
        migration_api_dump_non_volatile_data,     migration_api_do_vornBox_store_data_sync,
        migration_api_mountpartition,             migration_api_SetResetTunerGPIO,
    };
    int (*const notify)(VB_VornBoxMigrationType_k, VB_VornBoxMigrationProgress_k, VB_VornBoxMigrationStatus_k*) =
        migration_api_notify_migration_status;
    int (*const sync)(VB_VornBoxInfo_k) = migration_api_do_vornBox_picture_data_sync;
    int (*const setItem)(int, int) = migration_api_set_factory_item;
    int (*const convert)(int, int, char*) = migration_api_convert_factory_value_to_str;
    int (*const numberCalls[])(int) = {migration_api_get_vornBox_migration_test_data, migration_api_SetBootPartition};
    int (*const getBoot)(int*) = migration_api_GetBootPartition;
    MigrationStrategy* (*const strategy)(void) = get_Startegy;
    VEMigration* (*const migrator)(void) = get_vemigration_instance;

    EXPECT(plainCalls[0]() == -2 && plainCalls[3]() == -2 && plainCalls[4]() == -2 && plainCalls[5]() == 0);
    EXPECT(notify(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_START, 0) == -1);
    EXPECT(sync != 0 && setItem != 0 && convert(1716, 0, 0) == -1 && numberCalls[0] != 0 && numberCalls[1] != 0);
    EXPECT(getBoot(0) == -1 && strategy != 0 && migrator != 0);
    EXPECT(migration_callback_fac_get_size == 0 && migration_callback_fac_get_data == 0);
    EXPECT(migration_api_assign_callback_getsize(SizeOfAnItem) == 0 && funptrretSize() == SizeOfAnItem);
    EXPECT(migration_api_assign_callback_getdata(DataOfAnItem) == 0 && funptrretData() == DataOfAnItem);
    EXPECT(migration_callback_fac_get_size == SizeOfAnItem && migration_callback_fac_get_data == DataOfAnItem);
    return failures == 0 ? 0 : 1;
}
