/** @file
 * The platform's system information: what the set says of itself, by numeric key.
 */
#ifndef PLATFORM_SYSTEM_INFO_H
#define PLATFORM_SYSTEM_INFO_H

#ifdef __cplusplus
extern "C" {
#endif

/** Keys this library reads. */
enum {
    SYSTEM_INFO_KEY_CI_SLOTS = 241,     /**< int: number of common-interface slots */
    SYSTEM_INFO_KEY_BACKUP_PATH = 247,  /**< string: base path of the backup tree */
    SYSTEM_INFO_KEY_RESTORE_PATH = 248, /**< string: base path from which a restore reads */
    SYSTEM_INFO_KEY_VB_MAIN_CHIP = 251, /**< int: main chip of the box */
    SYSTEM_INFO_KEY_VB_YEAR = 252,      /**< int: model-year code of the box */
    SYSTEM_INFO_KEY_TV_MAIN_CHIP = 253, /**< int: main chip of the TV */
    SYSTEM_INFO_KEY_TV_YEAR = 254,      /**< int: model-year code of the TV */
    SYSTEM_INFO_KEY_DUOLINK = 705       /**< int: 1 when the duolink connection is supported */
};

/** Reads an integer.
 * @return 0 on success, and then @p value is written; anything else is a failure
 */
int system_info_get_value_int(int key, int* value);

/** Reads a text.
 * @param key    which one
 * @param value  receives a zero-terminated text that the caller releases with free()
 * @return 0 on success, and then @p value is written; anything else is a failure
 */
int system_info_get_value_string(int key, char** value);

#ifdef __cplusplus
}
#endif

#endif
