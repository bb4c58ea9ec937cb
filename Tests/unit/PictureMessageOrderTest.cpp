// Where the messages of the picture migrator stand among what the set is asked to do.

#include "PictureOnSet.h"

#include <LegacyBackup.h>
#include <MessageTrace.h>
#include <PictureMigration.h>
#include <VEMigrationImpl.h>

#include <algorithm>

namespace {

using ::testing::ElementsAre;
using Steps = std::vector<std::string>;

const char* const kReading = "\"\n ==> reading againg from m_ReadFromFile \n\"";
const char* const kStored = "\"\n PictureDataMigration::t_WriteToVB:-> SetMigrationItemData sucess \n \"";

class PictureMessageOrder : public OnPictureSet {
 protected:
    PictureMessageOrder()
    {
        Start("tv15-62", "box15-62");
        PutItem(79, 3, Raw({0x34, 0x12}));
        PutItem(1765, 4, Raw({7}));
        Forget();
    }
    int Build() { return picture.t_StartMigration(uids, 2, kFile, true); }

    /** The messages of some functions among all calls. */
    Steps HappenedIn(const std::vector<std::string>& functions = {}) const { return Happened(Trace(), functions); }

    PictureDataMigration picture;
    unsigned int uids[2] = {79, 1765};
    const std::string two = RecordBytes(79, 3, Raw({0x34, 0x12})) + RecordBytes(1765, 4, Raw({7}));
};

TEST_F(PictureMessageOrder, ABuildTellsOfEachSizeAndItemAfterItIsAskedFor)
{
    EXPECT_EQ(Build(), 0);
    EXPECT_THAT(HappenedIn({"m_CreateMigrationBuffer", "m_GetFactoryBufferData"}),
                ElementsAre("\"\n...START,  Making and saving individual data \n\"", "GetMigrationItemSize",
                            "\"Direct UID=79 , Size=2\n\"", "GetMigrationItemSize", "\"Direct UID=1765 , Size=1\n\"",
                            "\"Total Migration Buffer Size = 27\n\"", "GetMigrationItemData",
                            "\"direct Data 4660\n\"", "GetMigrationItemData", "\"direct Data[CGI] 7\n\"", "open",
                            "write", "fsync", "close", "\"...END\n\""));
}

TEST_F(PictureMessageOrder, AWriteIsToldBeforeTheFileIsSyncedAndClosed)
{
    std::string bytes = "bytes";
    EXPECT_EQ(picture.t_WriteToFlash(reinterpret_cast<unsigned char*>(bytes.data()), 5, kFile), 0);
    EXPECT_THAT(HappenedIn(), ElementsAre("\"In t_WriteToFlash function\n \"", "open",
                                          "\"PictureDataMigration::t_WriteToFlash :: file created\"", "write",
                                          "\"\t>>[PICMIGRATE] t_WriteToFlash: File write SUCCESS \n\"", "fsync",
                                          "close"));
    Fault(std::string("write.") + kFile, "EIO");
    Forget();
    EXPECT_EQ(picture.t_WriteToFlash(reinterpret_cast<unsigned char*>(bytes.data()), 5, kFile), kGeneralFailure);
    EXPECT_THAT(Last(4, HappenedIn()),
                ElementsAre("write", "\"\t>>[PICMIGRATE] t_WriteToFlash: File write FAIL \n\"", "fsync", "close"));
}

TEST_F(PictureMessageOrder, AReadIsToldBeforeTheFileIsClosed)
{
    int values[2] = {};
    PutFile(kFile, two);
    EXPECT_EQ(picture.t_ReadMigrationSPIData(values, kFile), 0);
    EXPECT_THAT(HappenedIn(),
                ElementsAre("\"t_ReadMigrationTestData: Read data from pSPIPath(/opt/tv/picture.dat)\n\"", "stat",
                            "\"stat() success  verify\n\"", "\"stat() success Size is 27 \n\"", "open",
                            "\"File Size is 27\n\"", "read", kReading, "\" File read SUCCESS \n\"", "close"));
    Fault(std::string("read.") + kFile, "EIO");
    Forget();
    EXPECT_EQ(picture.t_ReadMigrationSPIData(values, kFile), kGeneralFailure);
    EXPECT_THAT(Last(4, HappenedIn()),
                ElementsAre("read", kReading, "\" File read FAIL \n\"", "close"));
    PutFile(kFile, "");
    Forget();
    EXPECT_EQ(picture.t_ReadMigrationSPIData(values, kFile), kFileFailure);
    EXPECT_THAT(Last(3, HappenedIn()),
                ElementsAre("open", "\"PictureDataMigration::t_ReadMigrationSPIData - >Filesize less than one\n\"",
                            "close"));
}

TEST_F(PictureMessageOrder, AValueIsToldBeforeItIsStoredInTheBox)
{
    PutFile(kFile, two);
    EXPECT_EQ(picture.t_WriteToVB(kFile), 0);
    EXPECT_THAT(HappenedIn(),
                ElementsAre("\"Data reading from SPI Flash\n\"", "\"file read from spi_flash t_WriteToVB() \"", "stat",
                            "\"\n stat() sucess  verify\n\"", "\"\n stat() sucess Size is 27 \n\"", "open",
                            "\"[PICMIGRATE] t_WriteToVB: File Size is 27\n\"", "read", kReading,
                            "\"[PICMIGRATE] t_WriteToVB: File read SUCCESS \n\"", "close",
                            "\"\n Data written[4660]\n\"", "SetMigrationItemData", kStored,
                            "\"CGA Data written[7]\n\"", "SetMigrationItemData", kStored));
}

TEST_F(PictureMessageOrder, AFileThatCannotBeWrittenIntoTheBoxIsToldBeforeItIsClosed)
{
    PutFile(kFile, two);
    Fault(std::string("read.") + kFile, "EIO");
    EXPECT_EQ(picture.t_WriteToVB(kFile), kGeneralFailure);
    EXPECT_THAT(Last(4, HappenedIn()),
                ElementsAre("read", kReading, "\"[PICMIGRATE] t_WriteToVB:(Error:5) File Read Failed \n\"", "close"));
    PutFile(kFile, "");
    Forget();
    EXPECT_EQ(picture.t_WriteToVB(kFile), kGeneralFailure);
    EXPECT_THAT(Last(3, HappenedIn()),
                ElementsAre("open", "\"[PICMIGRATE] t_WriteToVB: (Error) Filesize less than one\n\"", "close"));
}

TEST_F(PictureMessageOrder, ALegacyBackupIsReleasedAfterAllIsTold)
{
    const std::string records = two + HeaderBytes(80, 1, 0);
    const auto file = vbset::EncipherLegacy({records.begin(), records.end()});
    PutFile(kFile, {file.begin(), file.end()});
    EXPECT_EQ(picture.t_WriteUlveyToVB(kFile, uids), kGeneralFailure);
    EXPECT_THAT(HappenedIn(),
                ElementsAre("\"Ulvey Data verifying Path is :/opt/tv/picture.dat \"", "vb_get_file_size",
                            "\" vb_get_file_size returns File Size : " + std::to_string(file.size()) + " \n\"",
                            "vb_import_buf", "\"Migration Retrieve Success\n\"",
                            "\" DATA LENGTH AFTER IMPORT : 39 \n\"", "SetMigrationItemData", kStored,
                            "SetMigrationItemData", kStored, "\"\n Size of UID is not correct!!\n\"",
                            "\"UID[80]:StoreType[1]:Size[0]\"", "vb_free_buffer"));
}

TEST_F(PictureMessageOrder, AFactoryValueThatFailsIsToldWhereItFailed)
{
    int values[2] = {};
    Fault("factory.value.79", "fail");
    EXPECT_EQ(picture.t_GetFactoryUIDData(uids, 2, values), 0);
    EXPECT_THAT(HappenedIn(), ElementsAre("\"...START\n\"", "GetData",
                                          "\"PictureDataMigration::t_GetFactoryUIDData : GetData API Failed\"",
                                          "GetData", "\"...END\n\""));
}

/** Calls of the migrator; those of single items are left out. */
class MigratorMessageOrder : public PictureMessageOrder {
 protected:
    MigratorMessageOrder()
    {
        migrator.Create();
        std::filesystem::create_directory(Host("/opt/tv/backup"));
        Forget();
    }
    Steps HappenedIn(const std::string& function) const
    {
        Steps steps = PictureMessageOrder::HappenedIn({function});
        const auto isItem = [](const std::string& step) {
            return step == "GetMigrationItemSize" || step == "GetMigrationItemData" || step == "SetMigrationItemData" ||
                   step == "GetData";
        };
        steps.erase(std::unique(steps.begin(), steps.end(), [&](const auto& a, const auto& b) {
            return a == b && isItem(a);
        }), steps.end());
        return steps;
    }
    VEMigrationImpl<62> migrator;
};

TEST_F(MigratorMessageOrder, ASyncIsAnnouncedBeforeItIsDone)
{
    EXPECT_EQ(migrator.DoVornBoxDataSync(VB_INFO_VB_FAC_TO_TV_SPI), 0);
    EXPECT_THAT(HappenedIn("DoVornBoxDataSync"),
                ElementsAre("\"DoVornBoxDataSync(0)\"",
                            "\"[VIDEOENH]DoVornBoxDataSync: VB_FAC TO TV_SPI_FLASH_SERVICE\"", "tzplatform_mkpath",
                            "GetMigrationItemSize", "GetMigrationItemData", "open", "write", "fsync", "close"));
    Forget();
    EXPECT_EQ(migrator.DoVornBoxDataSync(VB_INFO_TV_SPI_TO_VB_FAC), 0);
    EXPECT_THAT(HappenedIn("DoVornBoxDataSync"),
                ElementsAre("\"DoVornBoxDataSync(1)\"",
                            "\"[VIDEOENH]DoVornBoxDataSync:TV_SPI_FLASH_SERVICE TO VB_FAC \"", "tzplatform_mkpath",
                            "stat", "open", "read", "close", "SetMigrationItemData"));
}

TEST_F(MigratorMessageOrder, ADumpAndARestoreAreAnnounced)
{
    EXPECT_EQ(migrator.DumpNonVolatileData("/opt/tv/backup/"), 0);
    EXPECT_THAT(HappenedIn("DumpNonVolatileData"),
                ElementsAre("stat", "\" stat() sucess\tverify \"",
                            "\"Dumping Picture data @ [/opt/tv/backup/PictureMigrationData.dat] \"",
                            "GetMigrationItemSize", "GetMigrationItemData", "open", "write", "fsync", "close",
                            "\" DUMPING OF PictureData Succeeded  \""));
    Forget();
    EXPECT_TRUE(migrator.RestoreNonVolatileData("/opt/tv/backup/"));
    EXPECT_THAT(HappenedIn("RestoreNonVolatileData"),
                ElementsAre("\"Restorting from Picture data @ [/opt/tv/backup/PictureMigrationData.dat]\"", "stat",
                            "open", "read", "close", "SetMigrationItemData"));
}

TEST_F(MigratorMessageOrder, ATestQueryTellsOfTheFileAndThenOfTheVerification)
{
    ASSERT_EQ(migrator.DoVornBoxDataSync(VB_INFO_VB_FAC_TO_TV_SPI), 0);
    Forget();
    EXPECT_EQ(migrator.GetVBMigrationTestData(20), 0);
    EXPECT_THAT(HappenedIn("GetVBMigrationTestData"),
                ElementsAre("\"VEMigration::GetVBMigrationTestData\"", "tzplatform_mkpath", "stat",
                            "\" stat() sucess  verify\"", ::testing::StartsWith("\" stat() sucess Size is "),
                            "\"20  : Verification: Picture DataSync \"", "tzplatform_mkpath", "stat", "open", "read",
                            "close", "GetData", "\" VERIFY RESULT : OK \""));
}

TEST_F(MigratorMessageOrder, AnItemCommandIsToldBeforeThePartitionIsMounted)
{
    VB_FactoryItemNode_t node = {};
    node.uiSpecialId = 1713;
    EXPECT_EQ(migrator.SetFactoryItem(&node, 1), 0);
    const Steps steps = HappenedIn("SetFactoryItem");
    ASSERT_GE(steps.size(), 2U);
    EXPECT_EQ(steps[0], "\"VEMigration::SetFactoryItem called \"");
    EXPECT_EQ(steps[1], "\"UID&SID : 1713, SetValue = 1\"");
}

}  // namespace
