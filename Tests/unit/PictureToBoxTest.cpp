// Writing the records of a picture file into the factory store of the box.

#include "PictureOnSet.h"

#include <PictureMigration.h>

#include <unistd.h>

#include <cerrno>

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

const std::string kStored = "\n PictureDataMigration::t_WriteToVB:-> SetMigrationItemData sucess \n ";

const Messages kBegin = {Info("Data reading from SPI Flash\n"), Info("file read from spi_flash t_WriteToVB() ")};

/** The messages before the first record of a file of this size. */
Messages Opened(std::size_t size)
{
    const std::string text = std::to_string(size);
    Messages messages = kBegin;
    messages.insert(messages.end(),
                    {Info("\n stat() sucess  verify\n"), Info("\n stat() sucess Size is " + text + " \n"),
                     Info("[PICMIGRATE] t_WriteToVB: File Size is " + text + "\n"),
                     Info("\n ==> reading againg from m_ReadFromFile \n"),
                     Info("[PICMIGRATE] t_WriteToVB: File read SUCCESS \n")});
    return messages;
}

Messages operator+(Messages first, const Messages& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

class PictureToBox : public OnPictureSet {
 protected:
    PictureToBox()
    {
        Start("tv15-62", "box15-62");
        openBefore_ = OpenDescriptors();
    }
    void TearDown() override { EXPECT_EQ(OpenDescriptors(), openBefore_); }

    int WriteToBox(const std::string& bytes)
    {
        PutFile(kFile, bytes);
        return WriteToBox();
    }
    int WriteToBox()
    {
        Forget();
        return picture.t_WriteToVB(kFile);
    }

    /** Arguments of the stores that the box was asked for: id, store type, data, size. */
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

    static std::string At(const char* fault) { return std::string(fault) + kFile; }

    PictureDataMigration picture;
    const std::string good = RecordBytes(79, 0x01020304, Raw({0x34, 0x12})) + RecordBytes(1765, 7, Raw({0x07}));

 private:
    int openBefore_ = 0;
};

TEST_F(PictureToBox, StoresEachRecordUnderItsOwnIdWithItsStoreType)
{
    EXPECT_EQ(WriteToBox(good), 0);
    EXPECT_THAT(Stores(), ElementsAre("79 0x01020304 3412 2", "1765 0x00000007 07 1"));
    EXPECT_EQ(Item(79), (vbset::FactoryItem{0x01020304, {0x34, 0x12}}));
    EXPECT_EQ(Item(1765), (vbset::FactoryItem{7, {0x07}}));
}

TEST_F(PictureToBox, TellsEachValueBeforeItIsStored)
{
    EXPECT_EQ(WriteToBox(good), 0);
    EXPECT_THAT(Logged(), ElementsAreArray(Opened(27) + Messages{Info("\n Data written[4660]\n"), Info(kStored),
                                                                 Info("CGA Data written[7]\n"), Info(kStored)}));
    EXPECT_EQ(Log().back().unit, "PictureMigration.cpp");
    EXPECT_EQ(Log().back().function, "t_WriteToVB");
    EXPECT_EQ(Logged({"t_WriteToVB"}).size(), Logged().size() - 1) << "all but the line of the read loop";
}

TEST_F(PictureToBox, ClosesTheFileBeforeTheFirstStore)
{
    EXPECT_EQ(WriteToBox(good), 0);
    EXPECT_THAT(Calls(),
                ElementsAre("stat", "open", "read", "close", "SetMigrationItemData", "SetMigrationItemData"));
}

TEST_F(PictureToBox, TellsItemsAbove1759AsOneByte)
{
    PutItem(1759, 0, Raw({0}));
    EXPECT_EQ(WriteToBox(RecordBytes(1759, 1, Raw({0x01, 0x02})) + RecordBytes(1760, 1, Raw({0x03, 0x04}))), 0);
    EXPECT_THAT(Logged(), Contains(Info("\n Data written[513]\n")));
    EXPECT_THAT(Logged(), Contains(Info("CGA Data written[3]\n")));
}

TEST_F(PictureToBox, RestoresTheFileOfABoxWhollyOntoAnother)
{
    const auto all = Set().FactoryItems();
    const std::string file = FileOfBox(vbset::ItemIds(62));
    for (const auto& [uid, item] : all) {
        PutItem(uid, ~item.storeType, "other");
    }
    EXPECT_EQ(WriteToBox(file), 0);
    EXPECT_EQ(Set().FactoryItems(), all);
}

TEST_F(PictureToBox, NeedsAPath)
{
    Forget();
    EXPECT_EQ(picture.t_WriteToVB(nullptr), kGeneralFailure);
    EXPECT_THAT(Logged(), ElementsAreArray(kBegin + Messages{Error("SPIPath is NULL\n")}));
    EXPECT_THAT(Trace(), IsEmpty());
}

TEST_F(PictureToBox, FailsWithoutAFile)
{
    EXPECT_EQ(WriteToBox(), kGeneralFailure);
    EXPECT_THAT(Logged(),
                ElementsAreArray(kBegin + Messages{Error("[PICMIGRATE] t_WriteToVB: (Error) stat() \n")}));
    EXPECT_THAT(Calls(), ElementsAre("stat"));
}

TEST_F(PictureToBox, TellsTheErrorNumberWhenTheFileCannotBeOpened)
{
    PutUnopenable(kFile);
    EXPECT_EQ(WriteToBox(), kGeneralFailure);
    EXPECT_THAT(Logged(),
                ElementsAreArray(kBegin + Messages{Info("\n stat() sucess  verify\n"),
                                                   Info("\n stat() sucess Size is 0 \n"),
                                                   Error("\t>>[PICMIGRATE] t_WriteToVB:(Error:" +
                                                         std::to_string(ENXIO) + ") File Open Failed \n")}));
}

TEST_F(PictureToBox, FailsOnAnEmptyFile)
{
    EXPECT_EQ(WriteToBox(""), kGeneralFailure);
    EXPECT_THAT(
        Logged(),
        ElementsAreArray(kBegin + Messages{Info("\n stat() sucess  verify\n"), Info("\n stat() sucess Size is 0 \n"),
                                           Error("[PICMIGRATE] t_WriteToVB: (Error) Filesize less than one\n")}));
    EXPECT_THAT(Calls(), ElementsAre("stat", "open", "close"));
}

TEST_F(PictureToBox, FailsOnAFileThatNoMemoryHolds)
{
    PutFile(kFile, "");
    ASSERT_EQ(truncate64(Host(kFile).c_str(), off64_t{3} << 30), 0);
    EXPECT_EQ(WriteToBox(), kGeneralFailure);
    if (sizeof(off_t) == 4) {  // stat() itself has no number for such a size
        EXPECT_EQ(Logged().back(), Error("[PICMIGRATE] t_WriteToVB: (Error) stat() \n"));
        return;
    }
    EXPECT_EQ(Logged().back(), Error("[PICMIGRATE] t_WriteToVB:(Error) pMigrationBuffer creation Failed() \n"));
    EXPECT_THAT(Calls(), ElementsAre("stat", "open", "close"));
}

TEST_F(PictureToBox, TellsTheErrorNumberWhenTheFileCannotBeRead)
{
    Fault(At("read."), "EIO");
    EXPECT_EQ(WriteToBox(good), kGeneralFailure);
    const Messages messages = Logged();
    EXPECT_EQ(messages[messages.size() - 2], Info("\n ==> reading againg from m_ReadFromFile \n"));
    EXPECT_EQ(messages.back(), Error("[PICMIGRATE] t_WriteToVB:(Error:5) File Read Failed \n"));
    EXPECT_THAT(Calls(), ElementsAre("stat", "open", "read", "close"));
}

TEST_F(PictureToBox, FailsOnAFileThatEndsEarlyAlsoAfterAnInterruption)
{
    PutFile(kFile, good);
    Fault(At("read."), "short:0");
    errno = EINTR;
    EXPECT_EQ(WriteToBox(), kGeneralFailure);
    EXPECT_THAT(Calls(), ElementsAre("stat", "open", "read", "close"));
}

TEST_F(PictureToBox, GoesOnAfterShortAndInterruptedReads)
{
    Fault(At("read."), "short:1");
    EXPECT_EQ(WriteToBox(good), 0);
    EXPECT_EQ(Stores().size(), 2U);
    EXPECT_EQ(Interrupted(At("read."), [&] { return WriteToBox(); }), 0);
    EXPECT_EQ(Stores().size(), 2U);
}

class RefusedSize : public PictureToBox, public ::testing::WithParamInterface<std::int32_t> {};

TEST_P(RefusedSize, EndsTheWriting)
{
    const std::string three = good + RecordBytes(80, 2, Raw({1, 2}));
    EXPECT_EQ(WriteToBox(three + HeaderBytes(81, 9, GetParam()) + std::string(400, 'x')), kGeneralFailure);
    EXPECT_THAT(Stores(), ElementsAre("79 0x01020304 3412 2", "1765 0x00000007 07 1", "80 0x00000002 0102 2"));
    const Messages messages = Logged();
    EXPECT_EQ(messages[messages.size() - 2],
              Error("UID[81]:StoreType[9]:Size[" + std::to_string(GetParam()) + "]"));
    EXPECT_EQ(messages.back(), Error("\n Size of UID is not correct!!\n"));
}

TEST_P(RefusedSize, IsToldAlsoWhenTheFileEndsThere)
{
    EXPECT_EQ(WriteToBox(HeaderBytes(81, 9, GetParam())), kGeneralFailure);
    EXPECT_THAT(Stores(), IsEmpty());
    EXPECT_EQ(Logged().back(), Error("\n Size of UID is not correct!!\n"));
}

INSTANTIATE_TEST_SUITE_P(Sizes, RefusedSize, ::testing::Values(0, -1, 256, 300, INT32_MIN, INT32_MAX));

TEST_F(PictureToBox, AcceptsSizesFrom1To255)
{
    for (const std::size_t size : {1U, 40U, 41U, 254U, 255U}) {
        const std::string data(size, '\x2A');
        EXPECT_EQ(WriteToBox(RecordBytes(79, 1, data)), 0) << size;
        EXPECT_EQ(Item(79).data, std::vector<unsigned char>(data.begin(), data.end()));
    }
}

class CutRecord : public PictureToBox, public ::testing::WithParamInterface<NamedBytes> {};

TEST_P(CutRecord, IsNotStoredAndFailsAfterThoseBeforeIt)
{
    EXPECT_EQ(WriteToBox(good + GetParam().bytes), kGeneralFailure);
    EXPECT_THAT(Stores(), ElementsAre("79 0x01020304 3412 2", "1765 0x00000007 07 1"));
    EXPECT_EQ(WriteToBox(GetParam().bytes), kGeneralFailure);
    EXPECT_THAT(Stores(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Cuts, CutRecord,
    ::testing::Values(NamedBytes{"OneByteOfAHeader", Raw({1})},
                      NamedBytes{"TwoWordsOfAHeader", HeaderBytes(81, 1, 2).substr(0, 8)},
                      NamedBytes{"ElevenBytesOfAHeader", HeaderBytes(81, 1, 2).substr(0, 11)},
                      NamedBytes{"NoData", HeaderBytes(81, 1, 2)},
                      NamedBytes{"AByteMissing", HeaderBytes(81, 1, 2) + Raw({1})},
                      NamedBytes{"AByteMissingOf255", HeaderBytes(81, 1, 255) + std::string(254, 'x')}),
    ::testing::PrintToStringParamName());

class FailingStore : public PictureToBox, public ::testing::WithParamInterface<std::tuple<const char*, int>> {};

TEST_P(FailingStore, EndsTheWritingAndKeepsWhatWasStored)
{
    const auto [uid, result] = GetParam();
    Fault(std::string("factory.set.") + uid, std::to_string(result));
    EXPECT_EQ(WriteToBox(good + RecordBytes(80, 2, Raw({1, 2}))), kGeneralFailure);
    EXPECT_EQ(Stores().back().substr(0, Stores().back().find(' ')), uid);
    EXPECT_EQ(Logged().back(), Error("\t>>[PICMIGRATE] t_WriteToVB: call to SetMigrationItemData failed \n"));
    EXPECT_EQ(Item(79).storeType == 0x01020304U, uid != std::string("79"));
    EXPECT_NE(Item(80).storeType, 2U);
}

INSTANTIATE_TEST_SUITE_P(Results, FailingStore,
                         ::testing::Combine(::testing::Values("79", "1765", "80"), ::testing::Values(0, -1, 2)));

}  // namespace
