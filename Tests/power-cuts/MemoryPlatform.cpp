/** @file
 * The platform's functions on the set in memory.
 */
#include <EepromMap.h>
#include <FactoryInterface.h>
#include <LegacyBackup.h>
#include <Micom.h>
#include <PlatformLog.h>
#include <PlatformPath.h>
#include <SystemInfo.h>
#include <Text.h>
#include <VornBoxEncrypt.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "Machine.h"

using powercut::Begin;
using powercut::End;
using powercut::Item;
using powercut::machine;

namespace {

constexpr int macSize = 6;

Item* FindItem(unsigned int uid)
{
    auto& items = machine->set.kept.items;
    Item* const found = std::find_if(std::begin(items), std::end(items), [=](const Item& i) { return i.uid == uid; });
    return found == std::end(items) || uid == 0 ? nullptr : found;
}

std::string Hex(const void* bytes, std::size_t count)
{
    return vbset::Hex(static_cast<const unsigned char*>(bytes), count);
}

/** The file of a legacy backup: its path is relative to the working directory of programs. */
powercut::Bytes LegacyFile(const char* path)
{
    const std::string located = powercut::Locate(path);
    return machine->set.kept.files.Read(located.empty() ? std::string(powercut::workDirectory) + "/" + path : located);
}

}  // namespace

int __dlog_print(int, int, const char*, const char*, ...) { return 0; }

const char* tzplatform_mkpath(int, const char* path)
{
    static std::string joined;
    Begin();
    joined = std::string("/opt/tv/") + path;
    End("tzplatform_mkpath " + joined);
    return joined.c_str();
}

int system_info_get_value_int(int key, int* value)
{
    const powercut::Facts& facts = machine->facts;
    Begin();
    switch (key) {
        case SYSTEM_INFO_KEY_TV_YEAR: *value = facts.tvCode; break;
        case SYSTEM_INFO_KEY_VB_YEAR: *value = facts.tvCode; break;
        case SYSTEM_INFO_KEY_TV_MAIN_CHIP: *value = facts.items == 62 ? 3 : 1; break;
        case SYSTEM_INFO_KEY_VB_MAIN_CHIP: *value = facts.items == 62 ? 3 : 1; break;
        case SYSTEM_INFO_KEY_CI_SLOTS: *value = facts.ciSlots; break;
        case SYSTEM_INFO_KEY_DUOLINK: *value = 1; break;
        default: break;
    }
    End("system_info_get_value_int " + std::to_string(key));
    return 0;
}

int system_info_get_value_string(int key, char** value)
{
    Begin();
    if (machine->facts.basesOnPartition) *value = strdup("/opt/korvane_vbmg/");
    End("system_info_get_value_string " + std::to_string(key));
    return machine->facts.basesOnPartition ? 0 : -1;
}

int micom_check_serdes_lock(int* status)
{
    Begin();
    *status = 1;
    End("micom_check_serdes_lock");
    return 0;
}

int micom_get_tv_side_mac_addr(unsigned char* mac)
{
    constexpr unsigned char kept[macSize] = {0x02, 0x00, 0x5E, 0x11, 0x00, 0x13};
    Begin();
    if (machine->facts.hasMicomMac) std::copy_n(kept, macSize, mac);
    End("micom_get_tv_side_mac_addr");
    return machine->facts.hasMicomMac ? 0 : -1;
}

int eeprom_read(unsigned int item, int size, unsigned char* buffer)
{
    Begin();
    const auto& kept = machine->set.kept;
    const bool isFlag = item == EEPROM_ITEM_POWER_FLAG;
    const int there = std::min(size, isFlag ? 1 : macSize);
    std::memcpy(buffer, isFlag ? static_cast<const void*>(&kept.powerFlag) : kept.mac, static_cast<std::size_t>(there));
    End("eeprom_read 0x" + vbset::ItemName(item) + " " + std::to_string(size));
    return there;
}

int eeprom_write(unsigned int item, int size, const unsigned char* buffer)
{
    Begin();
    const bool isFlag = item == EEPROM_ITEM_POWER_FLAG && size == 1;
    if (isFlag) machine->set.kept.powerFlag = *buffer;
    End("eeprom_write 0x" + vbset::ItemName(item) + " " + std::to_string(size) + " " +
        Hex(buffer, static_cast<std::size_t>(size)));
    return isFlag ? size : -1;
}

int eeprom_write_migrated_mac(const unsigned char* mac, int size)
{
    if (size != macSize) return EINVAL;
    Begin();
    machine->set.kept.hasMigratedMac = true;
    std::memcpy(machine->set.kept.migratedMac, mac, macSize);
    End("eeprom_write_migrated_mac " + Hex(mac, macSize) + " 6");
    return 0;
}

int GetMigrationItemSize(unsigned int uid, int* size)
{
    Begin();
    const Item* const item = FindItem(uid);
    *size = item == nullptr ? 0 : static_cast<int>(item->size);
    End("GetMigrationItemSize " + std::to_string(uid));
    return 1;
}

int GetMigrationItemData(unsigned int uid, unsigned int* storeType, int* length, unsigned char* data)
{
    Begin();
    const Item* const item = FindItem(uid);
    if (item != nullptr) {
        *storeType = item->storeType;
        *length = static_cast<int>(item->size);
        std::memcpy(data, item->data, item->size);
    }
    End("GetMigrationItemData " + std::to_string(uid));
    return item != nullptr ? 1 : 0;
}

int SetMigrationItemData(unsigned int uid, unsigned int storeType, unsigned char* data, unsigned int size)
{
    Begin();
    Item* const item = FindItem(uid);
    const bool fits = item != nullptr && size > 0 && size <= sizeof item->data;
    if (fits) {
        item->storeType = storeType;
        item->size = size;
        std::memcpy(item->data, data, size);
    }
    End("SetMigrationItemData " + std::to_string(uid));
    return fits ? 1 : 0;
}

int GetData(unsigned int uid, void* buffer)
{
    Begin();
    const Item* const item = FindItem(uid);
    if (item != nullptr) std::memcpy(buffer, item->data, item->size);
    End("GetData " + std::to_string(uid));
    return item != nullptr ? 1 : 0;
}

int DoVornBoxFactoryDatasSync(int mode, int tvYear)
{
    Begin();
    End("DoVornBoxFactoryDatasSync " + std::to_string(mode) + " " + std::to_string(tvYear));
    return 1;
}

long vb_get_file_size(const char* path)
{
    Begin();
    const auto size = static_cast<long>(LegacyFile(path).size());
    End(std::string("vb_get_file_size ") + path);
    return size;
}

int vb_import_buf(unsigned char** buffer, int* length, const char* path, int)
{
    Begin();
    const powercut::Bytes file = LegacyFile(path);
    std::vector<unsigned char> records;
    const auto result = vbset::DecipherLegacy({file.begin(), file.end()}, records);
    if (result == vbset::Legacy::Good) {
        *buffer = static_cast<unsigned char*>(std::malloc(records.size() + 1));
        std::copy(records.begin(), records.end(), *buffer);
        *length = static_cast<int>(records.size());
    }
    End(std::string("vb_import_buf ") + path);
    return static_cast<int>(result);
}

void vb_free_buffer(unsigned char* buffer)
{
    Begin();
    std::free(buffer);
    End("vb_free_buffer");
}
