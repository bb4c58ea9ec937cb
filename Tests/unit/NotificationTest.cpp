/** What a migration notification does: the checks before, the work of its type, and the clean-up after. */
#include "StrategyOnSet.h"

#include <algorithm>
#include <new>
#include <optional>

namespace {

constexpr int kBackup = 2;
constexpr int kRestore = 3;
constexpr int kStart = 0;
constexpr int kEnd = 1;
constexpr int kSuccess = 0;
constexpr int kUnknownError = 2;

/** The look at the GPIOs of an old main board, at every start and end. */
const Steps kLookAtOldBoard = {"open /dev/system O_RDWR = 0", "BOARD_READ_GPIO_165 level 1 = 0",
                               "BOARD_READ_GPIO_153 level 1 = 0", "BOARD_READ_GPIO_107 level 1 = 0",
                               "close /dev/system = 0"};
const Steps kChecks = Joined({"eeprom_read 0xF211 1 = 1 FF", "eeprom_write 0xF211 1 AA = 1"}, kLookAtOldBoard);
const Steps kMounting = {"service: /usr/bin/MigrationScript.sh InsmodMig = 0", "micom_check_serdes_lock = 0 1",
                         "service: /bin/spi_init.sh mount migration = 0"};
const Steps kCleanUp = Joined(Joined({"service: /bin/spi_init.sh umount migration = 0"}, kLookAtOldBoard),
                              {"eeprom_write 0xF211 1 FF = 1"});
/** The clean-up when nothing is mounted. */
const Steps kCleanUpUnmounted = Joined(kLookAtOldBoard, {"eeprom_write 0xF211 1 FF = 1"});

class Notification : public StrategyOnSet {
 protected:
    void StartStrategy(const std::string& tv = "tv15", const std::string& box = "box15")
    {
        StartSet(tv, box);
        strategy_.emplace();
        Forget();
    }

    bool Notify(MigrationStrategy& strategy, int type, int progress)
    {
        status_ = static_cast<VB_VornBoxMigrationStatus_k>(77);
        return strategy.NotifyMigrationStatus(static_cast<VB_VornBoxMigrationType_k>(type),
                                              static_cast<VB_VornBoxMigrationProgress_k>(progress), &status_);
    }
    bool Notify(int type, int progress) { return Notify(*strategy_, type, progress); }

    /** Brings a notification to its start and forgets how. */
    void Begin(int type)
    {
        ASSERT_TRUE(Notify(type, kStart));
        Forget();
    }

    int Status() const { return static_cast<int>(status_); }

 private:
    std::optional<SteeredStrategy> strategy_;
    VB_VornBoxMigrationStatus_k status_{};
};

TEST_F(Notification, BackupStartChecksForAPowerFailureThenTheBoardThenMountsAndCleans)
{
    StartStrategy();
    EXPECT_TRUE(Notify(kBackup, kStart));
    EXPECT_EQ(Status(), kSuccess);
    EXPECT_EQ(Asked(), Joined(Joined(kChecks, kMounting), {"service: /usr/bin/MigrationScript.sh cleanbkup = 0"}));
    EXPECT_TRUE(Set().IsMounted("migration"));
    EXPECT_EQ(PowerFlag(), 0xAA);
    EXPECT_EQ(Logged({"NotifyMigrationStatus", "NotifyMigrationImplBkup"}),
              (Messages{Info("NotifyMigrationStatus VB_MIGRATION_STATUS_SUCCESS")}));
}

TEST_F(Notification, BackupEndPacksSyncsTheFactoryDataAndCleansUp)
{
    StartStrategy();
    Begin(kBackup);
    PutBackupTree();
    EXPECT_TRUE(Notify(kBackup, kEnd));
    EXPECT_EQ(Status(), kSuccess);
    EXPECT_EQ(
        Asked(),
        Joined({"service: /usr/bin/MigrationScript.sh tarncpy = 0", "DoVornBoxFactoryDatasSync 5 15 = 1"}, kCleanUp));
    EXPECT_FALSE(Set().IsMounted("migration"));
    EXPECT_EQ(PowerFlag(), 0xFF);
    EXPECT_TRUE(std::filesystem::exists(Set().Partition("migration") / "korvane_vbmg.tar"));
}

TEST_F(Notification, SuccessIsLoggedBeforeTheCleanUpOfAnEnd)
{
    StartStrategy();
    Begin(kBackup);
    PutBackupTree();
    ASSERT_TRUE(Notify(kBackup, kEnd));
    EXPECT_EQ(
        Logged({"NotifyMigrationStatus", "NotifyMigrationImplBkup", "UnMount", "CheckForNewBoard", "ClearPowerFlag"}),
        (Messages{Info("NotifyMigrationStatus VB_MIGRATION_STATUS_SUCCESS"), Info("\tUnmounting migration succeed "),
                  Info("...START "),
                  Info(" Values read :  mGPIOS[GPIO_165] = [1], mGPIOS[GPIO_153] = [1], mGPIOS[GPIO_107] = [1] "),
                  Info("This is not New Board ......END "), Info("Success! writing POWER Flag (0xffffffff)")}));
}

TEST_F(Notification, RestoreStartMountsAndUnpacks)
{
    StartStrategy("tv15", "box14-legacy");
    EXPECT_TRUE(Notify(kRestore, kStart));
    EXPECT_EQ(Status(), kSuccess);
    EXPECT_EQ(Asked(), Joined(Joined(kChecks, kMounting), {"service: /usr/bin/MigrationScript.sh cpynuntar = 0"}));
    EXPECT_EQ(Logged({"NotifyMigrationStatus", "NotifyMigrationImplRestore"}),
              (Messages{Info("NotifyMigrationStatus VB_MIGRATION_STATUS_SUCCESS")}));
}

TEST_F(Notification, RestoreEndOnlyCleansUp)
{
    StartStrategy("tv15", "box14-legacy");
    Begin(kRestore);
    EXPECT_TRUE(Notify(kRestore, kEnd));
    EXPECT_EQ(Status(), kSuccess);
    EXPECT_EQ(Asked(), kCleanUp);
}

TEST_F(Notification, AStartAfterACutMigrationFormatsInsteadOfMounting)
{
    StartStrategy();
    SetPowerFlag(0xAA);
    PutOnMigration("korvane_vbmg.tar");
    EXPECT_TRUE(Notify(kBackup, kStart));
    const Steps recovery = {"eeprom_read 0xF211 1 = 1 AA", "eeprom_write 0xF211 1 AA = 1",
                            "micom_check_serdes_lock = 0 1", "service: /bin/spi_init.sh format migration = 0"};
    EXPECT_EQ(Asked(),
              Joined(Joined(recovery, kLookAtOldBoard), {"service: /usr/bin/MigrationScript.sh cleanbkup = 0"}));
    EXPECT_TRUE(Set().IsMounted("migration"));
    EXPECT_TRUE(std::filesystem::is_empty(Set().Partition("migration")));
}

TEST_F(Notification, ChecksThatFailDoNotStopAStart)
{
    StartStrategy("tv15-newboard");
    Fault("eeprom.read.F211", "-1");
    Fault("eeprom.write.F211", "0");
    Fault("ioctl.4004491F", "EIO");
    EXPECT_TRUE(Notify(kBackup, kStart));
    EXPECT_EQ(Status(), kSuccess);
}

TEST_F(Notification, CleanUpThatFailsDoesNotChangeTheResultOfAnEnd)
{
    StartStrategy("tv15-newboard");
    Begin(kBackup);
    PutBackupTree();
    Fault("service.spi_init.sh.umount.migration", "1");
    Fault("ioctl.4004491F", "EIO");
    Fault("eeprom.write.F211", "0");
    EXPECT_TRUE(Notify(kBackup, kEnd));
    EXPECT_EQ(Status(), kSuccess);
}

// Failures

TEST_F(Notification, AStartThatCannotMountFailsAndIsCleanedUpOnce)
{
    StartStrategy();
    Fault("serdes.polls", "never");
    EXPECT_FALSE(Notify(kBackup, kStart));
    EXPECT_EQ(Status(), kUnknownError);
    EXPECT_EQ(Asked({"request", "command", "file", "ioctl"}),
              Joined(Joined(kLookAtOldBoard, {"service: /usr/bin/MigrationScript.sh InsmodMig = 0"}), kLookAtOldBoard));
    EXPECT_EQ(PowerFlag(), 0xFF);
    EXPECT_EQ(Logged({"NotifyMigrationStatus", "NotifyMigrationImplBkup", "UnMount", "ClearPowerFlag"}),
              (Messages{Error("Mounting Failed"), Error(" Korvane_vbmg Partition Not Mounted\t"),
                        Info("Success! writing POWER Flag (0xffffffff)"),
                        Error("NotifyMigrationStatus VB_MIGRATION_STATUS_UNKNOWN_ERROR")}));
}

TEST_F(Notification, AStartThatCannotCleanTheOldBackupFailsAndUnmounts)
{
    StartStrategy();
    Fault("service.MigrationScript.sh.cleanbkup", "1");
    EXPECT_FALSE(Notify(kBackup, kStart));
    EXPECT_EQ(Status(), kUnknownError);
    EXPECT_EQ(
        Asked(),
        Joined(Joined(Joined(kChecks, kMounting), {"service: /usr/bin/MigrationScript.sh cleanbkup = 1"}), kCleanUp));
    EXPECT_EQ(Logged({"NotifyMigrationImplBkup"}), (Messages{Error("Cleaning at backkup failed")}));
    EXPECT_FALSE(Set().IsMounted("migration"));
}

TEST_F(Notification, AFailedBackupEndIsCleanedUpTwice)
{
    StartStrategy();
    Begin(kBackup);  // and nothing to pack
    EXPECT_FALSE(Notify(kBackup, kEnd));
    EXPECT_EQ(Status(), kUnknownError);
    EXPECT_EQ(Asked(),
              Joined(Joined({"service: /usr/bin/MigrationScript.sh tarncpy = 1", "DoVornBoxFactoryDatasSync 5 15 = 1"},
                            kCleanUp),
                     kCleanUpUnmounted));
    EXPECT_EQ(
        Logged({"NotifyMigrationStatus", "NotifyMigrationImplBkup", "UnMount", "ClearPowerFlag"}),
        (Messages{Error("Taring at backkup failed"), Info("\tUnmounting migration succeed "),
                  Info("Success! writing POWER Flag (0xffffffff)"),
                  Error("NotifyMigrationStatus VB_MIGRATION_STATUS_UNKNOWN_ERROR"),
                  Error(" Korvane_vbmg Partition Not Mounted\t"), Info("Success! writing POWER Flag (0xffffffff)")}));
}

TEST_F(Notification, TheSecondCleanUpTriesAFailedUnmountAgain)
{
    StartStrategy();
    Begin(kBackup);
    Fault("service.spi_init.sh.umount.migration", "3");
    EXPECT_FALSE(Notify(kBackup, kEnd));
    EXPECT_EQ(Commands(), (Steps{"service: /usr/bin/MigrationScript.sh tarncpy = 1",
                                 "service: /bin/spi_init.sh umount migration = 3",
                                 "service: /bin/spi_init.sh umount migration = 3"}));
}

TEST_F(Notification, ANegativeStatusOfAScriptFailsTheStep)
{
    StartStrategy();
    Fault("service.reply.0", "0:-1:0");  // of every command; the mount does not mind
    EXPECT_FALSE(Notify(kBackup, kStart));
    EXPECT_FALSE(Notify(kBackup, kEnd));
    EXPECT_EQ(Logged({"NotifyMigrationImplBkup"}),
              (Messages{Error("Cleaning at backkup failed"), Error("Taring at backkup failed")}));
    EXPECT_FALSE(Notify(kRestore, kStart));
    EXPECT_EQ(Logged({"NotifyMigrationImplRestore"}), (Messages{Error("Untaring at restore failed")}));
}

TEST_F(Notification, RestoreStartReportsWhatFailed)
{
    StartStrategy();
    EXPECT_FALSE(Notify(kRestore, kStart));  // a new box holds no backup
    EXPECT_EQ(Logged({"NotifyMigrationImplRestore"}), (Messages{Error("Untaring at restore failed")}));
    EXPECT_EQ(
        Asked(),
        Joined(Joined(Joined(kChecks, kMounting), {"service: /usr/bin/MigrationScript.sh cpynuntar = 1"}), kCleanUp));
    Forget();
    Fault("serdes.polls", "never");
    EXPECT_FALSE(Notify(kRestore, kStart));
    EXPECT_EQ(Logged({"NotifyMigrationImplRestore"}), (Messages{Error("Mounting Failed ")}));
    EXPECT_EQ(Status(), kUnknownError);
}

TEST_F(Notification, ARestoreAfterACutMigrationIsRefusedWithoutMounting)
{
    StartStrategy("tv15", "box14-legacy");
    SetPowerFlag(0xAA);
    EXPECT_FALSE(Notify(kRestore, kStart));
    EXPECT_EQ(Status(), kUnknownError);
    const Steps recovery = {"eeprom_read 0xF211 1 = 1 AA", "eeprom_write 0xF211 1 AA = 1",
                            "micom_check_serdes_lock = 0 1", "service: /bin/spi_init.sh format migration = 0"};
    const Steps refusal = {"eeprom_write 0xF211 1 FF = 1", "service: /usr/bin/MigrationScript.sh UnmountMig = 0"};
    EXPECT_EQ(Asked(), Joined(Joined(Joined(recovery, kLookAtOldBoard), refusal), kCleanUpUnmounted));
    EXPECT_EQ(Logged({"NotifyMigrationImplRestore"}), Messages{});
    EXPECT_FALSE(Set().IsMounted("migration"));
}

TEST_F(Notification, ARefusedRestoreRemembersThatThePartitionWasFormatted)
{
    // The refusal consumes the detection alone: the next start still takes the partition as the recovery left it.
    StartStrategy();
    SetPowerFlag(0xAA);
    ASSERT_FALSE(Notify(kRestore, kStart));
    Forget();
    EXPECT_TRUE(Notify(kBackup, kStart));
    EXPECT_EQ(Commands(), (Steps{"service: /usr/bin/MigrationScript.sh cleanbkup = 0"}));
}

class NotificationOfAWrongType : public Notification, public ::testing::WithParamInterface<int> {};

TEST_P(NotificationOfAWrongType, FailsAndIsCleanedUpAlreadyAtStart)
{
    StartStrategy();
    EXPECT_FALSE(Notify(GetParam(), kStart));
    EXPECT_EQ(Status(), kUnknownError);
    EXPECT_EQ(Asked(), Joined(kChecks, kCleanUpUnmounted));
    EXPECT_EQ(
        Logged({"NotifyMigrationStatus", "UnMount", "ClearPowerFlag"}),
        (Messages{Error("NotifyMigrationStatus Wrong Param for : eType value = [" + std::to_string(GetParam()) + "] "),
                  Error(" Korvane_vbmg Partition Not Mounted\t"), Info("Success! writing POWER Flag (0xffffffff)"),
                  Error("NotifyMigrationStatus VB_MIGRATION_STATUS_UNKNOWN_ERROR")}));
}

TEST_P(NotificationOfAWrongType, FailsAndIsCleanedUpTwiceAtEnd)
{
    StartStrategy();
    Begin(kBackup);
    EXPECT_FALSE(Notify(GetParam(), kEnd));
    EXPECT_EQ(Status(), kUnknownError);
    EXPECT_EQ(Asked(), Joined(kCleanUp, kCleanUpUnmounted));
}

INSTANTIATE_TEST_SUITE_P(Types, NotificationOfAWrongType, ::testing::Values(0, 1, 4, -1, INT32_MAX));

class NotificationOfAnOddProgress : public Notification, public ::testing::WithParamInterface<int> {};

TEST_P(NotificationOfAnOddProgress, DoesNothingButFailAndCleanUpOnce)
{
    StartStrategy();
    for (const int type : {kBackup, kRestore}) {
        Forget();
        EXPECT_FALSE(Notify(type, GetParam()));
        EXPECT_EQ(Status(), kUnknownError);
        EXPECT_EQ(Asked(), kCleanUpUnmounted);
        EXPECT_EQ(Logged({"NotifyMigrationStatus", "NotifyMigrationImplBkup", "NotifyMigrationImplRestore"}),
                  (Messages{Error("NotifyMigrationStatus VB_MIGRATION_STATUS_UNKNOWN_ERROR")}));
    }
}

INSTANTIATE_TEST_SUITE_P(Progresses, NotificationOfAnOddProgress, ::testing::Values(2, -1, INT32_MIN));

/** A pairing whose handlers run out of memory once the partition is mounted. */
class ThrowingStrategy : public SteeredStrategy {
 public:
    bool NotifyMigrationImplBkup(const VB_VornBoxMigrationProgress_k&) override
    {
        InsmodNMount();
        throw std::bad_alloc();
    }
    bool NotifyMigrationImplRestore(const VB_VornBoxMigrationProgress_k&) override
    {
        InsmodNMount();
        throw 7;
    }
};

class NotificationWhoseHandlerThrows : public Notification, public ::testing::WithParamInterface<int> {
 protected:
    void SetUp() override
    {
        StartSet();
        strategy_.emplace();
        Forget();
    }
    std::optional<ThrowingStrategy> strategy_;
};

TEST_P(NotificationWhoseHandlerThrows, FailsAndIsCleanedUpAtStart)
{
    EXPECT_FALSE(Notify(*strategy_, GetParam(), kStart));
    EXPECT_EQ(Status(), kUnknownError);
    EXPECT_EQ(Asked(), Joined(Joined(kChecks, kMounting), kCleanUp));
    EXPECT_EQ(Logged({"NotifyMigrationStatus"}),
              (Messages{Error("NotifyMigrationStatus VB_MIGRATION_STATUS_UNKNOWN_ERROR")}));
    EXPECT_EQ(PowerFlag(), 0xFF);
}

TEST_P(NotificationWhoseHandlerThrows, FailsAndIsCleanedUpTwiceAtEnd)
{
    EXPECT_FALSE(Notify(*strategy_, GetParam(), kEnd));
    EXPECT_EQ(Status(), kUnknownError);
    EXPECT_EQ(Asked(), Joined(Joined(kMounting, kCleanUp), kCleanUpUnmounted));
}

INSTANTIATE_TEST_SUITE_P(Handlers, NotificationWhoseHandlerThrows, ::testing::Values(kBackup, kRestore));

// The handlers alone

TEST_F(Notification, FactoryDataIsSyncedAfterPackingWhateverCameOfIt)
{
    StartSet();
    SteeredStrategy strategy;
    Forget();
    EXPECT_FALSE(strategy.NotifyMigrationImplBkup(VB_MIGRATION_PROGRESS_END));
    EXPECT_EQ(Asked(),
              (Steps{"service: /usr/bin/MigrationScript.sh tarncpy = 1", "DoVornBoxFactoryDatasSync 5 15 = 1"}));
}

TEST_F(Notification, FactoryDataIsSyncedForTheYearOfTheTv)
{
    StartSet("tv17", "box17");
    SteeredStrategy strategy;
    Forget();
    strategy.NotifyMigrationImplBkup(VB_MIGRATION_PROGRESS_END);
    strategy.DumpNonVolatileData();
    const Steps platform = Asked({"platform"});
    EXPECT_EQ(platform.front(), "DoVornBoxFactoryDatasSync 5 17 = 1");
    EXPECT_EQ(platform.back(), "DoVornBoxFactoryDatasSync 5 17 = 1");
    EXPECT_EQ(std::count(platform.begin(), platform.end(), platform.front()), 2);
}

TEST_F(Notification, RestoreEndDoesNothingByItself)
{
    StartSet();
    SteeredStrategy strategy;
    Forget();
    EXPECT_TRUE(strategy.NotifyMigrationImplRestore(VB_MIGRATION_PROGRESS_END));
    EXPECT_EQ(Asked(), Steps{});
    EXPECT_EQ(Logged(), Messages{});
}

TEST_F(Notification, ARefusalConsumesTheDetectionAlsoWhenTheFlagCannotBeCleared)
{
    StartSet("tv15", "box14-legacy");
    SteeredStrategy strategy;
    SetPowerFlag(0xAA);
    ASSERT_TRUE(strategy.CheckForPowerOff());
    Fault("eeprom.write.F211", "0");
    Forget();
    EXPECT_FALSE(strategy.NotifyMigrationImplRestore(VB_MIGRATION_PROGRESS_START));
    EXPECT_EQ(Asked(), (Steps{"eeprom_write 0xF211 1 FF = 0", "service: /usr/bin/MigrationScript.sh UnmountMig = 1"}));
    EXPECT_TRUE(strategy.NotifyMigrationImplRestore(VB_MIGRATION_PROGRESS_START));
}

TEST_F(Notification, MessagesNameTheStrategyUnit)
{
    StartStrategy("tv15", "box14-legacy");
    Notify(kBackup, kStart);
    Notify(kRestore, kStart);
    Notify(9, kEnd);
    EXPECT_EQ(UnitsOf({"NotifyMigrationStatus", "NotifyMigrationImplBkup", "NotifyMigrationImplRestore"}),
              (std::vector<std::string>{"MigrationStrategy.cpp"}));
}

TEST_F(Notification, LeavesNoDescriptorOpenWhateverFails)
{
    StartStrategy("tv15-newboard");
    Notify(kBackup, kStart);  // connects the client
    const auto before = OpenDescriptors();
    const std::vector<std::pair<std::string, std::string>> faults = {{"serdes.polls", "never"},
                                                                     {"service.MigrationScript.sh", "1"},
                                                                     {"ioctl.4004491F", "EIO"},
                                                                     {"path./dev/system", "EACCES"},
                                                                     {"path./dev/dvb/adapter0/frontend0", "ENOENT"},
                                                                     {"ioctl.80246F51", "EIO"}};
    for (const auto& [key, value] : faults) {
        Fault(key, value);
        for (const int type : {kBackup, kRestore, 1}) {
            Notify(type, kStart);
            Notify(type, kEnd);
        }
        NoFault(key);
        EXPECT_EQ(OpenDescriptors(), before) << key;
    }
}

}  // namespace
