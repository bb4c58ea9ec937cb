// Where the messages of the pairing with a box of year 13 stand among what the set is asked to do.

#include "MavoNufOnSet.h"

#include <MessageTrace.h>

namespace {

const char* const kNotImplemented = "\" Nuf TV Not Implemented  <=== \"";
const char* const kBinder = "\" Binder Not Present : Empty Implementation \"";
const char* const kFromNuf = "\" Restore : From NUF \"";
const char* const kClean = "0:/usr/bin/MigrationScript.sh cleanbkup:EMPTY:EMPTY";
const char* const kPack = "0:/usr/bin/MigrationScript.sh Bkup13 :EMPTY:EMPTY";
const char* const kUnpack = "0:/usr/bin/MigrationScript.sh Restor13 :EMPTY:EMPTY";
const char* const kRemove = "0:rm -rf /opt/korvane_vbmg_Tavix.tar.gz:EMPTY:EMPTY";
const char* const kFetch = "6:EMPTY:EMPTY:EMPTY";
const char* const kSend = "7:EMPTY:EMPTY:EMPTY";
const char* const kSendFailed = "\" Failed to send file to NUF  \"";

class MavoNufMessageOrder : public MavoNufOnSet {
 protected:
    /** The messages of some functions among all calls. */
    Steps HappenedIn(const std::vector<std::string>& functions) const { return Happened(Trace(), functions); }

    Steps BackupEnd()
    {
        Forget();
        Strategy().NotifyMigrationImplBkup(VB_MIGRATION_PROGRESS_END);
        return HappenedIn({"NotifyMigrationImplBkup"});
    }

    Steps RestoreStart()
    {
        Forget();
        Strategy().NotifyMigrationImplRestore(VB_MIGRATION_PROGRESS_START);
        return HappenedIn({"NotifyMigrationImplRestore"});
    }
};

TEST_F(MavoNufMessageOrder, TheSourceOfTheMacIsToldBeforeItIsRead)
{
    StartStrategy();
    EXPECT_TRUE(Strategy().RestoreMACAddress());
    const std::vector<std::string> functions = {"RestoreMACAddress"};
    EXPECT_EQ(HappenedIn(functions),
              (Steps{kNotImplemented, "stat", "\"\n Ulvey File found. So Restoring from Micom...\"",
                     "micom_get_tv_side_mac_addr", "\"\n Micom read Mac SUCCESS...\"", "eeprom_write_migrated_mac"}));
    Fault("micom.mac", "-1");
    Forget();
    EXPECT_FALSE(Strategy().RestoreMACAddress());
    EXPECT_EQ(HappenedIn(functions),
              (Steps{kNotImplemented, "stat", "\"\n Ulvey File found. So Restoring from Micom...\"",
                     "micom_get_tv_side_mac_addr", "\"\n Micom read Mac failed [-1]...\""}));
}

TEST_F(MavoNufMessageOrder, TheServiceIsTriedForTheMacBlockAfterThatIsSaid)
{
    StartSetWith("tv13", "legacy_data_directory = false", "legacy_data_directory = true", "box13");
    MakeStrategy();
    const std::string found = "\"\n /opt/korvane_vbmg/SP_VB_DATA found. So Restoring from /dev/mtdblock3...\"";
    EXPECT_TRUE(Strategy().RestoreMACAddress());
    EXPECT_EQ(HappenedIn({"RestoreMACAddress"}),
              (Steps{kNotImplemented, "stat", found, "open", "read", "close",
                     "\" Ulvey /dev/mtdblock3  File exists & Read \"", "eeprom_write_migrated_mac"}));
    Fault("path./dev/mtdblock3", "EACCES");
    Forget();
    EXPECT_TRUE(Strategy().RestoreMACAddress());
    EXPECT_EQ(HappenedIn({"RestoreMACAddress"}),
              (Steps{kNotImplemented, "stat", found, "open",
                     "\"  Cannot Open Ulvey File /dev/mtdblock3 now I trying from server <== \"",
                     "1:/dev/mtdblock3:6:EMPTY", "\"  Server REad successful  \"", "eeprom_write_migrated_mac"}));
}

TEST_F(MavoNufMessageOrder, ADumpTellsOfThePictureBeforeTheFactoryDataAreSynced)
{
    StartStrategy();
    PutBackupTree();
    Strategy().DumpNonVolatileData();
    EXPECT_EQ(HappenedIn({"DumpNonVolatileData", "BackupMACAddress"}),
              (Steps{"\"RQ141202-01250 : No Backup in NON 15 + 15 case\"", "\" MAC data could not be dumped \"", "stat",
                     "DumpNonVolatileData", "\" Picture data dumped \"", "DoVornBoxFactoryDatasSync"}));
}

TEST_F(MavoNufMessageOrder, ARestoreTellsOfTheMacBeforeThePathIsChosen)
{
    StartStrategy();
    PutBackupTree();
    EXPECT_TRUE(Strategy().RestoreNonVolatileData());
    const std::vector<std::string> functions = {"RestoreNonVolatileData", "SetRestorePath", "RestorePicture"};
    EXPECT_EQ(HappenedIn(functions),
              (Steps{"\"MavoNufStratgegy::RestoreNonVolatileData\"", "stat", "micom_get_tv_side_mac_addr",
                     "eeprom_write_migrated_mac", "\" MAC data Restored \"", "\" MavoNufStratgegy::SetRestorePath \"",
                     "open", "close", "RestoreNonVolatileData", "\"Picture data Restored \""}));
}

TEST_F(MavoNufMessageOrder, ABackupTellsOfEachFailedStepAfterIt)
{
    StartStrategy();
    Forget();
    Fault("service.MigrationScript.sh.cleanbkup", "1");
    Strategy().NotifyMigrationImplBkup(VB_MIGRATION_PROGRESS_START);
    EXPECT_EQ(HappenedIn({"NotifyMigrationImplBkup"}), (Steps{kBinder, kClean, "\" Cleaning at backkup failed\""}));

    EXPECT_EQ(BackupEnd(), (Steps{kBinder, kPack, "\" BKup13 Failed \""}));
    PutBackupTree();
    LetTransfersReport(1);
    EXPECT_EQ(BackupEnd(), (Steps{kBinder, kPack, kSend, kSendFailed}));
    LetTransfersReport(0);
    Fault("service.rm", "1");
    EXPECT_EQ(BackupEnd(), (Steps{kBinder, kPack, kSend, kRemove, kSendFailed}));
}

TEST_F(MavoNufMessageOrder, ARestoreTellsOfEachFailedStepAfterIt)
{
    StartStrategy();
    Fault("service.MigrationScript.sh.cleanbkup", "1");
    LetTransfersReport(1);
    EXPECT_EQ(RestoreStart(), (Steps{kFromNuf, kClean, "\" Cleaning at backkup failed\"", kFetch,
                                     "\" Failed to GET file From NUF  \""}));
    LetTransfersReport(0);
    EXPECT_EQ(RestoreStart(), (Steps{kFromNuf, kClean, "\" Cleaning at backkup failed\"", kFetch, kUnpack,
                                     "\" Restor13 Failed \""}));
}

TEST_F(MavoNufMessageOrder, TheBootPartitionIsSaidToBeSupportedBeforeItIsAskedFor)
{
    StartStrategy();
    int partition = 0;
    Strategy().SetBootPartition(1);
    Strategy().GetBootPartition(&partition);
    const Steps steps = HappenedIn({"SetBootPartition", "GetBootPartition"});
    const std::string here = "\"  [VBMD] [Client] Reached here \"";  // by the client's operations of the same names
    EXPECT_EQ(steps, (Steps{"\" 15~13 Supported\t\"", here, "9:1:EMPTY:EMPTY", here, "\" 15~13 Supported\t\"", here,
                            "8:EMPTY:EMPTY:EMPTY", here}));
}

}  // namespace
