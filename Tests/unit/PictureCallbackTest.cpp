// The callbacks that stand in for the factory interface while the picture file is built.

#include "PictureOnSet.h"

#include <PictureMigration.h>
#include <VBMigration.h>

#include <map>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/** Where the callbacks take items from; they are plain functions, so it is one for all. */
struct Source {
    std::map<unsigned int, std::string> items;
    std::map<unsigned int, int> results;
    int sizeResult = 1;
    std::vector<std::string> calls;
};
Source source;

int SizeOf(unsigned int uid, int* size)
{
    source.calls.push_back("size " + std::to_string(uid));
    *size = static_cast<int>(source.items.at(uid).size());
    return source.sizeResult;
}

int DataOf(unsigned int uid, unsigned int* storeType, int* length, unsigned char* data)
{
    source.calls.push_back("data " + std::to_string(uid) + " type " + std::to_string(*storeType));
    *storeType = uid + 0x1000;
    *length = -99;
    const std::string& item = source.items.at(uid);
    std::copy(item.begin(), item.end(), data);
    const auto result = source.results.find(uid);
    return result == source.results.end() ? 1 : result->second;
}

int DataWithoutStoreType(unsigned int uid, unsigned int*, int*, unsigned char* data)
{
    const std::string& item = source.items.at(uid);
    std::copy(item.begin(), item.end(), data);
    return 1;
}

int NegativeSize(unsigned int, int* size)
{
    *size = -5;
    return 1;
}

int SizeLeftAlone(unsigned int, int*)
{
    return 1;
}

/** Registers another query in its own place. */
int SizeAndThenAnother(unsigned int uid, int* size)
{
    migration_api_assign_callback_getsize(NegativeSize);
    return SizeOf(uid, size);
}

/** Registers another query in its own place. */
int DataAndThenAnother(unsigned int uid, unsigned int* storeType, int* length, unsigned char* data)
{
    migration_api_assign_callback_getdata(DataWithoutStoreType);
    return DataOf(uid, storeType, length, data);
}

class PictureCallback : public OnPictureSet {
 protected:
    PictureCallback()
    {
        Start("tv15-62", "box15-62");
        source = {};
        source.items = {{79, Raw({0x34, 0x12})}, {80, Raw({0x78, 0x56, 0x9A})}, {1765, Raw({7})}};
        migration_callback_fac_get_size = nullptr;
        migration_callback_fac_get_data = nullptr;
    }

    int Build(std::vector<unsigned int> uids)
    {
        Forget();
        return picture.t_StartMigration(uids.data(), static_cast<unsigned int>(uids.size()), kFile, true);
    }

    PictureDataMigration picture;
};

TEST_F(PictureCallback, BothStandInForTheFactoryInterface)
{
    ASSERT_EQ(migration_api_assign_callback_getsize(SizeOf), 0);
    ASSERT_EQ(migration_api_assign_callback_getdata(DataOf), 0);
    EXPECT_EQ(Build({1765, 79, 80}), 0);
    EXPECT_EQ(FileBytes(kFile), RecordBytes(1765, 1765 + 0x1000, Raw({7})) +
                                    RecordBytes(79, 79 + 0x1000, Raw({0x34, 0x12})) +
                                    RecordBytes(80, 80 + 0x1000, Raw({0x78, 0x56, 0x9A})));
    EXPECT_THAT(source.calls, ElementsAre("size 1765", "size 79", "size 80", "data 1765 type 0", "data 79 type 0",
                                          "data 80 type 0"));
    EXPECT_THAT(Calls({"platform"}), IsEmpty());
    EXPECT_THAT(Logged({"m_CreateMigrationBuffer", "m_GetFactoryBufferData"}),
                ElementsAre(Info("\n...START,  Making and saving individual data \n"),
                            Info("call back UID=1765 , Size=1\n"), Info("call back UID=79 , Size=2\n"),
                            Info("call back UID=80 , Size=3\n"), Info("Total Migration Buffer Size = 42\n"),
                            Info("call back data[CGI] 7\n"), Info("call back data 4660\n"),
                            Info("call back data 22136\n"), Info("...END\n")));
}

TEST_F(PictureCallback, OfTheSizeAloneLeavesTheDataToTheFactoryInterface)
{
    PutItem(79, 3, Raw({9, 8}));
    ASSERT_EQ(migration_api_assign_callback_getsize(SizeOf), 0);
    EXPECT_EQ(Build({79}), 0);
    EXPECT_EQ(FileBytes(kFile), RecordBytes(79, 3, Raw({9, 8})));
    EXPECT_THAT(Calls({"platform"}), ElementsAre("GetMigrationItemData"));
}

TEST_F(PictureCallback, OfTheDataAloneLeavesTheSizeToTheFactoryInterface)
{
    PutItem(79, 3, Raw({9, 8}));
    ASSERT_EQ(migration_api_assign_callback_getdata(DataOf), 0);
    EXPECT_EQ(Build({79}), 0);
    EXPECT_EQ(FileBytes(kFile), RecordBytes(79, 79 + 0x1000, Raw({0x34, 0x12})));
    EXPECT_THAT(Calls({"platform"}), ElementsAre("GetMigrationItemSize"));
}

TEST_F(PictureCallback, MayLeaveTheStoreTypeAtZero)
{
    ASSERT_EQ(migration_api_assign_callback_getsize(SizeOf), 0);
    ASSERT_EQ(migration_api_assign_callback_getdata(DataWithoutStoreType), 0);
    EXPECT_EQ(Build({79}), 0);
    EXPECT_EQ(FileBytes(kFile), RecordBytes(79, 0, Raw({0x34, 0x12})));
}

TEST_F(PictureCallback, OfTheSizeMayReturnAnything)
{
    ASSERT_EQ(migration_api_assign_callback_getsize(SizeOf), 0);
    ASSERT_EQ(migration_api_assign_callback_getdata(DataOf), 0);
    for (const int result : {0, -1, 7}) {
        source.sizeResult = result;
        EXPECT_EQ(Build({79}), 0) << result;
    }
}

TEST_F(PictureCallback, OfTheSizeIsTakenOnceForAllItems)
{
    ASSERT_EQ(migration_api_assign_callback_getsize(SizeAndThenAnother), 0);
    ASSERT_EQ(migration_api_assign_callback_getdata(DataOf), 0);
    EXPECT_EQ(Build({79, 80}), 0);
    EXPECT_EQ(FileBytes(kFile).size(), 12U + 2U + 12U + 3U);
    EXPECT_EQ(Build({79, 80}), kGeneralFailure) << "the other query is taken by the next build";
}

TEST_F(PictureCallback, OfTheDataIsTakenAnewForEachItem)
{
    ASSERT_EQ(migration_api_assign_callback_getsize(SizeOf), 0);
    ASSERT_EQ(migration_api_assign_callback_getdata(DataAndThenAnother), 0);
    EXPECT_EQ(Build({79, 80}), 0);
    EXPECT_EQ(FileBytes(kFile), RecordBytes(79, 79 + 0x1000, Raw({0x34, 0x12})) +
                                    RecordBytes(80, 0, Raw({0x78, 0x56, 0x9A})));
}

TEST_F(PictureCallback, ThatGivesNoSizeEndsTheBuild)
{
    PutFile(kFile, "what was there");
    ASSERT_EQ(migration_api_assign_callback_getdata(DataOf), 0);
    for (const migration_get_size_callback_t callback : {NegativeSize, SizeLeftAlone}) {
        ASSERT_EQ(migration_api_assign_callback_getsize(callback), 0);
        EXPECT_EQ(Build({79, 80}), kGeneralFailure);
        EXPECT_THAT(source.calls, IsEmpty());
        EXPECT_EQ(FileBytes(kFile), "what was there");
    }
}

class FailedCallback : public PictureCallback,
                       public ::testing::WithParamInterface<std::tuple<unsigned int, int>> {};

TEST_P(FailedCallback, EndsTheBuildAndLeavesAnExistingFileAsItIs)
{
    const auto [uid, result] = GetParam();
    PutFile(kFile, "what was there");
    ASSERT_EQ(migration_api_assign_callback_getsize(SizeOf), 0);
    ASSERT_EQ(migration_api_assign_callback_getdata(DataOf), 0);
    source.results[uid] = result;
    EXPECT_EQ(Build({79, 80, 1765}), kGeneralFailure);
    EXPECT_EQ(source.calls.back(), "data " + std::to_string(uid) + " type 0");
    EXPECT_EQ(FileBytes(kFile), "what was there");
    const Messages messages = Logged();
    ASSERT_GE(messages.size(), 2U);
    EXPECT_EQ(messages[messages.size() - 2],
              Error("\n PictureDataMigration::m_GetFactoryBufferData:callback -> GetMigrationItemData Failed \n "));
    EXPECT_EQ(messages.back(), Error("Fetching data is incorrect "));
}

INSTANTIATE_TEST_SUITE_P(Items, FailedCallback,
                         ::testing::Combine(::testing::Values(79U, 80U, 1765U), ::testing::Values(0, -1, 2)));

}  // namespace
