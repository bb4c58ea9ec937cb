// Where the messages of strategies stand among what the set is asked to do.

#include "StrategyOnSet.h"

#include <BoardDevices.h>
#include <MavoMavoStratgegy.h>
#include <MavoTeskStratgegy.h>
#include <MessageTrace.h>
#include <UniqueFd.h>

#include <fcntl.h>

#include <algorithm>
#include <optional>

namespace {

const char* const kFile = "/opt/tv/data/file";
const char* const kUnloading = "0:/usr/bin/MigrationScript.sh UnMoungNRmmod:EMPTY:EMPTY";
const char* const kReadBlock = "1:/dev/mtdblock3:6:EMPTY";

class StrategyMessageOrder : public StrategyOnSet {
 protected:
    void StartStrategy(const std::string& tv = "tv15")
    {
        StartSet(tv);
        strategy_.emplace();
        strategy_->SetObserver(&migrator_);
        Forget();
    }
    SteeredStrategy& Strategy() { return *strategy_; }
    SteeredMigrator& Migrator() { return migrator_; }

    /** The messages of some functions among all calls. */
    Steps HappenedIn(const std::vector<std::string>& functions) const { return Happened(Trace(), functions); }

 private:
    SteeredMigrator migrator_;
    std::optional<SteeredStrategy> strategy_;
};

// Data files

TEST_F(StrategyMessageOrder, AFileIsClosedBeforeThatIsSaid)
{
    StartStrategy();
    PutOnTv(kFile, "abcdef");
    unsigned char bytes[6] = {};
    EXPECT_TRUE(Strategy().ReadFromFileToBuff(kFile, bytes, 6));
    EXPECT_EQ(HappenedIn({}),
              (Steps{"fopen", "\" File /opt/tv/data/file opend for read \"", "read",
                     "\" Data read from File /opt/tv/data/file\"", "close", "\" File /opt/tv/data/file Closed \""}));
    Forget();
    EXPECT_TRUE(Strategy().WriteToFile(kFile, bytes, 6));
    const Steps written = HappenedIn({});  // the stream may keep the bytes until it is closed
    ASSERT_EQ(written.size(), 6U);
    EXPECT_EQ(written[0], "fopen");
    EXPECT_EQ(written[1], "\" File /opt/tv/data/file opened for write \"");
    EXPECT_EQ(written[4], "close");
    EXPECT_EQ(written[5], "\" File /opt/tv/data/file Closed \"");
}

TEST_F(StrategyMessageOrder, TheMacBlockIsClosedAfterItsBytesAreTold)
{
    StartStrategy();
    EXPECT_TRUE(Strategy().CheckSPIFlashMAC());
    EXPECT_EQ(HappenedIn({}), (Steps{"fopen", "\" File /dev/mtdblock3 opend for Reading \"", "read",
                                     "\" Data From device 0xff:0xff:0xff:0xff:0xff:0xff \"", "close"}));
}

TEST_F(StrategyMessageOrder, TheServiceIsTriedForTheMacBlockAfterThatIsSaid)
{
    StartStrategy();
    Fault("path./dev/mtdblock3", "EACCES");
    EXPECT_TRUE(Strategy().CheckSPIFlashMAC());
    EXPECT_EQ(HappenedIn({"CheckSPIFlashMAC"}),
              (Steps{"fopen", "\" Fatal!!!! Could not open file, trying on Server \"", kReadBlock,
                     "\"  Server REad successful  \""}));
}

TEST_F(StrategyMessageOrder, TheServiceIsTriedForTheBackupFolderAfterThatIsSaid)
{
    StartStrategy();
    Fault("local.mkdir", "1");
    EXPECT_TRUE(Strategy().CreateSPFolder());
    const std::string command = "mkdir -p /opt/tv/migration/korvane_vbmg/SP_VB_Data/";
    EXPECT_EQ(HappenedIn({"CreateSPFolder"}),
              (Steps{"stat", command, '"' + command + " cmd failed with : error 1 , now trying on server \"",
                     "0:" + command + ":EMPTY:EMPTY"}));
}

// Flows

TEST_F(StrategyMessageOrder, ADumpTellsOfMacAndPictureAfterEach)
{
    StartStrategy();
    PutBackupTree();
    EXPECT_TRUE(Strategy().DumpNonVolatileData());
    EXPECT_THAT(HappenedIn({"DumpNonVolatileData", "CreateSPFolder"}),
                ::testing::ElementsAre("micom_check_serdes_lock", "0:/bin/spi_init.sh mount migration:EMPTY:EMPTY",
                                       "BackupMACAddress", "\"MAC data dumped \"", "stat",
                                       "\"stat() sucess\tverify\"",
                                       ::testing::StartsWith("\"stat() sucess Size is "), "DumpNonVolatileData",
                                       "\"Picture data dumped \"", "DoVornBoxFactoryDatasSync"));
}

TEST_F(StrategyMessageOrder, ARestoreTellsOfTheMacBeforeThePathIsChosen)
{
    StartStrategy();
    for (const bool restored : {true, false}) {
        Strategy().restoreMacResult = restored;
        Forget();
        EXPECT_EQ(Strategy().RestoreNonVolatileData(), restored);
        const Steps steps = HappenedIn({"RestoreNonVolatileData", "RestorePicture"});
        const auto mac = std::find(steps.begin(), steps.end(), "RestoreMACAddress");
        const Steps picture = {"\"MAC data Restored \"", "SetRestorePath", "RestoreNonVolatileData",
                               "\"Picture data Restored \""};
        const Steps refusal = {"\"MAC data could not be Restored \"", "SetRestorePath"};
        ASSERT_NE(mac, steps.end());
        EXPECT_EQ(Steps(mac + 1, steps.end()), restored ? picture : refusal);
    }
}

TEST_F(StrategyMessageOrder, ASyncIsAnnounced)
{
    StartStrategy();
    EXPECT_TRUE(Strategy().DoVornBoxDataSync(VB_INFO_VB_FAC_TO_TV_SPI));
    EXPECT_EQ(HappenedIn({}), (Steps{"\"Noting to do!!! Dispatch the call to Observer\t\"", "DoVornBoxDataSync"}));
}

// Board

TEST_F(StrategyMessageOrder, UnloadingTheModuleStandsBetweenItsTwoMessages)
{
    StartStrategy("tv15-newboard");
    EXPECT_TRUE(Strategy().TunerGPIOSetUnset(VB_MIGRATION_PROGRESS_START));
    EXPECT_EQ(HappenedIn({"TunerGPIOSetUnset", "TunerGIPOSet"}),
              (Steps{"\"VB_MIGRATION_PROGRESS_START Start ==\"", "open", "BOARD_READ_GPIO_165", "BOARD_READ_GPIO_153",
                     "BOARD_READ_GPIO_107", "\"...MigrationScript.sh UnMoungNRmmod START \"", kUnloading,
                     "\"...MigrationScript.sh UnMoungNRmmod END \"", "system_info_get_value_int", "open",
                     "FE_SEND_DBG_CMD", "close", "BOARD_READ_GPIO_172", "BOARD_READ_GPIO_173", "BOARD_READ_GPIO_174",
                     "BOARD_READ_GPIO_175", "BOARD_SET_BUFFER_IC", "close", "\"VB_MIGRATION_PROGRESS_START END  ==\""}));
    Forget();
    EXPECT_TRUE(Strategy().TunerGPIOSetUnset(VB_MIGRATION_PROGRESS_END));
    EXPECT_EQ(HappenedIn({"TunerGPIOSetUnset", "TunerGIPOUnset"}),
              (Steps{"\"VB_MIGRATION_PROGRESS_END Start ==\"", "open", "BOARD_READ_GPIO_165", "BOARD_READ_GPIO_153",
                     "BOARD_READ_GPIO_107", "system_info_get_value_int",
                     "\"...MigrationScript.sh UnMoungNRmmod START \"", kUnloading,
                     "\"...MigrationScript.sh UnMoungNRmmod END \"", "BOARD_SET_BUFFER_IC", "BOARD_SET_GPIO_172",
                     "BOARD_SET_GPIO_173", "BOARD_SET_GPIO_174", "BOARD_SET_GPIO_175", "open", "FE_SEND_DBG_CMD",
                     "close", "close", "\"VB_MIGRATION_PROGRESS_END END ==\""}));
}

TEST_F(StrategyMessageOrder, ABufferIcThatFailsIsToldBeforeTheDeviceIsClosed)
{
    StartStrategy("tv15-newboard-noci");
    Fault("ioctl.4004491F", "EIO");
    EXPECT_FALSE(Strategy().TunerGIPOSet());
    EXPECT_EQ(Last(3, HappenedIn({"TunerGIPOSet"})),
              (Steps{"BOARD_SET_BUFFER_IC", "\" IOCTL Failed for Buffer IC enable  retval = [-1]\"", "close"}));
}

TEST_F(StrategyMessageOrder, LevelsAreToldAfterTheyAreReadAndBeforeTheyAreSet)
{
    StartStrategy("tv15-newboard");
    const UniqueFd system(open(SYSTEM_DEVICE_PATH, O_RDWR));
    Forget();
    EXPECT_TRUE(Strategy().CheckForNewBoard(system.Get()));
    EXPECT_EQ(HappenedIn({}),
              (Steps{"\"...START \"", "BOARD_READ_GPIO_165", "BOARD_READ_GPIO_153", "BOARD_READ_GPIO_107",
                     "\" Values read :  mGPIOS[GPIO_165] = [1], mGPIOS[GPIO_153] = [1], mGPIOS[GPIO_107] = [0] \"",
                     "\"This is New Board ...END \""}));
    Forget();
    EXPECT_TRUE(Strategy().BackupGPIOs(system.Get()));
    EXPECT_EQ(HappenedIn({}),
              (Steps{"\"...START \"", "BOARD_READ_GPIO_172", "BOARD_READ_GPIO_173", "BOARD_READ_GPIO_174",
                     "BOARD_READ_GPIO_175",
                     "\" Values read :  mGPIOS[GPIO_172] = [1], mGPIOS[GPIO_173] = [0], mGPIOS[GPIO_174] = [1], "
                     "mGPIOS[GPIO_175] = [1] \"",
                     "\"...END \""}));
    Forget();
    EXPECT_TRUE(Strategy().RestoreGPIOs(system.Get()));
    EXPECT_EQ(HappenedIn({}),
              (Steps{"\"...START \"",
                     "\" Values writing :  mGPIOS[GPIO_172] = [1], mGPIOS[GPIO_173] = [0], mGPIOS[GPIO_174] = [1], "
                     "mGPIOS[GPIO_175] = [1] \"",
                     "BOARD_SET_GPIO_172", "BOARD_SET_GPIO_173", "BOARD_SET_GPIO_174", "BOARD_SET_GPIO_175",
                     "\"...END \""}));
}

TEST_F(StrategyMessageOrder, TheCiSlotsAreCountedBetweenStartAndEnd)
{
    StartStrategy();
    Strategy().IsCIEnable();
    const Steps steps = HappenedIn({});
    ASSERT_EQ(steps.size(), 4U);
    EXPECT_EQ(steps[0], "\"...START \"");
    EXPECT_EQ(steps[1], "system_info_get_value_int");
    EXPECT_EQ(steps[3], "\"...END \"");
}

TEST_F(StrategyMessageOrder, TheFrontendIsClosedBeforeASuccessIsToldAndAfterAFailureIs)
{
    StartStrategy("tv15-newboard");
    EXPECT_EQ(Strategy().SetTunerMute(1), 0);
    EXPECT_EQ(HappenedIn({}),
              (Steps{"\"...START, onOff[1] \"", "open", "FE_SEND_DBG_CMD", "close", "\"...END, onOff[1] \""}));
    Fault("ioctl.80246F51", "EIO");
    Forget();
    EXPECT_EQ(Strategy().SetTunerMute(1), -1);
    EXPECT_EQ(HappenedIn({}), (Steps{"\"...START, onOff[1] \"", "open", "FE_SEND_DBG_CMD",
                                     "\"ERR: failed FE_SEND_DBG_CMD\"", "close"}));
}

// MAC addresses of the pairings

TEST_F(StrategyMessageOrder, TheTvsAddressIsToldBeforeItIsWrittenAndTheServiceTriedAfterThatIsSaid)
{
    StartStrategy();
    MavoMavoStratgegy mavo;
    Fault("path./dev/mtdblock3", "EACCES");
    Forget();
    EXPECT_TRUE(mavo.BackupMACAddress());
    EXPECT_EQ(HappenedIn({"BackupMACAddress", "WriteToFile"}),
              (Steps{"fopen", kReadBlock, "eeprom_read",
                     "\" MAC received from eeprom ==> 0x 2:0x 0:0x5e:0x10:0x 0:0x15 \"", "fopen",
                     "\"Could not open file \"", "\" WriteToFile for /dev/mtdblock3 failed, trying on server \"",
                     "2:/dev/mtdblock3:6:02005E100015", "\" WriteToFile Suceeded\""}));
}

TEST_F(StrategyMessageOrder, TheBoxesAddressIsToldBeforeItIsStored)
{
    StartStrategy();
    MavoTeskStratgegy tesk;
    Forget();
    EXPECT_TRUE(tesk.RestoreMACAddress());
    EXPECT_EQ(HappenedIn({}), (Steps{"open", "read", "close", "\" Ulvey /dev/mtdblock3  File exists & Read \"",
                                     "eeprom_write_migrated_mac", "\"EEPROM Write Success for MAC Address\""}));
    Fault("path./dev/mtdblock3", "EACCES");
    Forget();
    EXPECT_TRUE(tesk.RestoreMACAddress());
    EXPECT_EQ(HappenedIn({"RestoreMACAddress", "ReadRAWBlock", "WriteEEPROMMigratedMAC"}),
              (Steps{"open", "\"can't open Path [/dev/mtdblock3], errno : [ 13 ] \"",
                     "\"  Cannot Open Ulvey File /dev/mtdblock3 now I trying from server <== \"", kReadBlock,
                     "\"  Server REad successful  \"", "eeprom_write_migrated_mac",
                     "\"EEPROM Write Success for MAC Address\""}));
}

}  // namespace
