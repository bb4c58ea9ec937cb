#include <DBusServiceClient.h>
#include <Log.h>
#include <MavoNufStratgegy.h>
#include <Micom.h>
#include <VEMigration.h>

#include <sys/stat.h>

#define LOG_UNIT "MavoNufStratgegy.cpp"

namespace {

// Notification types of this pairing, not those of the others.
constexpr int kBackup = 0;
constexpr int kRestore = 1;

const char* const kLegacyDataDirectory = "/opt/korvane_vbmg/SP_VB_DATA";

bool RunOnServer(const char* command)
{
    return MigrationCommon::ExecuteUserShell(command, true) == 0;
}

bool CleanBackup(const char* operation)
{
    if (!RunOnServer("/usr/bin/MigrationScript.sh cleanbkup")) {
        LOG_FOR(LOG_UNIT, operation, kLogError, " Cleaning at backkup failed");
        return false;
    }
    return true;
}

/** Calls the service client. @return whether there is one and it gave 0 */
template <class Operation>
bool CallClient(const char* name, Operation operation)
{
    DBusClient* const client = DBusClient::Instance();
    if (client == nullptr) {
        LOG_FOR(LOG_UNIT, name, kLogError, " DBUS Client : NULL ");
        return false;
    }
    return operation(*client) == 0;
}

}  // namespace

MavoNufStratgegy::MavoNufStratgegy()
{
    LOG_INFO(" MavoNufStratgegy Constructor  <=== ");
}

bool MavoNufStratgegy::NotifyMigrationStatus(const VB_VornBoxMigrationType_k& type,
                                             const VB_VornBoxMigrationProgress_k& progress,
                                             VB_VornBoxMigrationStatus_k* status)
{
    // No power flag, no tuner, no clean-up, on purpose: this pairing neither mounts nor holds anything.
    if (!RunNotification(type, progress)) {
        *status = VB_MIGRATION_STATUS_UNKNOWN_ERROR;
        LOG_ERROR("NotifyMigrationStatus VB_MIGRATION_STATUS_UNKNOWN_ERROR");
        return false;
    }
    *status = VB_MIGRATION_STATUS_SUCCESS;
    LOG_INFO("NotifyMigrationStatus VB_MIGRATION_STATUS_SUCCESS");
    return true;
}

bool MavoNufStratgegy::RunNotification(const VB_VornBoxMigrationType_k& type,
                                       const VB_VornBoxMigrationProgress_k& progress)
try {
    switch (static_cast<int>(type)) {
        case kBackup: return NotifyMigrationImplBkup(progress);
        case kRestore: return NotifyMigrationImplRestore(progress);
        default:
            LOG_FOR(LOG_UNIT, "NotifyMigrationStatus", kLogError,
                    "NotifyMigrationStatus Wrong Param for : eType value = [%d] ", static_cast<int>(type));
            return false;
    }
} catch (...) {
    return false;
}

bool MavoNufStratgegy::NotifyMigrationImplBkup(const VB_VornBoxMigrationProgress_k& progress)
{
    LOG_INFO(" Binder Not Present : Empty Implementation ");
    if (progress == VB_MIGRATION_PROGRESS_START) {
        return CleanBackup(__func__);
    }
    if (progress != VB_MIGRATION_PROGRESS_END) {
        return false;
    }
    if (!RunOnServer("/usr/bin/MigrationScript.sh Bkup13 ")) {
        LOG_ERROR(" BKup13 Failed ");
        return false;
    }
    if (!SendFileToNUF() || !RunOnServer("rm -rf /opt/korvane_vbmg_Tavix.tar.gz")) {
        LOG_ERROR(" Failed to send file to NUF  ");  // also for an archive that was sent but not removed
        return false;
    }
    return true;
}

bool MavoNufStratgegy::NotifyMigrationImplRestore(const VB_VornBoxMigrationProgress_k& progress)
{
    LOG_INFO(" Restore : From NUF ");
    if (progress == VB_MIGRATION_PROGRESS_START) {
        const bool cleaned = CleanBackup(__func__);
        if (!GetFileFromNUF()) {
            LOG_ERROR(" Failed to GET file From NUF  ");
            return cleaned;  // this failure and the next are judged by the clean-up
        }
        if (!RunOnServer("/usr/bin/MigrationScript.sh Restor13 ")) {
            LOG_ERROR(" Restor13 Failed ");
            return cleaned;
        }
        return true;
    }
    return progress == VB_MIGRATION_PROGRESS_END;
}

bool MavoNufStratgegy::DumpNonVolatileData()
{
    const EndOfDump end(*this);
    bool result = BackupMACAddress();
    if (result) {
        LOG_INFO(" MAC data dumped ");
    } else {
        LOG_ERROR(" MAC data could not be dumped ");
    }
    if (mpObserver == nullptr) {
        LOG_ERROR(" FATAL : Observer Is NULL!!!!!!!! ");
        result = false;
    } else if (CreateSPFolder()) {
        if (mpObserver->DumpNonVolatileData(mBackupPath) == 0) {
            LOG_INFO(" Picture data dumped ");
        } else {
            LOG_ERROR(" Picture data could not be dumped ");
            result = false;
        }
    }
    return result;
}

bool MavoNufStratgegy::RestoreNonVolatileData()
{
    LOG_INFO("MavoNufStratgegy::RestoreNonVolatileData");
    if (!RestoreMACAddress()) {
        LOG_ERROR(" MAC data could not be Restored ");
        SetRestorePath();
        return false;
    }
    LOG_INFO(" MAC data Restored ");
    SetRestorePath();
    return RestorePicture();
}

bool MavoNufStratgegy::BackupMACAddress()
{
    LOG_ERROR("RQ141202-01250 : No Backup in NON 15 + 15 case");
    return false;
}

bool MavoNufStratgegy::RestoreMACAddress()
{
    LOG_INFO(" Nuf TV Not Implemented  <=== ");  // it is; the text is how the field knows the line
    unsigned char mac[kMacSize] = {};
    struct stat status = {};
    if (stat(kLegacyDataDirectory, &status) != 0) {
        LOG_INFO("\n Ulvey File found. So Restoring from Micom...");  // said when it was not found
        const int result = micom_get_tv_side_mac_addr(mac);
        if (result < 0) {
            LOG_ERROR("\n Micom read Mac failed [%d]...", result);
            return false;
        }
        LOG_INFO("\n Micom read Mac SUCCESS...");
    } else {
        LOG_INFO("\n %s found. So Restoring from /dev/mtdblock3...", kLegacyDataDirectory);
        if (!ReadMacBlockHereOrOnServer(LOG_UNIT, __func__, mac)) {
            return false;
        }
    }
    return WriteEEPROMMigratedMAC(mac, kMacSize);
}

bool MavoNufStratgegy::SetRestorePath()
{
    LOG_INFO(" MavoNufStratgegy::SetRestorePath ");
    UseBackupFolderOrLegacyFolder();
    return true;
}

bool MavoNufStratgegy::SetBootPartition(int partition)
{
    LOG_INFO(" 15~13 Supported\t");
    return CallClient(__func__, [partition](DBusClient& client) { return client.SetBootPartition(partition); });
}

bool MavoNufStratgegy::GetBootPartition(int* partition)
{
    LOG_INFO(" 15~13 Supported\t");
    return CallClient(__func__, [partition](DBusClient& client) { return client.GetBootPartition(partition); });
}

bool MavoNufStratgegy::GetFileFromNUF()
{
    return CallClient(__func__, [](DBusClient& client) { return client.GetFileFromNUF(); });
}

bool MavoNufStratgegy::SendFileToNUF()
{
    return CallClient(__func__, [](DBusClient& client) { return client.SendFileToNUF(); });
}
