/** @file
 * TV of year code 15 with a box of year code 13.
 */
#pragma once

#include <MigrationStrategy.h>

/** The backup travels as one archive, which the migration service moves to and from the box; the MAC address comes from the
 * raw MAC block or from the TV-side micom and is not backed up. The only strategy whose boot partition can be read and
 * set. */
class MavoNufStratgegy : public MigrationStrategy {
 public:
    MavoNufStratgegy();

    /** @return false, whatever was dumped: there is no MAC backup to this box */
    bool DumpNonVolatileData() override;
    bool RestoreNonVolatileData() override;
    /** Carries out a START or END; there is no clean-up.
     * @param type      0 backup, 1 restore; every other type fails, those of the other pairings too
     * @param progress  where it stands
     * @param status    not null; receives the outcome */
    bool NotifyMigrationStatus(const VB_VornBoxMigrationType_k& type, const VB_VornBoxMigrationProgress_k& progress,
                               VB_VornBoxMigrationStatus_k* status) override;
    bool BackupMACAddress() override;
    bool RestoreMACAddress() override;
    bool SetBootPartition(int partition) override;
    bool GetBootPartition(int* partition) override;
    bool SetRestorePath() override;
    bool NotifyMigrationImplBkup(const VB_VornBoxMigrationProgress_k& progress) override;
    bool NotifyMigrationImplRestore(const VB_VornBoxMigrationProgress_k& progress) override;

    /** Has the service fetch the archive from the box.
     * @return whether the reply's status is 0: true also when the call fails, and false when the service answers under
     * the request's own code, whatever it did */
    bool GetFileFromNUF();
    /** Has the service send the archive to the box. @return likewise */
    bool SendFileToNUF();

 private:
    bool RunNotification(const VB_VornBoxMigrationType_k& type, const VB_VornBoxMigrationProgress_k& progress);
};
