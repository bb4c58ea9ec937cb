/** @file
 * The picture file: built from the factory store, read back, written into the box.
 */
#pragma once

#include <PictureRecord.h>

#include <climits>
#include <cstddef>
#include <memory>
#include <new>
#include <vector>

// Picture result codes, 32 bits wide.
inline constexpr int kPictureOk = 0;                                      ///< success
inline constexpr int kPictureFailure = static_cast<int>(0x80000000U);     ///< any failure without a code of its own
inline constexpr int kPictureNoPath = static_cast<int>(0x80000008U);      ///< no path
inline constexpr int kPictureNoFile = static_cast<int>(0x80000010U);      ///< file missing, unopenable or empty
inline constexpr int kPictureOutOfRange = static_cast<int>(0x80000200U);  ///< item index names no item

/** A whole picture file, or the data of an item, in memory. */
using PictureBuffer = std::unique_ptr<unsigned char[]>;

/** Room for a picture file of so many bytes. @return null without memory or beyond what one file may have (2 GiB) */
inline PictureBuffer NewPictureBuffer(std::int64_t size)
{
    return PictureBuffer(size <= INT_MAX ? new (std::nothrow) unsigned char[static_cast<std::size_t>(size)]() : nullptr);
}

/** Moves picture items between the factory interface, or the callbacks registered in its place, and picture files.
 *
 * A picture file is a run of records (PictureRecord.h) in the order of the item ids that built it, without header, count
 * or checksum. The writers into the box stop at the first failure; what was written before stays written.
 */
class PictureDataMigration {
 public:
    PictureDataMigration() noexcept;
    virtual ~PictureDataMigration();
    PictureDataMigration(const PictureDataMigration&) = delete;
    PictureDataMigration& operator=(const PictureDataMigration&) = delete;

    /** Builds the picture file of some items in memory, then writes it.
     * @param uids   factory item ids
     * @param count  number of ids
     * @param path   created or truncated once the whole file is built
     * @return 0 or 0x80000000 (also when an item reports no data) */
    int t_StartMigration(unsigned int* uids, unsigned int count, const char* path, bool);

    /** Creates or truncates a file, writes and fsyncs it. @return 0 or 0x80000000 */
    int t_WriteToFlash(unsigned char* data, unsigned int size, const char* path);

    /** Reads a picture file.
     * @param path    the file
     * @param values  receives one 32-bit value per record: room for every record of the file is needed
     * @return 0, 0x80000010 (missing, unopenable or empty) or 0x80000000 (allocation, read, cut record); a record of 41 to
     * 255 bytes ends the process */
    int t_ReadMigrationSPIData(int* values, const char* path);

    /** The same, appended to @p values, which on failure has what came before it. */
    int ReadValues(const char* path, std::vector<int>& values);

    /** Asks the factory interface for the current values.
     * @param uids    factory item ids
     * @param count   number of ids
     * @param values  room for @p count values; a failed item's is left alone
     * @return 0, or -1 when the last item failed or @p count is 0 */
    int t_GetFactoryUIDData(unsigned int* uids, unsigned int count, int* values);

    /** Writes the records of a picture file into the factory store of the box. @return 0 or 0x80000000 */
    int t_WriteToVB(const char* path);

    /** Writes the records of the previous platform's enciphered backup into the factory store of the box.
     * @param path   the backup
     * @param uids   item ids that stand in, by position, for those in the backup
     * @param count  number of ids; more records than that are a failure
     * @return 0 or 0x80000000 */
    int t_WriteUlveyToVB(const char* path, unsigned int* uids, unsigned int count = UINT_MAX);

    /** Keeps a switch that nothing reads, and logs it. */
    void t_SetPicMigrationPrint(bool on);

 private:
    int m_CreateMigrationBuffer(unsigned int* uids, unsigned int count, const char* path, bool);
    int m_GetFactoryBufferData(PicFactoryData& item, unsigned char* data);
    int m_AppendItem(PicFactoryData& item, unsigned char* record);
    int m_WriteToFile(int fd, unsigned char* data, unsigned int size);
    int m_ReadFromFile(int fd, unsigned char* data, unsigned int size);

    bool mbPrint = false;
    bool mbReserved = false;
};
