// Puts itself between the library and the platform's functions, for test programs that let allocations fail: what the
// platform itself allocates does not fail, and is not counted. The simulated set's paths (std::filesystem's) do not live
// through a failure, and its log and its traces would make ten thousand places of hundreds. What the platform hands to
// its caller, texts and the buffer of a legacy backup, counts as one allocation each and fails like the caller's own.

#include "AllocationFailure.h"

#include <EepromMap.h>
#include <FactoryInterface.h>
#include <Micom.h>
#include <PlatformLog.h>
#include <PlatformPath.h>
#include <SystemInfo.h>
#include <VornBoxEncrypt.h>

#include <dlfcn.h>

#include <cstdarg>
#include <cstdio>

namespace {

/** Calls the platform's own function of this name. */
template <class Result, class... Arguments>
Result OnThePlatform(const char* name, Arguments... arguments)
{
    const allocation_failure::Suspended suspended;
    return reinterpret_cast<Result (*)(Arguments...)>(dlsym(RTLD_NEXT, name))(arguments...);
}

}  // namespace

int __dlog_print(int log_id, int priority, const char* tag, const char* format, ...)
{
    char text[1024];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const allocation_failure::Suspended suspended;
    static const auto next = reinterpret_cast<decltype(&::__dlog_print)>(dlsym(RTLD_NEXT, "__dlog_print"));
    return next(log_id, priority, tag, "%s", text);
}

const char* tzplatform_mkpath(int variable, const char* path)
{
    return allocation_failure::Fails() ? nullptr : OnThePlatform<const char*>("tzplatform_mkpath", variable, path);
}

int system_info_get_value_int(int key, int* value)
{
    return OnThePlatform<int>("system_info_get_value_int", key, value);
}

int system_info_get_value_string(int key, char** value)
{
    return allocation_failure::Fails() ? -1 : OnThePlatform<int>("system_info_get_value_string", key, value);
}

int eeprom_read(unsigned int item, int size, unsigned char* buffer)
{
    return OnThePlatform<int>("eeprom_read", item, size, buffer);
}

int eeprom_write(unsigned int item, int size, const unsigned char* buffer)
{
    return OnThePlatform<int>("eeprom_write", item, size, buffer);
}

int eeprom_write_migrated_mac(const unsigned char* mac, int size)
{
    return OnThePlatform<int>("eeprom_write_migrated_mac", mac, size);
}

int micom_check_serdes_lock(int* status)
{
    return OnThePlatform<int>("micom_check_serdes_lock", status);
}

int micom_get_tv_side_mac_addr(unsigned char* mac)
{
    return OnThePlatform<int>("micom_get_tv_side_mac_addr", mac);
}

int GetMigrationItemSize(unsigned int uid, int* size)
{
    return OnThePlatform<int>("GetMigrationItemSize", uid, size);
}

int GetMigrationItemData(unsigned int uid, unsigned int* storeType, int* length, unsigned char* data)
{
    return OnThePlatform<int>("GetMigrationItemData", uid, storeType, length, data);
}

int SetMigrationItemData(unsigned int uid, unsigned int storeType, unsigned char* data, unsigned int size)
{
    return OnThePlatform<int>("SetMigrationItemData", uid, storeType, data, size);
}

int GetData(unsigned int uid, void* buffer)
{
    return OnThePlatform<int>("GetData", uid, buffer);
}

int DoVornBoxFactoryDatasSync(int mode, int tvYear)
{
    return OnThePlatform<int>("DoVornBoxFactoryDatasSync", mode, tvYear);
}

long vb_get_file_size(const char* path)
{
    return OnThePlatform<long>("vb_get_file_size", path);
}

int vb_import_buf(unsigned char** buffer, int* length, const char* path, int option)
{
    constexpr int kNoMemory = -2;
    const int result =
        allocation_failure::Fails() ? kNoMemory : OnThePlatform<int>("vb_import_buf", buffer, length, path, option);
    allocation_failure::AddLive(result == 0 && *buffer != nullptr ? 1 : 0);
    return result;
}

void vb_free_buffer(unsigned char* buffer)
{
    allocation_failure::AddLive(buffer != nullptr ? -1 : 0);
    OnThePlatform<void>("vb_free_buffer", buffer);
}
