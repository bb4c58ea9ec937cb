// The virtual tables in the built library: callers compiled against another build of it call by slot.

#include <BuiltLibrary.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;

namespace {

using Slots = std::vector<std::set<std::string>>;

/** The slot of a destructor in the table of an abstract class: compilers leave out what no object can call. */
auto Unused(const std::string& destructor)
{
    return AnyOf(Contains("nothing"), Contains(destructor));
}

}  // namespace

TEST(VirtualTable, OfTheStrategyHasItsOperationsInTheDocumentedOrder)
{
    const Slots slots = BuiltLibrary().VirtualTable("17MigrationStrategy");
    EXPECT_THAT(slots,
                ElementsAre(Unused("MigrationStrategy::~MigrationStrategy() [complete]"),
                            Unused("MigrationStrategy::~MigrationStrategy() [deleting]"),
                            Contains("MigrationStrategy::DumpNonVolatileData()"),
                            Contains("MigrationStrategy::RestoreNonVolatileData()"),
                            Contains("MigrationStrategy::NotifyMigrationStatus(VB_VornBoxMigrationType_k const&, "
                                     "VB_VornBoxMigrationProgress_k const&, VB_VornBoxMigrationStatus_k*)"),
                            Contains("pure"),  // BackupMACAddress()
                            Contains("pure"),  // RestoreMACAddress()
                            Contains("MigrationStrategy::SetBootPartition(int)"),
                            Contains("MigrationStrategy::GetBootPartition(int*)"),
                            Contains("pure"),  // SetRestorePath()
                            Contains("MigrationStrategy::RestorePicture()"),
                            Contains("MigrationStrategy::NotifyMigrationImplBkup(VB_VornBoxMigrationProgress_k const&)"),
                            Contains("MigrationStrategy::NotifyMigrationImplRestore("
                                     "VB_VornBoxMigrationProgress_k const&)")));
}

struct StrategyCase {
    const char* name;
    const char* mangled;
};

class VirtualTableOfPairing : public ::testing::TestWithParam<StrategyCase> {};

// Which class carries out an operation is the pairing's affair; where it stands in the table is not.
TEST_P(VirtualTableOfPairing, KeepsTheOrderOfTheStrategy)
{
    const Slots slots = BuiltLibrary().VirtualTable(GetParam().mangled);
    const std::string destructor = GetParam().name + std::string("::~") + GetParam().name + "()";
    const std::string progress = "(VB_VornBoxMigrationProgress_k const&)";
    EXPECT_THAT(slots,
                ElementsAre(Contains(destructor + " [complete]"), Contains(destructor + " [deleting]"),
                            Contains(EndsWith("::DumpNonVolatileData()")),
                            Contains(EndsWith("::RestoreNonVolatileData()")),
                            Contains(EndsWith("::NotifyMigrationStatus(VB_VornBoxMigrationType_k const&, "
                                              "VB_VornBoxMigrationProgress_k const&, VB_VornBoxMigrationStatus_k*)")),
                            Contains(EndsWith("::BackupMACAddress()")), Contains(EndsWith("::RestoreMACAddress()")),
                            Contains(EndsWith("::SetBootPartition(int)")),
                            Contains(EndsWith("::GetBootPartition(int*)")), Contains(EndsWith("::SetRestorePath()")),
                            Contains(EndsWith("::RestorePicture()")),
                            Contains(EndsWith("::NotifyMigrationImplBkup" + progress)),
                            Contains(EndsWith("::NotifyMigrationImplRestore" + progress))));
}

INSTANTIATE_TEST_SUITE_P(, VirtualTableOfPairing,
                         ::testing::Values(StrategyCase{"RiloRiloStratgegy", "17RiloRiloStratgegy"},
                                           StrategyCase{"MavoMavoStratgegy", "17MavoMavoStratgegy"},
                                           StrategyCase{"MavoTeskStratgegy", "17MavoTeskStratgegy"},
                                           StrategyCase{"MavoNufStratgegy", "16MavoNufStratgegy"}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(VirtualTable, OfTheMigratorHasItsOperationsInTheDocumentedOrder)
{
    const Slots slots = BuiltLibrary().VirtualTable("11VEMigration");
    EXPECT_THAT(slots,
                ElementsAre(Unused("VEMigration::~VEMigration() [complete]"),
                            Unused("VEMigration::~VEMigration() [deleting]"),
                            Contains("pure"),  // Create()
                            Contains("pure"),  // Destroy()
                            Contains("pure"),  // FlagCreate()
                            Contains("VEMigration::DumpNonVolatileData(std::string)"),
                            Contains("VEMigration::RestoreNonVolatileData(std::string)"),
                            Contains("VEMigration::RestoreNonVolatileDataUlvey(std::string, unsigned int*)"),
                            Contains("VEMigration::DoVornBoxDataSync(VB_VornBoxInfo_k)"),
                            Contains("pure"),  // SetFactoryItem()
                            Contains("pure"),  // ConvertValueToStr()
                            Contains("pure"),  // GetVBMigrationTestData()
                            Contains("pure"),  // m_VerifyVornBoxDataSync()
                            Contains("VEMigration::GetUIDArray()")));
}

class VirtualTableOfMigrator : public ::testing::TestWithParam<int> {};

TEST_P(VirtualTableOfMigrator, HasEveryOperationOfItsOwnInTheDocumentedOrder)
{
    const std::string items = std::to_string(GetParam());
    const Slots slots = BuiltLibrary().VirtualTable("15VEMigrationImplILi" + items + "EE");
    const std::string own = "VEMigrationImpl<" + items + ">::";
    EXPECT_THAT(slots,
                ElementsAre(Contains(own + "~VEMigrationImpl() [complete]"),
                            Contains(own + "~VEMigrationImpl() [deleting]"), Contains(own + "Create()"),
                            Contains(own + "Destroy()"), Contains(own + "FlagCreate()"),
                            Contains(own + "DumpNonVolatileData(std::string)"),
                            Contains(own + "RestoreNonVolatileData(std::string)"),
                            Contains(own + "RestoreNonVolatileDataUlvey(std::string, unsigned int*)"),
                            Contains(own + "DoVornBoxDataSync(VB_VornBoxInfo_k)"),
                            Contains(own + "SetFactoryItem(VB_FactoryItemNode_t const*, int)"),
                            Contains(own + "ConvertValueToStr(VB_FactoryItemNode_t*, int, char*)"),
                            Contains(own + "GetVBMigrationTestData(int)"),
                            Contains(own + "m_VerifyVornBoxDataSync()"), Contains(own + "GetUIDArray()")));
}

INSTANTIATE_TEST_SUITE_P(, VirtualTableOfMigrator, ::testing::Values(44, 62));

TEST(VirtualTable, OfPictureDataAndServiceClientHasTheirDestructorsOnly)
{
    const BuiltLibrary library;
    for (const std::string name : {"PictureDataMigration", "DBusClient"}) {
        const std::string destructor = name + "::~" + name + "()";
        EXPECT_THAT(library.VirtualTable(std::to_string(name.size()) + name),
                    ElementsAre(Contains(destructor + " [complete]"), Contains(destructor + " [deleting]")));
    }
}
