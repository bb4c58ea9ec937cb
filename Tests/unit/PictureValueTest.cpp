// The rule by which the records of a picture file become values.

#include "PictureOnSet.h"

#include <PictureMigration.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>

namespace {

using ::testing::ElementsAreArray;

struct File {
    const char* name;
    std::string bytes;
    int result;
    std::vector<int> values;
};

void PrintTo(const File& file, std::ostream* out)
{
    *out << file.name;
}

std::string Data(std::initializer_list<int> data)
{
    return RecordBytes(79, 1, Raw(data));
}

std::string Size(std::int32_t size)
{
    return HeaderBytes(79, 1, size);
}

const std::string kForty = RecordBytes(79, 1, Raw({1, 2, 3, 4}) + std::string(36, 'x'));

class PictureValue : public OnPictureSet {
 protected:
    PictureValue() { Start(); }

    /** Reads into room for exactly the values of the file, and a few sentinels behind them. */
    int Read(const std::string& bytes, std::size_t records)
    {
        PutFile(kFile, bytes);
        constexpr int sentinel = 0x5A5A5A5A;
        values.assign(records + 4, sentinel);
        const int result = picture.t_ReadMigrationSPIData(values.data(), kFile);
        EXPECT_EQ(std::vector<int>(values.begin() + static_cast<std::ptrdiff_t>(records), values.end()),
                  std::vector<int>(4, sentinel));
        values.resize(records);
        return result;
    }

    PictureDataMigration picture;
    std::vector<int> values;
};

class PictureValues : public PictureValue, public ::testing::WithParamInterface<File> {};

TEST_P(PictureValues, FollowFromTheRecords)
{
    EXPECT_EQ(Read(GetParam().bytes, GetParam().values.size()), GetParam().result);
    EXPECT_THAT(values, ElementsAreArray(GetParam().values));
}

INSTANTIATE_TEST_SUITE_P(
    WholeRecords, PictureValues,
    ::testing::Values(
        File{"OneByte", Data({0xFE}), 0, {0xFE}}, File{"TwoBytes", Data({0x34, 0x12}), 0, {0x1234}},
        File{"FourBytes", Data({0x78, 0x56, 0x34, 0x12}), 0, {0x12345678}},
        File{"Negative", Data({0xFE, 0xFF, 0xFF, 0xFF}), 0, {-2}},
        File{"FirstWordOfMore", Data({1, 0, 0, 0, 2, 0, 0, 0}), 0, {1}},
        File{"FortyBytesAtMost", kForty, 0, {0x04030201}},
        File{"InOrder", Data({1, 0}) + Data({2, 0}) + Data({3, 0}), 0, {1, 2, 3}},
        File{"AlsoTheSameIdAgain", Data({1, 0}) + Data({1, 0}), 0, {1, 1}}),
    ::testing::PrintToStringParamName());

// Only as many bytes as a record has are cleared before it.
INSTANTIATE_TEST_SUITE_P(
    UpperBytes, PictureValues,
    ::testing::Values(
        File{"StayFromTheRecordBefore", Data({0x34, 0x12}) + Data({0x07}), 0, {0x1234, 0x1207}},
        File{"StayFromTheLongestUntilOverwritten",
             Data({1, 2, 3, 4}) + Data({9, 8}) + Data({7}) + Data({1, 2, 3}) + Data({5}),
             0,
             {0x04030201, 0x04030809, 0x04030807, 0x04030201, 0x04030205}},
        File{"StayOverARecordWithoutData", Data({1, 2, 3, 4}) + Size(0) + Data({5}), 0, {0x04030201, 0, 0x04030205}},
        File{"StartAsZero", Data({7}) + Data({8, 9}), 0, {7, 0x0908}},
        File{"AreClearedByALongerRecord", Data({1, 2, 3, 4}) + Data({5, 0, 0, 0}) + Data({6}), 0, {0x04030201, 5, 6}}),
    ::testing::PrintToStringParamName());

INSTANTIATE_TEST_SUITE_P(
    SizesOutOfRange, PictureValues,
    ::testing::Values(
        File{"Zero", Size(0) + Data({1, 0}), 0, {0, 1}}, File{"MinusOne", Size(-1) + Data({1, 0}), 0, {0, 1}},
        File{"MostNegative", Size(INT32_MIN) + Data({1, 0}), 0, {0, 1}},
        File{"256", Size(256) + Data({1, 0}), 0, {0, 1}}, File{"300", Size(300) + Data({1, 0}), 0, {0, 1}},
        File{"MostPositive", Size(INT32_MAX) + Data({1, 0}), 0, {0, 1}}, File{"Alone", Size(0), 0, {0}},
        File{"ReadTheirDataAsTheNextHeader", Size(300) + HeaderBytes(5, 6, 2) + Raw({3, 4}), 0, {0, 0x0403}}),
    ::testing::PrintToStringParamName());

INSTANTIATE_TEST_SUITE_P(
    CutRecords, PictureValues,
    ::testing::Values(File{"OneByteOfAHeader", Raw({1}), kGeneralFailure, {}},
                      File{"ElevenBytesOfAHeader", Size(0).substr(0, 11), kGeneralFailure, {}},
                      File{"AHeaderWithoutItsData", Size(1), kGeneralFailure, {}},
                      File{"AByteOfDataMissing", Data({1, 0}) + Size(3) + Raw({1, 2}), kGeneralFailure, {1}},
                      File{"ACutHeaderAtTheEnd", Data({1, 0}) + Data({2, 0}) + Raw({1}), kGeneralFailure, {1, 2}},
                      File{"ACutHeaderAfterOneWithoutData", Size(0) + Raw({1, 2, 3}), kGeneralFailure, {0}},
                      File{"FortyBytesOneMissing", kForty.substr(0, 51), kGeneralFailure, {}}),
    ::testing::PrintToStringParamName());

TEST_F(PictureValue, IsStoredForEveryRecordWithoutABound)
{
    std::string bytes;
    for (int i = 0; i < 1000; ++i) {
        bytes += Data({i & 0xFF, i >> 8});
    }
    EXPECT_EQ(Read(bytes, 1000), 0);
    EXPECT_EQ(values.back(), 999);
}

TEST_F(PictureValue, IsTheOneThatTheFactoryGivesForWhatTheBoxHolds)
{
    std::vector<unsigned int> uids = vbset::ItemIds(44);
    std::vector<int> factory(44);
    ASSERT_EQ(picture.t_GetFactoryUIDData(uids.data(), 44, factory.data()), 0);
    EXPECT_EQ(Read(FileOfBox(uids), 44), 0);
    EXPECT_EQ(values, factory);
}

class TooLongRecordDeathTest : public PictureValue, public ::testing::WithParamInterface<NamedBytes> {
 protected:
    void SetUp() override
    {
        ::testing::FLAGS_gtest_death_test_style = "threadsafe";
        setenv("TMPDIR", Temporary().c_str(), 1);  // the set of the process that dies goes with this test's
    }
    void TearDown() override { unsetenv("TMPDIR"); }
};

TEST_P(TooLongRecordDeathTest, EndsTheProcess)
{
    PutFile(kFile, GetParam().bytes);
    int room[4] = {};
    EXPECT_EXIT(picture.t_ReadMigrationSPIData(room, kFile), ::testing::KilledBySignal(SIGABRT), "");
}

INSTANTIATE_TEST_SUITE_P(Sizes, TooLongRecordDeathTest,
                         ::testing::Values(NamedBytes{"Of41Bytes", RecordBytes(79, 1, std::string(41, 'x'))},
                                           NamedBytes{"Of128Bytes", RecordBytes(79, 1, std::string(128, 'x'))},
                                           NamedBytes{"Of255Bytes", RecordBytes(79, 1, std::string(255, 'x'))},
                                           NamedBytes{"Of41BytesThatAreMissing", Data({1, 0}) + Size(41)},
                                           NamedBytes{"Of255BytesCut", Data({1, 0}) + Size(255) + Raw({1, 2})}),
                         ::testing::PrintToStringParamName());

}  // namespace
