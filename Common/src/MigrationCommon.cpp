#include <DBusServiceClient.h>
#include <Log.h>
#include <ServerShell.h>
#include <SystemConfig.h>
#include <SystemInfo.h>
#include <VBMigration.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#define LOG_UNIT "MigrationCommon.cpp"

int MigrationCommon::miTVYear = -1;
int MigrationCommon::miVBYear = -1;
int MigrationCommon::miTVMainChip = -1;
int MigrationCommon::miVBMainChip = -1;
bool MigrationCommon::bDLSupported = false;

namespace {

/** Reads a key; a failure leaves the variable as it was. */
bool ReadKey(int key, int& variable)
{
    int value = 0;
    if (system_info_get_value_int(key, &value) != 0) {
        return false;
    }
    WriteConfig(variable, value);
    return true;
}

/** Waits for a child, also through interruptions. @return its status word, -1 when the wait failed */
int WaitForChild(pid_t child)
{
    int status = 0;
    for (;;) {
        const pid_t waited = waitpid(child, &status, 0);
        if (waited == child) {
            return status;
        }
        if (waited != -1 || errno != EINTR) {
            return -1;
        }
    }
}

}  // namespace

int MigrationCommon::SetVornBoxSystemConfig()
{
    LOG_INFO("SetVornBoxSystemConfig <============ ");
    int result = 0;
    if (ReadKey(SYSTEM_INFO_KEY_TV_YEAR, miTVYear)) {
        LOG_INFO("In VBMigration TVYear is : %d", ReadConfig(miTVYear));
    } else {
        LOG_ERROR("Invalid TV Year information from SystemConfig...");
        result = -1;
    }
    // Any later key that can be read makes the whole a success again: callers only ask whether the platform answers.
    if (ReadKey(SYSTEM_INFO_KEY_VB_YEAR, miVBYear)) {
        result = 0;
        LOG_INFO("In VBMigration VBYear is : %d", ReadConfig(miVBYear));
    } else {
        LOG_ERROR("Invalid VB Year information from SystemConfig...");
    }
    if (ReadKey(SYSTEM_INFO_KEY_TV_MAIN_CHIP, miTVMainChip)) {
        result = 0;
        LOG_INFO("In VBMigration TVChip is : [%d].. Compare values from system_info_type.h:system_info_tv_side_main_chip "
                 "enum ", ReadConfig(miTVMainChip));
    } else {
        LOG_ERROR("Invalid TV Chip information from SystemConfig...");
    }
    if (ReadKey(SYSTEM_INFO_KEY_VB_MAIN_CHIP, miVBMainChip)) {
        result = 0;
        LOG_INFO("In VBMigration VBChip is : [%d].. Compare values from system_info_type.h:system_info_vb_side_main_chip "
                 "enum ", ReadConfig(miVBMainChip));
    } else {
        LOG_ERROR("Invalid VornBox Chip information from SystemConfig...");
    }
    WriteConfig(bDLSupported, false);
    int duolink = 0;
    const bool duolinkRead = system_info_get_value_int(SYSTEM_INFO_KEY_DUOLINK, &duolink) == 0;
    WriteConfig(bDLSupported, duolink == 1);  // by the value alone, whatever the call said of itself
    if (duolinkRead) {
        result = 0;
        LOG_INFO("Valid duolink information from SystemConfig... ");
    } else {
        LOG_ERROR("Invalid duolink information from SystemConfig...");
    }
    return result;
}

std::optional<int> ExecuteOnServer(const char* command) noexcept
try {
    constexpr const char* kOperation = "ExecuteUserShell";
    LOG_FOR(LOG_UNIT, kOperation, kLogInfo, "Command to be executed is [%s]", command);
    LOG_FOR(LOG_UNIT, kOperation, kLogInfo, "Command to be executed on server is [%s]", command);
    DBusClient* const client = DBusClient::Instance();
    if (client == nullptr) {
        LOG_FOR(LOG_UNIT, kOperation, kLogError, "could not get the g client instance...");
        return -1;
    }
    return client->SendCmdToServer(command);
} catch (...) {
    return std::nullopt;
}

int MigrationCommon::ExecuteUserShell(const char* command, bool bServer)
{
    if (bServer) {
        return ExecuteOnServer(command).value_or(-1);
    }
    LOG_INFO("Command to be executed is [%s]", command);
    LOG_INFO("Command to be executed in this process & not on server is [%s]", command);
    const pid_t child = vfork();
    if (child == 0) {
        execl("/bin/sh", "/bin/sh", "-c", command, static_cast<char*>(nullptr));
        _exit(errno);
    }
    if (child < 0) {
        return -1;
    }
    const int status = WaitForChild(child);
    LOG_INFO("status of the Shell is [%d] ", status);
    // The exit-status field alone: a failed wait reads as 255, a child that a signal killed as 0.
    const int exitStatus = (status >> 8) & 0xFF;
    LOG_INFO("After Convertions Return val [%d] ", exitStatus);
    return exitStatus;
}
