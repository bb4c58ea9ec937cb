// Building the picture file from the factory store.

#include <FactoryInterface.h>
#include <Log.h>
#include <PictureMigration.h>
#include <VBMigration.h>

#include <algorithm>
#include <new>

#define LOG_UNIT "PictureMigration.cpp"

namespace {

/** Asks for the size of an item's data; what is no size counts as none. */
int ItemSize(const char* operation, unsigned int uid, migration_get_size_callback_t callback)
{
    int size = 0;
    if (callback != nullptr) {
        callback(uid, &size);
        LOG_FOR(LOG_UNIT, operation, kLogInfo, "call back UID=%d , Size=%d\n", static_cast<int>(uid), size);
    } else {
        GetMigrationItemSize(uid, &size);
        LOG_FOR(LOG_UNIT, operation, kLogInfo, "Direct UID=%d , Size=%d\n", static_cast<int>(uid), size);
    }
    return size > 0 ? size : 0;
}

}  // namespace

PictureDataMigration::PictureDataMigration() noexcept
{
    LOG_ERROR("\n PictureDataMigration  Constructor VBMigration \n");  // a trace, at the priority it has always had
}

PictureDataMigration::~PictureDataMigration()
{
    LOG_INFO(" PictureDataMigration Destructor called \n");
}

void PictureDataMigration::t_SetPicMigrationPrint(bool on)
{
    mbPrint = on;
    LOG_INFO("\n PictureDataMigration::t_SetPicMigrationPrint() : Print %s \n", on ? "ON" : "OFF");
    LOG_INFO(" t_SetPictureFactoryPrint() \n");
}

int PictureDataMigration::t_StartMigration(unsigned int* uids, unsigned int count, const char* path, bool flag)
{
    LOG_INFO("\n t_StartMigration  verify\n");
    if (uids == nullptr || path == nullptr || count == 0) {
        LOG_ERROR("[PICMIGRATE] %s:(Error) Param is NULL : %s, %s, %s\n", "t_StartMigration",
                  uids == nullptr ? "MigArr_NULL" : ".", path == nullptr ? "SPIPath_NULL" : ".",
                  count == 0 ? "MigBuffSz_0" : ".");
        return kPictureFailure;
    }
    LOG_INFO("Write Data to SPI Flash\n");
    return m_CreateMigrationBuffer(uids, count, path, flag);
}

int PictureDataMigration::m_CreateMigrationBuffer(unsigned int* uids, unsigned int count, const char* path, bool)
{
    LOG_INFO("\n...START,  Making and saving individual data \n");
    const migration_get_size_callback_t callback = funptrretSize();
    const std::unique_ptr<int[]> sizes(new (std::nothrow) int[count]);
    std::uint64_t total = std::uint64_t{kRecordHeaderSize} * count;
    for (unsigned int i = 0; sizes != nullptr && i < count; ++i) {
        sizes[i] = ItemSize(__func__, uids[i], callback);
        total += static_cast<unsigned int>(sizes[i]);
    }
    LOG_INFO("Total Migration Buffer Size = %d\n", static_cast<int>(total));
    const PictureBuffer buffer = sizes != nullptr ? NewPictureBuffer(static_cast<std::int64_t>(total)) : nullptr;
    if (buffer == nullptr) {
        LOG_ERROR("\nMigration Buffer Creation Failure\n");
        return kPictureFailure;
    }
    unsigned char* record = buffer.get();
    for (unsigned int i = 0; i < count; ++i) {
        PicFactoryData item;
        item.UID = uids[i];
        item.Size = sizes[i];
        if (m_AppendItem(item, record) != kPictureOk) {
            return kPictureFailure;
        }
        record += kRecordHeaderSize + static_cast<std::size_t>(item.Size);
    }
    const int result = t_WriteToFlash(buffer.get(), static_cast<unsigned int>(total), path);
    if (result != kPictureOk) {
        LOG_ERROR("\t>>[PICMIGRATE] %s: File write %s \n", "m_CreateMigrationBuffer", "FAIL");
    }
    LOG_INFO("...END\n");
    return result;
}

/** Fetches an item and writes its record. */
int PictureDataMigration::m_AppendItem(PicFactoryData& item, unsigned char* record)
{
    constexpr const char* kOperation = "m_CreateMigrationBuffer";
    if (item.Size < 1) {
        // An item without data is fetched into no buffer, which fails: the store is refused, not shortened by an item.
        return m_GetFactoryBufferData(item, nullptr);
    }
    const PictureBuffer data = NewPictureBuffer(item.Size);
    if (data == nullptr) {
        LOG_FOR(LOG_UNIT, kOperation, kLogError, "pBuffer_Data new failed \n ");
        return kPictureFailure;
    }
    if (m_GetFactoryBufferData(item, data.get()) != kPictureOk) {
        LOG_FOR(LOG_UNIT, kOperation, kLogError, "Fetching data is incorrect ");
        return kPictureFailure;
    }
    StoreHeader(item, record);
    std::copy_n(data.get(), item.Size, record + kRecordHeaderSize);
    return kPictureOk;
}

/** Fetches the data of an item, exactly as many bytes as it reported, and its store type. */
int PictureDataMigration::m_GetFactoryBufferData(PicFactoryData& item, unsigned char* data)
{
    if (data == nullptr) {
        return kPictureFailure;
    }
    int ignoredLength = 0;
    const bool isCga = item.UID > kLastWordItemId;
    if (const migration_get_data_callback_t callback = funptrretData()) {
        if (callback(item.UID, &item.StoreType, &ignoredLength, data) != 1) {
            LOG_ERROR("\n PictureDataMigration::m_GetFactoryBufferData:callback -> GetMigrationItemData Failed \n ");
            return kPictureFailure;
        }
        const int value = LoggedValue(item.UID, data, static_cast<std::size_t>(item.Size));
        if (isCga) {
            LOG_INFO("call back data[CGI] %d\n", value);
        } else {
            LOG_INFO("call back data %d\n", value);
        }
        return kPictureOk;
    }
    if (GetMigrationItemData(item.UID, &item.StoreType, &ignoredLength, data) != 1) {
        LOG_ERROR("\n PictureDataMigration::m_GetFactoryBufferData:-> GetMigrationItemData Failed \n ");
        return kPictureFailure;
    }
    const int value = LoggedValue(item.UID, data, static_cast<std::size_t>(item.Size));
    if (isCga) {
        LOG_INFO("direct Data[CGI] %d\n", value);
    } else {
        LOG_INFO("direct Data %d\n", value);
    }
    return kPictureOk;
}

int PictureDataMigration::t_GetFactoryUIDData(unsigned int* uids, unsigned int count, int* values)
{
    LOG_INFO("...START\n");
    int result = -1;
    std::uint32_t buffer[256] = {};
    for (unsigned int i = 0; i < count; ++i) {
        // The result is the last item's alone: a failure before it is forgotten.
        if (GetData(uids[i], buffer) != 0) {
            values[i] = static_cast<int>(buffer[0]);
            result = 0;
        } else {
            LOG_ERROR("PictureDataMigration::t_GetFactoryUIDData : GetData API Failed");
            result = -1;
        }
    }
    LOG_INFO("...END\n");
    return result;
}
