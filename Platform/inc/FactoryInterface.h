/** @file
 * The factory interface: the picture items in the factory store of the box.
 */
#ifndef PLATFORM_FACTORY_INTERFACE_H
#define PLATFORM_FACTORY_INTERFACE_H

#ifdef __cplusplus
extern "C" {
#endif

/** The platform's record of one factory item: 45 words of 32 bits, of which this library reads two. */
typedef struct {
    unsigned int auiPlatform0[18];  /**< words 0 to 17, the platform's own */
    unsigned int uiSpecialId;       /**< word 18: which operation on the items is asked for */
    unsigned int uiUniqueIndex;     /**< word 19: which item value is asked for */
    unsigned int auiPlatform20[25]; /**< words 20 to 44, the platform's own */
} VB_FactoryItemNode_t;

/** Asks how many bytes the data of an item has.
 * @param uid   factory item id
 * @param size  receives the size in bytes
 * @return not to be relied on
 */
int GetMigrationItemSize(unsigned int uid, int* size);

/** Fetches the data of an item.
 * @param uid        factory item id
 * @param storeType  receives the item's store type, to be handed back unchanged when the item is stored
 * @param length     receives a length; not to be relied on
 * @param data       receives exactly as many bytes as GetMigrationItemSize() gave
 * @return 1 on success
 */
int GetMigrationItemData(unsigned int uid, unsigned int* storeType, int* length, unsigned char* data);

/** Stores the data of an item in the factory store.
 * @param uid        factory item id
 * @param storeType  what GetMigrationItemData() gave for the item
 * @param data       its data, left as they are
 * @param size       number of bytes at @p data
 * @return 1 on success
 */
int SetMigrationItemData(unsigned int uid, unsigned int storeType, unsigned char* data, unsigned int size);

/** Fetches the current value of an item.
 * @param uid     factory item id
 * @param buffer  1024 bytes; its first 32-bit word receives the value
 * @return non-zero on success
 */
int GetData(unsigned int uid, void* buffer);

/** Has the factory data written to their storage.
 * @param mode    5 after a migration step
 * @param tvYear  model-year code of the TV
 * @return not to be relied on
 */
int DoVornBoxFactoryDatasSync(int mode, int tvYear);

#ifdef __cplusplus
}
#endif

#endif
