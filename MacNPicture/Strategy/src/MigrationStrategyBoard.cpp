// The board, held still while a migration runs: GPIO levels, tuner mute, buffer IC.

#include <BoardDevices.h>
#include <Log.h>
#include <MigrationStrategy.h>
#include <SystemInfo.h>
#include <UniqueFd.h>

#include <fcntl.h>
#include <sys/ioctl.h>

#define LOG_UNIT "MigrationStrategy.cpp"

namespace {

const char* GpioName(int index)
{
    constexpr const char* kNames[] = {"GPIO_172", "GPIO_173", "GPIO_174", "GPIO_175",
                                      "GPIO_165", "GPIO_153", "GPIO_107"};
    return kNames[index];
}

bool LogGpio(const char* operation, int index, int result)
{
    if (result != 0) {
        LOG_FOR(LOG_UNIT, operation, kLogError, " IOCTL Failed for %s retval = [%d]", GpioName(index), result);
        return false;
    }
    return true;
}

/** Switches the buffer IC. Unlike a GPIO read, the request takes the level itself. */
bool SwitchBufferIc(const char* operation, int fd, int level)
{
    const int result = ioctl(fd, BOARD_SET_BUFFER_IC, level);
    if (result != 0) {
        LOG_FOR(LOG_UNIT, operation, kLogError, " IOCTL Failed for Buffer IC enable  retval = [%d]", result);
        return false;
    }
    return true;
}

void UnmountAndUnloadModule(const char* operation)
{
    LOG_FOR(LOG_UNIT, operation, kLogInfo, "...MigrationScript.sh UnMoungNRmmod START ");
    MigrationCommon::ExecuteUserShell("/usr/bin/MigrationScript.sh UnMoungNRmmod", true);
    LOG_FOR(LOG_UNIT, operation, kLogInfo, "...MigrationScript.sh UnMoungNRmmod END ");
}

}  // namespace

bool MigrationStrategy::ReadGpio(const char* operation, int fd, unsigned long request, GpioIndex index)
{
    return LogGpio(operation, index, ioctl(fd, request, &mGPIOS[index]));
}

bool MigrationStrategy::SetGpio(const char* operation, int fd, unsigned long request, GpioIndex index)
{
    return LogGpio(operation, index, ioctl(fd, request, static_cast<int>(mGPIOS[index])));
}

bool MigrationStrategy::CheckForNewBoard(int fd)
{
    LOG_INFO("...START ");
    if (!ReadGpio(__func__, fd, BOARD_READ_GPIO_165, GPIO_165) || !ReadGpio(__func__, fd, BOARD_READ_GPIO_153, GPIO_153) ||
        !ReadGpio(__func__, fd, BOARD_READ_GPIO_107, GPIO_107)) {
        return false;
    }
    LOG_INFO(" Values read :  mGPIOS[GPIO_165] = [%d], mGPIOS[GPIO_153] = [%d], mGPIOS[GPIO_107] = [%d] ",
             mGPIOS[GPIO_165], mGPIOS[GPIO_153], mGPIOS[GPIO_107]);
    if (mGPIOS[GPIO_165] == 1 && mGPIOS[GPIO_153] == 1 && mGPIOS[GPIO_107] == 0) {
        LOG_INFO("This is New Board ...END ");
        return true;
    }
    LOG_INFO("This is not New Board ......END ");
    return false;
}

bool MigrationStrategy::IsCIEnable()
{
    LOG_INFO("...START ");
    int slots = 0;
    system_info_get_value_int(SYSTEM_INFO_KEY_CI_SLOTS, &slots);
    const bool hasSlot = slots >= 1;
    if (hasSlot) {
        LOG_INFO("...NUM_OF_CI is over 1");  // one is enough
    } else {
        LOG_INFO("...NUM_OF_CI is 0");
    }
    LOG_INFO("...END ");
    return hasSlot;
}

bool MigrationStrategy::BackupGPIOs(int fd)
{
    LOG_INFO("...START ");
    if (!ReadGpio(__func__, fd, BOARD_READ_GPIO_172, GPIO_172) || !ReadGpio(__func__, fd, BOARD_READ_GPIO_173, GPIO_173) ||
        !ReadGpio(__func__, fd, BOARD_READ_GPIO_174, GPIO_174) || !ReadGpio(__func__, fd, BOARD_READ_GPIO_175, GPIO_175)) {
        return false;
    }
    LOG_INFO(" Values read :  mGPIOS[GPIO_172] = [%d], mGPIOS[GPIO_173] = [%d], mGPIOS[GPIO_174] = [%d], "
             "mGPIOS[GPIO_175] = [%d] ",
             mGPIOS[GPIO_172], mGPIOS[GPIO_173], mGPIOS[GPIO_174], mGPIOS[GPIO_175]);
    LOG_INFO("...END ");
    return true;
}

bool MigrationStrategy::RestoreGPIOs(int fd)
{
    LOG_INFO("...START ");
    LOG_INFO(" Values writing :  mGPIOS[GPIO_172] = [%d], mGPIOS[GPIO_173] = [%d], mGPIOS[GPIO_174] = [%d], "
             "mGPIOS[GPIO_175] = [%d] ",
             mGPIOS[GPIO_172], mGPIOS[GPIO_173], mGPIOS[GPIO_174], mGPIOS[GPIO_175]);
    if (!SetGpio(__func__, fd, BOARD_SET_GPIO_172, GPIO_172) || !SetGpio(__func__, fd, BOARD_SET_GPIO_173, GPIO_173) ||
        !SetGpio(__func__, fd, BOARD_SET_GPIO_174, GPIO_174) || !SetGpio(__func__, fd, BOARD_SET_GPIO_175, GPIO_175)) {
        return false;
    }
    LOG_INFO("...END ");
    return true;
}

int MigrationStrategy::SetTunerMute(int onOff)
{
    LOG_INFO("...START, onOff[%d] ", onOff);
    UniqueFd frontend(open(TUNER_FRONTEND_PATH, O_RDONLY | O_CLOEXEC));
    if (!frontend.IsOpen()) {
        LOG_ERROR("ERR: open frontend0 failed.");
        return -1;
    }
    FrontendDebugCommand_t command = {};
    command.command = FE_DBG_CMD_TUNER_MUTE;
    command.parameter = onOff;
    if (ioctl(frontend.Get(), FE_SEND_DBG_CMD, &command) != 0) {
        LOG_ERROR("ERR: failed FE_SEND_DBG_CMD");
        return -1;
    }
    frontend.Close();
    LOG_INFO("...END, onOff[%d] ", onOff);
    return 0;
}

bool MigrationStrategy::TunerGIPOSet()
{
    const UniqueFd system(open(SYSTEM_DEVICE_PATH, O_RDWR | O_CLOEXEC));
    if (!system.IsOpen()) {
        LOG_ERROR("FATAL failure to open /dev/system ");
        return true;  // a board without the device must not keep a migration from running
    }
    if (!CheckForNewBoard(system.Get())) {
        return true;
    }
    UnmountAndUnloadModule(__func__);
    bool result = true;
    if (IsCIEnable()) {
        SetTunerMute(1);
        result = BackupGPIOs(system.Get());
    }
    // Also without a CI slot, although TunerGIPOUnset() then leaves the buffer IC as it is.
    return SwitchBufferIc(__func__, system.Get(), 0) && result;
}

bool MigrationStrategy::TunerGIPOUnset()
{
    const UniqueFd system(open(SYSTEM_DEVICE_PATH, O_RDWR | O_CLOEXEC));
    if (!system.IsOpen()) {
        LOG_ERROR("FATAL failure to open /dev/system ");
        return true;
    }
    if (!CheckForNewBoard(system.Get()) || !IsCIEnable()) {
        return true;
    }
    UnmountAndUnloadModule(__func__);
    const bool switched = SwitchBufferIc(__func__, system.Get(), 1);
    const bool restored = RestoreGPIOs(system.Get());
    SetTunerMute(0);
    return switched && restored;
}
