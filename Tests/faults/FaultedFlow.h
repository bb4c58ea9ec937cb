/** @file
 * Every flow of a caller on a simulated set, for tests in which something fails meanwhile.
 */
#pragma once

#include <Resources.h>
#include <TestSet.h>
#include <VBMigration.h>

#include <filesystem>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

/** A TV and a box that belong together, by the names of their descriptions. */
struct Pairing {
    const char* tv;
    const char* box;
};

std::ostream& operator<<(std::ostream& out, const Pairing& pairing);

/** One pairing for each strategy, or the one that stands for them when not everything is tried. */
std::vector<Pairing> Pairings();

/** The name of a test case: that of the TV. */
std::string PairingName(const ::testing::TestParamInfo<Pairing>& info);

class FaultedFlow : public OnSet {
 protected:
    using Faults = std::map<std::string, std::string>;

    /** Puts this process on a set of a pairing, with a directory of its own for temporary files. */
    void StartPairing(const Pairing& pairing);

    /** Starts the service, runs every flow but a restore, makes a backup, and keeps what that and this process hold. */
    void MakeAllThatStays();

    /** Switches faults on over those that the pairing needs, or off. */
    void Switch(const Faults& faults, bool on);

    /** Every exported function that works with the set, in the order of a caller. */
    void EverythingOnce();

    /** START, dump, END. @return whether START and END succeeded */
    bool Backup();

    /** @return whether it succeeded */
    bool NotifyBackup(VB_VornBoxMigrationProgress_k progress) { return Notify(backup_, progress); }
    bool NotifyRestore(VB_VornBoxMigrationProgress_k progress) { return Notify(backup_ + 1, progress); }

    /** Every flow with these faults in this process, which holds no more afterwards and makes a good backup. Counted as a
     * try of that kind when something met one of the faults. */
    void Survive(const char* kind, const Faults& faults);

    /** The same in a process that has called nothing before, and so can restore; the next one makes the backup.
     * @param also  faults that lead there, which do not count as met */
    void SurviveInNewProcesses(const char* kind, const Faults& faults, const Faults& also = {});

    /** A backup is made, holds what the one of MakeAllThatStays() held, also when another process called that, and leaves
     * the set as it was. */
    void ExpectAGoodBackup(const std::string& after = {});

    void ExpectNothingHeld(const std::string& after);

    /** What was met is forgotten, and the raw MAC block is blank: the next flows have all to do. */
    void BeginTry();
    /** Whether anything on the set has met one of these faults since then. */
    bool HasMet(const Faults& faults);

    bool IsOfYear13() const { return backup_ == 0; }
    std::filesystem::path BackupFile() { return Set().Map(kBackupFile).value(); }

    static constexpr const char* kBackupFile = "/opt/tv/migration/korvane_vbmg/SP_VB_Data/PictureMigrationData.dat";
    static constexpr const char* kMacBlock = "/dev/mtdblock3";

 private:
    bool Notify(int type, VB_VornBoxMigrationProgress_k progress);
    void AllButRestore();

    int backup_ = VB_MIGRATION_TYPE_BACKUP;  ///< the type of a backup; that of a restore is one more
    Faults always_;
    std::optional<OwnTemporaryFiles> temporaryFiles_;
    Resources before_;
};
