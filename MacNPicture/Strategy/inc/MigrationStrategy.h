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

    virtual bool DumpNonVolatileData();
    virtual bool RestoreNonVolatileData();
    virtual bool NotifyMigrationStatus(const VB_VornBoxMigrationType_k& type,
                                       const VB_VornBoxMigrationProgress_k& progress,
                                       VB_VornBoxMigrationStatus_k* status);
    virtual bool BackupMACAddress() = 0;
    virtual bool RestoreMACAddress() = 0;
    virtual bool SetBootPartition(int partition);
    virtual bool GetBootPartition(int* partition);
    /** Decides mRestorePath and mbLegacyRestorePath. */
    virtual bool SetRestorePath() = 0;
    virtual bool RestorePicture();
    virtual bool NotifyMigrationImplBkup(const VB_VornBoxMigrationProgress_k& progress);
    virtual bool NotifyMigrationImplRestore(const VB_VornBoxMigrationProgress_k& progress);

    /** Hands over the picture migrator (the Observer of the log), which is not owned. */
    void SetObserver(VEMigration* observer) { mpObserver = observer; }

    bool DoVornBoxDataSync(VB_VornBoxInfo_k direction);
    /** Cuts "SP_VB_Data/" and what follows off the backup path. @return true */
    bool RestorBkupPath();
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
    bool SetFlagForPower();
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
    bool WriteEEPROMMigratedMAC(const unsigned char* mac, const int& size);
    /** @return whether exactly @p size bytes could be read */
    bool ReadRAWBlock(const char* path, const int& size, unsigned char* buffer);
    /** @param size  at most 6
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

    /** @param fd  the open system device */
    bool CheckForNewBoard(int fd);
    bool IsCIEnable();
    bool BackupGPIOs(int fd);
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
        explicit EndOfDump(MigrationStrategy& strategy) : mStrategy(strategy) {}
        ~EndOfDump();
        EndOfDump(const EndOfDump&) = delete;
        EndOfDump& operator=(const EndOfDump&) = delete;

     private:
        MigrationStrategy& mStrategy;
    };

    VEMigration* mpObserver = nullptr;
    std::string mBackupPath;
    std::string mRestorePath;
    bool mbLegacyRestorePath = false;
    bool mbReserved = false;
    bool mbPowerOffDetected = false;
    bool mbFormattedAfterPowerOff = false;
    bool mbMigrationMounted = false;
    bool mbModuleLoaded = false;     // in step with mbMigrationMounted
    bool mbDataSyncMounted = false;

    enum GpioIndex { GPIO_172, GPIO_173, GPIO_174, GPIO_175, GPIO_165, GPIO_153, GPIO_107, GPIO_COUNT };
    unsigned char mGPIOS[GPIO_COUNT] = {0, 0, 0, 0, 1, 1, 0};

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

inline constexpr int kMacSize = 6;

