/** TV and box of one generation: the MAC address is kept once in the raw block, everything else is refused. */
#include "StrategyOnSet.h"

#include <MavoMavoStratgegy.h>
#include <RiloRiloStratgegy.h>

namespace {

struct Generation {
    const char* name;
    const char* tv;
    const char* box;
    std::unique_ptr<MigrationStrategy> (*make)();
    const char* unit;
    const char* constructed;
    const char* notSupported;
    const char* notSupportedTab;
    const char* ownMac;     ///< as EEPROM holds it
    const char* ownMacLog;  ///< as the log shows it
};

template <class Strategy>
std::unique_ptr<MigrationStrategy> Make()
{
    return std::make_unique<Strategy>();
}

const Generation kGenerations[] = {
    {"RiloRiloStratgegy", "tv17", "box17", Make<RiloRiloStratgegy>, "RiloRiloStratgegy.cpp",
     " RiloRiloStratgegy Constructor  <=== ", " 17~17 Not Supported  ", " 17~17 Not Supported\t", "02005E100017",
     " MAC received from eeprom ==> 0x 2:0x 0:0x5e:0x10:0x 0:0x17 "},
    {"MavoMavoStratgegy", "tv15", "box15", Make<MavoMavoStratgegy>, "MavoMavoStratgegy.cpp",
     " MavoMavoStratgegy Constructor  <=== ", " 15~15 Not Supported  ", " 15~15 Not Supported\t", "02005E100015",
     " MAC received from eeprom ==> 0x 2:0x 0:0x5e:0x10:0x 0:0x15 "},
};

const std::vector<unsigned char> kBlank(6, 0xFF);
const vbset::Mac kBlankMac = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};

class SameGeneration : public StrategyOnSet, public ::testing::WithParamInterface<Generation> {
 protected:
    void SetUp() override
    {
        StartSet(GetParam().tv, GetParam().box);
        strategy_ = GetParam().make();
        strategy_->SetObserver(&migrator_);
        Forget();
    }
    MigrationStrategy& Strategy() { return *strategy_; }

    /** The MAC address of the TV as bytes of the set. */
    vbset::Mac OwnMac() { return Set().Tv().mac; }
    std::string ReadOfOwnMac() { return std::string("eeprom_read 0x1E04 6 = 6 ") + GetParam().ownMac; }

 private:
    SteeredMigrator migrator_;
    std::unique_ptr<MigrationStrategy> strategy_;
};

TEST(SameGenerationStrategies, HaveNoMembersOfTheirOwn)
{
    EXPECT_EQ(sizeof(RiloRiloStratgegy), sizeof(MigrationStrategy));
    EXPECT_EQ(sizeof(MavoMavoStratgegy), sizeof(MigrationStrategy));
}

// Construction

TEST_P(SameGeneration, SaysWhoItIsOnceItsPathsAreKnown)
{
    const auto strategy = GetParam().make();
    EXPECT_EQ(Logged().back(), Info(GetParam().constructed));
    EXPECT_EQ(Logged({GetParam().name}), (Messages{Info(GetParam().constructed)}));
    EXPECT_EQ(Log().back().unit, GetParam().unit);
    EXPECT_EQ(Logged({"MigrationStrategy"}).size(), 2u);
}

TEST_P(SameGeneration, SaysNothingOfItsOwnWhenItGoes)
{
    auto strategy = GetParam().make();
    Forget();
    strategy.reset();
    EXPECT_EQ(Logged(), Logged({"~MigrationStrategy"}));
    EXPECT_EQ(Logged().size(), 1u);
}

// MAC backup

TEST_P(SameGeneration, ABlankBlockGetsTheTvsAddressFromThisProcessWhichIsReportedAsFailureAllTheSame)
{
    EXPECT_FALSE(Strategy().BackupMACAddress());
    EXPECT_EQ(Set().MacBlock(), OwnMac());
    EXPECT_EQ(Calls(), (Steps{"fopen", "read", "close", "eeprom_read", "fopen", "write", "close"}));
    EXPECT_EQ(Asked({"platform"}), (Steps{ReadOfOwnMac()}));
    EXPECT_EQ(Logged({"BackupMACAddress"}), (Messages{Info(GetParam().ownMacLog)}));
    EXPECT_EQ(Logged({"WriteToFile"}),
              (Messages{Info(" File /dev/mtdblock3 opened for write "), Info(" Data written to File /dev/mtdblock3 "),
                        Info(" File /dev/mtdblock3 Closed ")}));
}

TEST_P(SameGeneration, ABlankBlockGetsTheTvsAddressFromTheServiceWhenThisProcessCannotWrite)
{
    Fault("path./dev/mtdblock3", "EACCES");
    EXPECT_TRUE(Strategy().BackupMACAddress());
    EXPECT_EQ(Set().MacBlock(), OwnMac());
    EXPECT_EQ(Asked(),
              (Steps{"fopen /dev/mtdblock3 O_RDONLY = EACCES", "request: 1:/dev/mtdblock3:6:EMPTY = 1:6:FFFFFFFFFFFF",
                     ReadOfOwnMac(), "fopen /dev/mtdblock3 O_WRONLY|O_CREAT|O_TRUNC = EACCES",
                     "request: 2:/dev/mtdblock3:6:" + std::string(GetParam().ownMac) + " = 2:6:0"}));
    EXPECT_EQ(
        Logged({"BackupMACAddress", "WriteToFile"}),
        (Messages{Info(GetParam().ownMacLog), Error("Could not open file "),
                  Error(" WriteToFile for /dev/mtdblock3 failed, trying on server "), Info(" WriteToFile Suceeded")}));
}

TEST_P(SameGeneration, AServiceWriteThatIsNotWholeFailsWithoutAFurtherMessage)
{
    Fault("path./dev/mtdblock3", "EACCES");
    for (const char* reply : {"2:5:0", "2:-1:0"}) {
        Fault("service.reply.2", reply);
        Set().WriteMacBlock(kBlank);
        Forget();
        EXPECT_FALSE(Strategy().BackupMACAddress()) << reply;
        EXPECT_EQ(
            Logged({"BackupMACAddress"}),
            (Messages{Info(GetParam().ownMacLog), Error(" WriteToFile for /dev/mtdblock3 failed, trying on server ")}));
    }
}

TEST_P(SameGeneration, ABlockWithAnAddressIsLeftAloneAndTheEepromIsNotRead)
{
    Set().WriteMacBlock({1, 2, 3, 4, 5, 6});
    EXPECT_FALSE(Strategy().BackupMACAddress());
    EXPECT_EQ(Set().MacBlock(), (vbset::Mac{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(Calls(), (Steps{"fopen", "read", "close"}));
    EXPECT_EQ(Logged({"BackupMACAddress"}),
              (Messages{Error(" RQ141202-01250 | No Backup Required as data is not 0xFF ")}));
}

TEST_P(SameGeneration, ABlockThatNobodyCanReadIsLeftAlone)
{
    const WithoutClient withoutClient;
    Fault("path./dev/mtdblock3", "EIO");
    EXPECT_FALSE(Strategy().BackupMACAddress());
    EXPECT_EQ(Calls(), (Steps{"fopen"}));
    EXPECT_EQ(Logged({"BackupMACAddress"}),
              (Messages{Error(" RQ141202-01250 | No Backup Required as data is not 0xFF ")}));
}

TEST_P(SameGeneration, AnAddressThatCannotBeReadFromTheEepromIsNotWritten)
{
    for (const char* result : {"0", "-1"}) {
        Fault("eeprom.read.1E04", result);
        Forget();
        EXPECT_FALSE(Strategy().BackupMACAddress());
        EXPECT_EQ(Logged({"BackupMACAddress"}), (Messages{Error(std::string("eeprom_read errror : ") + result)}));
        EXPECT_EQ(Calls(), (Steps{"fopen", "read", "close", "eeprom_read"}));
    }
    EXPECT_EQ(Set().MacBlock(), kBlankMac);
}

TEST_P(SameGeneration, APartOfAnAddressCountsAsReadAndTheRestIsZero)
{
    Fault("eeprom.read.1E04", "2");
    EXPECT_FALSE(Strategy().BackupMACAddress());
    EXPECT_EQ(Set().MacBlock(), (vbset::Mac{0x02, 0x00, 0, 0, 0, 0}));
}

TEST_P(SameGeneration, TheAddressIsWrittenUnchecked)
{
    Fault("eeprom.value.1E04", "FFFFFFFFFFFF");
    EXPECT_FALSE(Strategy().BackupMACAddress());
    EXPECT_EQ(Set().MacBlock(), kBlankMac);
    EXPECT_EQ(Calls().size(), 7u);
    Fault("eeprom.value.1E04", "000000000000");
    EXPECT_FALSE(Strategy().BackupMACAddress());
    EXPECT_EQ(Set().MacBlock(), (vbset::Mac{0, 0, 0, 0, 0, 0}));
}

TEST_P(SameGeneration, ABlockThatTakesNoBytesIsReportedAsAnyOtherLocalWrite)
{
    Fault("write./dev/mtdblock3", "EIO");
    EXPECT_FALSE(Strategy().BackupMACAddress());
    EXPECT_EQ(Set().MacBlock(), kBlankMac);
    EXPECT_EQ(Commands(), Steps{});  // the service is not asked: the file could be opened
}

// What is refused

TEST_P(SameGeneration, RestoreAndSelectionAreNotSupported)
{
    int partition = 42;
    EXPECT_FALSE(Strategy().RestoreMACAddress());
    EXPECT_FALSE(Strategy().SetRestorePath());
    EXPECT_FALSE(Strategy().RestorePicture());
    EXPECT_FALSE(Strategy().SetBootPartition(1));
    EXPECT_FALSE(Strategy().GetBootPartition(&partition));
    EXPECT_FALSE(Strategy().GetBootPartition(nullptr));
    EXPECT_EQ(partition, 42);
    const Message blanks = Error(GetParam().notSupported);
    const Message tab = Error(GetParam().notSupportedTab);
    EXPECT_EQ(Logged(), (Messages{blanks, blanks, tab, tab, tab, tab}));
    EXPECT_EQ(Asked(), Steps{});
    EXPECT_EQ(
        UnitsOf({"RestoreMACAddress", "SetRestorePath", "RestorePicture", "SetBootPartition", "GetBootPartition"}),
        (std::vector<std::string>{GetParam().unit}));
}

// The flows of all pairings on top

TEST_P(SameGeneration, ADumpReportsTheMacBackupAndDumpsThePictureAnyway)
{
    EXPECT_FALSE(Strategy().DumpNonVolatileData());
    EXPECT_EQ(Logged({"DumpNonVolatileData"}),
              (Messages{Error("MAC data could not be dumped "), Info("Picture data dumped ")}));
    EXPECT_EQ(Set().MacBlock(), OwnMac());
    EXPECT_EQ(Calls({"migrator"}), (Steps{"DumpNonVolatileData"}));
}

TEST_P(SameGeneration, ADumpWithTheMacKeptByTheServiceSucceeds)
{
    Fault("path./dev/mtdblock3", "EACCES");
    EXPECT_TRUE(Strategy().DumpNonVolatileData());
    EXPECT_EQ(Logged({"DumpNonVolatileData"}), (Messages{Info("MAC data dumped "), Info("Picture data dumped ")}));
}

TEST_P(SameGeneration, ARestoreIsRefusedOnceThePartitionIsMounted)
{
    EXPECT_FALSE(Strategy().RestoreNonVolatileData());
    EXPECT_TRUE(Set().IsMounted("migration"));
    EXPECT_EQ(Calls({"migrator"}), Steps{});
    EXPECT_EQ(Logged({"RestoreNonVolatileData", "RestoreMACAddress", "SetRestorePath", "RestorePicture"}),
              (Messages{Error(GetParam().notSupported), Error("MAC data could not be Restored "),
                        Error(GetParam().notSupported)}));
}

TEST_P(SameGeneration, NotificationsAreThoseOfAllPairings)
{
    VB_VornBoxMigrationStatus_k status{};
    EXPECT_TRUE(Strategy().NotifyMigrationStatus(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_START, &status));
    EXPECT_EQ(Commands(), (Steps{"service: /usr/bin/MigrationScript.sh InsmodMig = 0",
                                 "service: /bin/spi_init.sh mount migration = 0",
                                 "service: /usr/bin/MigrationScript.sh cleanbkup = 0"}));
}

TEST_P(SameGeneration, TheMacBackupLeavesNoDescriptorOpen)
{
    Fault("path./dev/mtdblock3", "EACCES");
    Strategy().BackupMACAddress();  // connects the client
    const auto before = OpenDescriptors();
    Set().WriteMacBlock(kBlank);
    Strategy().BackupMACAddress();
    NoFault("path./dev/mtdblock3");
    Set().WriteMacBlock(kBlank);
    Strategy().BackupMACAddress();
    Strategy().BackupMACAddress();
    EXPECT_EQ(OpenDescriptors(), before);
}

INSTANTIATE_TEST_SUITE_P(Generations, SameGeneration, ::testing::ValuesIn(kGenerations),
                         [](const auto& generation) { return std::string(generation.param.name); });

}  // namespace
