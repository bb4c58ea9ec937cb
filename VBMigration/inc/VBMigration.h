/** @file
 * Everything that libVBMigration offers to its callers.
 *
 * The library moves a television's factory data (picture calibration items, MAC address, non-volatile backup) between
 * the TV and its connection box. It starts up lazily, inside the first call that needs it, in the caller's process and
 * thread; there is nothing to initialise. Every call blocks until its work is done, and a call that has to ask the
 * privileged migration service (D-Bus name com.vornbox.migration) may block for as long as the service takes. One
 * migration step at a time: the library does not serialise its callers.
 *
 * Unless a function says otherwise it returns 0 on success, -1 on failure (also when the set has no strategy or the
 * library could not allocate memory) and -2 when this library does not support the operation. No exception leaves any
 * of them. Why a call failed is in the platform log, tag "MIGVBX", priority 6, for
 * all but a few failures.
 *
 * What the service does is taken on trust: without a bus, without a service, or after its time-out, a service call reads
 * as a success (status 0). Do not cancel a thread inside a call, and do not call from a thread that has pushed a GLib
 * thread-default main context: replies are awaited on the default one.
 *
 * A backup is notify(BACKUP, START), dump, notify(BACKUP, END); a restore is notify(RESTORE, START), restore,
 * notify(RESTORE, END). Send END also after a failed START: a START without END counts as a migration that was cut.
 */
#ifndef VB_MIGRATION_H
#define VB_MIGRATION_H

#include <stdint.h>

/* 32 bits wide in C and C++ alike, and any value may be passed: values without a name have documented results too. */
/* @cond */
#ifdef __cplusplus
#define VB_MIGRATION_ENUM(name) enum name : int32_t
#else
#define VB_MIGRATION_ENUM(name) \
    typedef int32_t name;       \
    enum
#endif
/* @endcond */

/** What is being done to the set's data. Other values are refused, except on a set with TV code 13: see there. */
VB_MIGRATION_ENUM(VB_VornBoxMigrationType_k){
    VB_MIGRATION_TYPE_BACKUP = 2,  /**< a backup of the set's data */
    VB_MIGRATION_TYPE_RESTORE = 3, /**< a restore of the set's data */
};

/** Where a backup or restore stands. With other values the notification fails, which unmounts and lowers the flag. */
VB_MIGRATION_ENUM(VB_VornBoxMigrationProgress_k){
    VB_MIGRATION_PROGRESS_START = 0, /**< it begins */
    VB_MIGRATION_PROGRESS_END = 1,   /**< it has ended */
};

/** How a notification went. */
VB_MIGRATION_ENUM(VB_VornBoxMigrationStatus_k){
    VB_MIGRATION_STATUS_SUCCESS = 0,       /**< its work succeeded */
    VB_MIGRATION_STATUS_UNKNOWN_ERROR = 2, /**< its work failed, or the type was wrong */
};

/** Direction of a picture data sync; 4 and above, and negative values, are logged as invalid and ignored. */
VB_MIGRATION_ENUM(VB_VornBoxInfo_k){
    VB_INFO_VB_FAC_TO_TV_SPI = 0,  /**< from the factory store of the box into the TV's service file */
    VB_INFO_TV_SPI_TO_VB_FAC = 1,  /**< from the TV's service file into the factory store of the box */
    VB_INFO_MIGRATION_EVENT_2 = 2, /**< accepted, no work */
    VB_INFO_MIGRATION_EVENT_3 = 3, /**< accepted, no work */
};

#undef VB_MIGRATION_ENUM

#ifdef __cplusplus
extern "C" {
#endif

/** Stands in for the factory interface's item size query.
 * @param uid   factory item id
 * @param size  receives the size of the item's data in bytes
 * @return ignored
 */
typedef int (*migration_get_size_callback_t)(unsigned int uid, int* size);

/** Stands in for the factory interface's item data query.
 * @param uid        factory item id
 * @param storeType  receives the item's store type
 * @param length     may receive a length; ignored
 * @param data       receives exactly as many bytes as the size query gave
 * @return 1 on success, anything else is a failure
 */
typedef int (*migration_get_data_callback_t)(unsigned int uid, unsigned int* storeType, int* length,
                                             unsigned char* data);

#ifdef __cplusplus
}

class MigrationStrategy;
class VEMigration;
#else
typedef struct MigrationStrategy MigrationStrategy;
typedef struct VEMigration VEMigration;
#endif

#pragma GCC visibility push(default)

#ifdef __cplusplus
extern "C" {
#endif

/** The registered size query, null until migration_api_assign_callback_getsize(). */
extern migration_get_size_callback_t migration_callback_fac_get_size;

/** The registered data query, null until migration_api_assign_callback_getdata(). */
extern migration_get_data_callback_t migration_callback_fac_get_data;

/** @return always -2 */
int migration_api_get_migration_free_memory(void);

/** Tells the library that a backup or restore begins or has ended.
 *
 * START looks for an interrupted migration (and re-formats the migration partition if there was one), raises the power
 * flag in EEPROM, holds the tuner still, mounts the partition (formats it when that fails) and has the old backup
 * cleaned away (backup) or the backup unpacked (restore; refused after an interrupted migration). END has the backup
 * packed (backup), unmounts, releases the tuner and lowers the power flag. A failure runs that clean-up too. Blocks for
 * up to 3 s while the link to the box locks, twice that for a backup after an interrupted migration, and for as long as
 * the service takes.
 *
 * On a set with TV code 13 the types are 0 (backup) and 1 (restore) and every other type fails; there is no power flag,
 * tuner, mount or clean-up: START cleans (backup) or has the service fetch the archive and unpacks it (restore), END has
 * it packed and sent (backup).
 *
 * @param type      what is being done
 * @param progress  where it stands
 * @param status    receives the outcome; null fails
 */
int migration_api_notify_migration_status(VB_VornBoxMigrationType_k type, VB_VornBoxMigrationProgress_k progress,
                                          VB_VornBoxMigrationStatus_k* status);

/** Restores the MAC address into the TV's EEPROM, then the picture items into the factory store of the box.
 *
 * Always fails on sets with TV code 15 or 17, which have nothing to restore. When the MAC address cannot be restored the
 * picture items are not either. One restore per process: a second one looks below the folder that the first one chose.
 */
int migration_api_restore_non_volatile_data(void);

/** Saves the MAC address into the raw MAC block and the picture items into the backup folder.
 *
 * Reports failure whenever the MAC address was not saved by the service: also when this process could write the raw MAC
 * block itself, when the block already held an address, and always with TV code 13 or 14. The picture items are saved all
 * the same, unless the partition could not be mounted or the backup folder not be made; the latter alone is no failure.
 */
int migration_api_dump_non_volatile_data(void);

/** @return always -2 */
int migration_api_do_vornBox_store_data_sync(void);

/** Copies the picture items between the factory store of the box and the TV's service file; mounts nothing. */
int migration_api_do_vornBox_picture_data_sync(VB_VornBoxInfo_k direction);

/** @return always -2 */
int migration_api_mountpartition(void);

/** Stores the picture items in the service file, or loads them from it.
 *
 * Mounts the data_sync partition first, and does not unmount it. When it cannot be mounted it is formatted, after which
 * no mount is tried. A load sets all values to 0 before it looks at the file. A load of a file with a record of 41 to
 * 255 bytes of data ends the process: no such file may be there.
 *
 * @param item_id  1713 stores; 1714, 1715 and 1778 load; any other id fails
 * @param value    1; any other value fails
 */
int migration_api_set_factory_item(int item_id, int value);

/** Gives the value of one picture item, as last loaded or verified, as decimal text.
 *
 * @param item_id  1716 to 1759, on a 62-item set also 1779 to 1796, in item-table order; any other id fails
 * @param value    logged only
 * @param out      receives at most 9 characters and a terminator: at least 10 bytes; null fails
 */
int migration_api_convert_factory_value_to_str(int item_id, int value, char* out);

/** Answers the factory test query; its only output is the result and the log. Selector 20 reads the service file as a load
 * does.
 *
 * @param selector  20 compares the service file with the factory store; 8, 9, 10 and any other value succeed exactly
 *                  when the service file exists
 */
int migration_api_get_vornBox_migration_test_data(int selector);

/** Registers a size query to be used instead of the factory interface's, before migration work starts.
 * @param callback  null fails and keeps the earlier registration
 */
int migration_api_assign_callback_getsize(migration_get_size_callback_t callback);

/** Registers a data query to be used instead of the factory interface's, before migration work starts.
 * @param callback  null fails and keeps the earlier registration
 */
int migration_api_assign_callback_getdata(migration_get_data_callback_t callback);

/** @return the registered size query, or null */
migration_get_size_callback_t funptrretSize(void);

/** @return the registered data query, or null */
migration_get_data_callback_t funptrretData(void);

/** @return always 0, without any effect */
int migration_api_SetResetTunerGPIO(void);

/** Selects the boot partition, through the service; only a set with TV code 13 supports it.
 * Succeeds also without a service. */
int migration_api_SetBootPartition(int partition);

/** Reads the boot partition, through the service; only a set with TV code 13 supports it.
 * @param partition  receives the number on success, -1 if that was for want of a service, and is left alone on failure;
 *                   null fails
 */
int migration_api_GetBootPartition(int* partition);

/** The strategy for this set's TV code, made by the first call.
 * @return null when the TV code has none (it has for 13, 14, 15 and 17); a later call tries again
 */
MigrationStrategy* get_Startegy(void);

/** The picture migrator, made by the first call.
 * @return null when it could not be made (a later call tries again), and after migration_final() of a library that had
 *         started up
 */
VEMigration* get_vemigration_instance(void);

#ifdef __cplusplus
}

/** The strategy, made by the first call.
 * @param year  TV code: 13, 14, 15 or 17; looked at only as long as there is no strategy
 * @return null when @p year has none
 */
MigrationStrategy* GetMigrationStrategy(int year);

/** Destroys the picture migrator, and only it: the strategy keeps living with a dangling pointer to it, and the library
 * does not start up again once it had. Make no call of a strategy operation after it. */
void migration_final();

/** What the platform's system information said of the set at start-up, and the shell runner. */
class MigrationCommon {
 public:
    /** Reads keys 254, 252, 253, 251 and 705. A key that cannot be read leaves its variable as it was; 705 gives false.
     * @return -1 when the TV year cannot be read and no later key can either, else 0
     */
    static int SetVornBoxSystemConfig();

    /** Runs a command line through /bin/sh -c, here or on the migration service, and waits for it.
     *
     * @param command  the command line
     * @param bServer  true: on the service
     * @return here: the exit status (0 also when a signal killed the command), 255 when the wait failed, -1 when no
     *         child could be started; on the service: the status it reports, 0 when the call itself failed, -1 without
     *         a client, for null, and for a reply that names another request; -1 also without memory
     */
    static int ExecuteUserShell(const char* command, bool bServer);

    static int miTVYear;      /**< TV model-year code, -1 until read (key 254) */
    static int miVBYear;      /**< box model-year code, -1 until read (key 252) */
    static int miTVMainChip;  /**< TV main chip, -1 until read (key 253); 3 selects the 62-item picture migrator */
    static int miVBMainChip;  /**< box main chip, -1 until read (key 251) */
    static bool bDLSupported; /**< duolink support: key 705 gave 1 */
};
#endif

#pragma GCC visibility pop

#endif
