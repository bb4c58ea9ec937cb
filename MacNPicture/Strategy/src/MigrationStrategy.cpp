// The migration flows: notifications, dump, restore, sync.

#include <FactoryInterface.h>
#include <Log.h>
#include <MigrationPath.h>
#include <MigrationStrategy.h>
#include <SystemConfig.h>
#include <SystemInfo.h>
#include <VEMigration.h>

#include <sys/stat.h>

#include <cstdlib>
#include <memory>
#include <utility>

#define LOG_UNIT "MigrationStrategy.cpp"

namespace {

/** Mode of the platform's factory data sync after a migration step. */
constexpr int kFactorySyncMode = 5;

/** Has the factory data synced at the end of a scope, however it is left. */
struct FactorySyncAtEnd {
    ~FactorySyncAtEnd() { DoVornBoxFactoryDatasSync(kFactorySyncMode, TvYear()); }
};

struct Free {
    void operator()(char* text) const { std::free(text); }
};

std::string BasePath(int key)
{
    constexpr const char* kOperation = "MigrationStrategy";
    char* value = nullptr;
    // A success without a text is none: there is nothing to build a path from.
    const bool isConfigured = system_info_get_value_string(key, &value) == 0 && value != nullptr;
    const std::unique_ptr<char, Free> text(isConfigured ? value : nullptr);
    if (isConfigured) {
        LOG_FOR(LOG_UNIT, kOperation, kLogInfo, "Base Path Recevied ==> : %s ", text.get());
    }
    std::string path = isConfigured ? text.get() : MigrationPath("migration/korvane_vbmg/");
    LOG_FOR(LOG_UNIT, kOperation, kLogInfo, "Final Path Now is ==> : %s ", path.c_str());
    return path;
}

}  // namespace

MigrationStrategy::MigrationStrategy()
    : mBackupPath(BasePath(SYSTEM_INFO_KEY_BACKUP_PATH)), mRestorePath(BasePath(SYSTEM_INFO_KEY_RESTORE_PATH))
{
}

MigrationStrategy::~MigrationStrategy()
{
    LOG_ENTRY();
}

bool MigrationStrategy::NotifyMigrationStatus(const VB_VornBoxMigrationType_k& type,
                                              const VB_VornBoxMigrationProgress_k& progress,
                                              VB_VornBoxMigrationStatus_k* status)
{
    if (RunNotification(type, progress)) {
        *status = VB_MIGRATION_STATUS_SUCCESS;
        LOG_INFO("NotifyMigrationStatus VB_MIGRATION_STATUS_SUCCESS");
        if (progress == VB_MIGRATION_PROGRESS_END) {
            CleanUpNotification();
        }
        return true;
    }
    *status = VB_MIGRATION_STATUS_UNKNOWN_ERROR;
    CleanUpNotification();
    LOG_ERROR("NotifyMigrationStatus VB_MIGRATION_STATUS_UNKNOWN_ERROR");
    if (progress == VB_MIGRATION_PROGRESS_END) {
        CleanUpNotification();  // twice after a failed end: an unmount that failed has a second chance
    }
    return false;
}

/** The work of a notification; an exception in it is a failure like any other, so that the clean-up runs. */
bool MigrationStrategy::RunNotification(const VB_VornBoxMigrationType_k& type,
                                        const VB_VornBoxMigrationProgress_k& progress)
try {
    if (progress == VB_MIGRATION_PROGRESS_START) {
        CheckNFormatInPowerOffCase();
        TunerGIPOSet();
    }
    if (type == VB_MIGRATION_TYPE_BACKUP) {
        return NotifyMigrationImplBkup(progress);
    }
    if (type == VB_MIGRATION_TYPE_RESTORE) {
        return NotifyMigrationImplRestore(progress);
    }
    LOG_FOR(LOG_UNIT, "NotifyMigrationStatus", kLogError, "NotifyMigrationStatus Wrong Param for : eType value = [%d] ",
            static_cast<int>(type));
    return false;
} catch (...) {
    return false;
}

/** Every step runs, whatever comes of the ones before; none of them allocates memory outside the shell runner. */
void MigrationStrategy::CleanUpNotification() noexcept
{
    UnMount();
    TunerGIPOUnset();
    ClearPowerFlag();
}

bool MigrationStrategy::NotifyMigrationImplBkup(const VB_VornBoxMigrationProgress_k& progress)
{
    if (progress == VB_MIGRATION_PROGRESS_START) {
        if (!InsmodNMount()) {
            LOG_ERROR("Mounting Failed");
            return false;
        }
        if (MigrationCommon::ExecuteUserShell("/usr/bin/MigrationScript.sh cleanbkup", true) != 0) {
            LOG_ERROR("Cleaning at backkup failed");
            return false;
        }
        return true;
    }
    if (progress == VB_MIGRATION_PROGRESS_END) {
        const FactorySyncAtEnd sync;
        if (MigrationCommon::ExecuteUserShell("/usr/bin/MigrationScript.sh tarncpy", true) != 0) {
            LOG_ERROR("Taring at backkup failed");
            return false;
        }
        return true;
    }
    return false;
}

bool MigrationStrategy::NotifyMigrationImplRestore(const VB_VornBoxMigrationProgress_k& progress)
{
    if (progress == VB_MIGRATION_PROGRESS_START) {
        if (mbPowerOffDetected) {
            // The partition that held the backup was to be formatted on the way in: there is nothing to restore from.
            ClearPowerFlag();
            MigrationCommon::ExecuteUserShell("/usr/bin/MigrationScript.sh UnmountMig", true);
            mbPowerOffDetected = false;
            return false;
        }
        if (!InsmodNMount()) {
            LOG_ERROR("Mounting Failed ");
            return false;
        }
        if (MigrationCommon::ExecuteUserShell("/usr/bin/MigrationScript.sh cpynuntar", true) != 0) {
            LOG_ERROR("Untaring at restore failed");
            return false;
        }
        return true;
    }
    return progress == VB_MIGRATION_PROGRESS_END;
}

bool MigrationStrategy::DumpNonVolatileData()
{
    if (!MountPartition()) {
        LOG_ERROR("Mount Partition failed.... Exiting");
        return false;
    }
    const EndOfDump end(*this);
    bool result = BackupMACAddress();
    if (result) {
        LOG_INFO("MAC data dumped ");
    } else {
        LOG_ERROR("MAC data could not be dumped ");
    }
    if (mpObserver == nullptr) {
        LOG_ERROR("FATAL : Observer Is NULL!!!!!!!! ");
        result = false;
    } else if (CreateSPFolder()) {
        if (mpObserver->DumpNonVolatileData(mBackupPath) == 0) {
            LOG_INFO("Picture data dumped ");
        } else {
            LOG_ERROR("Picture data could not be dumped ");
            result = false;
        }
    }
    return result;
}

MigrationStrategy::EndOfDump::~EndOfDump()
{
    DoVornBoxFactoryDatasSync(kFactorySyncMode, TvYear());
    mStrategy.RestorBkupPath();
}

bool MigrationStrategy::RestoreNonVolatileData()
{
    if (!MountPartition()) {
        LOG_ERROR("Mount Partition failed.... Exiting");
        return false;
    }
    if (!RestoreMACAddress()) {
        LOG_ERROR("MAC data could not be Restored ");
        SetRestorePath();
        return false;
    }
    LOG_INFO("MAC data Restored ");
    SetRestorePath();
    return RestorePicture();
}

bool MigrationStrategy::RestorePicture()
{
    if (mpObserver == nullptr) {
        LOG_ERROR("FATAL : Observer Is NULL!!!!!!!! ");
        return false;
    }
    const bool restored = mbLegacyRestorePath
                              ? mpObserver->RestoreNonVolatileDataUlvey(mRestorePath, mpObserver->GetUIDArray())
                              : mpObserver->RestoreNonVolatileData(mRestorePath);
    if (!restored) {
        LOG_ERROR("Picture data could not be Restored ");
        return false;
    }
    LOG_INFO("Picture data Restored ");
    return true;
}

bool MigrationStrategy::SetBootPartition(int)
{
    LOG_ERROR("Base  Not Supported\t");
    return false;
}

bool MigrationStrategy::GetBootPartition(int*)
{
    LOG_ERROR("Base Not Supported\t");
    return false;
}

bool MigrationStrategy::DoVornBoxDataSync(VB_VornBoxInfo_k direction)
{
    LOG_INFO("Noting to do!!! Dispatch the call to Observer\t");
    if (mpObserver == nullptr) {
        LOG_ERROR("Fatal!!! Observer is Null \t");
        LOG_ERROR("Fatal!!! Observer is Null \t");
        return false;
    }
    return mpObserver->DoVornBoxDataSync(direction) == 0;
}

bool MigrationStrategy::RestorBkupPath()
{
    const std::string::size_type folder = mBackupPath.find(kBackupFolder);
    if (folder != std::string::npos) {
        mBackupPath.erase(folder);
    }
    return true;
}

bool MigrationStrategy::CreateSPFolder()
{
    std::string folder = mBackupPath + kBackupFolder;
    struct stat status = {};
    if (stat(folder.c_str(), &status) == 0) {
        LOG_INFO("stat() sucess\tverify");
        LOG_INFO("stat() sucess Size is %ld ", static_cast<long>(status.st_size));
        if (mBackupPath.find(kBackupFolder) == std::string::npos) {
            mBackupPath = std::move(folder);
        }
        return true;
    }
    const std::string command = "mkdir -p " + folder;
    int result = MigrationCommon::ExecuteUserShell(command.c_str(), false);
    if (result == 0) {
        LOG_INFO("%s cmd Succeeded on Process App ", command.c_str());
    } else {
        LOG_ERROR("%s cmd failed with : error %d , now trying on server ", command.c_str(), result);
        result = MigrationCommon::ExecuteUserShell(command.c_str(), true);
        if (result != 0) {
            LOG_ERROR("%s cmd failed with : error %d", command.c_str(), result);
            return false;
        }
    }
    mBackupPath = std::move(folder);
    return true;
}

bool MigrationStrategy::TunerGPIOSetUnset(const VB_VornBoxMigrationProgress_k& progress)
{
    bool result = true;
    if (progress == VB_MIGRATION_PROGRESS_START) {
        LOG_INFO("VB_MIGRATION_PROGRESS_START Start ==");
        result = TunerGIPOSet();
        LOG_INFO("VB_MIGRATION_PROGRESS_START END  ==");
    } else if (progress == VB_MIGRATION_PROGRESS_END) {
        LOG_INFO("VB_MIGRATION_PROGRESS_END Start ==");
        result = TunerGIPOUnset();
        LOG_INFO("VB_MIGRATION_PROGRESS_END END ==");
    }
    return result;
}
