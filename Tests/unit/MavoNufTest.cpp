/** A TV with a box of year 13: where the MAC address comes from, dump and restore, the boot partition. */
#include "MavoNufOnSet.h"

#include <Micom.h>

#include <dlfcn.h>

namespace {

/** What the micom returns without giving an address, where a test says so. */
std::optional<int> emptyMicomAnswer;

}  // namespace

int micom_get_tv_side_mac_addr(unsigned char* mac)
{
    static const auto next =
        reinterpret_cast<decltype(&::micom_get_tv_side_mac_addr)>(dlsym(RTLD_NEXT, "micom_get_tv_side_mac_addr"));
    return emptyMicomAnswer ? *emptyMicomAnswer : next(mac);
}

namespace {

static_assert(sizeof(MavoNufStratgegy) == sizeof(MigrationStrategy), "it has no members of its own");

const char* const kFolder = "/opt/tv/migration/korvane_vbmg/SP_VB_Data/";
const char* const kNoLegacyData = "stat /opt/korvane_vbmg/SP_VB_DATA = ENOENT";
const char* const kLegacyData = "stat /opt/korvane_vbmg/SP_VB_DATA = 0";
const vbset::Mac kMicomMac = {0x02, 0x00, 0x5E, 0x11, 0x00, 0x13};
const vbset::Mac kBlockMac = {0x02, 0x00, 0x5E, 0x20, 0x00, 0x13};

const Message kNotImplemented = Info(" Nuf TV Not Implemented  <=== ");
const Message kFromMicom = Info("\n Ulvey File found. So Restoring from Micom...");
const Message kFromBlock = Info("\n /opt/korvane_vbmg/SP_VB_DATA found. So Restoring from /dev/mtdblock3...");
const Message kCannotOpen = Error("  Cannot Open Ulvey File /dev/mtdblock3 now I trying from server <== ");

class MavoNuf : public MavoNufOnSet {
 protected:
    void StartWithLegacyData()
    {
        StartSetWith("tv13", "legacy_data_directory = false", "legacy_data_directory = true", "box13");
        MakeStrategy();
    }
};

TEST_F(MavoNuf, SaysWhoItIsOnceItsPathsAreKnown)
{
    StartStrategy();
    const MavoNufStratgegy strategy;
    EXPECT_EQ(Logged().back(), Info(" MavoNufStratgegy Constructor  <=== "));
    EXPECT_EQ(Logged({"MavoNufStratgegy"}), (Messages{Info(" MavoNufStratgegy Constructor  <=== ")}));
    EXPECT_EQ(Log().back().unit, "MavoNufStratgegy.cpp");
}

// MAC

TEST_F(MavoNuf, TheMacIsNotBackedUp)
{
    StartStrategy();
    EXPECT_FALSE(Strategy().BackupMACAddress());
    EXPECT_EQ(Asked(), Steps{});
    EXPECT_EQ(Logged(), (Messages{Error("RQ141202-01250 : No Backup in NON 15 + 15 case")}));
}

TEST_F(MavoNuf, WithoutLegacyDataTheMacComesFromTheMicom)
{
    StartStrategy();
    EXPECT_TRUE(Strategy().RestoreMACAddress());
    EXPECT_EQ(Set().MigratedMac(), kMicomMac);
    EXPECT_EQ(Asked(), (Steps{kNoLegacyData, "micom_get_tv_side_mac_addr = 0 02005E110013",
                              "eeprom_write_migrated_mac 02005E110013 6 = 0"}));
    EXPECT_EQ(Logged(), (Messages{kNotImplemented, kFromMicom, Info("\n Micom read Mac SUCCESS..."),
                                  Info("EEPROM Write Success for MAC Address")}));
}

TEST_F(MavoNuf, AMicomThatHasNoMacIsReportedWithItsResult)
{
    StartStrategy();
    Fault("micom.mac", "-5");
    EXPECT_FALSE(Strategy().RestoreMACAddress());
    EXPECT_EQ(Set().MigratedMac(), std::nullopt);
    EXPECT_EQ(Asked(), (Steps{kNoLegacyData, "micom_get_tv_side_mac_addr = -5"}));
    EXPECT_EQ(Logged(), (Messages{kNotImplemented, kFromMicom, Error("\n Micom read Mac failed [-5]...")}));
}

TEST_F(MavoNuf, AMicomThatGivesNothingButNoFailureGivesAZeroAddress)
{
    StartStrategy();
    for (const int result : {0, 3}) {
        emptyMicomAnswer = result;
        EXPECT_TRUE(Strategy().RestoreMACAddress()) << result;
        EXPECT_EQ(Set().MigratedMac(), vbset::Mac{});
        EXPECT_EQ(Logged({"RestoreMACAddress"}).back(), Info("\n Micom read Mac SUCCESS..."));
    }
}

TEST_F(MavoNuf, LegacyDataThatCannotBeLookedAtCountAsAbsent)
{
    StartWithLegacyData();
    Fault("path./opt/korvane_vbmg/SP_VB_DATA", "EACCES");
    EXPECT_TRUE(Strategy().RestoreMACAddress());
    EXPECT_EQ(Set().MigratedMac(), kMicomMac);
}

TEST_F(MavoNuf, WithLegacyDataTheMacComesFromTheRawBlock)
{
    StartWithLegacyData();
    EXPECT_TRUE(Strategy().RestoreMACAddress());
    EXPECT_EQ(Set().MigratedMac(), kBlockMac);
    EXPECT_EQ(Asked(), (Steps{kLegacyData, "open /dev/mtdblock3 O_RDONLY = 0", "read /dev/mtdblock3 6 02005E200013 = 6",
                              "close /dev/mtdblock3 = 0", "eeprom_write_migrated_mac 02005E200013 6 = 0"}));
    EXPECT_EQ(Logged(), (Messages{kNotImplemented, kFromBlock, Info(" Ulvey /dev/mtdblock3  File exists & Read "),
                                  Info("EEPROM Write Success for MAC Address")}));
}

TEST_F(MavoNuf, TheServiceIsAskedOnceForABlockThatThisProcessCannotRead)
{
    StartWithLegacyData();
    Fault("path./dev/mtdblock3", "EACCES");
    EXPECT_TRUE(Strategy().RestoreMACAddress());
    EXPECT_EQ(Set().MigratedMac(), kBlockMac);
    EXPECT_EQ(Asked(), (Steps{kLegacyData, "open /dev/mtdblock3 O_RDONLY = EACCES",
                              "request: 1:/dev/mtdblock3:6:EMPTY = 1:6:02005E200013",
                              "eeprom_write_migrated_mac 02005E200013 6 = 0"}));
    EXPECT_EQ(Logged({"RestoreMACAddress"}),
              (Messages{kNotImplemented, kFromBlock, kCannotOpen, Info("  Server REad successful  ")}));
}

TEST_F(MavoNuf, AShortBlockIsReadByTheService)
{
    StartWithLegacyData();
    Set().WriteMacBlock({0x02, 0x00});
    EXPECT_TRUE(Strategy().RestoreMACAddress());
    EXPECT_EQ(Set().MigratedMac(), (vbset::Mac{0x02, 0, 0, 0, 0, 0}));
    EXPECT_EQ(Commands(), (Steps{"request: 1:/dev/mtdblock3:6:EMPTY = 1:2:0200"}));
}

TEST_F(MavoNuf, ABlockThatTheServiceDoesNotGiveReadsAsAZeroAddress)
{
    StartWithLegacyData();
    Fault("path./dev/mtdblock3", "EACCES");
    Fault("service.state", "error");
    EXPECT_TRUE(Strategy().RestoreMACAddress());
    EXPECT_EQ(Set().MigratedMac(), vbset::Mac{});
    EXPECT_EQ(Logged({"RestoreMACAddress"}).back(), Info("  Server REad successful  "));
}

TEST_F(MavoNuf, ABlockThatNobodyCanReadLeavesTheEepromUntouched)
{
    StartWithLegacyData();
    const WithoutClient withoutClient;
    Fault("path./dev/mtdblock3", "EACCES");
    EXPECT_FALSE(Strategy().RestoreMACAddress());
    EXPECT_EQ(Set().MigratedMac(), std::nullopt);
    EXPECT_EQ(Logged({"RestoreMACAddress"}),
              (Messages{kNotImplemented, kFromBlock, kCannotOpen, Error("  Server REad Failure  "),
                        Error("  FATAL !!! RESTORE ABORTED "), Error("  FATAL !!! RESTORE ABORTED ")}));
}

TEST_F(MavoNuf, AMacThatTheEepromDoesNotTakeIsNotRestored)
{
    StartStrategy();
    Fault("eeprom.migrated_mac", "5");
    EXPECT_FALSE(Strategy().RestoreMACAddress());
    EXPECT_EQ(Logged().back(), Error("EEPROM eeprom_write_migrated_mac Failed for MAC Address with error = 5 "));
}

// Dump

TEST_F(MavoNuf, ADumpDumpsThePictureWithoutMountingAnythingAndReportsFailure)
{
    StartStrategy();
    EXPECT_FALSE(Strategy().DumpNonVolatileData());
    EXPECT_EQ(Asked(),
              (Steps{"stat " + std::string(kFolder) + " = ENOENT", "here: mkdir -p " + std::string(kFolder) + " = 0",
                     "DumpNonVolatileData " + std::string(kFolder) + " = 0", "DoVornBoxFactoryDatasSync 5 13 = 1"}));
    EXPECT_EQ(Logged({"DumpNonVolatileData", "BackupMACAddress"}),
              (Messages{Error("RQ141202-01250 : No Backup in NON 15 + 15 case"),
                        Error(" MAC data could not be dumped "), Info(" Picture data dumped ")}));
}

TEST_F(MavoNuf, ADumpSyncsForTheYearOfTheTvAndNotOfTheBox)
{
    StartSet("tv13", "box14");
    MakeStrategy();
    Strategy().DumpNonVolatileData();
    EXPECT_EQ(Asked().back(), "DoVornBoxFactoryDatasSync 5 13 = 1");
}

TEST_F(MavoNuf, ASecondDumpGoesToTheSameFolder)
{
    StartStrategy();
    Strategy().DumpNonVolatileData();
    Forget();
    Strategy().DumpNonVolatileData();
    EXPECT_EQ(Asked({"migrator"}), (Steps{"DumpNonVolatileData " + std::string(kFolder) + " = 0"}));
}

TEST_F(MavoNuf, APictureThatCannotBeDumpedIsReported)
{
    StartStrategy();
    Migrator().dumpResult = 8;
    EXPECT_FALSE(Strategy().DumpNonVolatileData());
    EXPECT_EQ(Logged({"DumpNonVolatileData"}),
              (Messages{Error(" MAC data could not be dumped "), Error(" Picture data could not be dumped ")}));
    EXPECT_EQ(Asked().back(), "DoVornBoxFactoryDatasSync 5 13 = 1");
}

TEST_F(MavoNuf, ADumpWithoutAMigratorSyncsTheFactoryDataOnly)
{
    StartStrategy();
    Strategy().SetObserver(nullptr);
    EXPECT_FALSE(Strategy().DumpNonVolatileData());
    EXPECT_EQ(Asked(), (Steps{"DoVornBoxFactoryDatasSync 5 13 = 1"}));
    EXPECT_EQ(Logged({"DumpNonVolatileData"}),
              (Messages{Error(" MAC data could not be dumped "), Error(" FATAL : Observer Is NULL!!!!!!!! ")}));
}

TEST_F(MavoNuf, ADumpWithoutABackupFolderSaysNothingMore)
{
    StartStrategy();
    Fault("local.mkdir", "1");
    Fault("service.mkdir", "1");
    EXPECT_FALSE(Strategy().DumpNonVolatileData());
    EXPECT_EQ(Calls({"migrator"}), Steps{});
    EXPECT_EQ(Asked().back(), "DoVornBoxFactoryDatasSync 5 13 = 1");
    EXPECT_EQ(Logged({"DumpNonVolatileData"}), (Messages{Error(" MAC data could not be dumped ")}));
}

/** The dump of a box whose MAC address could be backed up, so that the rest decides about its result. */
class MavoNufWithMacBackup : public MavoNufStratgegy {
 public:
    bool BackupMACAddress() override { return true; }
};

TEST_F(MavoNuf, ADumpSucceedsExactlyWhenNeitherMacNorPictureFails)
{
    StartStrategy();
    MavoNufWithMacBackup strategy;
    strategy.SetObserver(&Migrator());
    const Message macDumped = Info(" MAC data dumped ");
    Forget();
    EXPECT_TRUE(strategy.DumpNonVolatileData());
    Migrator().dumpResult = 8;
    EXPECT_FALSE(strategy.DumpNonVolatileData());
    strategy.SetObserver(nullptr);
    EXPECT_FALSE(strategy.DumpNonVolatileData());
    EXPECT_EQ(Logged({"DumpNonVolatileData"}),
              (Messages{macDumped, Info(" Picture data dumped "),            //
                        macDumped, Error(" Picture data could not be dumped "),  //
                        macDumped, Error(" FATAL : Observer Is NULL!!!!!!!! ")}));
}

TEST_F(MavoNuf, ADumpWithoutABackupFolderKeepsTheResultOfTheMac)
{
    StartStrategy();
    MavoNufWithMacBackup strategy;
    strategy.SetObserver(&Migrator());
    Fault("local.mkdir", "1");
    Fault("service.mkdir", "1");
    EXPECT_TRUE(strategy.DumpNonVolatileData());
    EXPECT_EQ(Calls({"migrator"}), Steps{});
}

// Restore

TEST_F(MavoNuf, ARestoreBringsTheMacThenThePictureOutOfTheBackupFolder)
{
    StartStrategy();
    PutBackupTree();
    EXPECT_TRUE(Strategy().RestoreNonVolatileData());
    EXPECT_EQ(
        Asked(),
        (Steps{kNoLegacyData, "micom_get_tv_side_mac_addr = 0 02005E110013",
               "eeprom_write_migrated_mac 02005E110013 6 = 0", "open " + std::string(kFolder) + " O_RDONLY = 0",
               "close " + std::string(kFolder) + " = 0", "RestoreNonVolatileData " + std::string(kFolder) + " = 1"}));
    EXPECT_EQ(Logged({"RestoreNonVolatileData", "SetRestorePath", "RestorePicture"}),
              (Messages{Info("MavoNufStratgegy::RestoreNonVolatileData"), Info(" MAC data Restored "),
                        Info(" MavoNufStratgegy::SetRestorePath "), Info("Picture data Restored ")}));
}

TEST_F(MavoNuf, ThePictureIsNotRestoredWithoutTheMacButThePathIsChosen)
{
    StartStrategy();
    Fault("micom.mac", "-1");
    EXPECT_FALSE(Strategy().RestoreNonVolatileData());
    EXPECT_EQ(Calls({"migrator"}), Steps{});
    EXPECT_EQ(Logged({"RestoreNonVolatileData", "SetRestorePath"}),
              (Messages{Info("MavoNufStratgegy::RestoreNonVolatileData"), Error(" MAC data could not be Restored "),
                        Info(" MavoNufStratgegy::SetRestorePath ")}));
}

TEST_F(MavoNuf, ARestoreFailsWithThePicture)
{
    StartStrategy();
    Migrator().restoreResult = false;
    EXPECT_FALSE(Strategy().RestoreNonVolatileData());
    EXPECT_EQ(Logged({"RestorePicture"}), (Messages{Error("Picture data could not be Restored ")}));
}

TEST_F(MavoNuf, WithoutABackupFolderThePictureComesFromTheLegacyFolder)
{
    StartStrategy();
    EXPECT_TRUE(Strategy().SetRestorePath());
    EXPECT_TRUE(Strategy().RestorePicture());
    EXPECT_EQ(Asked(), (Steps{"open " + std::string(kFolder) + " O_RDONLY = ENOENT",
                              "RestoreNonVolatileDataUlvey TD/Migration/ of the item ids = 1"}));
}

TEST_F(MavoNuf, TheServiceDecidesAboutABackupFolderThatThisProcessMayNotOpen)
{
    StartStrategy();
    PutBackupTree();
    Fault("path./opt/tv/migration/korvane_vbmg/SP_VB_Data", "EACCES");
    EXPECT_TRUE(Strategy().SetRestorePath());
    EXPECT_TRUE(Strategy().RestorePicture());
    EXPECT_EQ(Asked({"migrator"}), (Steps{"RestoreNonVolatileData " + std::string(kFolder) + " = 1"}));
}

// Boot partition

TEST_F(MavoNuf, TheBootPartitionIsSetByTheService)
{
    StartStrategy();
    EXPECT_TRUE(Strategy().SetBootPartition(1));
    EXPECT_EQ(Set().BootPartition(), 1);
    EXPECT_EQ(Asked(), (Steps{"request: 9:1:EMPTY:EMPTY = 9:0:0"}));
    EXPECT_EQ(Logged({"SetBootPartition"}).front(), Info(" 15~13 Supported\t"));
    Fault("service.reply.9", "9:1:0");
    EXPECT_FALSE(Strategy().SetBootPartition(0));
}

TEST_F(MavoNuf, TheBootPartitionIsReadByTheService)
{
    StartStrategy();
    int partition = -7;
    ASSERT_TRUE(Strategy().SetBootPartition(1));
    Forget();
    EXPECT_TRUE(Strategy().GetBootPartition(&partition));
    EXPECT_EQ(partition, 1);
    EXPECT_EQ(Asked(), (Steps{"request: 8:EMPTY:EMPTY:EMPTY = 8:0:1"}));
    EXPECT_EQ(Logged({"GetBootPartition"}).front(), Info(" 15~13 Supported\t"));
    Fault("service.reply.8", "8:-1:0");
    EXPECT_FALSE(Strategy().GetBootPartition(&partition));
}

TEST_F(MavoNuf, WithoutAClientBootPartitionAndTransfersFail)
{
    StartStrategy();
    const WithoutClient withoutClient;
    int partition = -7;
    EXPECT_FALSE(Strategy().SetBootPartition(1));
    EXPECT_FALSE(Strategy().GetBootPartition(&partition));
    EXPECT_EQ(partition, -7);
    EXPECT_FALSE(Strategy().GetFileFromNUF());
    EXPECT_FALSE(Strategy().SendFileToNUF());
    const Message none = Error(" DBUS Client : NULL ");
    EXPECT_EQ(Logged({"SetBootPartition"}), (Messages{Info(" 15~13 Supported\t"), none}));
    EXPECT_EQ(Logged({"GetBootPartition"}), (Messages{Info(" 15~13 Supported\t"), none}));
    EXPECT_EQ(Logged({"GetFileFromNUF"}), (Messages{none}));
    EXPECT_EQ(Logged({"SendFileToNUF"}), (Messages{none}));
    EXPECT_EQ(Asked(), Steps{});
}

TEST_F(MavoNuf, MessagesNameItsUnit)
{
    StartWithLegacyData();
    Strategy().DumpNonVolatileData();
    Strategy().RestoreNonVolatileData();
    Fault("path./dev/mtdblock3", "EACCES");
    Strategy().RestoreMACAddress();
    EXPECT_EQ(UnitsOf({"DumpNonVolatileData", "RestoreNonVolatileData", "BackupMACAddress", "RestoreMACAddress",
                       "SetRestorePath"}),
              (std::vector<std::string>{"MavoNufStratgegy.cpp"}));
}

TEST_F(MavoNuf, OperationsLeaveNoDescriptorOpen)
{
    StartWithLegacyData();
    Fault("path./dev/mtdblock3", "EACCES");
    int partition = 0;
    Strategy().RestoreMACAddress();  // connects the client
    const auto before = OpenDescriptors();
    Strategy().RestoreMACAddress();
    NoFault("path./dev/mtdblock3");
    Strategy().RestoreNonVolatileData();
    Strategy().DumpNonVolatileData();
    Strategy().SetBootPartition(1);
    Strategy().GetBootPartition(&partition);
    Strategy().GetFileFromNUF();
    Strategy().SendFileToNUF();
    EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
