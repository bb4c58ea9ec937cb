/** The data_sync partition: mounted or formatted by this process, else by the service. */
#include "StrategyOnSet.h"

#include <optional>

namespace {

const Message kYear = Info(" TV_YEAR  15 ");
const Message kSerdes = Info("MountPartition : SerdesAchieved ");
const Message kMountedHere = Info(" This process mount data_sync succeed ");
const Message kNotMountedHere = Error(" This process mount data_sync Did not succeed ");
const Message kTryingOnServer = Error("mount & Format SPI FLASH data_sync is FAILed from process trying on server!!");
const Message kNoLock = Error("\tFatal !!!!  SerdesLock not Achieved ");

class DataSyncPartition : public StrategyOnSet {
 protected:
    void SetUp() override
    {
        StartSet();
        strategy_.emplace();
        Forget();
    }
    SteeredStrategy& Strategy() { return *strategy_; }

    Messages LoggedByMount() const { return Logged({"DataSyncPartitionMount"}); }

 private:
    std::optional<SteeredStrategy> strategy_;
};

TEST_F(DataSyncPartition, IsMountedByThisProcess)
{
    EXPECT_TRUE(Strategy().DataSyncPartitionMount());
    EXPECT_TRUE(Set().IsMounted("data_sync"));
    EXPECT_EQ(Asked(), (Steps{"micom_check_serdes_lock = 0 1", "here: /bin/spi_init.sh mount  data_sync = 0"}));
    EXPECT_EQ(LoggedByMount(), (Messages{kYear, kSerdes, kMountedHere}));
    EXPECT_TRUE(Strategy().mbDataSyncMounted);
}

TEST_F(DataSyncPartition, IsMountedInFullOnEveryCall)
{
    ASSERT_TRUE(Strategy().DataSyncPartitionMount());
    Forget();
    EXPECT_TRUE(Strategy().DataSyncPartitionMount());
    EXPECT_EQ(Asked(), (Steps{"micom_check_serdes_lock = 0 1", "here: /bin/spi_init.sh mount  data_sync = 0"}));
}

TEST_F(DataSyncPartition, IsFormattedByThisProcessWithoutAFurtherMountOrTheService)
{
    WriteFile(Set().Partition("data_sync") / "rest", "x");
    Fault("local.spi_init.sh.mount.data_sync", "1");
    EXPECT_TRUE(Strategy().DataSyncPartitionMount());
    EXPECT_TRUE(std::filesystem::is_empty(Set().Partition("data_sync")));
    EXPECT_EQ(Commands(),
              (Steps{"here: /bin/spi_init.sh mount  data_sync = 1", "here: /bin/spi_init.sh format  data_sync = 0"}));
    EXPECT_EQ(LoggedByMount(),
              (Messages{kYear, kSerdes, kNotMountedHere, Info(" This process format data_sync succeed ")}));
    EXPECT_TRUE(Strategy().mbDataSyncMounted);
}

TEST_F(DataSyncPartition, IsMountedByTheServiceWhenThisProcessCanNeitherMountNorFormat)
{
    Fault("local.spi_init.sh.mount.data_sync", "1");
    Fault("local.spi_init.sh.format.data_sync", "2");
    EXPECT_TRUE(Strategy().DataSyncPartitionMount());
    EXPECT_TRUE(Set().IsMounted("data_sync"));
    EXPECT_EQ(Commands(),
              (Steps{"here: /bin/spi_init.sh mount  data_sync = 1", "here: /bin/spi_init.sh format  data_sync = 2",
                     "service: /bin/spi_init.sh mount  data_sync = 0"}));
    EXPECT_EQ(LoggedByMount(),
              (Messages{kYear, kSerdes, kNotMountedHere,
                        Error(" This process  mount & Format SPI FLASH data_sync is FAIL!! Result : 2"),
                        kTryingOnServer, Info("\tmount data_sync succeed ")}));
}

TEST_F(DataSyncPartition, IsFormattedByTheServiceAsTheLastResort)
{
    Fault("local.spi_init.sh", "3");
    Fault("service.spi_init.sh.mount.data_sync", "1");
    EXPECT_TRUE(Strategy().DataSyncPartitionMount());
    EXPECT_EQ(
        Commands(),
        (Steps{"here: /bin/spi_init.sh mount  data_sync = 3", "here: /bin/spi_init.sh format  data_sync = 3",
               "service: /bin/spi_init.sh mount  data_sync = 1", "service: /bin/spi_init.sh format  data_sync = 0"}));
    EXPECT_EQ(LoggedByMount(),
              (Messages{kYear, kSerdes, kNotMountedHere,
                        Error(" This process  mount & Format SPI FLASH data_sync is FAIL!! Result : 3"),
                        kTryingOnServer, Error("\tmount data_sync Did not succeed "),
                        Info("\tformat data_sync succeed "), Info("\tmount data_sync succeed ")}));
}

TEST_F(DataSyncPartition, CountsAsMountedAlsoWhenEverythingFails)
{
    Fault("local.spi_init.sh", "3");
    Fault("service.spi_init.sh", "4");
    EXPECT_TRUE(Strategy().DataSyncPartitionMount());
    EXPECT_FALSE(Set().IsMounted("data_sync"));
    EXPECT_EQ(LoggedByMount(),
              (Messages{kYear, kSerdes, kNotMountedHere,
                        Error(" This process  mount & Format SPI FLASH data_sync is FAIL!! Result : 3"),
                        kTryingOnServer, Error("\tmount data_sync Did not succeed "),
                        Error(" Server mount & Format SPI FLASH data_sync is FAIL!! Result : 4"),
                        Info("\tmount data_sync succeed ")}));
    EXPECT_TRUE(Strategy().mbDataSyncMounted);
}

TEST_F(DataSyncPartition, ANegativeStatusOfTheServiceIsAFailureToo)
{
    Fault("local.spi_init.sh", "3");
    Fault("service.reply.0", "0:-17:0");
    EXPECT_TRUE(Strategy().DataSyncPartitionMount());
    const Messages messages = LoggedByMount();
    ASSERT_EQ(messages.size(), 8U);
    EXPECT_EQ(messages[5], Error("\tmount data_sync Did not succeed "));
    EXPECT_EQ(messages[6], Error(" Server mount & Format SPI FLASH data_sync is FAIL!! Result : -17"));
}

TEST_F(DataSyncPartition, IsMountedWithTheYearOfTheTvTold)
{
    Fault("system_info.254", "17");
    ASSERT_EQ(MigrationCommon::SetVornBoxSystemConfig(), 0);
    EXPECT_TRUE(Strategy().DataSyncPartitionMount());
    EXPECT_EQ(LoggedByMount().front(), Info(" TV_YEAR  17 "));
}

TEST_F(DataSyncPartition, IsNotMountedWithoutTheLock)
{
    ASSERT_TRUE(Strategy().DataSyncPartitionMount());
    Fault("serdes.polls", "never");
    Forget();
    EXPECT_FALSE(Strategy().DataSyncPartitionMount());
    EXPECT_EQ(Commands(), Steps{});
    EXPECT_EQ(LoggedByMount(), (Messages{kYear, kSerdes, kNoLock, kNoLock}));
    EXPECT_FALSE(Strategy().mbDataSyncMounted);
}

TEST_F(DataSyncPartition, AMountThatASignalEndsReadsAsMounted)
{
    Fault("local.spi_init.sh.mount.data_sync", "kill");
    EXPECT_TRUE(Strategy().DataSyncPartitionMount());
    EXPECT_FALSE(Set().IsMounted("data_sync"));
    EXPECT_EQ(Calls({"command", "request"}), (Steps{"/bin/spi_init.sh mount  data_sync"}));
    EXPECT_EQ(LoggedByMount(), (Messages{kYear, kSerdes, kMountedHere}));
}

TEST_F(DataSyncPartition, IsMountedInTheSameWayWithoutAStrategy)
{
    EXPECT_TRUE(MigrationStrategy::MountDataSync());
    EXPECT_TRUE(Set().IsMounted("data_sync"));
    EXPECT_EQ(Asked(), (Steps{"micom_check_serdes_lock = 0 1", "here: /bin/spi_init.sh mount  data_sync = 0"}));
    EXPECT_EQ(LoggedByMount(), (Messages{kYear, kSerdes, kMountedHere}));
    Fault("serdes.polls", "never");
    EXPECT_FALSE(MigrationStrategy::MountDataSync());
}

TEST_F(DataSyncPartition, MessagesNameTheStrategyUnit)
{
    Fault("local.spi_init.sh", "3");
    Strategy().DataSyncPartitionMount();
    EXPECT_EQ(UnitsOf({"DataSyncPartitionMount"}), (std::vector<std::string>{"MigrationStrategy.cpp"}));
}

TEST_F(DataSyncPartition, MountingLeavesNoDescriptorOpen)
{
    Fault("local.spi_init.sh", "3");
    Strategy().DataSyncPartitionMount();  // connects the client
    const auto before = OpenDescriptors();
    Strategy().DataSyncPartitionMount();
    NoFault("local.spi_init.sh");
    Strategy().DataSyncPartitionMount();
    EXPECT_EQ(OpenDescriptors(), before);
}

}  // namespace
