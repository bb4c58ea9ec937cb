// Where the messages of commands, partitions and power flag stand among what the set is asked to do.

#include "StrategyOnSet.h"

#include <MessageTrace.h>

#include <optional>

namespace {

const char* const kPoll = "micom_check_serdes_lock";
const char* const kNoLock = "\"\tFatal !!!!  SerdesLock not Achieved \"";

class PartitionMessageOrder : public StrategyOnSet {
 protected:
    void SetUp() override
    {
        StartSet();
        strategy_.emplace();
        Forget();
    }
    SteeredStrategy& Strategy() { return *strategy_; }

    /** The messages of some functions among all calls. */
    Steps HappenedIn(const std::vector<std::string>& functions) const { return Happened(Trace(), functions); }

    static std::string OnServer(const std::string& command) { return "0:" + command + ":EMPTY:EMPTY"; }

 private:
    std::optional<SteeredStrategy> strategy_;
};

// Commands

TEST_F(PartitionMessageOrder, ACommandIsAnnouncedBeforeItRunsAndItsStatusToldAfterwards)
{
    const std::string command = "/bin/spi_init.sh umount data_sync";
    EXPECT_EQ(MigrationCommon::ExecuteUserShell(command.c_str(), false), 1);
    EXPECT_EQ(HappenedIn({}), (Steps{"\"Command to be executed is [" + command + "]\"",
                                     "\"Command to be executed in this process & not on server is [" + command + "]\"",
                                     command, "\"status of the Shell is [256] \"",
                                     "\"After Convertions Return val [1] \""}));
    Forget();
    EXPECT_EQ(MigrationCommon::ExecuteUserShell(command.c_str(), true), 1);
    EXPECT_EQ(HappenedIn({"ExecuteUserShell"}),
              (Steps{"\"Command to be executed is [" + command + "]\"",
                     "\"Command to be executed on server is [" + command + "]\"", OnServer(command)}));
}

TEST_F(PartitionMessageOrder, ARequestStandsBetweenItsTraces)
{
    MigrationCommon::ExecuteUserShell("/bin/spi_init.sh umount migration", true);
    const std::string here = "\"  [VBMD] [Client] Reached here \"";
    EXPECT_EQ(HappenedIn({"SendCmdToServer"}), (Steps{here, OnServer("/bin/spi_init.sh umount migration"), here}));
}

// The link

TEST_F(PartitionMessageOrder, APollWithoutALockIsToldBeforeTheSleep)
{
    Fault("serdes.polls", "2");
    EXPECT_TRUE(MigrationStrategy::CheckSerdesLock());
    EXPECT_EQ(HappenedIn({}),
              (Steps{kPoll, "\"SerDes Not locked! count (0)\"", "usleep", kPoll, "\"SerDes Not locked! count (1)\"",
                     "usleep", kPoll, "\"SerDes Lock Found!! count (2)\""}));
}

// The migration partition

TEST_F(PartitionMessageOrder, AMountIsToldOfStepByStep)
{
    Fault("service.spi_init.sh", "4");
    EXPECT_TRUE(Strategy().MountPartition());
    EXPECT_EQ(
        HappenedIn({"MountPartition"}),
        (Steps{"\" TV_YEAR  15 \"", kPoll,
               "\"mount & Format SPI FLASH migration is FAILed from process trying on server!!\"",
               OnServer("/bin/spi_init.sh mount migration"), "\"\tmount migration Did not succeed \"",
               OnServer("/bin/spi_init.sh format migration mkfs.vfat /dev/mtdblock1"),
               "\"mount & Format SPI FLASH migration is FAIL!! Result : [4] \"", "\"\tmount migration succeed \""}));
}

TEST_F(PartitionMessageOrder, AFormatThatSucceedsIsToldOfBeforeTheMount)
{
    Fault("service.spi_init.sh.mount.migration", "1");
    EXPECT_TRUE(Strategy().InsmodNMount());
    const Steps steps = HappenedIn({"MountPartition", "InsmodNMount"});
    ASSERT_EQ(steps.size(), 10U);
    EXPECT_EQ(steps[0], OnServer("/usr/bin/MigrationScript.sh InsmodMig"));
    EXPECT_EQ(Steps(steps.begin() + 6, steps.end()),
              (Steps{OnServer("/bin/spi_init.sh format migration mkfs.vfat /dev/mtdblock1"),
                     "\"\tformat migration succeed \"", "\"\tmount migration succeed \"",
                     "\" InsmodNMount SUCCESS\""}));
}

TEST_F(PartitionMessageOrder, AnUnmountIsToldOfAfterIt)
{
    Strategy().MountPartition();
    for (const char* status : {"1", "0"}) {
        Fault("service.spi_init.sh.umount.migration", status);
        Forget();
        const bool succeeds = *status == '0';
        EXPECT_EQ(Strategy().UnMount(), succeeds);
        EXPECT_EQ(HappenedIn({"UnMount"}),
                  (Steps{OnServer("/bin/spi_init.sh umount migration"),
                         succeeds ? "\"\tUnmounting migration succeed \""
                                  : "\"\tUnmounting migration Did not succeed \""}));
    }
}

// The data_sync partition

TEST_F(PartitionMessageOrder, AMountOfDataSyncIsToldOfStepByStep)
{
    Fault("local.spi_init.sh", "3");
    Fault("service.spi_init.sh", "4");
    EXPECT_TRUE(Strategy().DataSyncPartitionMount());
    EXPECT_EQ(
        HappenedIn({"DataSyncPartitionMount"}),
        (Steps{"\" TV_YEAR  15 \"", kPoll, "\"MountPartition : SerdesAchieved \"", "/bin/spi_init.sh mount  data_sync",
               "\" This process mount data_sync Did not succeed \"", "/bin/spi_init.sh format  data_sync",
               "\" This process  mount & Format SPI FLASH data_sync is FAIL!! Result : 3\"",
               "\"mount & Format SPI FLASH data_sync is FAILed from process trying on server!!\"",
               OnServer("/bin/spi_init.sh mount  data_sync"), "\"\tmount data_sync Did not succeed \"",
               OnServer("/bin/spi_init.sh format  data_sync"),
               "\" Server mount & Format SPI FLASH data_sync is FAIL!! Result : 4\"",
               "\"\tmount data_sync succeed \""}));
}

TEST_F(PartitionMessageOrder, TheFailuresOfTheLinkFollowItsMessages)
{
    Fault("serdes.polls", "never");
    EXPECT_FALSE(Strategy().DataSyncPartitionMount());
    const Steps dataSync = HappenedIn({"DataSyncPartitionMount"});
    ASSERT_EQ(dataSync.size(), 304U);
    EXPECT_EQ(dataSync[0], "\" TV_YEAR  15 \"");
    EXPECT_EQ(Steps(dataSync.end() - 4, dataSync.end()),
              (Steps{"usleep", "\"MountPartition : SerdesAchieved \"", kNoLock, kNoLock}));
    Forget();
    EXPECT_FALSE(Strategy().MountPartition());
    const Steps migration = HappenedIn({"MountPartition"});
    ASSERT_EQ(migration.size(), 303U);
    EXPECT_EQ(migration[0], "\" TV_YEAR  15 \"");
    EXPECT_EQ(Steps(migration.end() - 3, migration.end()), (Steps{"usleep", kNoLock, kNoLock}));
}

// Power failure

TEST_F(PartitionMessageOrder, TheRecoveryIsToldOfStepByStep)
{
    const std::vector<std::string> functions = {"CheckForPowerOff", "SetFlagForPower", "FormatPartitionPowerOff"};
    for (const char* status : {"5", "0"}) {
        SetPowerFlag(0xAA);
        Fault("service.spi_init.sh.format.migration", status);
        Forget();
        EXPECT_TRUE(Strategy().CheckNFormatInPowerOffCase());
        EXPECT_EQ(HappenedIn(functions),
                  (Steps{"eeprom_read", "\" POWER flag status (0xaa) \"", "\" There was power off  ###### \"",
                         "eeprom_write", "\"Success! writing POWER Flag (0xffffffaa)\"", kPoll,
                         OnServer("/bin/spi_init.sh format migration"),
                         *status == '0' ? "\"\tformat migration succeed \""
                                        : "\" Format SPI FLASH migration is FAIL!! Result : 5\""}));
    }
}

}  // namespace
