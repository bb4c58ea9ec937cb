/** @file
 * TV and box of the same model generation.
 */
#pragma once

#include <BoardDevices.h>
#include <EepromMap.h>
#include <Log.h>
#include <MigrationStrategy.h>

/** Nothing has to be converted: the only work of its own is to keep a copy of the TV's MAC address in the raw MAC block,
 * once, while that is still blank. Everything that would restore or select is refused.
 *
 * @tparam Generation  the texts by which two generations differ: kName, kUnit (class and source file in the
 *                     log), kConstructed, kNotSupported and kNotSupportedTab
 */
template <class Generation>
class SameGenerationStratgegy : public MigrationStrategy {
 public:
    SameGenerationStratgegy()
    {
        // The constructor of the concrete strategy, which adds nothing.
        LOG_FOR(Generation::kUnit, Generation::kName, kLogInfo, "%s", Generation::kConstructed);
    }

    /** Copies the MAC address into the raw MAC block while that is blank. @return whether the service wrote it now */
    bool BackupMACAddress() override;

    bool RestoreMACAddress() override { return NotSupported(__func__, Generation::kNotSupported); }  ///< fails
    bool SetBootPartition(int) override { return NotSupported(__func__, Generation::kNotSupportedTab); }  ///< fails
    bool GetBootPartition(int*) override { return NotSupported(__func__, Generation::kNotSupportedTab); }  ///< fails
    bool SetRestorePath() override { return NotSupported(__func__, Generation::kNotSupported); }  ///< fails
    bool RestorePicture() override { return NotSupported(__func__, Generation::kNotSupportedTab); }  ///< fails

 private:
    static bool NotSupported(const char* operation, const char* text)
    {
        LOG_FOR(Generation::kUnit, operation, kLogError, "%s", text);
        return false;
    }
};

template <class Generation>
bool SameGenerationStratgegy<Generation>::BackupMACAddress()
{
    constexpr const char* kUnit = Generation::kUnit;
    if (!CheckSPIFlashMAC()) {
        LOG_FOR(kUnit, __func__, kLogError, " RQ141202-01250 | No Backup Required as data is not 0xFF ");
        return false;
    }
    unsigned char mac[kMacSize] = {};
    const int read = eeprom_read(EEPROM_ITEM_MAC, kMacSize, mac);
    if (read <= 0) {
        LOG_FOR(kUnit, __func__, kLogError, "eeprom_read errror : %d", read);
        return false;
    }
    LOG_FOR(kUnit, __func__, kLogInfo, " MAC received from eeprom ==> 0x%2x:0x%2x:0x%2x:0x%2x:0x%2x:0x%2x ", mac[0], mac[1],
            mac[2], mac[3], mac[4], mac[5]);
    if (WriteToFile(RAW_MAC_BKUP_PATH, mac, kMacSize)) {
        return false;  // written all the same: only a write by the service counts as a backup made
    }
    LOG_FOR(kUnit, __func__, kLogError, " WriteToFile for %s failed, trying on server ", RAW_MAC_BKUP_PATH);
    if (!WriteToFileServer(RAW_MAC_BKUP_PATH, mac, kMacSize)) {
        return false;
    }
    LOG_FOR(kUnit, __func__, kLogInfo, " WriteToFile Suceeded");
    return true;
}
