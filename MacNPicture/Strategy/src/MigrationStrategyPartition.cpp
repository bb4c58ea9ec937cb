// The migration and data_sync partitions, and recovery from a power failure.

#include <EepromMap.h>
#include <Log.h>
#include <Micom.h>
#include <MigrationStrategy.h>
#include <ServerShell.h>
#include <SystemConfig.h>

#include <unistd.h>

#include <optional>

#define LOG_UNIT "MigrationStrategy.cpp"

namespace {

constexpr int kSerdesPolls = 150;
constexpr int kSerdesPollMs = 20;

constexpr int kLocked = 1;

/** Values of the power flag; any other counts as idle. */
constexpr signed char kMigrationInProgress = static_cast<signed char>(0xAA);
constexpr signed char kIdle = static_cast<signed char>(0xFF);

bool RunHere(const char* command, int& result)
{
    result = MigrationCommon::ExecuteUserShell(command, false);
    return result == 0;
}

bool RunOnServer(const char* command, int& result)
{
    result = MigrationCommon::ExecuteUserShell(command, true);
    return result == 0;
}

/** What came of a mount that is followed by a format when it fails. One whose request found no memory has not failed
 * there: what the partition holds stays, as if the format had not been possible either. */
enum class Mount { kDone, kFailed, kNotAsked };

Mount MountOnServer(const char* command)
{
    const std::optional<int> status = ExecuteOnServer(command);
    return status == 0 ? Mount::kDone : status ? Mount::kFailed : Mount::kNotAsked;
}

// The scripts' callers have always written these with two blanks.
const char* const kMountDataSync = "/bin/spi_init.sh mount  data_sync";
const char* const kFormatDataSync = "/bin/spi_init.sh format  data_sync";

/** @return whether this process could mount data_sync, or format it, after which no mount is tried */
bool MountDataSyncHere(const char* operation)
{
    int result = 0;
    if (RunHere(kMountDataSync, result)) {
        LOG_FOR(LOG_UNIT, operation, kLogInfo, " This process mount data_sync succeed ");
        return true;
    }
    LOG_FOR(LOG_UNIT, operation, kLogError, " This process mount data_sync Did not succeed ");
    if (RunHere(kFormatDataSync, result)) {
        LOG_FOR(LOG_UNIT, operation, kLogInfo, " This process format data_sync succeed ");
        return true;
    }
    LOG_FOR(LOG_UNIT, operation, kLogError,
            " This process  mount & Format SPI FLASH data_sync is FAIL!! Result : %d", result);
    return false;
}

/** Has the service mount or format data_sync; a failure is only logged. */
void MountDataSyncOnServer(const char* operation)
{
    const Mount mount = MountOnServer(kMountDataSync);
    if (mount != Mount::kDone) {
        LOG_FOR(LOG_UNIT, operation, kLogError, "\tmount data_sync Did not succeed ");
        int result = -1;
        if (mount == Mount::kFailed && RunOnServer(kFormatDataSync, result)) {
            LOG_FOR(LOG_UNIT, operation, kLogInfo, "\tformat data_sync succeed ");
        } else {
            LOG_FOR(LOG_UNIT, operation, kLogError, " Server mount & Format SPI FLASH data_sync is FAIL!! Result : %d",
                    result);
        }
    }
    LOG_FOR(LOG_UNIT, operation, kLogInfo, "\tmount data_sync succeed ");
}

}  // namespace

bool MigrationStrategy::CheckSerdesLock()
{
    int status = -1;
    for (int failures = 0; failures < kSerdesPolls;) {
        micom_check_serdes_lock(&status);
        if (status == kLocked) {
            LOG_INFO("SerDes Lock Found!! count (%d)", failures);
            return true;
        }
        LOG_ERROR("SerDes Not locked! count (%d)", failures);
        ++failures;
        usleep(kSerdesPollMs * 1000);
    }
    LOG_ERROR("ERROR!! SERDES Lock Not Found. time (%d ms), count (%d)", kSerdesPolls * kSerdesPollMs, kSerdesPolls);
    return false;
}

bool MigrationStrategy::MountPartition()
{
    if (mbMigrationMounted) {
        LOG_INFO(" Korvane_vbmg Partition Already Mounted\t");
        return true;
    }
    LOG_INFO(" TV_YEAR  %d ", TvYear());
    if (!CheckSerdesLock()) {
        LOG_ERROR("\tFatal !!!!  SerdesLock not Achieved ");
        LOG_ERROR("\tFatal !!!!  SerdesLock not Achieved ");
        mbMigrationMounted = false;
        return false;
    }
    // Nothing was tried from this process, nor ever is for this partition; field logs are known by the line all the same.
    LOG_ERROR("mount & Format SPI FLASH migration is FAILed from process trying on server!!");
    const Mount mount = MountOnServer("/bin/spi_init.sh mount migration");
    if (mount != Mount::kDone) {
        LOG_ERROR("\tmount migration Did not succeed ");
        int result = -1;
        if (mount == Mount::kFailed &&
            RunOnServer("/bin/spi_init.sh format migration mkfs.vfat /dev/mtdblock1", result)) {
            LOG_INFO("\tformat migration succeed ");
        } else {
            LOG_ERROR("mount & Format SPI FLASH migration is FAIL!! Result : [%d] ", result);
        }
    }
    // Only a missing lock is a failure: what could neither be mounted nor formatted still counts as mounted.
    LOG_INFO("\tmount migration succeed ");
    mbMigrationMounted = true;
    return true;
}

bool MigrationStrategy::DataSyncPartitionMount()
{
    mbDataSyncMounted = MountDataSync();
    return mbDataSyncMounted;
}

bool MigrationStrategy::MountDataSync()
{
    constexpr const char* kOperation = "DataSyncPartitionMount";
    LOG_FOR(LOG_UNIT, kOperation, kLogInfo, " TV_YEAR  %d ", TvYear());
    const bool locked = CheckSerdesLock();
    LOG_FOR(LOG_UNIT, kOperation, kLogInfo, "MountPartition : SerdesAchieved ");  // whether it was or not
    if (!locked) {
        LOG_FOR(LOG_UNIT, kOperation, kLogError, "\tFatal !!!!  SerdesLock not Achieved ");
        LOG_FOR(LOG_UNIT, kOperation, kLogError, "\tFatal !!!!  SerdesLock not Achieved ");
        return false;
    }
    if (!MountDataSyncHere(kOperation)) {
        LOG_FOR(LOG_UNIT, kOperation, kLogError,
                "mount & Format SPI FLASH data_sync is FAILed from process trying on server!!");
        MountDataSyncOnServer(kOperation);
    }
    return true;
}

bool MigrationStrategy::InsmodNMount()
{
    if (mbFormattedAfterPowerOff) {
        mbModuleLoaded = true;
        mbMigrationMounted = true;
        mbFormattedAfterPowerOff = false;
        return true;
    }
    MigrationCommon::ExecuteUserShell("/usr/bin/MigrationScript.sh InsmodMig", true);
    if (!MountPartition()) {
        return false;
    }
    mbModuleLoaded = true;
    mbMigrationMounted = true;
    LOG_INFO(" InsmodNMount SUCCESS");
    return true;
}

bool MigrationStrategy::UnMount()
{
    if (!mbMigrationMounted) {
        LOG_ERROR(" Korvane_vbmg Partition Not Mounted\t");
    } else if (int result = 0; RunOnServer("/bin/spi_init.sh umount migration", result)) {
        LOG_INFO("\tUnmounting migration succeed ");
    } else {
        LOG_ERROR("\tUnmounting migration Did not succeed ");
        return false;  // still marked as mounted, so that the next one tries again
    }
    mbModuleLoaded = false;
    mbMigrationMounted = false;
    return true;
}

bool MigrationStrategy::CheckForPowerOff()
{
    unsigned char flag = 0;
    const int size = eeprom_read(EEPROM_ITEM_POWER_FLAG, sizeof flag, &flag);
    if (size != sizeof flag) {
        LOG_ERROR("ERROR! eeprom_read POWER FLAG (%d)", size);
        return false;
    }
    LOG_INFO(" POWER flag status (0x%02x) ", flag);
    if (flag != static_cast<unsigned char>(kMigrationInProgress)) {
        LOG_ERROR("value (0x%02x), assumed there was no POWER Faiure ", flag);
        return false;
    }
    LOG_INFO(" There was power off  ###### ");
    mbPowerOffDetected = true;
    return true;
}

bool MigrationStrategy::SetFlagForPower()
{
    return WritePowerFlag(__func__, kMigrationInProgress);
}

bool MigrationStrategy::ClearPowerFlag()
{
    if (!WritePowerFlag(__func__, kIdle)) {
        return false;
    }
    mbPowerOffDetected = false;
    return true;
}

bool MigrationStrategy::WritePowerFlag(const char* operation, signed char flag)
{
    const unsigned char byte = static_cast<unsigned char>(flag);
    const int size = eeprom_write(EEPROM_ITEM_POWER_FLAG, sizeof byte, &byte);
    // The messages show the flag widened from a signed char: ffffffaa, ffffffff.
    if (size != sizeof byte) {
        LOG_FOR(LOG_UNIT, operation, kLogError, "ERROR! eeprom_write POWER flag failed (%d), size (%d)", flag, size);
        return false;
    }
    LOG_FOR(LOG_UNIT, operation, kLogInfo, "Success! writing POWER Flag (0x%02x)", static_cast<unsigned int>(flag));
    return true;
}

bool MigrationStrategy::FormatPartitionPowerOff()
{
    if (!CheckSerdesLock()) {
        LOG_ERROR("\tFatal !!!!\tSerdesLock not Achieved ");
        LOG_ERROR("\tFatal !!!!\tSerdesLock not Achieved ");
        return true;
    }
    int result = 0;
    if (RunOnServer("/bin/spi_init.sh format migration", result)) {
        LOG_INFO("\tformat migration succeed ");
        mbFormattedAfterPowerOff = true;
    } else {
        LOG_ERROR(" Format SPI FLASH migration is FAIL!! Result : %d", result);
    }
    return true;  // on every path; only a format that succeeded lets the next InsmodNMount() skip its work
}

bool MigrationStrategy::CheckNFormatInPowerOffCase()
{
    const bool wasCut = CheckForPowerOff();
    SetFlagForPower();
    return wasCut ? FormatPartitionPowerOff() : true;
}
