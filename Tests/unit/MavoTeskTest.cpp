/** A TV of year 15 with a box of year 14: the MAC address out of the raw block, the backup where it is found. */
#include "StrategyOnSet.h"

#include <MavoTeskStratgegy.h>

#include <optional>

namespace {

const char* const kCandidate = "/opt/tv/migration/korvane_vbmg/SP_VB_Data/";
const vbset::Mac kBoxMac = {0x02, 0x00, 0x5E, 0x20, 0x00, 0x14};

class MavoTesk : public StrategyOnSet {
 protected:
    void SetUp() override
    {
        StartSet("tv15", "box14");
        strategy_.emplace();
        strategy_->SetObserver(&migrator_);
        Forget();
    }
    MavoTeskStratgegy& Strategy() { return *strategy_; }

    /** The picture restore that the chosen path leads to. */
    Steps PictureRestore()
    {
        Strategy().RestorePicture();
        return Asked({"migrator"});
    }

 private:
    SteeredMigrator migrator_;
    std::optional<MavoTeskStratgegy> strategy_;
};

const Steps kFromBackupFolder = {"RestoreNonVolatileData /opt/tv/migration/korvane_vbmg/SP_VB_Data/ = 1"};
const Steps kFromLegacyFolder = {"RestoreNonVolatileDataUlvey TD/Migration/ of the item ids = 1"};

TEST_F(MavoTesk, SaysWhoItIsOnceItsPathsAreKnown)
{
    const MavoTeskStratgegy strategy;
    EXPECT_EQ(Logged().back(), Info(" MavoTeskStratgegy constructore "));
    EXPECT_EQ(Logged({"MavoTeskStratgegy"}), (Messages{Info(" MavoTeskStratgegy constructore ")}));
    EXPECT_EQ(Log().back().unit, "MavoTeskStratgegy.cpp");
}

TEST_F(MavoTesk, HasNoMembersOfItsOwn)
{
    EXPECT_EQ(sizeof(MavoTeskStratgegy), sizeof(MigrationStrategy));
}

TEST_F(MavoTesk, SaysNothingOfItsOwnWhenItGoes)
{
    {
        const MavoTeskStratgegy strategy;
        Forget();
    }
    EXPECT_EQ(Logged(), Logged({"~MigrationStrategy"}));
    EXPECT_EQ(Logged().size(), 1u);
}

TEST_F(MavoTesk, TheMacIsNotBackedUp)
{
    EXPECT_FALSE(Strategy().BackupMACAddress());
    EXPECT_EQ(Asked(), Steps{});
    EXPECT_EQ(Logged(), (Messages{Error("RQ141202-01250 : No Backup in NON 15 + 15 case")}));
}

TEST_F(MavoTesk, TheBootPartitionIsNotSupported)
{
    int partition = 42;
    EXPECT_FALSE(Strategy().SetBootPartition(1));
    EXPECT_FALSE(Strategy().GetBootPartition(&partition));
    EXPECT_FALSE(Strategy().GetBootPartition(nullptr));
    EXPECT_EQ(partition, 42);
    EXPECT_EQ(Asked(), Steps{});
    EXPECT_EQ(Logged(), (Messages{Error(" 15~14 Not Supported\t"), Error(" 15~14 Not Supported\t"),
                                  Error(" 15~14 Not Supported\t")}));
}

// MAC restore

TEST_F(MavoTesk, TheMacGoesFromTheRawBlockToTheEepromWithoutTheService)
{
    EXPECT_TRUE(Strategy().RestoreMACAddress());
    EXPECT_EQ(Set().MigratedMac(), kBoxMac);
    EXPECT_EQ(Asked(), (Steps{"open /dev/mtdblock3 O_RDONLY = 0", "read /dev/mtdblock3 6 02005E200014 = 6",
                              "close /dev/mtdblock3 = 0", "eeprom_write_migrated_mac 02005E200014 6 = 0"}));
    EXPECT_EQ(Logged(), (Messages{Info(" Ulvey /dev/mtdblock3  File exists & Read "),
                                  Info("EEPROM Write Success for MAC Address")}));
}

TEST_F(MavoTesk, TheMacIsReadByTheServiceWhenThisProcessCannotOpenTheBlock)
{
    Fault("path./dev/mtdblock3", "EACCES");
    EXPECT_TRUE(Strategy().RestoreMACAddress());
    EXPECT_EQ(Set().MigratedMac(), kBoxMac);
    EXPECT_EQ(Asked(),
              (Steps{"open /dev/mtdblock3 O_RDONLY = EACCES", "request: 1:/dev/mtdblock3:6:EMPTY = 1:6:02005E200014",
                     "eeprom_write_migrated_mac 02005E200014 6 = 0"}));
    EXPECT_EQ(Logged({"RestoreMACAddress", "ReadRAWBlock", "WriteEEPROMMigratedMAC"}),
              (Messages{Error("can't open Path [/dev/mtdblock3], errno : [ 13 ] "),
                        Error("  Cannot Open Ulvey File /dev/mtdblock3 now I trying from server <== "),
                        Info("  Server REad successful  "), Info("EEPROM Write Success for MAC Address")}));
}

TEST_F(MavoTesk, ABlockThatIsTooShortIsReadByTheService)
{
    Set().WriteMacBlock({0x02, 0x00, 0x5E});
    EXPECT_TRUE(Strategy().RestoreMACAddress());
    EXPECT_EQ(Commands(), (Steps{"request: 1:/dev/mtdblock3:6:EMPTY = 1:3:02005E"}));
    EXPECT_EQ(Set().MigratedMac(), (vbset::Mac{0x02, 0x00, 0x5E, 0, 0, 0}));
}

TEST_F(MavoTesk, WhatTheServiceCannotReadStaysAsItWas)
{
    Fault("path./dev/mtdblock3", "EACCES");
    Fault("service.reply.1", "1:0:");
    EXPECT_TRUE(Strategy().RestoreMACAddress());
    EXPECT_EQ(Set().MigratedMac(), (vbset::Mac{0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(Logged({"RestoreMACAddress"}),
              (Messages{Error("  Cannot Open Ulvey File /dev/mtdblock3 now I trying from server <== "),
                        Info("  Server REad successful  ")}));
}

TEST_F(MavoTesk, AMacThatNobodyCanReadLeavesTheEepromUntouched)
{
    const WithoutClient withoutClient;
    Fault("path./dev/mtdblock3", "EACCES");
    EXPECT_FALSE(Strategy().RestoreMACAddress());
    EXPECT_EQ(Set().MigratedMac(), std::nullopt);
    EXPECT_EQ(Calls(), (Steps{"open"}));
    EXPECT_EQ(Logged({"RestoreMACAddress"}),
              (Messages{Error("  Cannot Open Ulvey File /dev/mtdblock3 now I trying from server <== "),
                        Error("  Server REad Failure  "), Error("  FATAL !!! RESTORE ABORTED "),
                        Error("  FATAL !!! RESTORE ABORTED ")}));
}

TEST_F(MavoTesk, ABlankMacIsRestoredToo)
{
    Set().WriteMacBlock(std::vector<unsigned char>(6, 0xFF));
    EXPECT_TRUE(Strategy().RestoreMACAddress());
    EXPECT_EQ(Set().MigratedMac(), (vbset::Mac{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST_F(MavoTesk, ARestoreFailsWhenTheEepromDoesNotTakeTheMac)
{
    Fault("eeprom.migrated_mac", "5");
    EXPECT_FALSE(Strategy().RestoreMACAddress());
    EXPECT_EQ(Logged(), (Messages{Info(" Ulvey /dev/mtdblock3  File exists & Read "),
                                  Error("EEPROM eeprom_write_migrated_mac Failed for MAC Address with error = 5 ")}));
}

// Restore path

TEST_F(MavoTesk, ThePictureComesFromTheBackupFolderWhenThereIsOne)
{
    PutBackupTree();
    EXPECT_TRUE(Strategy().SetRestorePath());
    EXPECT_EQ(Asked(), (Steps{"open " + std::string(kCandidate) + " O_RDONLY = 0",
                              "close " + std::string(kCandidate) + " = 0"}));
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_EQ(PictureRestore(), kFromBackupFolder);
}

TEST_F(MavoTesk, ThePictureComesFromTheLegacyFolderOtherwise)
{
    EXPECT_TRUE(Strategy().SetRestorePath());
    EXPECT_EQ(Asked(), (Steps{"open " + std::string(kCandidate) + " O_RDONLY = ENOENT"}));
    EXPECT_EQ(Logged(),
              (Messages{Error("can't open Path [/opt/tv/migration/korvane_vbmg/SP_VB_Data/], errno : [ 2 ] ")}));
    EXPECT_EQ(PictureRestore(), kFromLegacyFolder);
}

TEST_F(MavoTesk, TheServiceDecidesAboutABackupFolderThatThisProcessMayNotOpen)
{
    PutBackupTree();
    Fault("path./opt/tv/migration/korvane_vbmg/SP_VB_Data", "EACCES");
    EXPECT_TRUE(Strategy().SetRestorePath());
    EXPECT_EQ(Commands(), (Steps{"request: 3:/opt/tv/migration/korvane_vbmg/SP_VB_Data/:EMPTY:EMPTY = 3:0:0"}));
    EXPECT_EQ(PictureRestore(), kFromBackupFolder);
}

TEST_F(MavoTesk, ABackupFolderThatTheServiceDoesNotFindIsNoneEither)
{
    Fault("path./opt/tv/migration/korvane_vbmg/SP_VB_Data", "EACCES");
    EXPECT_TRUE(Strategy().SetRestorePath());
    EXPECT_EQ(PictureRestore(), kFromLegacyFolder);
}

TEST_F(MavoTesk, ABackupFolderRefusedForAnotherReasonIsNone)
{
    PutBackupTree();
    Fault("path./opt/tv/migration/korvane_vbmg/SP_VB_Data", "EIO");
    EXPECT_TRUE(Strategy().SetRestorePath());
    EXPECT_EQ(Commands(), Steps{});
    EXPECT_EQ(PictureRestore(), kFromLegacyFolder);
}

TEST_F(MavoTesk, ThePathIsChosenFromTheOneChosenBefore)
{
    PutBackupTree();
    ASSERT_TRUE(Strategy().SetRestorePath());
    EXPECT_TRUE(Strategy().SetRestorePath());
    EXPECT_EQ(Asked().back(), "open /opt/tv/migration/korvane_vbmg/SP_VB_Data/SP_VB_Data/ O_RDONLY = ENOENT");
    EXPECT_EQ(PictureRestore(), kFromLegacyFolder);
}

// The flows of all pairings on top

TEST_F(MavoTesk, ARestoreBringsMacAndPicture)
{
    PutBackupTree();
    EXPECT_TRUE(Strategy().RestoreNonVolatileData());
    EXPECT_EQ(Set().MigratedMac(), kBoxMac);
    EXPECT_EQ(Asked({"migrator"}), kFromBackupFolder);
    EXPECT_EQ(Logged({"RestoreNonVolatileData", "RestorePicture"}),
              (Messages{Info("MAC data Restored "), Info("Picture data Restored ")}));
}

TEST_F(MavoTesk, ADumpAlwaysReportsTheMissingMacBackupButDumpsThePicture)
{
    EXPECT_FALSE(Strategy().DumpNonVolatileData());
    EXPECT_EQ(Calls({"migrator"}), (Steps{"DumpNonVolatileData"}));
    EXPECT_EQ(Logged({"DumpNonVolatileData"}),
              (Messages{Error("MAC data could not be dumped "), Info("Picture data dumped ")}));
}

TEST_F(MavoTesk, MessagesNameItsUnit)
{
    Strategy().BackupMACAddress();
    Strategy().RestoreMACAddress();
    Fault("path./dev/mtdblock3", "EACCES");
    Strategy().RestoreMACAddress();
    Strategy().SetBootPartition(1);
    EXPECT_EQ(UnitsOf({"BackupMACAddress", "RestoreMACAddress", "SetBootPartition"}),
              (std::vector<std::string>{"MavoTeskStratgegy.cpp"}));
}

TEST_F(MavoTesk, OperationsLeaveNoDescriptorOpen)
{
    Fault("path./dev/mtdblock3", "EACCES");
    Strategy().RestoreMACAddress();  // connects the client
    const auto before = OpenDescriptors();
    Strategy().RestoreMACAddress();
    NoFault("path./dev/mtdblock3");
    Strategy().RestoreMACAddress();
    PutBackupTree();
    Strategy().SetRestorePath();
    Strategy().SetRestorePath();
    EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
