// Building the picture file from the factory interface or the callbacks in its place; the values of the factory.

#include "PictureOnSet.h"

#include <PictureMigration.h>
#include <VBMigration.h>

#include <algorithm>

namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

/** The messages of one item that has this id and size and gave this value. */
std::string Direct(unsigned int uid, int size)
{
    return "Direct UID=" + std::to_string(uid) + " , Size=" + std::to_string(size) + "\n";
}

class PictureBuild : public OnPictureSet {
 protected:
    PictureBuild()
    {
        Start("tv15-62", "box15-62");
        PutItem(79, 0x01020304, Raw({0x34, 0x12}));
        PutItem(80, 0xA1B2C3D4, Raw({0x78, 0x56, 0x9A}));
        PutItem(1765, 5, Raw({0x07}));
    }

    int Build(std::vector<unsigned int> uids, bool flag = true)
    {
        Forget();
        return picture.t_StartMigration(uids.data(), static_cast<unsigned int>(uids.size()), kFile, flag);
    }

    PictureDataMigration picture;
};

TEST_F(PictureBuild, AppendsARecordAnItemInTheOrderOfTheIds)
{
    EXPECT_EQ(Build({1765, 80, 79}), 0);
    EXPECT_EQ(FileBytes(kFile), Raw({0xE5, 0x06, 0, 0, 5, 0, 0, 0, 1, 0, 0, 0, 0x07,
                                     80, 0, 0, 0, 0xD4, 0xC3, 0xB2, 0xA1, 3, 0, 0, 0, 0x78, 0x56, 0x9A,
                                     79, 0, 0, 0, 0x04, 0x03, 0x02, 0x01, 2, 0, 0, 0, 0x34, 0x12}));
}

TEST_F(PictureBuild, IgnoresItsFlag)
{
    EXPECT_EQ(Build({79, 80}, true), 0);
    const std::string first = FileBytes(kFile);
    EXPECT_EQ(Build({79, 80}, false), 0);
    EXPECT_EQ(FileBytes(kFile), first);
}

TEST_F(PictureBuild, MakesAFileOf616BytesOfTheStandardItemsAnd850OfTheExtended)
{
    PutItem(80, 1, Raw({1, 2}));
    EXPECT_EQ(Build(vbset::ItemIds(44)), 0);
    EXPECT_EQ(FileBytes(kFile), FileOfBox(vbset::ItemIds(44)));
    EXPECT_EQ(FileBytes(kFile).size(), 616U);
    EXPECT_EQ(Build(vbset::ItemIds(62)), 0);
    EXPECT_EQ(FileBytes(kFile), FileOfBox(vbset::ItemIds(62)));
    EXPECT_EQ(FileBytes(kFile).size(), 850U);
}

TEST_F(PictureBuild, AsksAllSizesThenFetchesAllDataThenWrites)
{
    EXPECT_EQ(Build({79, 80, 1765}), 0);
    EXPECT_THAT(Calls(), ElementsAre("GetMigrationItemSize", "GetMigrationItemSize", "GetMigrationItemSize",
                                     "GetMigrationItemData", "GetMigrationItemData", "GetMigrationItemData", "open",
                                     "write", "fsync", "close"));
    std::vector<std::string> uids;
    for (const Interaction& call : Trace({"platform"})) {
        uids.push_back(call.args);
    }
    EXPECT_THAT(uids, ElementsAre("79", "80", "1765", "79", "80", "1765"));
}

TEST_F(PictureBuild, TellsItsStepsAndValues)
{
    EXPECT_EQ(Build({79, 1765}), 0);
    EXPECT_THAT(Logged(),
                ElementsAre(Info("\n t_StartMigration  verify\n"), Info("Write Data to SPI Flash\n"),
                            Info("\n...START,  Making and saving individual data \n"), Info(Direct(79, 2)),
                            Info(Direct(1765, 1)), Info("Total Migration Buffer Size = 27\n"),
                            Info("direct Data 4660\n"), Info("direct Data[CGI] 7\n"),
                            Info("In t_WriteToFlash function\n "),
                            Info("PictureDataMigration::t_WriteToFlash :: file created"),
                            Info("\t>>[PICMIGRATE] t_WriteToFlash: File write SUCCESS \n"), Info("...END\n")));
    std::vector<std::string> units;
    for (const LogLine& line : Log()) {
        units.push_back(line.unit);
    }
    EXPECT_THAT(units, Each("PictureMigration.cpp"));
}

TEST_F(PictureBuild, NamesItsOperationsInTheLog)
{
    EXPECT_EQ(Build({79}), 0);
    std::vector<std::string> functions;
    for (const LogLine& line : Log()) {
        if (functions.empty() || functions.back() != line.function) {
            functions.push_back(line.function);
        }
    }
    EXPECT_THAT(functions, ElementsAre("t_StartMigration", "m_CreateMigrationBuffer", "m_GetFactoryBufferData",
                                       "t_WriteToFlash", "m_CreateMigrationBuffer"));
}

TEST_F(PictureBuild, TellsItemsAbove1759AsOneByte)
{
    PutItem(1759, 0, Raw({0x01, 0x02}));
    PutItem(1760, 0, Raw({0x03, 0x04}));
    EXPECT_EQ(Build({1759, 1760}), 0);
    EXPECT_THAT(Logged({"m_GetFactoryBufferData"}),
                ElementsAre(Info("direct Data 513\n"), Info("direct Data[CGI] 3\n")));
}

struct NullParameters {
    bool uids;
    bool path;
    unsigned int count;
    const char* words;
};

class PictureBuildParameters : public PictureBuild, public ::testing::WithParamInterface<NullParameters> {};

TEST_P(PictureBuildParameters, AreAllNeeded)
{
    const NullParameters& given = GetParam();
    unsigned int uid = 79;
    Forget();
    EXPECT_EQ(picture.t_StartMigration(given.uids ? &uid : nullptr, given.count, given.path ? kFile : nullptr, true),
              kGeneralFailure);
    EXPECT_THAT(Logged(), ElementsAre(Info("\n t_StartMigration  verify\n"),
                                      Error(std::string("[PICMIGRATE] t_StartMigration:(Error) Param is NULL : ") +
                                            given.words + "\n")));
    EXPECT_THAT(Trace(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Each, PictureBuildParameters,
                         ::testing::Values(NullParameters{false, true, 1, "MigArr_NULL, ., ."},
                                           NullParameters{true, false, 1, "., SPIPath_NULL, ."},
                                           NullParameters{true, true, 0, "., ., MigBuffSz_0"},
                                           NullParameters{false, false, 1, "MigArr_NULL, SPIPath_NULL, ."},
                                           NullParameters{false, true, 0, "MigArr_NULL, ., MigBuffSz_0"},
                                           NullParameters{true, false, 0, "., SPIPath_NULL, MigBuffSz_0"},
                                           NullParameters{false, false, 0, "MigArr_NULL, SPIPath_NULL, MigBuffSz_0"}));

class ItemWithoutData : public PictureBuild, public ::testing::WithParamInterface<int> {};

TEST_P(ItemWithoutData, EndsTheBuildAndLeavesAnExistingFileAsItIs)
{
    PutFile(kFile, "what was there");
    Fault("factory.size.80", std::to_string(GetParam()));
    EXPECT_EQ(Build({79, 80, 1765}), kGeneralFailure);
    EXPECT_EQ(FileBytes(kFile), "what was there");
    EXPECT_THAT(Calls(), ElementsAre("GetMigrationItemSize", "GetMigrationItemSize", "GetMigrationItemSize",
                                     "GetMigrationItemData"));
    EXPECT_THAT(Logged({"m_CreateMigrationBuffer"}),
                ElementsAre(Info("\n...START,  Making and saving individual data \n"), Info(Direct(79, 2)),
                            Info(Direct(80, GetParam())), Info(Direct(1765, 1)),
                            Info("Total Migration Buffer Size = 39\n")));
}

INSTANTIATE_TEST_SUITE_P(Sizes, ItemWithoutData, ::testing::Values(0, -1, -2147483647));

TEST_F(PictureBuild, IgnoresTheResultOfTheSizeQueryAndTakesAnUnknownItemAsOneWithoutData)
{
    EXPECT_EQ(Build({79, 4242}), kGeneralFailure);
    EXPECT_THAT(Logged({"m_CreateMigrationBuffer"}), Contains(Info(Direct(4242, 0))));
    EXPECT_FALSE(FileExists(kFile));
}

TEST_F(PictureBuild, RefusesSizesBeyondWhatAFileCanHave)
{
    PutFile(kFile, "what was there");
    Fault("factory.size.*", "2147483647");
    for (const std::vector<unsigned int>& uids : {std::vector{79U}, {79U, 80U}, {79U, 80U, 1765U}}) {
        EXPECT_EQ(Build(uids), kGeneralFailure) << "32 bits hold the size of " << uids.size() << " only in part";
        EXPECT_EQ(Logged().back(), Error("\nMigration Buffer Creation Failure\n"));
        EXPECT_EQ(FileBytes(kFile), "what was there");
        EXPECT_THAT(Calls(), Not(Contains("GetMigrationItemData")));
    }
}

class FailedFetch : public PictureBuild, public ::testing::WithParamInterface<std::tuple<unsigned int, int>> {};

TEST_P(FailedFetch, EndsTheBuildAndLeavesAnExistingFileAsItIs)
{
    const auto [uid, result] = GetParam();
    PutFile(kFile, "what was there");
    Fault("factory.get." + std::to_string(uid), std::to_string(result));
    EXPECT_EQ(Build({79, 80, 1765}), kGeneralFailure);
    EXPECT_EQ(FileBytes(kFile), "what was there");
    EXPECT_EQ(Trace().back().args, std::to_string(uid)) << "no item is fetched after the failed one";
    const Messages messages = Logged();
    ASSERT_GE(messages.size(), 2U);
    EXPECT_EQ(messages[messages.size() - 2],
              Error("\n PictureDataMigration::m_GetFactoryBufferData:-> GetMigrationItemData Failed \n "));
    EXPECT_EQ(messages.back(), Error("Fetching data is incorrect "));
}

INSTANTIATE_TEST_SUITE_P(Items, FailedFetch,
                         ::testing::Combine(::testing::Values(79U, 80U, 1765U), ::testing::Values(0, -1, 2)));

TEST_F(PictureBuild, TellsThatTheFileCouldNotBeWritten)
{
    Fault(std::string("path.") + kFile, "EACCES");
    EXPECT_EQ(Build({79}), kGeneralFailure);
    EXPECT_THAT(Logged({"t_WriteToFlash", "m_CreateMigrationBuffer"}),
                ElementsAre(Info("\n...START,  Making and saving individual data \n"), Info(Direct(79, 2)),
                            Info("Total Migration Buffer Size = 14\n"), Info("In t_WriteToFlash function\n "),
                            Error("[PICMIGRATE] t_WriteToFlash:(Error:13) File Open Failed \n"),
                            Error("\t>>[PICMIGRATE] m_CreateMigrationBuffer: File write FAIL \n"), Info("...END\n")));
}

TEST_F(PictureBuild, TellsTheStateOfThePrintFlag)
{
    Forget();
    picture.t_SetPicMigrationPrint(true);
    picture.t_SetPicMigrationPrint(false);
    EXPECT_THAT(Logged(), ElementsAre(Info("\n PictureDataMigration::t_SetPicMigrationPrint() : Print ON \n"),
                                      Info(" t_SetPictureFactoryPrint() \n"),
                                      Info("\n PictureDataMigration::t_SetPicMigrationPrint() : Print OFF \n"),
                                      Info(" t_SetPictureFactoryPrint() \n")));
    EXPECT_THAT(Trace(), IsEmpty());
}

TEST_F(PictureBuild, TracesItsConstructionAsAnErrorAndItsEndAsInformation)
{
    Forget();
    { PictureDataMigration another; }
    EXPECT_THAT(Logged(), ElementsAre(Error("\n PictureDataMigration  Constructor VBMigration \n"),
                                      Info(" PictureDataMigration Destructor called \n")));
}

class FactoryValues : public PictureBuild {
 protected:
    int Fetch(std::vector<unsigned int> uids)
    {
        values.assign(uids.size(), 12345);
        Forget();
        return picture.t_GetFactoryUIDData(uids.data(), static_cast<unsigned int>(uids.size()), values.data());
    }
    std::vector<int> values;
};

TEST_F(FactoryValues, AreTheFirstWordsInTheOrderOfTheIds)
{
    PutItem(81, 0, Raw({0xFE, 0xFF, 0xFF, 0xFF, 9}));
    EXPECT_EQ(Fetch({81, 79}), 0);
    EXPECT_THAT(values, ElementsAre(-2, 0x1234));
    EXPECT_THAT(Calls(), ElementsAre("GetData", "GetData"));
    EXPECT_THAT(Logged(), ElementsAre(Info("...START\n"), Info("...END\n")));
}

TEST_F(FactoryValues, FailWithoutIds)
{
    EXPECT_EQ(Fetch({}), -1);
    EXPECT_THAT(Logged(), ElementsAre(Info("...START\n"), Info("...END\n")));
    EXPECT_THAT(Trace(), IsEmpty());
}

TEST_F(FactoryValues, ForgetAFailureBeforeTheLastItemAndLeaveItsEntryAlone)
{
    Fault("factory.value.79", "fail");
    EXPECT_EQ(Fetch({79, 79, 80}), 0);
    EXPECT_THAT(values, ElementsAre(12345, 12345, 0x9A5678));
    EXPECT_THAT(Logged(), ElementsAre(Info("...START\n"),
                                      Error("PictureDataMigration::t_GetFactoryUIDData : GetData API Failed"),
                                      Error("PictureDataMigration::t_GetFactoryUIDData : GetData API Failed"),
                                      Info("...END\n")));
}

TEST_F(FactoryValues, FailWithTheLastItem)
{
    Fault("factory.value.80", "fail");
    EXPECT_EQ(Fetch({79, 80}), -1);
    EXPECT_THAT(values, ElementsAre(0x1234, 12345));
    EXPECT_THAT(Logged(), ElementsAre(Info("...START\n"),
                                      Error("PictureDataMigration::t_GetFactoryUIDData : GetData API Failed"),
                                      Info("...END\n")));
}

}  // namespace
