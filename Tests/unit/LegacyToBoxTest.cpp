// Writing the enciphered picture backup of the previous platform into the factory store of the box.

#include "PictureOnSet.h"

#include <LegacyBackup.h>
#include <PictureMigration.h>

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kStored = "\n PictureDataMigration::t_WriteToVB:-> SetMigrationItemData sucess \n ";

class LegacyToBox : public OnPictureSet {
 protected:
    LegacyToBox() { Start("tv14-62", "box14-legacy-62"); }

    /** Puts an enciphered backup of these records. @return the size of the file, as text */
    std::string Put(const std::string& records)
    {
        const auto file = vbset::EncipherLegacy({records.begin(), records.end()});
        PutFile(kFile, {file.begin(), file.end()});
        return std::to_string(file.size());
    }
    int WriteToBox(std::vector<unsigned int> uids = {95, 96, 97, 98})
    {
        Forget();
        return picture.t_WriteUlveyToVB(kFile, uids.data(), static_cast<unsigned int>(uids.size()));
    }

    std::vector<std::string> Stores()
    {
        std::vector<std::string> stores;
        for (const Interaction& call : Trace({"platform"})) {
            if (call.call == "SetMigrationItemData") {
                stores.push_back(call.args);
            }
        }
        return stores;
    }

    /** The import gives a buffer, and it is released once, whatever came of it. */
    void ExpectReleased() { EXPECT_EQ(Count("vb_free_buffer", ""), 1U); }

    PictureDataMigration picture;
    const std::string two = RecordBytes(5000, 3, Raw({0x34, 0x12})) + RecordBytes(5001, 4, Raw({0x07}));
};

TEST_F(LegacyToBox, StoresTheNthRecordUnderTheNthIdWhateverIdItCarries)
{
    Put(two);
    EXPECT_EQ(WriteToBox({1765, 79}), 0);
    EXPECT_THAT(Stores(), ElementsAre("1765 0x00000003 3412 2", "79 0x00000004 07 1"));
    EXPECT_EQ(Item(1765), (vbset::FactoryItem{3, {0x34, 0x12}}));
    EXPECT_EQ(Item(79), (vbset::FactoryItem{4, {0x07}}));
}

TEST_F(LegacyToBox, TellsItsStepsAndReleasesTheBuffer)
{
    const std::string size = Put(two);
    EXPECT_EQ(WriteToBox(), 0);
    EXPECT_THAT(Logged(), ElementsAre(Info(std::string("Ulvey Data verifying Path is :") + kFile + " "),
                                      Info(" vb_get_file_size returns File Size : " + size + " \n"),
                                      Info("Migration Retrieve Success\n"),
                                      Info(" DATA LENGTH AFTER IMPORT : 27 \n"), Info(kStored), Info(kStored)));
    EXPECT_THAT(Calls(), ElementsAre("vb_get_file_size", "vb_import_buf", "SetMigrationItemData",
                                     "SetMigrationItemData", "vb_free_buffer"));
    EXPECT_EQ(Trace().at(1).args, std::string(kFile) + " 0") << "the last argument is always 0";
    for (const LogLine& line : Log()) {
        EXPECT_EQ(line.unit, "PictureMigration.cpp");
        EXPECT_EQ(line.function, "t_WriteUlveyToVB");
    }
}

TEST_F(LegacyToBox, RestoresAllItemsOfALegacyBackup)
{
    const auto records = vbset::LegacyRecords(62, 7);
    Put({records.begin(), records.end()});
    EXPECT_EQ(WriteToBox(vbset::ItemIds(62)), 0);
    EXPECT_EQ(Set().FactoryItems(), vbset::LegacyItems(62, 7));
}

TEST_F(LegacyToBox, HasNoBoundUnlessOneIsGiven)
{
    Put(two);
    std::vector<unsigned int> uids = {79, 80};
    EXPECT_EQ(picture.t_WriteUlveyToVB(kFile, uids.data()), 0);
    EXPECT_EQ(Stores().size(), 2U);
}

TEST_F(LegacyToBox, StoresTheFirstRecordsOfABackupThatHasMoreThanIdsAndFails)
{
    Put(two + two);
    EXPECT_EQ(WriteToBox({95, 96, 97}), kGeneralFailure);
    EXPECT_THAT(Stores(), ElementsAre("95 0x00000003 3412 2", "96 0x00000004 07 1", "97 0x00000003 3412 2"));
    ExpectReleased();
    EXPECT_EQ(WriteToBox({95, 96, 97, 98}), 0);
}

TEST_F(LegacyToBox, IsNotImportedWhenMissingOrEmpty)
{
    for (const bool exists : {false, true}) {
        if (exists) {
            PutFile(kFile, "");
        }
        EXPECT_EQ(WriteToBox(), kGeneralFailure);
        EXPECT_THAT(Calls(), ElementsAre("vb_get_file_size"));
        EXPECT_THAT(Logged(), ElementsAre(Info(std::string("Ulvey Data verifying Path is :") + kFile + " "),
                                          Error("Either File Doesnot Exist or File is empty!!!\n")));
    }
}

TEST_F(LegacyToBox, IsImportedAtAnySizeButZero)
{
    Put(two);
    Fault("encrypt.size", "-1");
    EXPECT_EQ(WriteToBox(), 0);
    EXPECT_THAT(Logged(), Contains(Info(" vb_get_file_size returns File Size : -1 \n")));
    EXPECT_EQ(Stores().size(), 2U);
}

TEST_F(LegacyToBox, TellsTheLengthWhenTheImportFailsAndReleasesNothing)
{
    const std::string size = Put(two);
    Fault("encrypt.import", "3");
    EXPECT_EQ(WriteToBox(), kGeneralFailure);
    EXPECT_THAT(Calls(), ElementsAre("vb_get_file_size", "vb_import_buf"));
    EXPECT_THAT(Logged(), ElementsAre(Info(std::string("Ulvey Data verifying Path is :") + kFile + " "),
                                      Info(" vb_get_file_size returns File Size : " + size + " \n"),
                                      Error("Migration Retrieve Failure\n"),
                                      Error(" DATA LENGTH AFTER IMPORT FAILURE : 0 \n")));
}

TEST_F(LegacyToBox, IsRefusedWhenItIsNotEncipheredAtAll)
{
    PutFile(kFile, two);
    EXPECT_EQ(WriteToBox(), kGeneralFailure);
    EXPECT_THAT(Stores(), IsEmpty());
    EXPECT_THAT(Logged(), Contains(Error("Migration Retrieve Failure\n")));
}

TEST_F(LegacyToBox, FailsOnABufferOfNoLengthAndReleasesIt)
{
    Put(two);
    for (const char* const length : {"0", "-7"}) {
        Fault("encrypt.length", length);
        EXPECT_EQ(WriteToBox(), kGeneralFailure);
        EXPECT_THAT(Calls(), ElementsAre("vb_get_file_size", "vb_import_buf", "vb_free_buffer"));
        EXPECT_EQ(Logged().back(), Info(std::string(" DATA LENGTH AFTER IMPORT : ") + length + " \n"));
    }
}

TEST_F(LegacyToBox, EndsWellAtALengthThatIsTheEndOfARecord)
{
    Put(two);
    Fault("encrypt.length", "14");
    EXPECT_EQ(WriteToBox(), 0);
    EXPECT_THAT(Stores(), ElementsAre("95 0x00000003 3412 2"));
    ExpectReleased();
}

class LegacySize : public LegacyToBox, public ::testing::WithParamInterface<std::int32_t> {};

TEST_P(LegacySize, OutOfRangeEndsTheWriting)
{
    Put(two + HeaderBytes(5002, 9, GetParam()) + std::string(400, 'x'));
    EXPECT_EQ(WriteToBox(), kGeneralFailure);
    EXPECT_THAT(Stores(), ElementsAre("95 0x00000003 3412 2", "96 0x00000004 07 1"));
    const Messages messages = Logged();
    EXPECT_EQ(messages[messages.size() - 2], Error("\n Size of UID is not correct!!\n"));
    EXPECT_EQ(messages.back(), Error("UID[5002]:StoreType[9]:Size[" + std::to_string(GetParam()) + "]"))
        << "the header's own id";
    ExpectReleased();
}

TEST_P(LegacySize, IsToldAlsoWhenTheBufferEndsThere)
{
    Put(HeaderBytes(5002, 9, GetParam()));
    EXPECT_EQ(WriteToBox(), kGeneralFailure);
    EXPECT_THAT(Stores(), IsEmpty());
    EXPECT_EQ(Logged().back(), Error("UID[5002]:StoreType[9]:Size[" + std::to_string(GetParam()) + "]"));
}

INSTANTIATE_TEST_SUITE_P(Sizes, LegacySize, ::testing::Values(0, -1, 256, 300, INT32_MIN, INT32_MAX));

TEST_F(LegacyToBox, AcceptsSizesFrom1To255)
{
    for (const std::size_t size : {1U, 40U, 41U, 255U}) {
        Put(RecordBytes(5000, 1, std::string(size, '\x2A')));
        EXPECT_EQ(WriteToBox(), 0) << size;
        EXPECT_EQ(Item(95).data.size(), size);
    }
}

class LegacyCut : public LegacyToBox, public ::testing::WithParamInterface<NamedBytes> {};

TEST_P(LegacyCut, IsNotStoredAndFailsAfterTheRecordsBeforeIt)
{
    Put(two + GetParam().bytes);
    EXPECT_EQ(WriteToBox(), kGeneralFailure);
    EXPECT_THAT(Stores(), ElementsAre("95 0x00000003 3412 2", "96 0x00000004 07 1"));
    ExpectReleased();
    Put(GetParam().bytes);
    EXPECT_EQ(WriteToBox(), kGeneralFailure);
    EXPECT_THAT(Stores(), IsEmpty());
    ExpectReleased();
}

INSTANTIATE_TEST_SUITE_P(
    Cuts, LegacyCut,
    ::testing::Values(NamedBytes{"OneByteOfAHeader", Raw({1})},
                      NamedBytes{"ElevenBytesOfAHeader", HeaderBytes(81, 1, 2).substr(0, 11)},
                      NamedBytes{"NoData", HeaderBytes(81, 1, 2)},
                      NamedBytes{"AByteMissing", HeaderBytes(81, 1, 2) + Raw({1})},
                      NamedBytes{"AByteMissingOf255", HeaderBytes(81, 1, 255) + std::string(254, 'x')}),
    ::testing::PrintToStringParamName());

class LegacyStore : public LegacyToBox, public ::testing::WithParamInterface<std::tuple<const char*, int>> {};

TEST_P(LegacyStore, ThatFailsEndsTheWritingAndKeepsWhatWasStored)
{
    const auto [uid, result] = GetParam();
    Put(two + two);
    Fault(std::string("factory.set.") + uid, std::to_string(result));
    EXPECT_EQ(WriteToBox(), kGeneralFailure);
    EXPECT_EQ(Stores().back().substr(0, 2), uid);
    EXPECT_EQ(Logged().back(), Error("\t>>[PICMIGRATE] t_WriteUlveyToVB: call to SetMigrationItemData failed \n"));
    EXPECT_EQ(Item(95).storeType == 3U, uid != std::string("95"));
    ExpectReleased();
}

INSTANTIATE_TEST_SUITE_P(Results, LegacyStore,
                         ::testing::Combine(::testing::Values("95", "96", "98"), ::testing::Values(0, -1, 2)));

}  // namespace
