/** The raw MAC block and the migrated MAC address. */
#include "StrategyOnSet.h"

#include <optional>

namespace {

const char* const kBlock = "/dev/mtdblock3";
const std::vector<unsigned char> kBlank(6, 0xFF);
const std::vector<unsigned char> kMac = {0x02, 0x00, 0x5E, 0x20, 0x00, 0x15};

class MacBlock : public StrategyOnSet {
 protected:
    void SetUp() override
    {
        StartSet();
        strategy_.emplace();
        Forget();
    }
    SteeredStrategy& Strategy() { return *strategy_; }

    bool Read(int size) { return Strategy().ReadRAWBlock(kBlock, size, buffer_); }

    unsigned char buffer_[8] = {9, 9, 9, 9, 9, 9, 9, 9};

 private:
    std::optional<SteeredStrategy> strategy_;
};

// Raw reads

TEST_F(MacBlock, IsReadRaw)
{
    Set().WriteMacBlock(kMac);
    EXPECT_TRUE(Read(6));
    EXPECT_THAT(buffer_, ::testing::ElementsAre(0x02, 0x00, 0x5E, 0x20, 0x00, 0x15, 9, 9));
    EXPECT_EQ(Asked(), (Steps{"open /dev/mtdblock3 O_RDONLY = 0", "read /dev/mtdblock3 6 02005E200015 = 6",
                              "close /dev/mtdblock3 = 0"}));
    EXPECT_EQ(Logged(), Messages{});
}

TEST_F(MacBlock, IsReadInAsManyPiecesAsTheDeviceGives)
{
    Set().WriteMacBlock(kMac);
    Fault("read./dev/mtdblock3", "short:4");
    EXPECT_TRUE(Read(6));
    EXPECT_THAT(buffer_, ::testing::ElementsAre(0x02, 0x00, 0x5E, 0x20, 0x00, 0x15, 9, 9));
    EXPECT_EQ(Asked(), (Steps{"open /dev/mtdblock3 O_RDONLY = 0", "read /dev/mtdblock3 6 02005E20 = 4",
                              "read /dev/mtdblock3 2 0015 = 2", "close /dev/mtdblock3 = 0"}));
}

TEST_F(MacBlock, ThatIsTooShortKeepsWhatWasReadAndFails)
{
    Set().WriteMacBlock({1, 2, 3, 4});
    EXPECT_FALSE(Read(6));
    EXPECT_THAT(buffer_, ::testing::ElementsAre(1, 2, 3, 4, 9, 9, 9, 9));
    EXPECT_EQ(Asked(), (Steps{"open /dev/mtdblock3 O_RDONLY = 0", "read /dev/mtdblock3 6 01020304 = 4",
                              "read /dev/mtdblock3 2 = 0", "close /dev/mtdblock3 = 0"}));
    EXPECT_EQ(Logged(), Messages{});
}

TEST_F(MacBlock, ThatCannotBeReadIsNotReadAgain)
{
    for (const char* error : {"EIO", "EINTR"}) {
        Fault("read./dev/mtdblock3", error);
        Forget();
        EXPECT_FALSE(Read(6));
        EXPECT_EQ(Asked(), (Steps{"open /dev/mtdblock3 O_RDONLY = 0", std::string("read /dev/mtdblock3 6 = ") + error,
                                  "close /dev/mtdblock3 = 0"}));
    }
    EXPECT_THAT(buffer_, ::testing::Each(9));
}

TEST_F(MacBlock, ThatCannotBeOpenedIsNamedWithItsError)
{
    Fault("path./dev/mtdblock3", "EACCES");
    EXPECT_FALSE(Read(6));
    EXPECT_EQ(Asked(), (Steps{"open /dev/mtdblock3 O_RDONLY = EACCES"}));  // the caller decides about the service
    EXPECT_EQ(Logged(), (Messages{Error("can't open Path [/dev/mtdblock3], errno : [ 13 ] ")}));
}

TEST_F(MacBlock, ARequestForNothingReadsOnceAndSucceeds)
{
    EXPECT_TRUE(Read(0));
    EXPECT_EQ(Asked(),
              (Steps{"open /dev/mtdblock3 O_RDONLY = 0", "read /dev/mtdblock3 0 = 0", "close /dev/mtdblock3 = 0"}));
    EXPECT_THAT(buffer_, ::testing::Each(9));
}

TEST_F(MacBlock, ARequestForNothingSucceedsAlsoWhenTheBlockCannotBeOpened)
{
    Fault("path./dev/mtdblock3", "ENOENT");
    EXPECT_TRUE(Read(0));
    EXPECT_EQ(Logged(), (Messages{Error("can't open Path [/dev/mtdblock3], errno : [ 2 ] ")}));
}

TEST_F(MacBlock, ARequestForLessThanNothingFailsAndTouchesNothing)
{
    EXPECT_FALSE(Read(-1));
    Fault("path./dev/mtdblock3", "ENOENT");
    EXPECT_FALSE(Read(-1));
    EXPECT_THAT(buffer_, ::testing::Each(9));
}

// Whether it is blank

TEST_F(MacBlock, OfOnesIsBlank)
{
    Set().WriteMacBlock(kBlank);
    EXPECT_TRUE(Strategy().CheckSPIFlashMAC());
    EXPECT_EQ(Calls(), (Steps{"fopen", "read", "close"}));
    EXPECT_EQ(Asked().front(), "fopen /dev/mtdblock3 O_RDONLY = 0");
    EXPECT_EQ(Logged(), (Messages{Info(" File /dev/mtdblock3 opend for Reading "),
                                  Info(" Data From device 0xff:0xff:0xff:0xff:0xff:0xff ")}));
}

TEST_F(MacBlock, BytesAfterTheAddressDoNotCount)
{
    Set().WriteMacBlock({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 1, 2});
    EXPECT_TRUE(Strategy().CheckSPIFlashMAC());
}

class MacBlockWithOneByteSet : public MacBlock, public ::testing::WithParamInterface<std::size_t> {};

TEST_P(MacBlockWithOneByteSet, IsNotBlank)
{
    auto bytes = kBlank;
    bytes[GetParam()] = 0xFE;
    Set().WriteMacBlock(bytes);
    EXPECT_FALSE(Strategy().CheckSPIFlashMAC());
}

INSTANTIATE_TEST_SUITE_P(Bytes, MacBlockWithOneByteSet, ::testing::Range<std::size_t>(0, 6));

TEST_F(MacBlock, WithAnAddressIsNotBlankAndTheAddressIsLoggedPaddedWithBlanks)
{
    Set().WriteMacBlock(kMac);
    EXPECT_FALSE(Strategy().CheckSPIFlashMAC());
    EXPECT_EQ(Logged().back(), Info(" Data From device 0x 2:0x 0:0x5e:0x20:0x 0:0x15 "));
}

TEST_F(MacBlock, OfZerosIsNotBlank)
{
    Set().WriteMacBlock(std::vector<unsigned char>(6, 0));
    EXPECT_FALSE(Strategy().CheckSPIFlashMAC());
}

TEST_F(MacBlock, ThatIsTooShortIsNotBlankBecauseTheMissingBytesStayZero)
{
    Set().WriteMacBlock(std::vector<unsigned char>(5, 0xFF));
    EXPECT_FALSE(Strategy().CheckSPIFlashMAC());
    EXPECT_EQ(Logged().back(), Info(" Data From device 0xff:0xff:0xff:0xff:0xff:0x 0 "));
    Set().WriteMacBlock({});
    EXPECT_FALSE(Strategy().CheckSPIFlashMAC());
    EXPECT_EQ(Commands(), Steps{});
}

TEST_F(MacBlock, ThatOpensButCannotBeReadIsNotBlankAndTheServiceIsNotAsked)
{
    Fault("read./dev/mtdblock3", "EIO");
    EXPECT_FALSE(Strategy().CheckSPIFlashMAC());
    EXPECT_EQ(Commands(), Steps{});
    EXPECT_EQ(Logged().back(), Info(" Data From device 0x 0:0x 0:0x 0:0x 0:0x 0:0x 0 "));
}

class MacBlockOnTheService : public MacBlock, public ::testing::WithParamInterface<const char*> {};

TEST_P(MacBlockOnTheService, IsReadThereWhenItCannotBeOpenedHereForAnyReason)
{
    Fault("path./dev/mtdblock3", GetParam());
    EXPECT_TRUE(Strategy().CheckSPIFlashMAC());
    EXPECT_EQ(Asked(), (Steps{std::string("fopen /dev/mtdblock3 O_RDONLY = ") + GetParam(),
                              "request: 1:/dev/mtdblock3:6:EMPTY = 1:6:FFFFFFFFFFFF"}));
    EXPECT_EQ(Logged({"CheckSPIFlashMAC"}), (Messages{Error(" Fatal!!!! Could not open file, trying on Server "),
                                                      Info("  Server REad successful  ")}));
    Set().WriteMacBlock(kMac);
    EXPECT_FALSE(Strategy().CheckSPIFlashMAC());
}

INSTANTIATE_TEST_SUITE_P(Errors, MacBlockOnTheService, ::testing::Values("EACCES", "ENOENT", "EIO"));

TEST_F(MacBlock, ThatTheServiceCannotReadEitherIsNotBlank)
{
    Fault("path./dev/mtdblock3", "EACCES");
    Fault("service.reply.1", "1:0:");
    EXPECT_FALSE(Strategy().CheckSPIFlashMAC());
    EXPECT_EQ(Logged({"CheckSPIFlashMAC"}), (Messages{Error(" Fatal!!!! Could not open file, trying on Server "),
                                                      Info("  Server REad successful  ")}));
}

TEST_F(MacBlock, ThatNobodyCanReadIsNotBlank)
{
    const WithoutClient withoutClient;
    Fault("path./dev/mtdblock3", "EACCES");
    EXPECT_FALSE(Strategy().CheckSPIFlashMAC());
    EXPECT_EQ(Logged(),
              (Messages{Error(" Fatal!!!! Could not open file, trying on Server "), Error("  Server REad Failure  "),
                        Error("  FATAL !!! ABORTED "), Error("  FATAL !!! ABORTED ")}));
}

// The migrated address

TEST_F(MacBlock, AMigratedAddressIsStoredInTheEeprom)
{
    EXPECT_TRUE(Strategy().WriteEEPROMMigratedMAC(kMac.data(), 6));
    EXPECT_EQ(Set().MigratedMac(), (vbset::Mac{0x02, 0x00, 0x5E, 0x20, 0x00, 0x15}));
    EXPECT_EQ(Asked(), (Steps{"eeprom_write_migrated_mac 02005E200015 6 = 0"}));
    EXPECT_EQ(Logged(), (Messages{Info("EEPROM Write Success for MAC Address")}));
}

TEST_F(MacBlock, TheSizeOfAMigratedAddressIsLeftToTheEeprom)
{
    EXPECT_FALSE(Strategy().WriteEEPROMMigratedMAC(kMac.data(), 4));
    EXPECT_EQ(Asked(), (Steps{"eeprom_write_migrated_mac 02005E20 4 = 22"}));
}

TEST_F(MacBlock, AMigratedAddressThatCannotBeStoredIsReportedWithTheError)
{
    for (const char* error : {"5", "-1", "1"}) {
        Fault("eeprom.migrated_mac", error);
        Forget();
        EXPECT_FALSE(Strategy().WriteEEPROMMigratedMAC(kMac.data(), 6));
        EXPECT_EQ(Logged(), (Messages{Error(std::string("EEPROM eeprom_write_migrated_mac Failed for MAC Address with "
                                                        "error = ") +
                                            error + " ")}));
    }
    EXPECT_EQ(Set().MigratedMac(), std::nullopt);
}

TEST_F(MacBlock, OperationsLeaveNoDescriptorOpen)
{
    Strategy().ExcuteBlockReadOnServer(kBlock, 6, buffer_);  // connects the client
    const auto before = OpenDescriptors();
    const std::vector<std::pair<std::string, std::string>> faults = {{"path./dev/mtdblock3", "EACCES"},
                                                                     {"read./dev/mtdblock3", "EIO"},
                                                                     {"read./dev/mtdblock3", "short:1"},
                                                                     {"service.state", "error"}};
    for (const auto& [key, value] : faults) {
        Fault(key, value);
        Read(6);
        Read(0);
        Strategy().CheckSPIFlashMAC();
        EXPECT_EQ(OpenDescriptors(), before) << key;
        NoFault(key);
    }
}

TEST_F(MacBlock, MessagesNameTheStrategyUnit)
{
    Strategy().CheckSPIFlashMAC();
    Strategy().WriteEEPROMMigratedMAC(kMac.data(), 6);
    Fault("path./dev/mtdblock3", "EACCES");
    Read(6);
    EXPECT_EQ(UnitsOf({"CheckSPIFlashMAC", "WriteEEPROMMigratedMAC", "ReadRAWBlock"}),
              (std::vector<std::string>{"MigrationStrategy.cpp"}));
}

}  // namespace
