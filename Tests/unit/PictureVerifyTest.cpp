// Comparing the service file with the factory store, and the factory test query.

#include "PictureOnSet.h"

#include <VEMigrationImpl.h>

#include <climits>
#include <type_traits>

namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const Message kTestFail = Error(" GetMigration Test FAIL :");

/** A migrator whose verification comes to what a test wants. */
class SteeredVerification : public VEMigrationImpl<44> {
 public:
    int m_VerifyVornBoxDataSync() override
    {
        ++runs;
        return result;
    }
    int result = 0;
    int runs = 0;
};

template <class Migrator>
class PictureVerification : public OnPictureSet {
 protected:
    static constexpr int kItems = std::is_same_v<Migrator, VEMigrationImpl<62>> ? 62 : 44;

    PictureVerification()
    {
        Start(kItems == 62 ? "tv15-62" : "tv15", kItems == 62 ? "box15-62" : "box15");
        migrator.Create();
        PutFile(kServiceFile, FileOfBox(vbset::ItemIds(kItems)));
        Forget();
    }

    /** Verifies; nothing but the verification logs as it. */
    int Verify()
    {
        Forget();
        return migrator.m_VerifyVornBoxDataSync();
    }
    Messages Said() const { return Logged({"m_VerifyVornBoxDataSync"}); }

    std::string Served(unsigned int uniqueIndex)
    {
        VB_FactoryItemNode_t node = {};
        node.uiUniqueIndex = uniqueIndex;
        char out[10] = "";
        EXPECT_EQ(migrator.ConvertValueToStr(&node, 0, out), 0);
        return out;
    }

    Migrator migrator;
};

using Migrators = ::testing::Types<VEMigrationImpl<44>, VEMigrationImpl<62>>;
TYPED_TEST_SUITE(PictureVerification, Migrators, );

TYPED_TEST(PictureVerification, SucceedsWhenAllValuesAreEqual)
{
    EXPECT_EQ(this->Verify(), 0);
    EXPECT_THAT(this->Said(), ElementsAre(Info("VEMigration::m_VerifyVornBoxDataSync ")));
    EXPECT_EQ(this->Count("tzplatform_mkpath", this->kServiceFile), 1U);
}

TYPED_TEST(PictureVerification, ReadsTheFileThenAsksForEveryItem)
{
    EXPECT_EQ(this->Verify(), 0);
    std::vector<std::string> calls = this->Calls({"file", "platform"});
    ASSERT_EQ(calls.size(), 5U + static_cast<std::size_t>(this->kItems));
    EXPECT_EQ(std::vector<std::string>(calls.begin(), calls.begin() + 5),
              (std::vector<std::string>{"tzplatform_mkpath", "stat", "open", "read", "close"}));
    EXPECT_THAT(std::vector<std::string>(calls.begin() + 5, calls.end()), Each("GetData"));
}

TYPED_TEST(PictureVerification, TellsEveryMismatch)
{
    const std::uint32_t last = vbset::ItemIds(this->kItems).back();
    this->PutItem(79, 1, Raw({0x01, 0x00}));
    this->PutItem(last, 1, Raw({0x02, 0x00, 0x00, 0x00}));
    this->PutFile(this->kServiceFile, this->FileOfBox(vbset::ItemIds(this->kItems)));
    this->PutItem(79, 1, Raw({0x03, 0x00}));
    this->PutItem(last, 1, Raw({0xFC, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(this->Verify(), kGeneralFailure);
    EXPECT_THAT(this->Said(),
                ElementsAre(Info("VEMigration::m_VerifyVornBoxDataSync "), Error(" (Flash):1 <> (Fac):3 "),
                            Error(" (Flash):2 <> (Fac):-4 ")));
}

TYPED_TEST(PictureVerification, IgnoresStoreTypes)
{
    const vbset::FactoryItem item = this->Item(79);
    this->PutItem(79, ~item.storeType, {item.data.begin(), item.data.end()});
    EXPECT_EQ(this->Verify(), 0);
}

TYPED_TEST(PictureVerification, OfAShorterFileComparesZeroes)
{
    for (const std::uint32_t uid : vbset::ItemIds(this->kItems)) {
        this->PutItem(uid, 1, Raw({0, 0}));
    }
    this->PutFile(this->kServiceFile, RecordBytes(79, 1, Raw({0, 0})));
    EXPECT_EQ(this->Verify(), 0);
    this->PutItem(80, 1, Raw({0x09, 0x00}));
    EXPECT_EQ(this->Verify(), kGeneralFailure);
    EXPECT_THAT(this->Said(), Contains(Error(" (Flash):0 <> (Fac):9 ")));
}

TYPED_TEST(PictureVerification, OfAFileWithMoreRecordsComparesTheFirst)
{
    std::string file = this->FileBytes(this->kServiceFile);
    for (int i = 0; i < 500; ++i) {
        file += RecordBytes(1, 1, Raw({0xFF, 0xFF}));
    }
    this->PutFile(this->kServiceFile, file);
    EXPECT_EQ(this->Verify(), 0);
}

TYPED_TEST(PictureVerification, LeavesTheValuesOfTheFileToBeServed)
{
    this->PutItem(79, 1, Raw({0x21, 0x00}));
    EXPECT_EQ(this->Verify(), kGeneralFailure);
    const std::string file = this->FileBytes(this->kServiceFile);
    const int value = static_cast<unsigned char>(file[12]) | static_cast<unsigned char>(file[13]) << 8;
    EXPECT_EQ(this->Served(1716), std::to_string(value));
    std::filesystem::remove(this->Host(this->kServiceFile));
    EXPECT_NE(this->Verify(), 0);
    EXPECT_EQ(this->Served(1716), "0");
}

TYPED_TEST(PictureVerification, WithoutAFileAsksTheFactoryAllTheSame)
{
    std::filesystem::remove(this->Host(this->kServiceFile));
    EXPECT_EQ(this->Verify(), kFileFailure);
    EXPECT_THAT(this->Said(), ElementsAre(Info("VEMigration::m_VerifyVornBoxDataSync ")));
    EXPECT_EQ(this->Calls({"platform"}).size(), 1U + static_cast<std::size_t>(this->kItems));
}

TYPED_TEST(PictureVerification, WithoutAFileAndWithAFailureOfTheLastItemGivesBothFailures)
{
    std::filesystem::remove(this->Host(this->kServiceFile));
    this->Fault("factory.value." + std::to_string(vbset::ItemIds(this->kItems).back()), "fail");
    EXPECT_EQ(this->Verify(), -1) << "0x80000010 | 0xFFFFFFFF";
}

TYPED_TEST(PictureVerification, PassesOnAnUnreadableFileWithoutComparing)
{
    this->Fault(std::string("read.") + this->kServiceFile, "EIO");
    EXPECT_EQ(this->Verify(), kGeneralFailure);
    EXPECT_THAT(this->Said(), ElementsAre(Info("VEMigration::m_VerifyVornBoxDataSync ")));
}

TYPED_TEST(PictureVerification, FailsWithTheLastItemWithoutComparing)
{
    this->PutItem(79, 1, Raw({1, 2}));
    this->Fault("factory.value." + std::to_string(vbset::ItemIds(this->kItems).back()), "fail");
    EXPECT_EQ(this->Verify(), -1);
    EXPECT_THAT(this->Said(), ElementsAre(Info("VEMigration::m_VerifyVornBoxDataSync ")));
}

TYPED_TEST(PictureVerification, ComparesZeroForAnItemBeforeTheLastThatFailed)
{
    this->PutItem(79, 1, Raw({7, 0}));
    this->PutFile(this->kServiceFile, this->FileOfBox(vbset::ItemIds(this->kItems)));
    this->Fault("factory.value.79", "fail");
    EXPECT_EQ(this->Verify(), kGeneralFailure);
    EXPECT_THAT(this->Said(),
                ElementsAre(Info("VEMigration::m_VerifyVornBoxDataSync "), Error(" (Flash):7 <> (Fac):0 ")));
}

TYPED_TEST(PictureVerification, IsNotDoneByAMigratorThatIsNotCreated)
{
    this->migrator.Destroy();
    EXPECT_EQ(this->Verify(), kGeneralFailure);
    EXPECT_THAT(this->Logged(), ElementsAre(Error(" VEMigration Flag not created...")));
    EXPECT_THAT(this->Trace(), IsEmpty());
}

class TestQuery : public OnPictureSet {
 protected:
    TestQuery()
    {
        Start();
        migrator.Create();
        Forget();
    }
    void PutGoodFile() { PutFile(kServiceFile, FileOfBox(vbset::ItemIds(44))); }
    int Query(int code)
    {
        Forget();
        return migrator.GetVBMigrationTestData(code);
    }
    Messages Said() const { return Logged({"GetVBMigrationTestData"}); }

    SteeredVerification migrator;
};

struct Answer {
    int code;
    Messages messages;
};

const Answer kAnswersWithoutFile[] = {
    {8, {Error("8   : White Balance (All Offset/ All Gain) : NULL  ")}},
    {9, {Error("9   : MGA (Gain) :  NULL   ")}},
    {10, {Error("10  : CGA (Gain) : NULL   ")}},
    {20, {Error("Verification Failed   ")}},
    {5, {}},
    {0, {}},
    {-1, {}},
    {INT_MAX, {}},
};

TEST_F(TestQuery, FailsWithoutAServiceFile)
{
    for (const Answer& answer : kAnswersWithoutFile) {
        Messages expected = {Info("VEMigration::GetVBMigrationTestData")};
        expected.insert(expected.end(), answer.messages.begin(), answer.messages.end());
        expected.push_back(kTestFail);
        EXPECT_EQ(Query(answer.code), kGeneralFailure) << answer.code;
        EXPECT_EQ(Said(), expected) << answer.code;
        EXPECT_THAT(Calls(), ElementsAre("tzplatform_mkpath", "stat"));
    }
    EXPECT_EQ(migrator.runs, 0);
}

const Answer kAnswersWithFile[] = {
    {8, {Info("8  : White Balance (All Offset/ All Gain) : ")}},
    {9, {Info("8  : White Balance (All Offset/ All Gain) : ")}},
    {10, {Info("10  : CGA (Gain) : Not Support it (Not NTV Model)")}},
    {5, {Error("5  : GetVBMigrationTestData: Error ")}},
    {0, {Error("0  : GetVBMigrationTestData: Error ")}},
    {-1, {Error("-1  : GetVBMigrationTestData: Error ")}},
    {21, {Error("21  : GetVBMigrationTestData: Error ")}},
};

TEST_F(TestQuery, SucceedsWithAServiceFile)
{
    PutGoodFile();
    for (const Answer& answer : kAnswersWithFile) {
        Messages expected = {Info("VEMigration::GetVBMigrationTestData"), Info(" stat() sucess  verify"),
                             Info(" stat() sucess Size is 616 ")};
        expected.insert(expected.end(), answer.messages.begin(), answer.messages.end());
        EXPECT_EQ(Query(answer.code), 0) << answer.code;
        EXPECT_EQ(Said(), expected) << answer.code;
        EXPECT_THAT(Calls(), ElementsAre("tzplatform_mkpath", "stat"));
    }
    EXPECT_EQ(migrator.runs, 0);
}

TEST_F(TestQuery, OfAMigratorThatIsNotCreatedIsAnErrorAndYetASuccess)
{
    PutGoodFile();
    migrator.Destroy();
    for (const int code : {5, 8, 9, 10, 20}) {
        EXPECT_EQ(Query(code), 0);
        EXPECT_THAT(Said(), ElementsAre(Info("VEMigration::GetVBMigrationTestData"),
                                        Error(" VEMigration Flag not created...")));
        EXPECT_THAT(Trace(), IsEmpty());
    }
}

TEST_F(TestQuery, NamesASuccessfulVerificationAndAsksForItThroughTheVirtualTable)
{
    PutGoodFile();
    EXPECT_EQ(Query(20), 0);
    EXPECT_EQ(migrator.runs, 1);
    EXPECT_THAT(Said(), ElementsAre(Info("VEMigration::GetVBMigrationTestData"), Info(" stat() sucess  verify"),
                                    Info(" stat() sucess Size is 616 "), Info("20  : Verification: Picture DataSync "),
                                    Info(" VERIFY RESULT : OK ")));
}

class FailedVerification : public TestQuery,
                           public ::testing::WithParamInterface<std::pair<unsigned int, const char*>> {};

TEST_P(FailedVerification, IsNamedByItsCodeAndReturned)
{
    const auto& [code, word] = GetParam();
    PutGoodFile();
    migrator.result = static_cast<int>(code);
    EXPECT_EQ(Query(20), static_cast<int>(code));
    EXPECT_THAT(Said(), ElementsAre(Info("VEMigration::GetVBMigrationTestData"), Info(" stat() sucess  verify"),
                                    Info(" stat() sucess Size is 616 "), Info("20  : Verification: Picture DataSync "),
                                    Error(std::string(" VERIFY RESULT : ") + word + " "), kTestFail));
}

INSTANTIATE_TEST_SUITE_P(Codes, FailedVerification,
                         ::testing::Values(std::pair{0x80000000U, "ERROR"}, std::pair{0x80000010U, "SPI FLASH ERROR"},
                                           std::pair{0x80000008U, "SPI PATH IS NULL"},
                                           std::pair{0xFFFFFFFFU, "ETC ERROR"}, std::pair{1U, "ETC ERROR"},
                                           std::pair{0x80000018U, "ETC ERROR"}, std::pair{0x80000200U, "ETC ERROR"}));

class RealTestQuery : public OnPictureSet {
 protected:
    RealTestQuery()
    {
        Start("tv15-62", "box15-62");
        migrator.Create();
    }
    VEMigrationImpl<62> migrator;
};

TEST_F(RealTestQuery, VerifiesAFreshlyStoredServiceFile)
{
    ASSERT_EQ(migrator.DoVornBoxDataSync(VB_INFO_VB_FAC_TO_TV_SPI), 0);
    EXPECT_EQ(migrator.GetVBMigrationTestData(20), 0);
    PutItem(1777, 1, Raw({0x10}));
    PutItem(1776, 1, Raw({0x10}));
    EXPECT_EQ(migrator.GetVBMigrationTestData(20), kGeneralFailure);
}

TEST_F(RealTestQuery, OfAnEmptyServiceFileIsAFileFailureUnlessTheFactoryFailsToo)
{
    PutFile(kServiceFile, "");
    EXPECT_EQ(migrator.GetVBMigrationTestData(20), kFileFailure);
    EXPECT_THAT(Logged(), Contains(::testing::Field(&Message::second, " VERIFY RESULT : SPI FLASH ERROR ")));
    Fault("factory.value.1777", "fail");
    Forget();
    EXPECT_EQ(migrator.GetVBMigrationTestData(20), -1);
    EXPECT_THAT(Logged(), Contains(::testing::Field(&Message::second, " VERIFY RESULT : ETC ERROR ")));
}

}  // namespace
