/** @file
 * TV of year code 15 with a box of year code 14.
 */
#pragma once

#include <MigrationStrategy.h>

/** The box ran the previous platform: the MAC address lies in the raw MAC block, and the backup may be in the legacy
 * layout. The MAC address is not backed up. */
class MavoTeskStratgegy final : public MigrationStrategy {
 public:
    MavoTeskStratgegy();

    bool BackupMACAddress() override;
    /** Copies the raw MAC block into the TV's EEPROM, unchecked: a blank one too. */
    bool RestoreMACAddress() override;
    bool SetBootPartition(int partition) override;
    bool GetBootPartition(int* partition) override;
    bool SetRestorePath() override;
};
