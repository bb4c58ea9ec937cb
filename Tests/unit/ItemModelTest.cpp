// The picture migrator itself: its interface, item tables, creation and end.

#include "PictureOnSet.h"

#include <FactoryInterface.h>
#include <VEMigrationImpl.h>

#include <cstddef>
#include <cstring>
#include <memory>

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::Not;

/** A migrator that overrides only what it has to. */
class BareMigrator : public VEMigration {
 public:
    int Create() override { return 0; }
    int Destroy() override { return 0; }
    bool FlagCreate() override { return true; }
    int SetFactoryItem(const VB_FactoryItemNode_t*, int) override { return 0; }
    int ConvertValueToStr(VB_FactoryItemNode_t*, int, char*) override { return 0; }
    int GetVBMigrationTestData(int) override { return 0; }
    int m_VerifyVornBoxDataSync() override { return 0; }
};

/** A migrator that says it is created before it is. */
class CreatedFromTheStart : public VEMigrationImpl<44> {
 public:
    bool FlagCreate() override { return true; }
};

/** The place of a virtual operation in the table, from 1, as compiled callers use it. */
template <class Operation>
std::ptrdiff_t Slot(Operation operation)
{
    std::ptrdiff_t place = 0;
    std::memcpy(&place, &operation, sizeof place);
    return place / static_cast<std::ptrdiff_t>(sizeof(void*)) + 1;
}

class ItemModel : public OnPictureSet {
 protected:
    ItemModel() { Start(); }
};

TEST(FactoryItemRecord, HasFortyFiveWordsWithTheTwoIdsAtEighteenAndNineteen)
{
    EXPECT_EQ(sizeof(VB_FactoryItemNode_t), 45U * 4U);
    EXPECT_EQ(offsetof(VB_FactoryItemNode_t, uiSpecialId), 18U * 4U);
    EXPECT_EQ(offsetof(VB_FactoryItemNode_t, uiUniqueIndex), 19U * 4U);
    const VB_FactoryItemNode_t zero = {};
    EXPECT_GT(zero.uiSpecialId - 1U, 0U) << "the ids are unsigned";
    EXPECT_GT(zero.uiUniqueIndex - 1U, 0U);
}

TEST(MigratorInterface, KeepsTheOrderOfItsVirtualOperations)
{
    EXPECT_EQ(Slot(&VEMigration::Create), 3);
    EXPECT_EQ(Slot(&VEMigration::Destroy), 4);
    EXPECT_EQ(Slot(&VEMigration::FlagCreate), 5);
    EXPECT_EQ(Slot(&VEMigration::DumpNonVolatileData), 6);
    EXPECT_EQ(Slot(&VEMigration::RestoreNonVolatileData), 7);
    EXPECT_EQ(Slot(&VEMigration::RestoreNonVolatileDataUlvey), 8);
    EXPECT_EQ(Slot(&VEMigration::DoVornBoxDataSync), 9);
    EXPECT_EQ(Slot(&VEMigration::SetFactoryItem), 10);
    EXPECT_EQ(Slot(&VEMigration::ConvertValueToStr), 11);
    EXPECT_EQ(Slot(&VEMigration::GetVBMigrationTestData), 12);
    EXPECT_EQ(Slot(&VEMigration::m_VerifyVornBoxDataSync), 13);
    EXPECT_EQ(Slot(&VEMigration::GetUIDArray), 14);
}

TEST(MigratorInterface, HasNoMembers)
{
    EXPECT_EQ(sizeof(VEMigration), sizeof(void*));
}

TEST(MigratorInterface, CountsOperationsThatAreNotOverriddenAsFailed)
{
    BareMigrator migrator;
    unsigned int uid = 79;
    EXPECT_EQ(migrator.DumpNonVolatileData("/"), -1);
    EXPECT_FALSE(migrator.RestoreNonVolatileData("/"));
    EXPECT_FALSE(migrator.RestoreNonVolatileDataUlvey("/", &uid));
    EXPECT_EQ(migrator.DoVornBoxDataSync(VB_INFO_VB_FAC_TO_TV_SPI), -1);
    EXPECT_EQ(migrator.GetUIDArray(), nullptr);
}

TEST_F(ItemModel, IsNotCreatedByConstructionWhichIsTracedAsAnError)
{
    VEMigrationImpl<44> migrator;
    EXPECT_FALSE(migrator.FlagCreate());
    EXPECT_THAT(Logged(), ElementsAre(Error("\n VEMigration VBMigration \n")));
    EXPECT_EQ(Log().at(0).unit, "VEMigration.cpp");
}

TEST_F(ItemModel, IsCreatedWithTheStandardTableForFortyFourItems)
{
    VEMigrationImpl<44> migrator;
    Forget();
    EXPECT_EQ(migrator.Create(), 0);
    EXPECT_TRUE(migrator.FlagCreate());
    EXPECT_THAT(Logged(), ElementsAre(Info("VEMigration::Create VBMigration "), Info(" VEMigration::CreateArray "),
                                      Error("\n PictureDataMigration  Constructor VBMigration \n"),
                                      Info(" VEMigration::Create VBMigration ")));
    const std::vector<unsigned int> uids(migrator.GetUIDArray(), migrator.GetUIDArray() + 44);
    EXPECT_THAT(uids, ElementsAreArray({79,  80,  81,  83,  84,  85,  167, 168, 169, 170, 95,  96,  97,  98,  535,
                                        545, 555, 536, 546, 556, 537, 547, 557, 538, 548, 558, 539, 549, 559, 540,
                                        550, 560, 541, 551, 561, 542, 552, 562, 543, 553, 563, 544, 554, 564}));
}

TEST_F(ItemModel, IsCreatedWithTheExtendedTableForSixtyTwoItems)
{
    VEMigrationImpl<62> migrator;
    Forget();
    EXPECT_EQ(migrator.Create(), 0);
    EXPECT_TRUE(migrator.FlagCreate());
    EXPECT_THAT(Logged(), ElementsAre(Info("VEMigration::Create VBMigration "), Info(" VEMigration::CreateOLEDArray "),
                                      Error("\n PictureDataMigration  Constructor VBMigration \n"),
                                      Info(" VEMigration::Create VBMigration ")));
    const std::vector<unsigned int> uids(migrator.GetUIDArray(), migrator.GetUIDArray() + 62);
    EXPECT_THAT(uids, ElementsAreArray({79, 80, 81, 83, 84, 85, 167, 168, 169, 170, 95, 96, 97,
                                        98, 535, 545, 555, 536, 546, 556, 537, 547, 557, 538, 548, 558,
                                        539, 549, 559, 540, 550, 560, 541, 551, 561, 542, 552, 562, 543,
                                        553, 563, 544, 554, 564, 1760, 1761, 1762, 1763, 1764, 1765, 1766, 1767,
                                        1768, 1769, 1770, 1771, 1772, 1773, 1774, 1775, 1776, 1777}));
}

TEST_F(ItemModel, IsNotCreatedTwiceAndKeepsWhatItHas)
{
    VEMigrationImpl<44> migrator;
    ASSERT_EQ(migrator.Create(), 0);
    migrator.GetUIDArray()[0] = 1;
    Forget();
    EXPECT_EQ(migrator.Create(), -1);
    EXPECT_TRUE(migrator.FlagCreate());
    EXPECT_EQ(migrator.GetUIDArray()[0], 1U) << "the table was copied again";
    EXPECT_THAT(Logged({"PictureDataMigration", "~PictureDataMigration", "CreateArray"}), IsEmpty());
    EXPECT_THAT(Logged({"Create"}), Contains(Info("VEMigration::Create VBMigration ")));
}

TEST_F(ItemModel, AsksWhetherItIsCreatedThroughTheVirtualTable)
{
    CreatedFromTheStart migrator;
    Forget();
    EXPECT_EQ(migrator.Create(), -1);
    EXPECT_THAT(Logged(), Not(Contains(Info(" VEMigration::CreateArray "))));
}

TEST_F(ItemModel, CannotBeDestroyedBeforeItIsCreated)
{
    VEMigrationImpl<44> migrator;
    Forget();
    EXPECT_EQ(migrator.Destroy(), -1);
    EXPECT_THAT(Logged(), IsEmpty());
}

TEST_F(ItemModel, FreesThePictureMigratorOnceWhenDestroyed)
{
    VEMigrationImpl<44> migrator;
    ASSERT_EQ(migrator.Create(), 0);
    Forget();
    EXPECT_EQ(migrator.Destroy(), 0);
    EXPECT_FALSE(migrator.FlagCreate());
    EXPECT_EQ(migrator.Destroy(), -1);
    EXPECT_THAT(Logged(), ElementsAre(Info(" PictureDataMigration Destructor called \n")));
    EXPECT_EQ(Log().at(0).unit, "PictureMigration.cpp");
}

TEST_F(ItemModel, CanBeCreatedAgainAfterItWasDestroyed)
{
    VEMigrationImpl<62> migrator;
    ASSERT_EQ(migrator.Create(), 0);
    ASSERT_EQ(migrator.Destroy(), 0);
    EXPECT_EQ(migrator.Create(), 0);
    EXPECT_TRUE(migrator.FlagCreate());
}

TEST_F(ItemModel, DestroysItselfWhenItGoes)
{
    auto migrator = std::make_unique<VEMigrationImpl<44>>();
    ASSERT_EQ(migrator->Create(), 0);
    Forget();
    migrator.reset();
    EXPECT_THAT(Logged(), ElementsAre(Info("Destructor called "), Info(" PictureDataMigration Destructor called \n")));
}

TEST_F(ItemModel, HasNothingToDestroyWhenItGoesUncreated)
{
    auto migrator = std::make_unique<VEMigrationImpl<62>>();
    Forget();
    migrator.reset();
    EXPECT_THAT(Logged(), ElementsAre(Info("Destructor called ")));
}

TEST_F(ItemModel, AppendsTheNameOfThePictureFileWithoutASeparator)
{
    VEMigrationImpl<44> migrator;
    std::string path = "/backup/";
    EXPECT_TRUE(migrator.MakeAndCheckCompletePath(path));
    EXPECT_EQ(path, "/backup/PictureMigrationData.dat");
    path = "/backup";
    EXPECT_TRUE(migrator.MakeAndCheckCompletePath(path));
    EXPECT_EQ(path, "/backupPictureMigrationData.dat");
    path.clear();
    EXPECT_TRUE(migrator.MakeAndCheckCompletePath(path));
    EXPECT_EQ(path, "PictureMigrationData.dat");
}

}  // namespace
