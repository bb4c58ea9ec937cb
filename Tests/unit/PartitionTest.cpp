/** The SerDes link and the migration partition: lock, mount, format, unmount. */
#include "StrategyOnSet.h"

#include <optional>

namespace {

const char* const kMount = "service: /bin/spi_init.sh mount migration = ";
const char* const kFormat = "service: /bin/spi_init.sh format migration mkfs.vfat /dev/mtdblock1 = ";
const char* const kUmount = "service: /bin/spi_init.sh umount migration = ";
const char* const kInsmod = "service: /usr/bin/MigrationScript.sh InsmodMig = ";
const char* const kLocked = "micom_check_serdes_lock = 0 1";

const Message kYear = Info(" TV_YEAR  15 ");
const Message kNotFromHere = Error("mount & Format SPI FLASH migration is FAILed from process trying on server!!");

class Partition : public StrategyOnSet {
 protected:
    void SetUp() override
    {
        StartSet();
        strategy_.emplace();
        Forget();
    }
    SteeredStrategy& Strategy() { return *strategy_; }

 private:
    std::optional<SteeredStrategy> strategy_;
};

// The lock

using SerdesLock = Partition;

TEST_F(SerdesLock, AtTheFirstPollNeedsNoSleep)
{
    EXPECT_TRUE(MigrationStrategy::CheckSerdesLock());
    EXPECT_EQ(Asked(), (Steps{kLocked}));
    EXPECT_EQ(Logged(), (Messages{Info("SerDes Lock Found!! count (0)")}));
}

TEST_F(SerdesLock, IsPolledEveryTwentyMilliseconds)
{
    Fault("serdes.polls", "3");
    EXPECT_TRUE(MigrationStrategy::CheckSerdesLock());
    const Steps poll = {"micom_check_serdes_lock = 0 0", "usleep 20000 = 0"};
    EXPECT_EQ(Asked(), Joined(Joined(Joined(poll, poll), poll), {kLocked}));
    EXPECT_EQ(Logged(), (Messages{Error("SerDes Not locked! count (0)"), Error("SerDes Not locked! count (1)"),
                                  Error("SerDes Not locked! count (2)"), Info("SerDes Lock Found!! count (3)")}));
}

TEST_F(SerdesLock, IsFoundAtTheLastPoll)
{
    Fault("serdes.polls", "149");
    EXPECT_TRUE(MigrationStrategy::CheckSerdesLock());
    EXPECT_EQ(Calls({"platform"}).size(), 150u);
    EXPECT_EQ(Calls({"sleep"}).size(), 149u);
    EXPECT_EQ(Logged().back(), Info("SerDes Lock Found!! count (149)"));
}

TEST_F(SerdesLock, IsGivenUpAfterExactly150PollsAndSleeps)
{
    Fault("serdes.polls", "never");
    EXPECT_FALSE(MigrationStrategy::CheckSerdesLock());
    Steps polls;
    Messages messages;
    for (int count = 0; count < 150; ++count) {
        polls = Joined(polls, {"micom_check_serdes_lock = 0 0", "usleep 20000 = 0"});
        messages.push_back(Error("SerDes Not locked! count (" + std::to_string(count) + ")"));
    }
    messages.push_back(Error("ERROR!! SERDES Lock Not Found. time (3000 ms), count (150)"));
    EXPECT_EQ(Asked(), polls);
    EXPECT_EQ(Logged(), messages);
}

TEST_F(SerdesLock, ThatComesAPollTooLateIsNotFound)
{
    Fault("serdes.polls", "150");
    EXPECT_FALSE(MigrationStrategy::CheckSerdesLock());
}

// Mounting

using MountPartition = Partition;

TEST_F(MountPartition, IsDoneByTheServiceAtOnceAlthoughALocalFailureIsLogged)
{
    EXPECT_TRUE(Strategy().MountPartition());
    EXPECT_TRUE(Set().IsMounted("migration"));
    EXPECT_EQ(Asked(), (Steps{kLocked, std::string(kMount) + "0"}));
    EXPECT_EQ(
        Logged({"MountPartition", "CheckSerdesLock"}),
        (Messages{kYear, Info("SerDes Lock Found!! count (0)"), kNotFromHere, Info("\tmount migration succeed ")}));
}

TEST_F(MountPartition, FormatsWhatCannotBeMountedAndDoesNotMountAgain)
{
    PutOnMigration("rest");
    Fault("service.spi_init.sh.mount.migration", "1");
    EXPECT_TRUE(Strategy().MountPartition());
    EXPECT_TRUE(std::filesystem::is_empty(Set().Partition("migration")));
    EXPECT_EQ(Asked(), (Steps{kLocked, std::string(kMount) + "1", std::string(kFormat) + "0"}));
    EXPECT_EQ(Logged({"MountPartition"}),
              (Messages{kYear, kNotFromHere, Error("\tmount migration Did not succeed "),
                        Info("\tformat migration succeed "), Info("\tmount migration succeed ")}));
}

TEST_F(MountPartition, SucceedsAlsoWhenMountAndFormatBothFail)
{
    Fault("service.spi_init.sh", "4");
    EXPECT_TRUE(Strategy().MountPartition());
    EXPECT_FALSE(Set().IsMounted("migration"));
    EXPECT_EQ(Asked(), (Steps{kLocked, std::string(kMount) + "4", std::string(kFormat) + "4"}));
    EXPECT_EQ(Logged({"MountPartition"}), (Messages{kYear, kNotFromHere, Error("\tmount migration Did not succeed "),
                                                    Error("mount & Format SPI FLASH migration is FAIL!! Result : [4] "),
                                                    Info("\tmount migration succeed ")}));
    Forget();
    EXPECT_TRUE(Strategy().MountPartition());  // marked as mounted all the same
    EXPECT_EQ(Asked(), Steps{});
}

TEST_F(MountPartition, TakesANegativeStatusForAFailureToo)
{
    Fault("service.reply.0", "0:-17:0");
    EXPECT_TRUE(Strategy().MountPartition());
    EXPECT_EQ(Commands().size(), 2U);
    EXPECT_EQ(Logged({"MountPartition"}),
              (Messages{kYear, kNotFromHere, Error("\tmount migration Did not succeed "),
                        Error("mount & Format SPI FLASH migration is FAIL!! Result : [-17] "),
                        Info("\tmount migration succeed ")}));
    EXPECT_FALSE(Strategy().UnMount());
}

TEST_F(MountPartition, OfAMountedPartitionOnlySaysSo)
{
    ASSERT_TRUE(Strategy().MountPartition());
    Forget();
    EXPECT_TRUE(Strategy().MountPartition());
    EXPECT_EQ(Asked(), Steps{});
    EXPECT_EQ(Logged(), (Messages{Info(" Korvane_vbmg Partition Already Mounted\t")}));
}

TEST_F(MountPartition, FailsOnlyWithoutTheLock)
{
    Fault("serdes.polls", "never");
    EXPECT_FALSE(Strategy().MountPartition());
    EXPECT_EQ(Commands(), Steps{});
    EXPECT_EQ(Logged({"MountPartition"}), (Messages{kYear, Error("\tFatal !!!!  SerdesLock not Achieved "),
                                                    Error("\tFatal !!!!  SerdesLock not Achieved ")}));
    NoFault("serdes.polls");
    Forget();
    EXPECT_TRUE(Strategy().MountPartition());  // not marked as mounted
    EXPECT_EQ(Commands(), (Steps{std::string(kMount) + "0"}));
}

TEST_F(MountPartition, TellsTheYearOfTheTvAndNotOfTheBox)
{
    Fault("system_info.254", "17");
    ASSERT_EQ(MigrationCommon::SetVornBoxSystemConfig(), 0);
    EXPECT_TRUE(Strategy().MountPartition());
    EXPECT_EQ(Logged({"MountPartition"}).front(), Info(" TV_YEAR  17 "));
}

TEST_F(MountPartition, PollsTheLinkOnce)
{
    Fault("serdes.polls", "never");
    Strategy().MountPartition();
    EXPECT_EQ(Calls({"platform"}).size(), 150u);
}

// Module and mount

using InsmodNMount = Partition;

TEST_F(InsmodNMount, LoadsTheModuleThenMounts)
{
    EXPECT_TRUE(Strategy().InsmodNMount());
    EXPECT_EQ(Asked(), (Steps{std::string(kInsmod) + "0", kLocked, std::string(kMount) + "0"}));
    EXPECT_EQ(Logged({"InsmodNMount"}), (Messages{Info(" InsmodNMount SUCCESS")}));
    EXPECT_TRUE(Strategy().mbMigrationMounted);
    EXPECT_TRUE(Strategy().mbModuleLoaded);
}

TEST_F(InsmodNMount, IgnoresAModuleThatCannotBeLoaded)
{
    Fault("service.MigrationScript.sh.InsmodMig", "1");
    EXPECT_TRUE(Strategy().InsmodNMount());
    EXPECT_EQ(Commands(), (Steps{std::string(kInsmod) + "1", std::string(kMount) + "0"}));
}

TEST_F(InsmodNMount, FailsWithTheMount)
{
    Fault("serdes.polls", "never");
    EXPECT_FALSE(Strategy().InsmodNMount());
    EXPECT_EQ(Commands(), (Steps{std::string(kInsmod) + "0"}));
    EXPECT_EQ(Logged({"InsmodNMount"}), Messages{});
    EXPECT_FALSE(Strategy().mbMigrationMounted);
    EXPECT_FALSE(Strategy().mbModuleLoaded);
}

TEST_F(InsmodNMount, ThatFailsLeavesTheModuleFlagAlone)
{
    Strategy().mbModuleLoaded = true;
    Fault("serdes.polls", "never");
    EXPECT_FALSE(Strategy().InsmodNMount());
    EXPECT_TRUE(Strategy().mbModuleLoaded);
}

TEST_F(InsmodNMount, OfAMountedPartitionLoadsTheModuleAllTheSame)
{
    ASSERT_TRUE(Strategy().MountPartition());
    Forget();
    EXPECT_TRUE(Strategy().InsmodNMount());
    EXPECT_EQ(Asked(), (Steps{std::string(kInsmod) + "0"}));
    EXPECT_TRUE(Strategy().mbModuleLoaded);
}

TEST_F(InsmodNMount, TakesAPartitionThatRecoveryHasJustFormattedAsMountedOnce)
{
    ASSERT_TRUE(Strategy().FormatPartitionPowerOff());
    Forget();
    EXPECT_TRUE(Strategy().InsmodNMount());
    EXPECT_EQ(Asked(), Steps{});
    EXPECT_EQ(Logged(), Messages{});
    EXPECT_TRUE(Strategy().mbMigrationMounted);
    EXPECT_TRUE(Strategy().mbModuleLoaded);
    ASSERT_TRUE(Strategy().UnMount());
    Forget();
    EXPECT_TRUE(Strategy().InsmodNMount());
    EXPECT_EQ(Commands(), (Steps{std::string(kInsmod) + "0", std::string(kMount) + "0"}));
}

// Unmounting

using UnMount = Partition;

TEST_F(UnMount, UnmountsOnTheServiceAndForgetsTheMount)
{
    ASSERT_TRUE(Strategy().InsmodNMount());
    Forget();
    EXPECT_TRUE(Strategy().UnMount());
    EXPECT_FALSE(Set().IsMounted("migration"));
    EXPECT_EQ(Asked(), (Steps{std::string(kUmount) + "0"}));
    EXPECT_EQ(Logged({"UnMount"}), (Messages{Info("\tUnmounting migration succeed ")}));
    EXPECT_FALSE(Strategy().mbMigrationMounted);
    EXPECT_FALSE(Strategy().mbModuleLoaded);
}

TEST_F(UnMount, OfWhatIsNotMountedSucceedsWithoutACommand)
{
    EXPECT_TRUE(Strategy().UnMount());
    EXPECT_EQ(Asked(), Steps{});
    EXPECT_EQ(Logged(), (Messages{Error(" Korvane_vbmg Partition Not Mounted\t")}));
}

TEST_F(UnMount, ThatFailsLeavesThePartitionMarkedAsMounted)
{
    ASSERT_TRUE(Strategy().InsmodNMount());
    Fault("service.spi_init.sh.umount.migration", "32");
    Forget();
    EXPECT_FALSE(Strategy().UnMount());
    EXPECT_EQ(Logged({"UnMount"}), (Messages{Error("\tUnmounting migration Did not succeed ")}));
    EXPECT_TRUE(Strategy().mbMigrationMounted);
    EXPECT_TRUE(Strategy().mbModuleLoaded);
    NoFault("service.spi_init.sh.umount.migration");
    Forget();
    EXPECT_TRUE(Strategy().UnMount());
    EXPECT_EQ(Asked(), (Steps{std::string(kUmount) + "0"}));
}

TEST_F(UnMount, ClearsAModuleFlagThatWasLeftBehind)
{
    Strategy().mbModuleLoaded = true;
    EXPECT_TRUE(Strategy().UnMount());
    EXPECT_FALSE(Strategy().mbModuleLoaded);
}

TEST_F(Partition, MessagesNameTheStrategyUnit)
{
    Strategy().InsmodNMount();
    Strategy().UnMount();
    EXPECT_EQ(UnitsOf({"CheckSerdesLock", "MountPartition", "InsmodNMount", "UnMount"}),
              (std::vector<std::string>{"MigrationStrategy.cpp"}));
}

TEST_F(Partition, OperationsLeaveNoDescriptorOpen)
{
    Strategy().InsmodNMount();  // connects the client
    const auto before = OpenDescriptors();
    Strategy().UnMount();
    Fault("service.spi_init.sh", "1");
    Strategy().InsmodNMount();
    Strategy().UnMount();
    EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
