// Storing and loading the service file by special id, and the single item values served from it.

#include "PictureOnSet.h"

#include <MigrationStrategy.h>
#include <VEMigrationImpl.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <type_traits>

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

VB_FactoryItemNode_t Command(unsigned int specialId)
{
    VB_FactoryItemNode_t node = {};
    node.uiSpecialId = specialId;
    node.uiUniqueIndex = specialId;
    return node;
}

/** Opens a protected member of strategies. */
struct OpenedStrategy : MigrationStrategy {
    static bool MigrationStrategy::*Mounted() { return &OpenedStrategy::mbDataSyncMounted; }
};

/** What a migrator serves for a unique index: the text, or "none" when the index names no item. */
template <int N>
std::string Served(VEMigrationImpl<N>& migrator, unsigned int uniqueIndex)
{
    VB_FactoryItemNode_t node = {};
    node.uiUniqueIndex = uniqueIndex;
    char out[12] = "untouched!!";
    const int result = migrator.ConvertValueToStr(&node, 0, out);
    if (result == 0) {
        return out;
    }
    EXPECT_EQ(result, kIndexFailure);
    EXPECT_STREQ(out, "untouched!!");
    return "none";
}

/** Records of four bytes whose values are these. */
std::string FileOfValues(const std::vector<std::uint32_t>& values)
{
    std::string bytes;
    for (const std::uint32_t value : values) {
        bytes += HeaderBytes(79, 0, 4) + HeaderBytes(value, 0, 0).substr(0, 4);
    }
    return bytes;
}

std::vector<std::uint32_t> OneTo(std::uint32_t last)
{
    std::vector<std::uint32_t> values;
    for (std::uint32_t value = 1; value <= last; ++value) {
        values.push_back(value);
    }
    return values;
}

class ItemValue : public OnPictureSet {
 protected:
    /** Puts a service file where it is once data_sync is mounted. */
    void PutServiceFile(const std::string& bytes) { WriteFile(ServiceFile(), bytes); }
    std::filesystem::path ServiceFile() { return Set().Partition("data_sync") / "PictureData.dat"; }

    template <int N>
    int Load(VEMigrationImpl<N>& migrator, unsigned int specialId = 1714)
    {
        const VB_FactoryItemNode_t node = Command(specialId);
        return migrator.SetFactoryItem(&node, 1);
    }
};

class SetFactoryItem : public ItemValue {
 protected:
    SetFactoryItem()
    {
        Start();
        migrator.Create();
        Forget();
    }
    VEMigrationImpl<44> migrator;
};

template <class Migrator>
class ItemValueOfAny : public ItemValue {};
using Migrators = ::testing::Types<VEMigrationImpl<44>, VEMigrationImpl<62>>;
TYPED_TEST_SUITE(ItemValueOfAny, Migrators, );

TYPED_TEST(ItemValueOfAny, CannotBeSetBeforeTheMigratorIsCreated)
{
    this->Start();
    TypeParam migrator;
    this->Forget();
    EXPECT_EQ(this->Load(migrator, 1713), -1);
    EXPECT_THAT(this->Logged(), ElementsAre(
                              Info("VEMigration::SetFactoryItem called "),
                              Error("VEMigration::SetFactoryItem-> bFlagCreate is false : Construcor not called ")));
    EXPECT_THAT(this->Trace(), IsEmpty());
}

class OtherSpecialId : public SetFactoryItem, public ::testing::WithParamInterface<unsigned int> {};

TEST_P(OtherSpecialId, FailsWithoutAnError)
{
    EXPECT_EQ(Load(migrator, GetParam()), -1);
    EXPECT_THAT(Logged(), ElementsAre(Info("VEMigration::SetFactoryItem called "),
                                      Info("UID&SID : " + std::to_string(static_cast<int>(GetParam())) +
                                           ", SetValue = 1")));
    EXPECT_THAT(Trace(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Ids, OtherSpecialId,
                         ::testing::Values(0U, 79U, 1712U, 1716U, 1759U, 1760U, 1777U, 1779U, 0x80000000U, UINT_MAX));

class KnownSpecialId : public SetFactoryItem,
                       public ::testing::WithParamInterface<std::tuple<unsigned int, int>> {};

TEST_P(KnownSpecialId, FailsWithoutMountingUnlessTheValueIsOne)
{
    const auto [specialId, value] = GetParam();
    const VB_FactoryItemNode_t node = Command(specialId);
    EXPECT_EQ(migrator.SetFactoryItem(&node, value), -1);
    EXPECT_THAT(Logged(), ElementsAre(Info("VEMigration::SetFactoryItem called "),
                                      Info("UID&SID : " + std::to_string(specialId) +
                                           ", SetValue = " + std::to_string(value))));
    EXPECT_THAT(Trace(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Values, KnownSpecialId,
                         ::testing::Combine(::testing::Values(1713U, 1714U, 1715U, 1778U),
                                            ::testing::Values(0, 2, -1, INT_MIN)));

TEST_F(SetFactoryItem, ReadsNoOtherWordOfTheRecord)
{
    VB_FactoryItemNode_t node;
    std::memset(&node, 0xEE, sizeof node);
    node.uiSpecialId = 1713;
    EXPECT_EQ(migrator.SetFactoryItem(&node, 1), 0);
    std::memset(&node, 0xEE, sizeof node);
    node.uiUniqueIndex = 1716;
    char out[10] = "";
    EXPECT_EQ(migrator.ConvertValueToStr(&node, 1, out), 0);
    EXPECT_STREQ(out, "0");
}

TEST_F(SetFactoryItem, DecidesBySpecialIdNotByUniqueIndex)
{
    VB_FactoryItemNode_t node = {};
    node.uiUniqueIndex = 1714;
    EXPECT_EQ(migrator.SetFactoryItem(&node, 1), -1);
    EXPECT_THAT(Trace(), IsEmpty());
}

TEST_F(SetFactoryItem, MountsThePartitionAndStoresTheItemsOfTheBoxIntoTheServiceFile)
{
    EXPECT_EQ(Load(migrator, 1713), 0);
    EXPECT_TRUE(Set().IsMounted("data_sync")) << "it stays mounted";
    EXPECT_EQ(ReadFile(ServiceFile()), FileOfBox(vbset::ItemIds(44)));
    EXPECT_EQ(ReadFile(ServiceFile()).size(), 616U);
    EXPECT_THAT(Calls({"command"}), ElementsAre("/bin/spi_init.sh mount  data_sync"));
    EXPECT_THAT(Logged({"SetFactoryItem"}),
                ElementsAre(Info("VEMigration::SetFactoryItem called "), Info("UID&SID : 1713, SetValue = 1")));
    const std::vector<std::string> calls = Calls({"command", "platform"});
    EXPECT_LT(std::find(calls.begin(), calls.end(), "/bin/spi_init.sh mount  data_sync"),
              std::find(calls.begin(), calls.end(), "GetMigrationItemSize"));
    std::vector<std::string> paths;
    for (const Interaction& call : Trace({"platform"})) {
        paths.push_back(call.call + ' ' + call.args);
    }
    EXPECT_THAT(paths, Contains("tzplatform_mkpath 31 migration/service/PictureData.dat"));
}

TEST_F(SetFactoryItem, MountsThroughTheStrategyOfTheSet)
{
    const auto strategy = get_Startegy();
    ASSERT_NE(strategy, nullptr);
    for (const unsigned int specialId : {1713U, 1714U, 1715U, 1778U}) {
        strategy->*OpenedStrategy::Mounted() = false;
        Forget();
        EXPECT_EQ(Load(migrator, specialId), 0);
        EXPECT_TRUE(strategy->*OpenedStrategy::Mounted()) << specialId;
        EXPECT_EQ(Logged({"get_Startegy"}), (Messages{Info("get_Startegy VBMigration ")}));
    }
}

TEST_F(SetFactoryItem, FailsToStoreWhenThePartitionCannotBeMounted)
{
    Fault("serdes.polls", "never");
    EXPECT_EQ(Load(migrator, 1713), -1);
    EXPECT_THAT(Logged({"SetFactoryItem"}),
                ElementsAre(Info("VEMigration::SetFactoryItem called "), Info("UID&SID : 1713, SetValue = 1"),
                            Error(" VEMigration::SetFactoryItem[1713] :mount is failed (-1) ")));
    EXPECT_FALSE(std::filesystem::exists(ServiceFile()));
    EXPECT_THAT(Calls(), Not(Contains("GetMigrationItemSize")));
}

TEST_F(SetFactoryItem, PassesOnTheFailureOfAStore)
{
    Fault("factory.get.564", "0");
    EXPECT_EQ(Load(migrator, 1713), kGeneralFailure);
    EXPECT_THAT(Logged({"SetFactoryItem"}),
                ElementsAre(Info("VEMigration::SetFactoryItem called "), Info("UID&SID : 1713, SetValue = 1"),
                            Error(" VEMigration::SetFactoryItem[1713] Failed  [-2147483648] ")));
    EXPECT_FALSE(std::filesystem::exists(ServiceFile()));
}

class LoadId : public SetFactoryItem, public ::testing::WithParamInterface<unsigned int> {};

TEST_P(LoadId, MountsThePartitionAndLoadsTheServiceFile)
{
    PutServiceFile(FileOfValues(OneTo(44)));
    EXPECT_EQ(Load(migrator, GetParam()), 0);
    EXPECT_TRUE(Set().IsMounted("data_sync")) << "it stays mounted";
    EXPECT_THAT(Calls({"command"}), ElementsAre("/bin/spi_init.sh mount  data_sync"));
    EXPECT_EQ(Served(migrator, 1716), "1");
    EXPECT_EQ(Served(migrator, 1759), "44");
    EXPECT_THAT(Logged({"SetFactoryItem"}),
                ElementsAre(Info("VEMigration::SetFactoryItem called "),
                            Info("UID&SID : " + std::to_string(GetParam()) + ", SetValue = 1")));
}

TEST_P(LoadId, FailsAndKeepsTheValuesWhenThePartitionCannotBeMounted)
{
    PutServiceFile(FileOfValues({7}));
    ASSERT_EQ(Load(migrator), 0);
    PutServiceFile(FileOfValues({8}));
    Fault("serdes.polls", "never");
    Forget();
    EXPECT_EQ(Load(migrator, GetParam()), -1);
    EXPECT_THAT(Logged({"SetFactoryItem"}),
                ElementsAre(Info("VEMigration::SetFactoryItem called "),
                            Info("UID&SID : " + std::to_string(GetParam()) + ", SetValue = 1"),
                            Error(" VEMigration::SetFactoryItem :mount is failed (-1) ")));
    EXPECT_EQ(Served(migrator, 1716), "7") << "nothing was read";
    EXPECT_THAT(Calls({"file"}), Not(Contains("read")));
}

TEST_P(LoadId, PassesOnTheFailureOfALoadWithAllValuesZero)
{
    PutServiceFile(FileOfValues(OneTo(44)));
    ASSERT_EQ(Load(migrator), 0);
    std::filesystem::remove(ServiceFile());
    EXPECT_EQ(Load(migrator, GetParam()), kFileFailure);
    for (unsigned int index = 1716; index <= 1759; ++index) {
        EXPECT_EQ(Served(migrator, index), "0") << index;
    }
}

INSTANTIATE_TEST_SUITE_P(Ids, LoadId, ::testing::Values(1714U, 1715U, 1778U));

TEST_F(SetFactoryItem, ZeroesTheValuesThatAShorterFileDoesNotHave)
{
    PutServiceFile(FileOfValues(OneTo(44)));
    ASSERT_EQ(Load(migrator), 0);
    PutServiceFile(FileOfValues({100, 200}));
    ASSERT_EQ(Load(migrator), 0);
    EXPECT_EQ(Served(migrator, 1716), "100");
    EXPECT_EQ(Served(migrator, 1717), "200");
    EXPECT_EQ(Served(migrator, 1718), "0");
    EXPECT_EQ(Served(migrator, 1759), "0");
}

TEST_F(SetFactoryItem, KeepsTheRecordsBeforeACutOneAndFails)
{
    PutServiceFile(FileOfValues({5, 6}) + HeaderBytes(81, 0, 4) + Raw({1, 2}));
    EXPECT_EQ(Load(migrator), kGeneralFailure);
    EXPECT_EQ(Served(migrator, 1716), "5");
    EXPECT_EQ(Served(migrator, 1717), "6");
    EXPECT_EQ(Served(migrator, 1718), "0");
}

TEST_F(SetFactoryItem, TakesTheFirstItemsOfAFileWithMoreRecords)
{
    VEMigrationImpl<62> extended;
    ASSERT_EQ(extended.Create(), 0);
    PutServiceFile(FileOfValues(OneTo(5000)));
    EXPECT_EQ(Load(migrator), 0);
    EXPECT_EQ(Load(extended), 0);
    EXPECT_EQ(Served(migrator, 1759), "44");
    EXPECT_EQ(Served(migrator, 1779), "none");
    EXPECT_EQ(Served(extended, 1779), "45");
    EXPECT_EQ(Served(extended, 1796), "62");
}

TEST_F(ItemValue, CanBeStoredAndLoadedOnASetWithoutAStrategy)
{
    Start("tv15-62", "box15-62");
    Fault("system_info.254", "fail");
    VEMigrationImpl<62> migrator;
    ASSERT_EQ(migrator.Create(), 0);
    EXPECT_EQ(Load(migrator, 1713), 0);
    ASSERT_EQ(get_Startegy(), nullptr);
    EXPECT_EQ(ReadFile(ServiceFile()), FileOfBox(vbset::ItemIds(62)));
    EXPECT_EQ(ReadFile(ServiceFile()).size(), 850U);
    EXPECT_EQ(Load(migrator, 1778), 0);
    EXPECT_EQ(Served(migrator, 1716), std::to_string(Item(79).data.at(0) | Item(79).data.at(1) << 8));
    EXPECT_TRUE(Set().IsMounted("data_sync"));
}

template <class Migrator>
class ServedValues : public ItemValue {
 protected:
    ServedValues()
    {
        Start();
        migrator.Create();
    }
    static constexpr bool kExtended = std::is_same_v<Migrator, VEMigrationImpl<62>>;
    static constexpr unsigned int kItems = kExtended ? 62 : 44;
    Migrator migrator;
};

TYPED_TEST_SUITE(ServedValues, Migrators, );

TYPED_TEST(ServedValues, HaveOneIndexEachAndAGapThatNamesNone)
{
    this->PutServiceFile(FileOfValues(OneTo(this->kItems)));
    ASSERT_EQ(this->Load(this->migrator), 0);
    for (unsigned int index = 1700; index <= 1810; ++index) {
        std::string expected = "none";
        if (index >= 1716 && index <= 1759) {
            expected = std::to_string(index - 1716 + 1);
        } else if (this->kExtended && index >= 1779 && index <= 1796) {
            expected = std::to_string(index - 1735 + 1);
        }
        EXPECT_EQ(Served(this->migrator, index), expected) << "index " << index;
    }
    for (const unsigned int index : {0U, 79U, 0x80000000U, 0x80000000U + 1716U, UINT_MAX}) {
        EXPECT_EQ(Served(this->migrator, index), "none") << "index " << index;
    }
}

TYPED_TEST(ServedValues, AreZeroBeforeAnyLoad)
{
    EXPECT_EQ(Served(this->migrator, 1716), "0");
    EXPECT_EQ(Served(this->migrator, 1759), "0");
}

TYPED_TEST(ServedValues, AreLoggedWithTheNumberOfItemsIndexAndValue)
{
    this->PutServiceFile(FileOfValues({0xFFFFFFFEU}));
    ASSERT_EQ(this->Load(this->migrator), 0);
    this->Forget();
    EXPECT_EQ(Served(this->migrator, 1716), "-2");
    EXPECT_EQ(Served(this->migrator, 1715), "none");
    const std::string first = "VEMigration::ConvertValueToStr " + std::to_string(this->kItems);
    EXPECT_THAT(this->Logged(), ElementsAre(Info(first), Info(" UID[1716]:: Values[-2] "), Info(first)));
    EXPECT_THAT(this->Trace(), IsEmpty());
}

TYPED_TEST(ServedValues, AreThoseOfAllMigratorsOfAsManyItemsAndOutliveThem)
{
    this->PutServiceFile(FileOfValues({1234}));
    ASSERT_EQ(this->Load(this->migrator), 0);
    TypeParam other;
    EXPECT_EQ(Served(other, 1716), "1234") << "the flag is not asked";
    ASSERT_EQ(this->migrator.Destroy(), 0);
    ASSERT_EQ(this->migrator.Create(), 0);
    EXPECT_EQ(Served(this->migrator, 1716), "1234");
    std::conditional_t<TestFixture::kExtended, VEMigrationImpl<44>, VEMigrationImpl<62>> another;
    EXPECT_EQ(Served(another, 1716), "0");
}

TYPED_TEST(ServedValues, AreCutToNineCharacters)
{
    this->PutServiceFile(FileOfValues({static_cast<std::uint32_t>(-123456789), 0x80000000U, 0x7FFFFFFFU, 999999999U,
                                       static_cast<std::uint32_t>(-99999999), 1000000000U}));
    ASSERT_EQ(this->Load(this->migrator), 0);
    EXPECT_EQ(Served(this->migrator, 1716), "-12345678");
    EXPECT_EQ(Served(this->migrator, 1717), "-21474836");
    EXPECT_EQ(Served(this->migrator, 1718), "214748364");
    EXPECT_EQ(Served(this->migrator, 1719), "999999999");
    EXPECT_EQ(Served(this->migrator, 1720), "-99999999");
    EXPECT_EQ(Served(this->migrator, 1721), "100000000");
}

TYPED_TEST(ServedValues, TakeTenBytesAtMost)
{
    this->PutServiceFile(FileOfValues({0x80000000U}));
    ASSERT_EQ(this->Load(this->migrator), 0);
    VB_FactoryItemNode_t node = {};
    node.uiUniqueIndex = 1716;
    const std::unique_ptr<char[]> out(new char[10]);  // a sanitizer sees a byte more
    EXPECT_EQ(this->migrator.ConvertValueToStr(&node, 0, out.get()), 0);
    EXPECT_STREQ(out.get(), "-21474836");
}

TYPED_TEST(ServedValues, DependNeitherOnTheSpecialIdNorOnTheSecondArgument)
{
    this->PutServiceFile(FileOfValues({11, 22}));
    ASSERT_EQ(this->Load(this->migrator), 0);
    for (const int argument : {0, 1, -1, INT_MAX}) {
        VB_FactoryItemNode_t node = {};
        node.uiSpecialId = 1716;
        node.uiUniqueIndex = 1717;
        char out[10] = "";
        EXPECT_EQ(this->migrator.ConvertValueToStr(&node, argument, out), 0);
        EXPECT_STREQ(out, "22");
    }
}

}  // namespace
