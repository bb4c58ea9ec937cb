// Picture items between the box and the service file, and into and out of a backup directory.

#include "PictureOnSet.h"

#include <LegacyBackup.h>
#include <VEMigrationImpl.h>

#include <algorithm>
#include <climits>
#include <type_traits>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kBackup = "/opt/tv/backup/";
constexpr const char* kBackupFile = "/opt/tv/backup/PictureMigrationData.dat";

constexpr auto kIntoFile = VB_INFO_VB_FAC_TO_TV_SPI;
constexpr auto kIntoBox = VB_INFO_TV_SPI_TO_VB_FAC;

template <class Migrator>
class PictureSync : public OnPictureSet {
 protected:
    static constexpr int kItems = std::is_same_v<Migrator, VEMigrationImpl<62>> ? 62 : 44;

    PictureSync()
    {
        Start(kItems == 62 ? "tv15-62" : "tv15", kItems == 62 ? "box15-62" : "box15");
        migrator.Create();
        std::filesystem::create_directory(Host("/opt/tv/backup"));
        Forget();
    }

    /** Gives the items of the box other data and store types. @return what they were */
    std::map<std::uint32_t, vbset::FactoryItem> Scramble()
    {
        const auto before = Set().FactoryItems();
        for (const auto& [uid, item] : before) {
            PutItem(uid, ~item.storeType, Raw({0x55, 0x66, 0x77}));
        }
        return before;
    }

    std::string FileOfAll() { return FileOfBox(vbset::ItemIds(kItems)); }

    /** What the migrator itself logged, not what it used. */
    Messages Said() const
    {
        Messages messages;
        for (const LogLine& line : Log()) {
            if (line.unit == "VEMigration.cpp") {
                messages.emplace_back(line.priority, line.text);
            }
        }
        return messages;
    }

    Migrator migrator;
};

using Migrators = ::testing::Types<VEMigrationImpl<44>, VEMigrationImpl<62>>;
TYPED_TEST_SUITE(PictureSync, Migrators, );

TYPED_TEST(PictureSync, IntoTheServiceFileStoresAllItemsWithoutMounting)
{
    EXPECT_EQ(this->migrator.DoVornBoxDataSync(kIntoFile), 0);
    EXPECT_EQ(this->FileBytes(this->kServiceFile), this->FileOfAll());
    EXPECT_EQ(this->FileBytes(this->kServiceFile).size(), this->kItems == 62 ? 850U : 616U);
    EXPECT_THAT(this->Said(), ElementsAre(Info("DoVornBoxDataSync(0)"),
                                          Info("[VIDEOENH]DoVornBoxDataSync: VB_FAC TO TV_SPI_FLASH_SERVICE")));
    EXPECT_THAT(this->Calls({"command", "request"}), IsEmpty());
    EXPECT_EQ(this->Trace({"platform"}).at(0).args, "31 migration/service/PictureData.dat");
}

TYPED_TEST(PictureSync, IntoTheServiceFilePassesOnAFailure)
{
    this->Fault("factory.size.79", "0");
    EXPECT_EQ(this->migrator.DoVornBoxDataSync(kIntoFile), kGeneralFailure);
    EXPECT_THAT(
        this->Said(),
        ElementsAre(Info("DoVornBoxDataSync(0)"), Info("[VIDEOENH]DoVornBoxDataSync: VB_FAC TO TV_SPI_FLASH_SERVICE"),
                    Error(" DoVornBoxDataSync: VB_FAC TO TV_SPI_FLASH_SERVICE : Failed  [-2147483648] ")));
    EXPECT_FALSE(this->FileExists(this->kServiceFile));
}

TYPED_TEST(PictureSync, IntoTheBoxRestoresAllItemsWithoutMounting)
{
    this->PutFile(this->kServiceFile, this->FileOfAll());
    const auto before = this->Scramble();
    EXPECT_EQ(this->migrator.DoVornBoxDataSync(kIntoBox), 0);
    EXPECT_EQ(this->Set().FactoryItems(), before);
    EXPECT_THAT(this->Said(), ElementsAre(Info("DoVornBoxDataSync(1)"),
                                          Info("[VIDEOENH]DoVornBoxDataSync:TV_SPI_FLASH_SERVICE TO VB_FAC ")));
    EXPECT_THAT(this->Calls({"command", "request"}), IsEmpty());
    EXPECT_EQ(this->Trace({"platform"}).at(0).args, "31 migration/service/PictureData.dat");
}

TYPED_TEST(PictureSync, IntoTheBoxPassesOnAFailure)
{
    EXPECT_EQ(this->migrator.DoVornBoxDataSync(kIntoBox), kGeneralFailure);
    EXPECT_THAT(this->Said(), ElementsAre(Info("DoVornBoxDataSync(1)"),
                                          Info("[VIDEOENH]DoVornBoxDataSync:TV_SPI_FLASH_SERVICE TO VB_FAC "),
                                          Error(" TV_SPI_FLASH_SERVICE TO VB_FAC:Failed  [-2147483648] ")));
}

TYPED_TEST(PictureSync, OfMigrationEventsDoesNothing)
{
    for (const int direction : {2, 3}) {
        this->Forget();
        EXPECT_EQ(this->migrator.DoVornBoxDataSync(static_cast<VB_VornBoxInfo_k>(direction)), 0);
        const std::string number = std::to_string(direction);
        EXPECT_THAT(this->Said(), ElementsAre(Info("DoVornBoxDataSync(" + number + ")"),
                                              Info("Migration Event(" + number + ")")));
        EXPECT_THAT(this->Trace(), IsEmpty());
    }
}

TYPED_TEST(PictureSync, OfOtherDirectionsIsAnErrorAndYetASuccess)
{
    for (const int direction : {4, 5, 7, -1, INT_MAX, INT_MIN}) {
        this->Forget();
        EXPECT_EQ(this->migrator.DoVornBoxDataSync(static_cast<VB_VornBoxInfo_k>(direction)), 0);
        EXPECT_THAT(this->Said(), ElementsAre(Info("DoVornBoxDataSync(" + std::to_string(direction) + ")"),
                                              Error("Invalid combination of VB and TV ")));
        EXPECT_THAT(this->Trace(), IsEmpty());
    }
}

TYPED_TEST(PictureSync, OfAMigratorThatIsNotCreatedIsAnErrorAndYetASuccess)
{
    this->migrator.Destroy();
    for (const int direction : {0, 1, 2, 7}) {
        this->Forget();
        EXPECT_EQ(this->migrator.DoVornBoxDataSync(static_cast<VB_VornBoxInfo_k>(direction)), 0);
        EXPECT_THAT(this->Said(), ElementsAre(Info("DoVornBoxDataSync(" + std::to_string(direction) + ")"),
                                              Error("mbFlagCreate is false : Construcor not called ")));
        EXPECT_THAT(this->Trace(), IsEmpty());
    }
}

template <class Migrator>
class PictureBackup : public PictureSync<Migrator> {};
TYPED_TEST_SUITE(PictureBackup, Migrators, );

TYPED_TEST(PictureBackup, IsDumpedIntoItsDirectory)
{
    EXPECT_EQ(this->migrator.DumpNonVolatileData(kBackup), 0);
    EXPECT_EQ(this->FileBytes(kBackupFile), this->FileOfAll());
    EXPECT_EQ(this->Trace().at(0).call + ' ' + this->Trace().at(0).args, std::string("stat ") + kBackup);
    EXPECT_THAT(this->Said(), ElementsAre(Info(" stat() sucess\tverify "),
                                          Info(std::string("Dumping Picture data @ [") + kBackupFile + "] "),
                                          Info(" DUMPING OF PictureData Succeeded  ")));
}

TYPED_TEST(PictureBackup, IsDumpedBesideADirectoryWithoutASlash)
{
    EXPECT_EQ(this->migrator.DumpNonVolatileData("/opt/tv/backup"), 0);
    EXPECT_EQ(this->FileBytes("/opt/tv/backupPictureMigrationData.dat"), this->FileOfAll());
    EXPECT_FALSE(this->FileExists(kBackupFile));
}

TYPED_TEST(PictureBackup, IsNotDumpedIntoAMissingDirectory)
{
    EXPECT_EQ(this->migrator.DumpNonVolatileData("/opt/tv/nowhere/"), kGeneralFailure);
    EXPECT_THAT(this->Calls(), ElementsAre("stat"));
    EXPECT_THAT(this->Logged(),
                ElementsAre(Error(" VEMigration : Base Path /opt/tv/nowhere/ not created !!!")));
}

TYPED_TEST(PictureBackup, IsNotDumpedByAMigratorThatIsNotCreatedWhichIsToldAfterThePath)
{
    this->migrator.Destroy();
    this->Forget();
    EXPECT_EQ(this->migrator.DumpNonVolatileData("/opt/tv/nowhere/"), kGeneralFailure);
    EXPECT_THAT(this->Logged(),
                ElementsAre(Error(" VEMigration : Base Path /opt/tv/nowhere/ not created !!!")));
    this->Forget();
    EXPECT_EQ(this->migrator.DumpNonVolatileData(kBackup), kGeneralFailure);
    EXPECT_THAT(this->Logged(), ElementsAre(Info(" stat() sucess\tverify "),
                                            Info(std::string("Dumping Picture data @ [") + kBackupFile + "] "),
                                            Error(" VEMigration Flag not created...")));
    EXPECT_THAT(this->Calls(), ElementsAre("stat"));
}

TYPED_TEST(PictureBackup, TellsAFailedDump)
{
    this->Fault("factory.get.*", "0");
    EXPECT_EQ(this->migrator.DumpNonVolatileData(kBackup), kGeneralFailure);
    EXPECT_THAT(this->Said(), ElementsAre(Info(" stat() sucess\tverify "),
                                          Info(std::string("Dumping Picture data @ [") + kBackupFile + "] "),
                                          Error("DumpNonVolatileData Failed [-2147483648] ")));
    EXPECT_FALSE(this->FileExists(kBackupFile));
}

TYPED_TEST(PictureBackup, IsRestoredFromItsDirectory)
{
    ASSERT_EQ(this->migrator.DumpNonVolatileData(kBackup), 0);
    const auto before = this->Scramble();
    this->Forget();
    EXPECT_TRUE(this->migrator.RestoreNonVolatileData(kBackup));
    EXPECT_EQ(this->Set().FactoryItems(), before);
    EXPECT_THAT(this->Said(), ElementsAre(Info(std::string("Restorting from Picture data @ [") + kBackupFile + "]")));
}

TYPED_TEST(PictureBackup, TellsAFailedRestore)
{
    EXPECT_FALSE(this->migrator.RestoreNonVolatileData(kBackup));
    EXPECT_THAT(this->Said(), ElementsAre(Info(std::string("Restorting from Picture data @ [") + kBackupFile + "]"),
                                          Error("\tRestoreNonVolatileData Failed [-2147483648] ")));
}

TYPED_TEST(PictureBackup, IsNotRestoredByAMigratorThatIsNotCreated)
{
    ASSERT_EQ(this->migrator.DumpNonVolatileData(kBackup), 0);
    this->migrator.Destroy();
    this->Forget();
    EXPECT_FALSE(this->migrator.RestoreNonVolatileData(kBackup));
    EXPECT_FALSE(this->migrator.RestoreNonVolatileDataUlvey(kBackup, this->migrator.GetUIDArray()));
    EXPECT_THAT(this->Logged(),
                ElementsAre(Error(" VEMigration Flag not created..."), Error(" VEMigration Flag not created...")));
    EXPECT_THAT(this->Trace(), IsEmpty());
}

template <class Migrator>
class LegacyPictureBackup : public PictureSync<Migrator> {
 protected:
    void PutBackup(const std::vector<unsigned char>& records)
    {
        const auto file = vbset::EncipherLegacy(records);
        this->PutFile(kBackupFile, {file.begin(), file.end()});
    }
};
TYPED_TEST_SUITE(LegacyPictureBackup, Migrators, );

TYPED_TEST(LegacyPictureBackup, IsRestoredUnderTheIdsOfTheMigrator)
{
    this->PutBackup(vbset::LegacyRecords(this->kItems, 99));
    EXPECT_TRUE(this->migrator.RestoreNonVolatileDataUlvey(kBackup, this->migrator.GetUIDArray()));
    EXPECT_EQ(this->Set().FactoryItems(), vbset::LegacyItems(this->kItems, 99));
    EXPECT_THAT(this->Said(), ElementsAre(Info(std::string("Restorting from Picture data @ [") + kBackupFile + "]")));
}

TYPED_TEST(LegacyPictureBackup, IsRestoredUnderWhateverIdsTheCallerGives)
{
    const std::string records = RecordBytes(5000, 3, Raw({0x34, 0x12})) + RecordBytes(5001, 4, Raw({0x07}));
    this->PutBackup({records.begin(), records.end()});
    unsigned int uids[62] = {98, 97};
    EXPECT_TRUE(this->migrator.RestoreNonVolatileDataUlvey(kBackup, uids));
    EXPECT_EQ(this->Item(98), (vbset::FactoryItem{3, {0x34, 0x12}}));
    EXPECT_EQ(this->Item(97), (vbset::FactoryItem{4, {0x07}}));
}

TYPED_TEST(LegacyPictureBackup, WithMoreRecordsThanItemsStoresTheFirstAndFails)
{
    auto records = vbset::LegacyRecords(this->kItems, 99);
    const std::string more = RecordBytes(1, 2, Raw({3, 4}));
    records.insert(records.end(), more.begin(), more.end());
    this->PutBackup(records);
    EXPECT_FALSE(this->migrator.RestoreNonVolatileDataUlvey(kBackup, this->migrator.GetUIDArray()));
    EXPECT_EQ(this->Set().FactoryItems(), vbset::LegacyItems(this->kItems, 99));
    const std::vector<std::string> calls = this->Calls({"platform"});
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "SetMigrationItemData"), this->kItems);
}

TYPED_TEST(LegacyPictureBackup, TellsAFailedRestoreInTheWordsOfTheOther)
{
    EXPECT_FALSE(this->migrator.RestoreNonVolatileDataUlvey(kBackup, this->migrator.GetUIDArray()));
    EXPECT_THAT(this->Said(), ElementsAre(Info(std::string("Restorting from Picture data @ [") + kBackupFile + "]"),
                                          Error("\tRestoreNonVolatileData Failed [-2147483648] ")));
}

}  // namespace
