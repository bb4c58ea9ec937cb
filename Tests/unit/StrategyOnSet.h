/** @file
 * A strategy on a simulated set with its migration service, and what stands in for a strategy's neighbours where a flow
 * needs their results steered.
 */
#pragma once

#include <MigrationStrategy.h>
#include <TestSet.h>
#include <VEMigration.h>

#include <map>
#include <string>
#include <vector>

using Steps = std::vector<std::string>;

/** Concatenation, for expectations that are made of parts. */
template <class List>
List Joined(List first, const List& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/** Tests begin with nothing logged or traced and the configuration read; nobody has a service client yet. */
class StrategyOnSet : public OnSet {
 protected:
    void StartSet(const std::string& tv = "tv15", const std::string& box = "box15");

    /** Makes a set of a packaged TV description in which one text is replaced. */
    void StartSetWith(const std::string& tv, const std::string& text, const std::string& replacement,
                      const std::string& box = "box15");

    /** What the set was asked to do, in order, of some kinds or all:
     *     "service: COMMAND = STATUS"   a command line run by the service
     *     "request: TEXT = REPLY"       any other request
     *     "here: COMMAND = STATUS"      a command line run by this process
     *     "CALL ARGS = RESULT"          everything else */
    Steps Asked(const std::vector<std::string>& kinds = {}) const;
    /** Command lines and requests alone. */
    Steps Commands() const { return Asked({"command", "request"}); }

    /** The names of the units that some functions logged under. */
    std::vector<std::string> UnitsOf(const std::vector<std::string>& functions) const;

    /** Puts the byte of the power flag into the EEPROM. */
    void SetPowerFlag(unsigned char flag) { Set().WriteEeprom(0xF211, {flag}); }
    int PowerFlag() const;

    /** A file in a directory of the TV's own file system. */
    void PutOnTv(const std::string& path, const std::string& bytes = "x");
    /** A file on the migration partition. */
    void PutOnMigration(const std::string& name, const std::string& bytes = "x");
    /** A backup tree to pack: the backup folder with a file in it. */
    void PutBackupTree() { PutOnTv("/opt/tv/migration/korvane_vbmg/SP_VB_Data/PictureMigrationData.dat"); }

    /** Descriptors of this process and what they are. */
    static std::map<int, std::string> OpenDescriptors();
};

/** While one lives there is no memory for a service client: nobody can get one who has none yet. */
class WithoutClient {
 public:
    WithoutClient();
    ~WithoutClient();
    WithoutClient(const WithoutClient&) = delete;
    WithoutClient& operator=(const WithoutClient&) = delete;
};

/** A migrator that only implements what every migrator has to. */
class PlainMigrator : public VEMigration {
 public:
    int Create() override { return 0; }
    int Destroy() override { return 0; }
    bool FlagCreate() override { return true; }
    int SetFactoryItem(const VB_FactoryItemNode_t*, int) override { return 0; }
    int ConvertValueToStr(VB_FactoryItemNode_t*, int, char*) override { return 0; }
    int GetVBMigrationTestData(int) override { return 0; }
    int m_VerifyVornBoxDataSync() override { return 0; }
};

/** A migrator whose results are given; its calls are traced as of the kind "migrator". */
class SteeredMigrator : public PlainMigrator {
 public:
    int DumpNonVolatileData(std::string path) override;
    bool RestoreNonVolatileData(std::string path) override;
    bool RestoreNonVolatileDataUlvey(std::string path, unsigned int* uids) override;
    int DoVornBoxDataSync(VB_VornBoxInfo_k direction) override;
    unsigned int* GetUIDArray() override { return uids_; }

    int dumpResult = 0;
    bool restoreResult = true;
    int syncResult = 0;

 private:
    unsigned int uids_[1] = {79};
};

/** The base strategy, with given answers to what concrete strategies decide; those are traced as of the kind
 * "strategy". */
class SteeredStrategy : public MigrationStrategy {
 public:
    bool BackupMACAddress() override;
    bool RestoreMACAddress() override;
    bool SetRestorePath() override;

    using MigrationStrategy::mBackupPath;
    using MigrationStrategy::mbDataSyncMounted;
    using MigrationStrategy::mbFormattedAfterPowerOff;
    using MigrationStrategy::mbLegacyRestorePath;
    using MigrationStrategy::mbMigrationMounted;
    using MigrationStrategy::mbModuleLoaded;
    using MigrationStrategy::mbPowerOffDetected;
    using MigrationStrategy::mGPIOS;
    using MigrationStrategy::mRestorePath;

    bool backupMacResult = true;
    bool restoreMacResult = true;
    std::string chosenRestorePath;  ///< put in the restore path when it is chosen, unless empty
};
