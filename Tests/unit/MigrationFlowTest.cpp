/** Dump, restore and sync as all pairings share them, and what a strategy begins with. */
#include "StrategyOnSet.h"

#include <optional>

namespace {

const char* const kBase = "/opt/tv/migration/korvane_vbmg/";
const char* const kFolder = "/opt/tv/migration/korvane_vbmg/SP_VB_Data/";
const Steps kMounting = {"micom_check_serdes_lock = 0 1", "service: /bin/spi_init.sh mount migration = 0"};
const char* const kSync = "DoVornBoxFactoryDatasSync 5 15 = 1";

class MigrationFlow : public StrategyOnSet {
 protected:
    void StartStrategy(const std::string& tv = "tv15", const std::string& box = "box15")
    {
        StartSet(tv, box);
        MakeStrategy();
        Forget();
    }
    SteeredStrategy& MakeStrategy()
    {
        strategy_.emplace();
        strategy_->SetObserver(&migrator_);
        return *strategy_;
    }
    SteeredStrategy& Strategy() { return *strategy_; }
    SteeredMigrator& Migrator() { return migrator_; }

 private:
    SteeredMigrator migrator_;
    std::optional<SteeredStrategy> strategy_;
};

// What a strategy begins with

TEST_F(MigrationFlow, PathsComeFromThePlatformsPathConfigurationWhenTheKeysCannotBeRead)
{
    StartSet();
    MakeStrategy();
    EXPECT_EQ(Strategy().mBackupPath, kBase);
    EXPECT_EQ(Strategy().mRestorePath, kBase);
    EXPECT_EQ(Asked(), (Steps{"system_info_get_value_string 247 = -1",
                              "tzplatform_mkpath 31 migration/korvane_vbmg/ = /opt/tv/migration/korvane_vbmg/",
                              "system_info_get_value_string 248 = -1",
                              "tzplatform_mkpath 31 migration/korvane_vbmg/ = /opt/tv/migration/korvane_vbmg/"}));
    EXPECT_EQ(Logged(), (Messages{Info("Final Path Now is ==> : /opt/tv/migration/korvane_vbmg/ "),
                                  Info("Final Path Now is ==> : /opt/tv/migration/korvane_vbmg/ ")}));
}

TEST_F(MigrationFlow, PathsComeFromTheirKeys)
{
    StartSet();
    Fault("system_info.247", "/opt/korvane_vbmg/");
    Fault("system_info.248", "/opt/tv/other/");
    MakeStrategy();
    EXPECT_EQ(Strategy().mBackupPath, "/opt/korvane_vbmg/");
    EXPECT_EQ(Strategy().mRestorePath, "/opt/tv/other/");
    EXPECT_EQ(Logged(), (Messages{Info("Base Path Recevied ==> : /opt/korvane_vbmg/ "),
                                  Info("Final Path Now is ==> : /opt/korvane_vbmg/ "),
                                  Info("Base Path Recevied ==> : /opt/tv/other/ "),
                                  Info("Final Path Now is ==> : /opt/tv/other/ ")}));
}

TEST_F(MigrationFlow, FlagsAndGpioLevelsHaveTheirFirstValues)
{
    StartSet();
    MakeStrategy();
    EXPECT_FALSE(Strategy().mbLegacyRestorePath);
    EXPECT_FALSE(Strategy().mbPowerOffDetected);
    EXPECT_FALSE(Strategy().mbFormattedAfterPowerOff);
    EXPECT_FALSE(Strategy().mbMigrationMounted);
    EXPECT_FALSE(Strategy().mbModuleLoaded);
    EXPECT_FALSE(Strategy().mbDataSyncMounted);
    EXPECT_THAT(Strategy().mGPIOS, ::testing::ElementsAre(0, 0, 0, 0, 1, 1, 0));
}

TEST_F(MigrationFlow, TheEndOfAStrategyIsTraced)
{
    StartSet();
    {
        const SteeredStrategy strategy;
        Forget();
    }
    const Messages logged = Logged();
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_EQ(logged[0].first, 6);
    EXPECT_THAT(logged[0].second,
                ::testing::MatchesRegex("Migration -> Func -> ~MigrationStrategy \t\t@ line\t-> [0-9]+\t"));
    EXPECT_EQ(UnitsOf({"~MigrationStrategy"}), (std::vector<std::string>{"MigrationStrategy.cpp"}));
}

// Dump

TEST_F(MigrationFlow, DumpMountsBacksTheMacUpAndDumpsThePictureIntoTheBackupFolder)
{
    StartStrategy();
    EXPECT_TRUE(Strategy().DumpNonVolatileData());
    EXPECT_EQ(Asked(), Joined(kMounting, {"BackupMACAddress = 1", "stat " + std::string(kFolder) + " = ENOENT",
                                          "here: mkdir -p " + std::string(kFolder) + " = 0",
                                          "DumpNonVolatileData " + std::string(kFolder) + " = 0", kSync}));
    EXPECT_EQ(Logged({"DumpNonVolatileData"}), (Messages{Info("MAC data dumped "), Info("Picture data dumped ")}));
    EXPECT_EQ(Strategy().mBackupPath, kBase);
}

TEST_F(MigrationFlow, DumpStopsWhenThePartitionCannotBeMounted)
{
    StartStrategy();
    Fault("serdes.polls", "never");
    EXPECT_FALSE(Strategy().DumpNonVolatileData());
    EXPECT_EQ(Asked({"request", "command", "strategy", "migrator", "file"}), Steps{});
    EXPECT_EQ(Calls({"platform"}), Steps(150, "micom_check_serdes_lock"));
    EXPECT_EQ(Logged({"DumpNonVolatileData"}), (Messages{Error("Mount Partition failed.... Exiting")}));
}

TEST_F(MigrationFlow, ThePictureIsDumpedAlsoWithoutAMacBackupAndTheResultIsThatOfTheMacBackup)
{
    StartStrategy();
    Strategy().backupMacResult = false;
    EXPECT_FALSE(Strategy().DumpNonVolatileData());
    EXPECT_EQ(Logged({"DumpNonVolatileData"}),
              (Messages{Error("MAC data could not be dumped "), Info("Picture data dumped ")}));
    EXPECT_EQ(Calls({"migrator"}), (Steps{"DumpNonVolatileData"}));
}

TEST_F(MigrationFlow, DumpFailsWithThePicture)
{
    StartStrategy();
    for (const int result : {static_cast<int>(0x80000000U), -1, 1}) {
        Migrator().dumpResult = result;
        Forget();
        EXPECT_FALSE(Strategy().DumpNonVolatileData()) << result;
        EXPECT_EQ(Logged({"DumpNonVolatileData"}),
                  (Messages{Info("MAC data dumped "), Error("Picture data could not be dumped ")}));
        EXPECT_EQ(Asked().back(), kSync);
        EXPECT_EQ(Strategy().mBackupPath, kBase);
    }
}

TEST_F(MigrationFlow, DumpWithoutAMigratorFailsButSyncsTheFactoryData)
{
    StartStrategy();
    Strategy().SetObserver(nullptr);
    EXPECT_FALSE(Strategy().DumpNonVolatileData());
    EXPECT_EQ(Asked(), Joined(kMounting, {"BackupMACAddress = 1", kSync}));
    EXPECT_EQ(Logged({"DumpNonVolatileData"}),
              (Messages{Info("MAC data dumped "), Error("FATAL : Observer Is NULL!!!!!!!! ")}));
}

class DumpWithoutBackupFolder : public MigrationFlow, public ::testing::WithParamInterface<bool> {};

TEST_P(DumpWithoutBackupFolder, SkipsThePictureSilentlyAndGivesTheResultOfTheMacBackup)
{
    StartStrategy();
    Fault("local.mkdir", "1");
    Fault("service.mkdir", "2");
    Strategy().backupMacResult = GetParam();
    EXPECT_EQ(Strategy().DumpNonVolatileData(), GetParam());
    const Steps made = {"BackupMACAddress = " + std::to_string(GetParam()),
                        "stat " + std::string(kFolder) + " = ENOENT", "here: mkdir -p " + std::string(kFolder) + " = 1",
                        "service: mkdir -p " + std::string(kFolder) + " = 2", kSync};
    EXPECT_EQ(Asked(), Joined(kMounting, made));
    EXPECT_EQ(Logged({"DumpNonVolatileData"}),
              (Messages{GetParam() ? Info("MAC data dumped ") : Error("MAC data could not be dumped ")}));
    EXPECT_EQ(Strategy().mBackupPath, kBase);
}

INSTANTIATE_TEST_SUITE_P(MacBackups, DumpWithoutBackupFolder, ::testing::Bool());

TEST_F(MigrationFlow, ASecondDumpGoesToTheSameFolder)
{
    StartStrategy();
    ASSERT_TRUE(Strategy().DumpNonVolatileData());
    Forget();
    EXPECT_TRUE(Strategy().DumpNonVolatileData());
    EXPECT_EQ(Asked({"migrator"}), (Steps{"DumpNonVolatileData " + std::string(kFolder) + " = 0"}));
    EXPECT_EQ(Asked({"command"}), Steps{});
}

// Restore

TEST_F(MigrationFlow, RestoreRestoresTheMacThenChoosesThePathThenRestoresThePicture)
{
    StartStrategy();
    Strategy().chosenRestorePath = "/opt/tv/chosen/";
    EXPECT_TRUE(Strategy().RestoreNonVolatileData());
    EXPECT_EQ(Asked(), Joined(kMounting, {"RestoreMACAddress = 1", "SetRestorePath = 0",
                                          "RestoreNonVolatileData /opt/tv/chosen/ = 1"}));
    EXPECT_EQ(Logged({"RestoreNonVolatileData", "RestorePicture"}),
              (Messages{Info("MAC data Restored "), Info("Picture data Restored ")}));
}

TEST_F(MigrationFlow, RestoreStopsWhenThePartitionCannotBeMounted)
{
    StartStrategy();
    Fault("serdes.polls", "never");
    EXPECT_FALSE(Strategy().RestoreNonVolatileData());
    EXPECT_EQ(Asked({"request", "command", "strategy", "migrator"}), Steps{});
    EXPECT_EQ(Logged({"RestoreNonVolatileData"}), (Messages{Error("Mount Partition failed.... Exiting")}));
}

TEST_F(MigrationFlow, ThePictureIsNotRestoredWhenTheMacCannotBeButThePathIsChosen)
{
    StartStrategy();
    Strategy().restoreMacResult = false;
    EXPECT_FALSE(Strategy().RestoreNonVolatileData());
    EXPECT_EQ(Asked(), Joined(kMounting, {"RestoreMACAddress = 0", "SetRestorePath = 0"}));
    EXPECT_EQ(Logged({"RestoreNonVolatileData", "RestorePicture"}),
              (Messages{Error("MAC data could not be Restored ")}));
}

TEST_F(MigrationFlow, RestoreFailsWithThePicture)
{
    StartStrategy();
    Migrator().restoreResult = false;
    EXPECT_FALSE(Strategy().RestoreNonVolatileData());
    EXPECT_EQ(Logged({"RestoreNonVolatileData", "RestorePicture"}),
              (Messages{Info("MAC data Restored "), Error("Picture data could not be Restored ")}));
}

/** A pairing with a picture restore of its own. */
class StrategyWithOwnPicture : public SteeredStrategy {
 public:
    bool RestorePicture() override { return pictureResult; }
    bool pictureResult = true;
};

TEST_F(MigrationFlow, RestoreAsksThePairingForThePictureAndGivesItsResult)
{
    StartSet();
    StrategyWithOwnPicture strategy;
    for (const bool result : {true, false}) {
        strategy.pictureResult = result;
        EXPECT_EQ(strategy.RestoreNonVolatileData(), result);
    }
    EXPECT_EQ(Logged({"RestorePicture"}), Messages{});
}

// The picture alone

TEST_F(MigrationFlow, ALegacyPictureIsRestoredUnderTheItemIdsOfTheMigrator)
{
    StartStrategy();
    Strategy().mbLegacyRestorePath = true;
    Strategy().mRestorePath = "TD/Migration/";
    EXPECT_TRUE(Strategy().RestorePicture());
    EXPECT_EQ(Asked(), (Steps{"RestoreNonVolatileDataUlvey TD/Migration/ of the item ids = 1"}));
    EXPECT_EQ(Logged(), (Messages{Info("Picture data Restored ")}));
    Migrator().restoreResult = false;
    Forget();
    EXPECT_FALSE(Strategy().RestorePicture());
    EXPECT_EQ(Logged(), (Messages{Error("Picture data could not be Restored ")}));
}

TEST_F(MigrationFlow, WithoutAMigratorThereIsNoPicture)
{
    StartStrategy();
    Strategy().SetObserver(nullptr);
    EXPECT_FALSE(Strategy().RestorePicture());
    EXPECT_EQ(Logged(), (Messages{Error("FATAL : Observer Is NULL!!!!!!!! ")}));
}

TEST_F(MigrationFlow, AMigratorThatImplementsNothingFails)
{
    StartStrategy();
    PlainMigrator plain;
    Strategy().SetObserver(&plain);
    EXPECT_FALSE(Strategy().DumpNonVolatileData());
    EXPECT_FALSE(Strategy().RestorePicture());
    Strategy().mbLegacyRestorePath = true;
    EXPECT_FALSE(Strategy().RestorePicture());
    EXPECT_FALSE(Strategy().DoVornBoxDataSync(VB_INFO_VB_FAC_TO_TV_SPI));
    EXPECT_EQ(Logged({"RestorePicture"}),
              (Messages{Error("Picture data could not be Restored "), Error("Picture data could not be Restored ")}));
}

// Sync

TEST_F(MigrationFlow, SyncHandsEveryDirectionToTheMigratorAsItIs)
{
    StartStrategy();
    for (const int direction : {0, 1, 2, 3, 4, -1}) {
        Forget();
        EXPECT_TRUE(Strategy().DoVornBoxDataSync(static_cast<VB_VornBoxInfo_k>(direction)));
        EXPECT_EQ(Asked(), (Steps{"DoVornBoxDataSync " + std::to_string(direction) + " = 0"}));
        EXPECT_EQ(Logged(), (Messages{Info("Noting to do!!! Dispatch the call to Observer\t")}));
    }
}

TEST_F(MigrationFlow, SyncSucceedsOnlyWhenTheMigratorGivesZero)
{
    StartStrategy();
    for (const int result : {1, -1, static_cast<int>(0x80000000U)}) {
        Migrator().syncResult = result;
        EXPECT_FALSE(Strategy().DoVornBoxDataSync(VB_INFO_TV_SPI_TO_VB_FAC)) << result;
    }
}

TEST_F(MigrationFlow, SyncWithoutAMigratorSaysSoTwice)
{
    StartStrategy();
    Strategy().SetObserver(nullptr);
    EXPECT_FALSE(Strategy().DoVornBoxDataSync(VB_INFO_VB_FAC_TO_TV_SPI));
    EXPECT_EQ(Logged(), (Messages{Info("Noting to do!!! Dispatch the call to Observer\t"),
                                  Error("Fatal!!! Observer is Null \t"), Error("Fatal!!! Observer is Null \t")}));
}

// Boot partition

TEST_F(MigrationFlow, TheBootPartitionIsNotSupported)
{
    StartStrategy();
    int partition = 42;
    EXPECT_FALSE(Strategy().SetBootPartition(1));
    EXPECT_FALSE(Strategy().GetBootPartition(&partition));
    EXPECT_EQ(partition, 42);
    EXPECT_EQ(Logged(), (Messages{Error("Base  Not Supported\t"), Error("Base Not Supported\t")}));
    EXPECT_EQ(Asked(), Steps{});
}

TEST_F(MigrationFlow, MessagesNameTheStrategyUnit)
{
    StartStrategy();
    Strategy().DumpNonVolatileData();
    Strategy().RestoreNonVolatileData();
    Strategy().DoVornBoxDataSync(VB_INFO_VB_FAC_TO_TV_SPI);
    Strategy().SetBootPartition(1);
    EXPECT_EQ(UnitsOf({"DumpNonVolatileData", "RestoreNonVolatileData", "RestorePicture", "DoVornBoxDataSync",
                       "SetBootPartition", "CreateSPFolder"}),
              (std::vector<std::string>{"MigrationStrategy.cpp"}));
}

}  // namespace
