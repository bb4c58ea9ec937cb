/** @file
 * The picture migrator as the rest of the library sees it.
 */
#pragma once

#include <FactoryInterface.h>
#include <VBMigration.h>

#include <string>

/** Moves the picture items between the factory store of the box and files on the TV or in a backup.
 *
 * An int result is 0 on success, else -1 or a picture result code (PictureMigration.h); the restores return true on
 * success. Sync and test query also give 0 when the migrator is not created. The order of the virtual operations is
 * part of the interface. An operation that a migrator does not override counts as failing.
 */
class VEMigration {
 public:
    virtual ~VEMigration() = default;

    /** @return 0 when the migrator was created, -1 when it is created already or memory is short */
    virtual int Create() = 0;
    /** @return 0, or -1 when the migrator is not created */
    virtual int Destroy() = 0;
    /** @return whether the migrator is created */
    virtual bool FlagCreate() = 0;

    /** Writes the items into "PictureMigrationData.dat" in a backup directory.
     * @param path  the directory, ending in "/" */
    virtual int DumpNonVolatileData(std::string path);
    /** Writes the items of "PictureMigrationData.dat" in a backup directory into the box. */
    virtual bool RestoreNonVolatileData(std::string path);
    /** The same from the enciphered backup of the previous platform.
     * @param path  the directory of the backup, ending in "/"
     * @param uids  item ids by position, as GetUIDArray() gives them: the backup's own ids differ */
    virtual bool RestoreNonVolatileDataUlvey(std::string path, unsigned int* uids);
    /** Copies the items between box and service file. @return 0 also for a direction without work */
    virtual int DoVornBoxDataSync(VB_VornBoxInfo_k direction);

    /** Stores or loads the service file, by the item's special id. */
    virtual int SetFactoryItem(const VB_FactoryItemNode_t* item, int value) = 0;
    /** Writes the value last loaded or verified for the item's unique index as decimal text, 0 before that.
     * @param item   its uiUniqueIndex names the value
     * @param value  ignored
     * @param out    at least 10 bytes; left alone when the index names no item */
    virtual int ConvertValueToStr(VB_FactoryItemNode_t* item, int value, char* out) = 0;
    /** Answers the factory test query. */
    virtual int GetVBMigrationTestData(int code) = 0;
    /** Compares the service file with the factory store. */
    virtual int m_VerifyVornBoxDataSync() = 0;
    /** @return the item ids in item-table order; the caller knows how many */
    virtual unsigned int* GetUIDArray();
};
