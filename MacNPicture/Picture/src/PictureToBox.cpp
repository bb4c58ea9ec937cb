// Writing picture records into the factory store of the box.

#include <FactoryInterface.h>
#include <Log.h>
#include <PictureMigration.h>
#include <UniqueFd.h>
#include <VornBoxEncrypt.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#define LOG_UNIT "PictureMigration.cpp"

namespace {

struct FreeEncryptBuffer {
    void operator()(unsigned char* buffer) const { vb_free_buffer(buffer); }
};

bool SetItem(std::uint32_t uid, const PicFactoryData& header, const unsigned char* data)
{
    // The interface takes writable bytes but leaves them as they are.
    return SetMigrationItemData(uid, header.StoreType, const_cast<unsigned char*>(data),
                                static_cast<unsigned int>(header.Size)) == 1;
}

/** Logs how a store of one item went; both writers speak of the first one. */
bool LogItemSet(const char* operation, bool stored)
{
    if (!stored) {
        LOG_FOR(LOG_UNIT, operation, kLogError, "\t>>[PICMIGRATE] %s: call to SetMigrationItemData failed \n", operation);
        return false;
    }
    LOG_FOR(LOG_UNIT, operation, kLogInfo, "\n PictureDataMigration::t_WriteToVB:-> SetMigrationItemData sucess \n ");
    return true;
}

/** Writes the records of a picture file under the ids that stand in them. */
int WriteRecords(const PictureRecords& records)
{
    constexpr const char* kOperation = "t_WriteToVB";
    std::size_t cursor = 0;
    do {
        PicFactoryData header;
        if (!records.HeaderAt(cursor, header)) {
            return kPictureFailure;
        }
        if (!IsRecordSize(header.Size)) {
            LOG_FOR(LOG_UNIT, kOperation, kLogError, "UID[%d]:StoreType[%d]:Size[%d]", static_cast<int>(header.UID),
                    static_cast<int>(header.StoreType), header.Size);
            LOG_FOR(LOG_UNIT, kOperation, kLogError, "\n Size of UID is not correct!!\n");
            return kPictureFailure;
        }
        if (!records.HasData(cursor, header)) {
            return kPictureFailure;
        }
        const unsigned char* const data = records.DataAt(cursor);
        const std::size_t next = cursor + kRecordHeaderSize + static_cast<std::size_t>(header.Size);
        const int value = LoggedValue(header.UID, data, static_cast<std::size_t>(header.Size));
        if (header.UID > kLastWordItemId) {
            LOG_FOR(LOG_UNIT, kOperation, kLogInfo, "CGA Data written[%d]\n", value);  // said before it is done
        } else {
            LOG_FOR(LOG_UNIT, kOperation, kLogInfo, "\n Data written[%d]\n", value);
        }
        if (!LogItemSet(kOperation, SetItem(header.UID, header, data))) {
            return kPictureFailure;
        }
        cursor = next;
    } while (cursor < records.Length());
    return kPictureOk;
}

/** Writes the records of the previous platform's backup: its item ids differ from ours, so the n-th record goes to the
 * n-th id of the caller's, whatever id stands in it. */
int WriteUlveyRecords(const PictureRecords& records, const unsigned int* uids, unsigned int count)
{
    constexpr const char* kOperation = "t_WriteUlveyToVB";
    std::size_t cursor = 0;
    unsigned int position = 0;
    do {
        PicFactoryData header;
        if (!records.HeaderAt(cursor, header)) {
            return kPictureFailure;
        }
        if (!IsRecordSize(header.Size)) {
            LOG_FOR(LOG_UNIT, kOperation, kLogError, "\n Size of UID is not correct!!\n");
            LOG_FOR(LOG_UNIT, kOperation, kLogError, "UID[%d]:StoreType[%d]:Size[%d]", static_cast<int>(header.UID),
                    static_cast<int>(header.StoreType), header.Size);
            return kPictureFailure;
        }
        if (!records.HasData(cursor, header) || position >= count) {
            return kPictureFailure;
        }
        if (!LogItemSet(kOperation, SetItem(uids[position], header, records.DataAt(cursor)))) {
            return kPictureFailure;
        }
        cursor += kRecordHeaderSize + static_cast<std::size_t>(header.Size);
        ++position;
    } while (cursor < records.Length());
    return kPictureOk;
}

}  // namespace

int PictureDataMigration::t_WriteToVB(const char* path)
{
    LOG_INFO("Data reading from SPI Flash\n");
    LOG_INFO("file read from spi_flash t_WriteToVB() ");
    if (path == nullptr) {
        LOG_ERROR("SPIPath is NULL\n");
        return kPictureFailure;
    }
    struct stat status = {};
    if (stat(path, &status) != 0) {
        LOG_ERROR("[PICMIGRATE] %s: (Error) stat() \n", "t_WriteToVB");
        return kPictureFailure;
    }
    LOG_INFO("\n stat() sucess  verify\n");
    LOG_INFO("\n stat() sucess Size is %ld \n", static_cast<long>(status.st_size));
    UniqueFd file(open(path, O_RDONLY | O_CLOEXEC));
    if (!file.IsOpen()) {
        LOG_ERROR("\t>>[PICMIGRATE] %s:(Error:%d) File Open Failed \n", "t_WriteToVB", errno);
        return kPictureFailure;
    }
    if (status.st_size < 1) {
        LOG_ERROR("[PICMIGRATE] %s: (Error) Filesize less than one\n", "t_WriteToVB");
        return kPictureFailure;
    }
    LOG_INFO("[PICMIGRATE] %s: File Size is %d\n", "t_WriteToVB", static_cast<int>(status.st_size));
    const PictureBuffer buffer = NewPictureBuffer(status.st_size);
    if (buffer == nullptr) {
        LOG_ERROR("[PICMIGRATE] %s:(Error) pMigrationBuffer creation Failed() \n", "t_WriteToVB");
        return kPictureFailure;
    }
    const unsigned int size = static_cast<unsigned int>(status.st_size);
    if (m_ReadFromFile(file.Get(), buffer.get(), size) != kPictureOk) {
        LOG_ERROR("[PICMIGRATE] %s:(Error:%d) File Read Failed \n", "t_WriteToVB", errno);
        return kPictureFailure;
    }
    LOG_INFO("[PICMIGRATE] %s: File read %s \n", "t_WriteToVB", "SUCCESS");
    file.Close();
    return WriteRecords(PictureRecords(buffer.get(), size));
}

int PictureDataMigration::t_WriteUlveyToVB(const char* path, unsigned int* uids, unsigned int count)
{
    LOG_INFO("Ulvey Data verifying Path is :%s ", path);
    const long fileSize = vb_get_file_size(path);
    if (fileSize == 0) {
        LOG_ERROR("Either File Doesnot Exist or File is empty!!!\n");
        return kPictureFailure;
    }
    LOG_INFO(" vb_get_file_size returns File Size : %ld \n", fileSize);
    unsigned char* imported = nullptr;
    int length = 0;
    if (vb_import_buf(&imported, &length, path, 0) != 0) {
        LOG_ERROR("Migration Retrieve Failure\n");
        LOG_ERROR(" DATA LENGTH AFTER IMPORT FAILURE : %d \n", length);
        return kPictureFailure;  // a failed import leaves nothing to release
    }
    const std::unique_ptr<unsigned char, FreeEncryptBuffer> buffer(imported);
    LOG_INFO("Migration Retrieve Success\n");
    LOG_INFO(" DATA LENGTH AFTER IMPORT : %d \n", length);
    if (length <= 0 || buffer == nullptr) {
        return kPictureFailure;
    }
    return WriteUlveyRecords(PictureRecords(buffer.get(), static_cast<std::size_t>(length)), uids, count);
}
