// The picture migrator without memory: each of its allocations fails in turn.

#include "PictureOnSet.h"

#include <AllocationFailure.h>
#include <LegacyBackup.h>
#include <VEMigrationImpl.h>

#include <algorithm>
#include <functional>
#include <set>

namespace {

using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::StartsWith;

class PictureMemory : public OnPictureSet {
 protected:
    PictureMemory()
    {
        Start("tv15-62", "box15-62");
        PutItem(79, 0x01020304, Raw({0x34, 0x12}));
        PutItem(80, 1, Raw({1, 2, 3}));
        PutItem(1765, 7, Raw({0x07}));
        openBefore_ = OpenDescriptors();
        Forget();
    }
    void TearDown() override { EXPECT_EQ(OpenDescriptors(), openBefore_); }

    int Build() { return picture.t_StartMigration(uids_, 3, kFile, true); }
    int Read() { return picture.t_ReadMigrationSPIData(values, kFile); }

    std::size_t Fetches() const
    {
        const std::vector<std::string> calls = Calls();
        return static_cast<std::size_t>(std::count(calls.begin(), calls.end(), "GetMigrationItemData"));
    }

    PictureDataMigration picture;
    int values[3] = {1, 2, 3};

 private:
    unsigned int uids_[3] = {79, 80, 1765};
    int openBefore_ = 0;
};

TEST_F(PictureMemory, WithoutPlaceForThePictureMigratorTheItemMigratorIsNotCreated)
{
    VEMigrationImpl<62> migrator;
    Forget();
    allocation_failure::FailNothrow(1);
    EXPECT_EQ(migrator.Create(), -1);
    EXPECT_TRUE(allocation_failure::Stop());
    EXPECT_FALSE(migrator.FlagCreate());
    EXPECT_THAT(Logged(), ElementsAre(Info("VEMigration::Create VBMigration "), Info(" VEMigration::CreateOLEDArray "),
                                      Info(" VEMigration::Create VBMigration ")));
    EXPECT_EQ(migrator.Destroy(), -1);
    EXPECT_FALSE(migrator.RestoreNonVolatileData("/opt/tv/"));
    EXPECT_EQ(migrator.Create(), 0);
    EXPECT_TRUE(migrator.FlagCreate());
}

TEST_F(PictureMemory, ABuildEndsWithTheFirstBufferThatHasNoPlaceAndLeavesTheFileAlone)
{
    const Message noFile = Error("\nMigration Buffer Creation Failure\n");
    const Message noItem = Error("pBuffer_Data new failed \n ");
    PutFile(kFile, "what was there");
    std::set<std::size_t> itemsFetchedBefore;
    bool fileHadNoPlace = false;
    for (long nth = 1; nth <= 50; ++nth) {
        Forget();
        allocation_failure::FailNothrow(nth);
        const int result = Build();
        if (!allocation_failure::Stop()) {
            EXPECT_EQ(result, 0);
            break;
        }
        EXPECT_EQ(result, kGeneralFailure);
        EXPECT_EQ(FileBytes(kFile), "what was there");
        ASSERT_THAT(Logged().back(), AnyOf(Eq(noFile), Eq(noItem)));
        if (Logged().back() == noItem) {
            itemsFetchedBefore.insert(Fetches());
        } else {
            fileHadNoPlace = true;
            EXPECT_EQ(Fetches(), 0U);
            const Messages messages = Logged();
            EXPECT_THAT(messages[messages.size() - 2].second, StartsWith("Total Migration Buffer Size = "));
        }
    }
    EXPECT_TRUE(fileHadNoPlace);
    EXPECT_THAT(itemsFetchedBefore, ElementsAre(0U, 1U, 2U));
    EXPECT_EQ(FileBytes(kFile).size(), 42U);
}

TEST_F(PictureMemory, WithoutPlaceForTheFileItsValuesAreNotRead)
{
    ASSERT_EQ(Build(), 0);
    Forget();
    allocation_failure::FailNothrow(1);
    EXPECT_EQ(Read(), kGeneralFailure);
    EXPECT_TRUE(allocation_failure::Stop());
    EXPECT_THAT(values, ElementsAre(1, 2, 3));
    EXPECT_THAT(Calls(), ElementsAre("stat", "open", "close"));
    EXPECT_EQ(Logged().back(),
              Error("PictureDataMigration::t_ReadMigrationSPIData -> pMigrationBuffer creation Failed() \n"));
}

TEST_F(PictureMemory, WithoutPlaceForTheFileItIsNotWrittenIntoTheBox)
{
    ASSERT_EQ(Build(), 0);
    Forget();
    allocation_failure::FailNothrow(1);
    EXPECT_EQ(picture.t_WriteToVB(kFile), kGeneralFailure);
    EXPECT_TRUE(allocation_failure::Stop());
    EXPECT_THAT(Calls(), ElementsAre("stat", "open", "close"));
    EXPECT_EQ(Logged().back(), Error("[PICMIGRATE] t_WriteToVB:(Error) pMigrationBuffer creation Failed() \n"));
}

class OutOfMemory : public PictureMemory {
 protected:
    void ExpectNoExceptionOf(const std::function<int()>& operation)
    {
        ExpectNoExceptionOf(operation, allocation_failure::FailAny);
        ExpectNoExceptionOf(operation, allocation_failure::FailAnyFrom);
    }

 private:
    void ExpectNoExceptionOf(const std::function<int()>& operation, void (*fail)(long nth))
    {
        for (long nth = 1; nth <= 5000 && !HasFailure(); ++nth) {
            int result = 0;
            bool ranOut = false;
            EXPECT_NO_THROW({
                fail(nth);
                result = operation();
                ranOut = allocation_failure::Stop();
            }) << "allocation " << nth;
            allocation_failure::Stop();
            EXPECT_THAT(result, AnyOf(Eq(0), Eq(-1), Eq(kGeneralFailure), Eq(kFileFailure)));
            if (!ranOut) {
                EXPECT_EQ(result, 0);
                return;
            }
        }
        ADD_FAILURE() << "it never succeeded";
    }
};

TEST_F(OutOfMemory, NoBuildEndsInAnException)
{
    ExpectNoExceptionOf([&] { return Build(); });
}

TEST_F(OutOfMemory, NoReadEndsInAnException)
{
    ASSERT_EQ(Build(), 0);
    ExpectNoExceptionOf([&] { return Read(); });
}

TEST_F(OutOfMemory, NoFetchOfValuesEndsInAnException)
{
    unsigned int uids[] = {79, 80};
    ExpectNoExceptionOf([&] { return picture.t_GetFactoryUIDData(uids, 2, values); });
}

TEST_F(OutOfMemory, NoWritingIntoTheBoxEndsInAnException)
{
    ASSERT_EQ(Build(), 0);
    ExpectNoExceptionOf([&] { return picture.t_WriteToVB(kFile); });
}

TEST_F(OutOfMemory, NoWritingOfALegacyBackupEndsInAnException)
{
    const std::string records = RecordBytes(5000, 3, Raw({0x34, 0x12}));
    const auto file = vbset::EncipherLegacy({records.begin(), records.end()});
    PutFile(kFile, {file.begin(), file.end()});
    unsigned int uid = 79;
    ExpectNoExceptionOf([&] { return picture.t_WriteUlveyToVB(kFile, &uid, 1); });
}

}  // namespace
