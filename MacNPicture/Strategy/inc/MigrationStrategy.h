/** @file
 * The migration flows that all pairings of a TV with a box share.
 */
#pragma once

#include <VBMigration.h>

#include <iosfwd>
#include <string>

/** The abstract strategy: notification, dump and restore flows over partitions, data files and board.
 *
 * Its sources are MigrationStrategy.cpp (flows), MigrationStrategyPartition.cpp (partitions and power failure),
 * MigrationStrategyDataFile.cpp (data files and MAC) and MigrationStrategyBoard.cpp (GPIOs, tuner, buffer IC); in the log
 * all of them are "MigrationStrategy.cpp". The order of the virtual operations and of the members is part of the
 * interface. One caller at a time.
 */
class MigrationStrategy {
 public:
    virtual ~MigrationStrategy();
    MigrationStrategy(const MigrationStrategy&) = delete;
    MigrationStrategy& operator=(const MigrationStrategy&) = delete;

    // The virtual operations; true is success.

    /** Saves the MAC address and writes the picture items into the backup folder. */
    virtual bool DumpNonVolatileData();
    /** Restores the MAC address, then the picture items. */
    virtual bool RestoreNonVolatileData();
    /** Carries out a START or END, and the clean-up after END and after a failure.
     * @param type      what is being done
     * @param progress  where it stands
     * @param status    not null; receives the outcome */
    virtual bool NotifyMigrationStatus(const VB_VornBoxMigrationType_k& type,
                                       const VB_VornBoxMigrationProgress_k& progress,
                                       VB_VornBoxMigrationStatus_k* status);
    /** Saves the TV's MAC address in the way of the pairing. */
    virtual bool BackupMACAddress() = 0;
    /** Restores the MAC address in the way of the pairing. */
    virtual bool RestoreMACAddress() = 0;
    /** Selects the boot partition; false where a pairing has none. */
    virtual bool SetBootPartition(int partition);
    /** Reads the boot partition; false, and nothing written, where a pairing has none. */
    virtual bool GetBootPartition(int* partition);
    /** Decides mRestorePath and mbLegacyRestorePath. */
    virtual bool SetRestorePath() = 0;
    /** Writes the picture items below the restore path into the box. */
    virtual bool RestorePicture();
    /** The work of a backup's START or END. */
    virtual bool NotifyMigrationImplBkup(const VB_VornBoxMigrationProgress_k& progress);
    /** The work of a restore's START or END. */
    virtual bool NotifyMigrationImplRestore(const VB_VornBoxMigrationProgress_k& progress);

    /** Hands over the picture migrator (the Observer of the log), which is not owned. */
    void SetObserver(VEMigration* observer) { mpObserver = observer; }

    /** Has the picture migrator copy the items between box and service file. */
    bool DoVornBoxDataSync(VB_VornBoxInfo_k direction);
    /** Cuts "SP_VB_Data/" and what follows off the backup path. @return true */
    bool RestorBkupPath();
    /** TunerGIPOSet() at START, TunerGIPOUnset() at END. */
    bool TunerGPIOSetUnset(const VB_VornBoxMigrationProgress_k& progress);
    /** Makes sure that the backup folder exists and has the backup path name it. */
    bool CreateSPFolder();

    // Partitions and power failure.

    /** Polls the SerDes link to the box, 150 times 20 ms. @return whether it locked */
    static bool CheckSerdesLock();
    /** Mounts the migration partition on the service, or formats it. @return false only when the link did not lock */
    bool MountPartition();
    /** Mounts the data_sync partition, here or on the service, or formats it. @return whether the link locked */
    bool DataSyncPartitionMount();
    /** The steps of DataSyncPartitionMount(), which need no strategy. */
    static bool MountDataSync();
    /** Loads the migration module and mounts, unless a power-off recovery has just formatted the partition. */
    bool InsmodNMount();
    /** @return whether the migration partition is not mounted afterwards */
    bool UnMount();
    /** @return whether the EEPROM flag says that a migration was cut by a power loss */
    bool CheckForPowerOff();
    /** Raises the power flag in EEPROM. @return whether it was written */
    bool SetFlagForPower();
    /** Lowers it. @return likewise */
    bool ClearPowerFlag();
    /** Formats the migration partition on the service. @return true, whatever came of it */
    bool FormatPartitionPowerOff();
    /** Raises the power flag; formats when it was up already. */
    bool CheckNFormatInPowerOffCase();

    // Data files and MAC address.

    /** Truncates and writes a file. @return whether it could be opened; write errors are not looked at */
    bool WriteToFile(const std::string& path, const unsigned char* buffer, const int& size);
    /** @return whether the file could be opened; a short read is not noticed */
    bool ReadFromFileToBuff(const std::string& path, unsigned char* buffer, const int& size);
    /** @return whether the stream is open, which it stays */
    bool ReadFromFileToBuff(std::fstream& stream, unsigned char* buffer, const int& size);
    /** Stores a migrated MAC address in the TV's EEPROM. @return whether it was stored */
    bool WriteEEPROMMigratedMAC(const unsigned char* mac, const int& size);
    /** @return whether exactly @p size bytes could be read */
    bool ReadRAWBlock(const char* path, const int& size, unsigned char* buffer);
    /** Reads a file on the service.
     * @param path    the file
     * @param size    at most 6
     * @param buffer  receives the bytes
     * @return whether there is a client and a buffer; without an accepted reply the buffer is left alone, digits that
     * are missing from one read as 0 */
    bool ExcuteBlockReadOnServer(const char* path, const int& size, unsigned char* buffer);
    /** @return whether the service wrote exactly @p size bytes */
    bool WriteToFileServer(const char* path, unsigned char* buffer, const int& size);
    /** @return whether the path can be opened here or, refused with EACCES, exists for the service (also when that does
     * not answer) */
    bool IsExists(const char* path);
    /** @return whether the raw MAC block is blank: true means that a backup is still to be made; false also when the
     * block could not be read */
    bool CheckSPIFlashMAC();

    // Board.

    /** @param fd  the open system device
     * @return whether the board is a new one; false also when a level cannot be read */
    bool CheckForNewBoard(int fd);
    /** @return whether the set has a CI slot */
    bool IsCIEnable();
    /** Saves the levels of GPIO 172 to 175. @return whether all could be read */
    bool BackupGPIOs(int fd);
    /** Sets them again. @return whether all could be set */
    bool RestoreGPIOs(int fd);
    /** @return 0, or -1 when the tuner frontend is missing or refuses */
    int SetTunerMute(int onOff);
    /** Holds tuner and buffer IC still. @return true also without a system device or new board */
    bool TunerGIPOSet();
    /** Lets them go again. @return likewise */
    bool TunerGIPOUnset();

 protected:
    MigrationStrategy();

    /** Reads the 6 bytes of the raw MAC block, here or on the service; speaks for an operation of a concrete strategy. */
    bool ReadMacBlockHereOrOnServer(const char* unit, const char* operation, unsigned char* mac);
    /** Lets the restore path name "SP_VB_Data/" below it when that exists, else the legacy folder. It starts from the path
     * as it is: a second restore looks below what the first one chose. */
    void UseBackupFolderOrLegacyFolder();

    /** Ends a dump, however it is left: has the factory data synced, then puts the backup path back. */
    class EndOfDump {
     public:
        /** @param strategy  whose dump it is */
        explicit EndOfDump(MigrationStrategy& strategy) : mStrategy(strategy) {}
        ~EndOfDump();
        EndOfDump(const EndOfDump&) = delete;
        EndOfDump& operator=(const EndOfDump&) = delete;

     private:
        MigrationStrategy& mStrategy;
    };

    VEMigration* mpObserver = nullptr;      ///< the picture migrator, not owned
    std::string mBackupPath;                ///< base of the backup tree; the backup folder itself during a dump
    std::string mRestorePath;               ///< where a restore reads, see SetRestorePath()
    bool mbLegacyRestorePath = false;       ///< the backup there is the previous platform's
    bool mbReserved = false;                ///< not used
    bool mbPowerOffDetected = false;        ///< START found that the last migration was cut
    bool mbFormattedAfterPowerOff = false;  ///< and the partition was formatted: the next mount is left out
    bool mbMigrationMounted = false;        ///< as far as this process knows
    bool mbModuleLoaded = false;            ///< in step with mbMigrationMounted
    bool mbDataSyncMounted = false;         ///< whether the link locked at the last attempt

    /** Places in mGPIOS. */
    enum GpioIndex { GPIO_172, GPIO_173, GPIO_174, GPIO_175, GPIO_165, GPIO_153, GPIO_107, GPIO_COUNT };
    unsigned char mGPIOS[GPIO_COUNT] = {0, 0, 0, 0, 1, 1, 0};  ///< 172 to 175: saved at START; the rest: as last read

 private:
    bool RunNotification(const VB_VornBoxMigrationType_k& type, const VB_VornBoxMigrationProgress_k& progress);
    void CleanUpNotification() noexcept;
    bool WritePowerFlag(const char* operation, signed char flag);
    bool ReadGpio(const char* operation, int fd, unsigned long request, GpioIndex index);
    bool SetGpio(const char* operation, int fd, unsigned long request, GpioIndex index);
};

/** The folder in a backup tree that holds a backup. */
inline constexpr const char* kBackupFolder = "SP_VB_Data/";

/** The folder of the previous platform's backup, below the working directory. */
inline constexpr const char* kLegacyFolder = "TD/Migration/";

/** Bytes of a MAC address. */
inline constexpr int kMacSize = 6;

