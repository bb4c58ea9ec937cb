#include <Log.h>
#include <MigrationPath.h>
#include <MigrationStrategy.h>
#include <VEMigrationImpl.h>

#include <sys/stat.h>

#include <algorithm>
#include <new>

#define LOG_UNIT "VEMigration.cpp"

namespace {

// Item ids of both tables up to position 43; the extended table goes on with the CGA items.
constexpr int kStandardItems = 44;
constexpr int kExtendedItems = 62;
constexpr int kItemTable[kExtendedItems] = {
    79,   80,   81,   83,   84,   85,   167,  168,  169,  170,  95,   96,   97,   98,
    535,  545,  555,  536,  546,  556,  537,  547,  557,  538,  548,  558,  539,  549,
    559,  540,  550,  560,  541,  551,  561,  542,  552,  562,  543,  553,  563,  544,
    554,  564,  1760, 1761, 1762, 1763, 1764, 1765, 1766, 1767, 1768, 1769, 1770, 1771,
    1772, 1773, 1774, 1775, 1776, 1777,
};

// Unique indexes under which single values are asked for; 1760 to 1778 name no item.
constexpr unsigned int kFirstIndex = 1716;
constexpr unsigned int kFirstExtendedIndex = 1779;

// Special ids of SetFactoryItem.
constexpr unsigned int kStoreId = 1713;
constexpr unsigned int kLoadIds[] = {1714, 1715, 1778};

constexpr int kValueTextSize = 10;

const char* const kBackupFileName = "PictureMigrationData.dat";

std::string ServiceFilePath()
{
    return MigrationPath("migration/service/PictureData.dat");
}

/** @return the position of the item with a unique index among n items, -1 without one */
int PositionOf(unsigned int uniqueIndex, int n)
{
    if (uniqueIndex >= kFirstIndex && uniqueIndex < kFirstIndex + kStandardItems) {
        return static_cast<int>(uniqueIndex - kFirstIndex);
    }
    if (n == kExtendedItems && uniqueIndex >= kFirstExtendedIndex &&
        uniqueIndex < kFirstExtendedIndex + (kExtendedItems - kStandardItems)) {
        return kStandardItems + static_cast<int>(uniqueIndex - kFirstExtendedIndex);
    }
    return -1;
}

/** Mounting needs no strategy, so that items can be stored and loaded on sets that have none. */
bool MountDataSyncPartition()
{
    MigrationStrategy* const strategy = get_Startegy();
    return strategy != nullptr ? strategy->DataSyncPartitionMount() : MigrationStrategy::MountDataSync();
}

const char* VerifyResultWord(int result)
{
    switch (result) {
        case kPictureOk: return "OK";
        case kPictureFailure: return "ERROR";
        case kPictureNoFile: return "SPI FLASH ERROR";
        case kPictureNoPath: return "SPI PATH IS NULL";
        default: return "ETC ERROR";
    }
}

/** What the factory tool is told of a test without a service file. */
void LogMissingServiceFile(const char* operation, int code)
{
    switch (code) {
        case 8:
            LOG_FOR(LOG_UNIT, operation, kLogError, "8   : White Balance (All Offset/ All Gain) : NULL  ");
            break;
        case 9: LOG_FOR(LOG_UNIT, operation, kLogError, "9   : MGA (Gain) :  NULL   "); break;
        case 10: LOG_FOR(LOG_UNIT, operation, kLogError, "10  : CGA (Gain) : NULL   "); break;
        case 20: LOG_FOR(LOG_UNIT, operation, kLogError, "Verification Failed   "); break;
        default: break;
    }
    LOG_FOR(LOG_UNIT, operation, kLogError, " GetMigration Test FAIL :");
}

}  // namespace

int VEMigration::DumpNonVolatileData(std::string)
{
    return -1;
}

bool VEMigration::RestoreNonVolatileData(std::string)
{
    return false;
}

bool VEMigration::RestoreNonVolatileDataUlvey(std::string, unsigned int*)
{
    return false;
}

int VEMigration::DoVornBoxDataSync(VB_VornBoxInfo_k)
{
    return -1;
}

unsigned int* VEMigration::GetUIDArray()
{
    return nullptr;
}

template <int N>
int VEMigrationImpl<N>::m_i32SpiData[N] = {};

template <int N>
VEMigrationImpl<N>::VEMigrationImpl() noexcept
{
    LOG_ERROR("\n VEMigration VBMigration \n");  // a trace, at the priority it has always had
}

template <int N>
VEMigrationImpl<N>::~VEMigrationImpl()
{
    LOG_INFO("Destructor called ");
    VEMigrationImpl::Destroy();
}

template <int N>
int VEMigrationImpl<N>::Create()
{
    LOG_INFO("VEMigration::Create VBMigration ");
    if (FlagCreate()) {
        return -1;
    }
    if (N == kExtendedItems) {
        CreateOLEDArray();
    } else {
        CreateArray();
    }
    mPictureMigration.reset(new (std::nothrow) PictureDataMigration);
    mbFlagCreate = mPictureMigration != nullptr;
    LOG_INFO(" VEMigration::Create VBMigration ");
    return mbFlagCreate ? 0 : -1;
}

template <int N>
void VEMigrationImpl<N>::CreateArray()
{
    LOG_INFO(" VEMigration::CreateArray ");
    std::copy_n(kItemTable, N, mUidArray);
}

template <int N>
void VEMigrationImpl<N>::CreateOLEDArray()
{
    LOG_INFO(" VEMigration::CreateOLEDArray ");
    std::copy_n(kItemTable, N, mUidArray);
}

template <int N>
int VEMigrationImpl<N>::Destroy()
{
    if (!VEMigrationImpl::FlagCreate()) {
        return -1;
    }
    mPictureMigration.reset();
    mbFlagCreate = false;
    return 0;
}

template <int N>
bool VEMigrationImpl<N>::FlagCreate()
{
    return mbFlagCreate;
}

template <int N>
unsigned int* VEMigrationImpl<N>::GetUIDArray()
{
    return mUidArray;
}

template <int N>
bool VEMigrationImpl<N>::MakeAndCheckCompletePath(std::string& path)
{
    path += kBackupFileName;
    return true;
}

template <int N>
int VEMigrationImpl<N>::SetFactoryItem(const VB_FactoryItemNode_t* item, int value)
{
    LOG_INFO("VEMigration::SetFactoryItem called ");
    if (!mbFlagCreate) {
        LOG_ERROR("VEMigration::SetFactoryItem-> bFlagCreate is false : Construcor not called ");
        return -1;
    }
    const unsigned int specialId = item->uiSpecialId;
    LOG_INFO("UID&SID : %d, SetValue = %d", static_cast<int>(specialId), value);
    const bool isLoad = std::find(std::begin(kLoadIds), std::end(kLoadIds), specialId) != std::end(kLoadIds);
    if (value != 1 || (!isLoad && specialId != kStoreId)) {
        return -1;
    }
    return isLoad ? LoadServiceFile() : StoreServiceFile();
}

/** Stores the items of the box in the service file; the partition stays mounted. */
template <int N>
int VEMigrationImpl<N>::StoreServiceFile()
{
    constexpr const char* kOperation = "SetFactoryItem";
    constexpr int kId = static_cast<int>(kStoreId);
    if (!MountDataSyncPartition()) {
        LOG_FOR(LOG_UNIT, kOperation, kLogError, " VEMigration::SetFactoryItem[%d] :mount is failed (%d) ", kId, -1);
        return -1;
    }
    const int result = mPictureMigration->t_StartMigration(mUidArray, N, ServiceFilePath().c_str(), true);
    if (result != kPictureOk) {
        LOG_FOR(LOG_UNIT, kOperation, kLogError, " VEMigration::SetFactoryItem[%d] Failed  [%d] ", kId, result);
    }
    return result;
}

/** Loads the service file into the item values; the partition stays mounted. */
template <int N>
int VEMigrationImpl<N>::LoadServiceFile()
{
    if (!MountDataSyncPartition()) {
        LOG_FOR(LOG_UNIT, "SetFactoryItem", kLogError, " VEMigration::SetFactoryItem :mount is failed (%d) ", -1);
        return -1;
    }
    return ReadServiceFile();
}

/** Reads the first N values of the service file; positions without a record are 0. */
template <int N>
int VEMigrationImpl<N>::ReadServiceFile()
{
    std::fill(std::begin(m_i32SpiData), std::end(m_i32SpiData), 0);
    std::vector<int> values;
    const int result = mPictureMigration->ReadValues(ServiceFilePath().c_str(), values);
    std::copy_n(values.begin(), std::min<std::size_t>(values.size(), N), m_i32SpiData);
    return result;
}

template <int N>
int VEMigrationImpl<N>::ConvertValueToStr(VB_FactoryItemNode_t* item, int, char* out)
{
    LOG_INFO("VEMigration::ConvertValueToStr %d", N);
    const int position = PositionOf(item->uiUniqueIndex, N);
    if (position < 0) {
        return kPictureOutOfRange;
    }
    LOG_INFO(" UID[%d]:: Values[%d] ", static_cast<int>(item->uiUniqueIndex), m_i32SpiData[position]);
    // Cut to what callers' buffers hold, nine characters: a longer value loses its last digits.
    const std::string text = std::to_string(m_i32SpiData[position]);
    out[text.copy(out, kValueTextSize - 1)] = '\0';
    return kPictureOk;
}

template <int N>
int VEMigrationImpl<N>::DoVornBoxDataSync(VB_VornBoxInfo_k direction)
{
    LOG_INFO("DoVornBoxDataSync(%d)", static_cast<int>(direction));
    if (!mbFlagCreate) {
        LOG_ERROR("mbFlagCreate is false : Construcor not called ");
        return 0;
    }
    int result = kPictureOk;
    switch (direction) {
        case VB_INFO_VB_FAC_TO_TV_SPI:
            LOG_INFO("[VIDEOENH]DoVornBoxDataSync: VB_FAC TO TV_SPI_FLASH_SERVICE");
            result = mPictureMigration->t_StartMigration(mUidArray, N, ServiceFilePath().c_str(), true);
            if (result != kPictureOk) {
                LOG_ERROR(" DoVornBoxDataSync: VB_FAC TO TV_SPI_FLASH_SERVICE : Failed  [%d] ", result);
            }
            break;
        case VB_INFO_TV_SPI_TO_VB_FAC:
            LOG_INFO("[VIDEOENH]DoVornBoxDataSync:TV_SPI_FLASH_SERVICE TO VB_FAC ");
            result = mPictureMigration->t_WriteToVB(ServiceFilePath().c_str());
            if (result != kPictureOk) {
                LOG_ERROR(" TV_SPI_FLASH_SERVICE TO VB_FAC:Failed  [%d] ", result);
            }
            break;
        case VB_INFO_MIGRATION_EVENT_2:
        case VB_INFO_MIGRATION_EVENT_3:
            LOG_INFO("Migration Event(%d)", static_cast<int>(direction));
            break;
        default:
            LOG_ERROR("Invalid combination of VB and TV ");  // and yet a success: there was nothing to do
            break;
    }
    return result;
}

template <int N>
int VEMigrationImpl<N>::DumpNonVolatileData(std::string path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        LOG_ERROR(" VEMigration : Base Path %s not created !!!", path.c_str());
        return kPictureFailure;
    }
    LOG_INFO(" stat() sucess\tverify ");
    MakeAndCheckCompletePath(path);
    LOG_INFO("Dumping Picture data @ [%s] ", path.c_str());
    if (!mbFlagCreate) {
        LOG_ERROR(" VEMigration Flag not created...");
        return kPictureFailure;
    }
    if (mPictureMigration->t_StartMigration(mUidArray, N, path.c_str(), false) != kPictureOk) {
        LOG_ERROR("DumpNonVolatileData Failed [%d] ", kPictureFailure);
        return kPictureFailure;
    }
    LOG_INFO(" DUMPING OF PictureData Succeeded  ");
    return kPictureOk;
}

template <int N>
bool VEMigrationImpl<N>::RestoreNonVolatileData(std::string path)
{
    if (!mbFlagCreate) {
        LOG_ERROR(" VEMigration Flag not created...");
        return false;
    }
    MakeAndCheckCompletePath(path);
    LOG_INFO("Restorting from Picture data @ [%s]", path.c_str());
    if (mPictureMigration->t_WriteToVB(path.c_str()) != kPictureOk) {
        LOG_ERROR("\tRestoreNonVolatileData Failed [%d] ", kPictureFailure);
        return false;
    }
    return true;
}

template <int N>
bool VEMigrationImpl<N>::RestoreNonVolatileDataUlvey(std::string path, unsigned int* uids)
{
    if (!mbFlagCreate) {
        LOG_ERROR(" VEMigration Flag not created...");
        return false;
    }
    MakeAndCheckCompletePath(path);
    LOG_INFO("Restorting from Picture data @ [%s]", path.c_str());
    if (mPictureMigration->t_WriteUlveyToVB(path.c_str(), uids, N) != kPictureOk) {
        LOG_ERROR("\tRestoreNonVolatileData Failed [%d] ", kPictureFailure);
        return false;
    }
    return true;
}

template <int N>
int VEMigrationImpl<N>::m_VerifyVornBoxDataSync()
{
    if (!mbFlagCreate) {
        LOG_ERROR(" VEMigration Flag not created...");
        return kPictureFailure;
    }
    LOG_INFO("VEMigration::m_VerifyVornBoxDataSync ");
    int factoryValues[N] = {};
    const int fileResult = ReadServiceFile();
    const int factoryResult = mPictureMigration->t_GetFactoryUIDData(mUidArray, N, factoryValues);
    int result = fileResult | factoryResult;
    if (result != 0) {
        return result;
    }
    for (int i = 0; i < N; ++i) {
        if (m_i32SpiData[i] != factoryValues[i]) {
            LOG_ERROR(" (Flash):%d <> (Fac):%d ", m_i32SpiData[i], factoryValues[i]);
            result = kPictureFailure;
        }
    }
    return result;
}

template <int N>
int VEMigrationImpl<N>::GetVBMigrationTestData(int code)
{
    LOG_INFO("VEMigration::GetVBMigrationTestData");
    if (!mbFlagCreate) {
        LOG_ERROR(" VEMigration Flag not created...");
        return 0;
    }
    struct stat status = {};
    if (stat(ServiceFilePath().c_str(), &status) != 0) {
        LogMissingServiceFile(__func__, code);
        return kPictureFailure;
    }
    LOG_INFO(" stat() sucess  verify");
    LOG_INFO(" stat() sucess Size is %ld ", static_cast<long>(status.st_size));
    switch (code) {
        case 8:
        case 9:  // has no text of its own
            LOG_INFO("8  : White Balance (All Offset/ All Gain) : ");
            return 0;
        case 10:
            LOG_INFO("10  : CGA (Gain) : Not Support it (Not NTV Model)");
            return 0;
        case 20: break;
        default:
            LOG_ERROR("%d  : GetVBMigrationTestData: Error ", code);  // and yet a success
            return 0;
    }
    LOG_INFO("20  : Verification: Picture DataSync ");
    const int result = m_VerifyVornBoxDataSync();
    if (result == 0) {
        LOG_INFO(" VERIFY RESULT : %s ", VerifyResultWord(result));
    } else {
        LOG_ERROR(" VERIFY RESULT : %s ", VerifyResultWord(result));
        LOG_ERROR(" GetMigration Test FAIL :");
    }
    return result;
}

template class VEMigrationImpl<kStandardItems>;
template class VEMigrationImpl<kExtendedItems>;
