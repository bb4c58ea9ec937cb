/** Recovery from a power loss in the middle of a migration: the flag in EEPROM and the format that it asks for. */
#include "StrategyOnSet.h"

#include <EepromMap.h>

#include <dlfcn.h>

#include <optional>

namespace {

bool eepromLeavesTheBufferAlone = false;

}  // namespace

int eeprom_read(unsigned int item, int size, unsigned char* buffer)
{
    static const auto next = reinterpret_cast<decltype(&::eeprom_read)>(dlsym(RTLD_NEXT, "eeprom_read"));
    return eepromLeavesTheBufferAlone ? size : next(item, size, buffer);
}

namespace {

const char* const kFormat = "service: /bin/spi_init.sh format migration = ";
const char* const kRaise = "eeprom_write 0xF211 1 AA = 1";
const char* const kLower = "eeprom_write 0xF211 1 FF = 1";

class PowerFailure : public StrategyOnSet {
 protected:
    void SetUp() override
    {
        StartSet();
        strategy_.emplace();
        Forget();
    }
    SteeredStrategy& Strategy() { return *strategy_; }

    /** A restore is refused, once, when an interrupted migration is known of. */
    bool IsKnown() { return Strategy().mbPowerOffDetected; }

    void MakeKnown()
    {
        SetPowerFlag(0xAA);
        ASSERT_TRUE(Strategy().CheckForPowerOff());
        Forget();
    }

 private:
    std::optional<SteeredStrategy> strategy_;
};

// Reading the flag

TEST_F(PowerFailure, IsDetectedByTheFlagOfARunningMigration)
{
    SetPowerFlag(0xAA);
    EXPECT_TRUE(Strategy().CheckForPowerOff());
    EXPECT_TRUE(IsKnown());
    EXPECT_EQ(Asked(), (Steps{"eeprom_read 0xF211 1 = 1 AA"}));
    EXPECT_EQ(Logged(), (Messages{Info(" POWER flag status (0xaa) "), Info(" There was power off  ###### ")}));
}

struct IdleFlag {
    unsigned char value;
    const char* status;
    const char* assumption;
};

class IdlePowerFlag : public PowerFailure, public ::testing::WithParamInterface<IdleFlag> {};

TEST_P(IdlePowerFlag, MeansNoPowerFailure)
{
    SetPowerFlag(GetParam().value);
    EXPECT_FALSE(Strategy().CheckForPowerOff());
    EXPECT_FALSE(IsKnown());
    EXPECT_EQ(Logged(), (Messages{Info(GetParam().status), Error(GetParam().assumption)}));
}

TEST_P(IdlePowerFlag, IsRaisedForTheNewRun)
{
    SetPowerFlag(GetParam().value);
    EXPECT_TRUE(Strategy().CheckNFormatInPowerOffCase());
    EXPECT_EQ(PowerFlag(), 0xAA);
    EXPECT_EQ(Commands(), Steps{});
}

TEST_P(IdlePowerFlag, LeavesAnEarlierDetectionAlone)
{
    MakeKnown();
    SetPowerFlag(GetParam().value);
    EXPECT_FALSE(Strategy().CheckForPowerOff());
    EXPECT_TRUE(IsKnown());
}

INSTANTIATE_TEST_SUITE_P(
    Values, IdlePowerFlag,
    ::testing::Values(IdleFlag{0xFF, " POWER flag status (0xff) ", "value (0xff), assumed there was no POWER Faiure "},
                      IdleFlag{0x00, " POWER flag status (0x00) ", "value (0x00), assumed there was no POWER Faiure "},
                      IdleFlag{0x55, " POWER flag status (0x55) ", "value (0x55), assumed there was no POWER Faiure "},
                      IdleFlag{0xAB, " POWER flag status (0xab) ", "value (0xab), assumed there was no POWER Faiure "}),
    [](const auto& flag) { return "Flag" + std::to_string(flag.param.value); });

class UnreadablePowerFlag : public PowerFailure, public ::testing::WithParamInterface<int> {};

TEST_P(UnreadablePowerFlag, CountsAsNoPowerFailureAndIsRaisedAllTheSame)
{
    const std::string result = std::to_string(GetParam());
    SetPowerFlag(0xAA);
    Fault("eeprom.read.F211", result);
    EXPECT_FALSE(Strategy().CheckForPowerOff());
    EXPECT_FALSE(IsKnown());
    EXPECT_EQ(Logged(), (Messages{Error("ERROR! eeprom_read POWER FLAG (" + result + ")")}));
    Forget();
    EXPECT_TRUE(Strategy().CheckNFormatInPowerOffCase());
    EXPECT_EQ(Calls(), (Steps{"eeprom_read", "eeprom_write"}));
}

INSTANTIATE_TEST_SUITE_P(Results, UnreadablePowerFlag, ::testing::Values(0, -1, 2));

TEST_F(PowerFailure, AFlagThatIsNotWrittenByItsReadIsZero)
{
    eepromLeavesTheBufferAlone = true;
    EXPECT_FALSE(Strategy().CheckForPowerOff());
    EXPECT_EQ(Logged(), (Messages{Info(" POWER flag status (0x00) "),
                                  Error("value (0x00), assumed there was no POWER Faiure ")}));
}

// Writing the flag

TEST_F(PowerFailure, TheFlagIsRaised)
{
    EXPECT_TRUE(Strategy().SetFlagForPower());
    EXPECT_EQ(PowerFlag(), 0xAA);
    EXPECT_EQ(Asked(), (Steps{kRaise}));
    EXPECT_EQ(Logged(), (Messages{Info("Success! writing POWER Flag (0xffffffaa)")}));
}

TEST_F(PowerFailure, TheFlagIsLowered)
{
    SetPowerFlag(0xAA);
    EXPECT_TRUE(Strategy().ClearPowerFlag());
    EXPECT_EQ(PowerFlag(), 0xFF);
    EXPECT_EQ(Asked(), (Steps{kLower}));
    EXPECT_EQ(Logged(), (Messages{Info("Success! writing POWER Flag (0xffffffff)")}));
}

TEST_F(PowerFailure, RaisingTheFlagDoesNotTouchTheDetectionButLoweringDoes)
{
    MakeKnown();
    ASSERT_TRUE(Strategy().SetFlagForPower());
    EXPECT_TRUE(IsKnown());
    ASSERT_TRUE(Strategy().ClearPowerFlag());
    EXPECT_FALSE(IsKnown());
    ASSERT_TRUE(Strategy().SetFlagForPower());
    EXPECT_FALSE(IsKnown());
}

class UnwritablePowerFlag : public PowerFailure, public ::testing::WithParamInterface<int> {};

TEST_P(UnwritablePowerFlag, IsReportedWithTheFlagAndTheResult)
{
    const std::string result = std::to_string(GetParam());
    MakeKnown();
    Fault("eeprom.write.F211", result);
    EXPECT_FALSE(Strategy().SetFlagForPower());
    EXPECT_FALSE(Strategy().ClearPowerFlag());
    EXPECT_TRUE(IsKnown());
    EXPECT_EQ(Logged(), (Messages{Error("ERROR! eeprom_write POWER flag failed (-86), size (" + result + ")"),
                                  Error("ERROR! eeprom_write POWER flag failed (-1), size (" + result + ")")}));
}

INSTANTIATE_TEST_SUITE_P(Results, UnwritablePowerFlag, ::testing::Values(0, -1, 2));

// Formatting

TEST_F(PowerFailure, FormatsThePartitionOnTheServiceWithoutNamingAFileSystem)
{
    PutOnMigration("korvane_vbmg.tar");
    EXPECT_TRUE(Strategy().FormatPartitionPowerOff());
    EXPECT_EQ(Asked(), (Steps{"micom_check_serdes_lock = 0 1", std::string(kFormat) + "0"}));
    EXPECT_EQ(Logged({"FormatPartitionPowerOff"}), (Messages{Info("\tformat migration succeed ")}));
    EXPECT_TRUE(std::filesystem::is_empty(Set().Partition("migration")));
    EXPECT_TRUE(Strategy().mbFormattedAfterPowerOff);
}

TEST_F(PowerFailure, AFormatThatFailsIsOnlyLogged)
{
    Fault("service.spi_init.sh.format.migration", "5");
    EXPECT_TRUE(Strategy().FormatPartitionPowerOff());
    EXPECT_EQ(Logged({"FormatPartitionPowerOff"}),
              (Messages{Error(" Format SPI FLASH migration is FAIL!! Result : 5")}));
    EXPECT_FALSE(Strategy().mbFormattedAfterPowerOff);
    Forget();
    EXPECT_TRUE(Strategy().InsmodNMount());
    EXPECT_EQ(Commands(), (Steps{"service: /usr/bin/MigrationScript.sh InsmodMig = 0",
                                 "service: /bin/spi_init.sh mount migration = 0"}));
}

TEST_F(PowerFailure, AFormatWithANegativeStatusHasFailedToo)
{
    Fault("service.reply.0", "0:-17:0");
    EXPECT_TRUE(Strategy().FormatPartitionPowerOff());
    EXPECT_EQ(Logged({"FormatPartitionPowerOff"}),
              (Messages{Error(" Format SPI FLASH migration is FAIL!! Result : -17")}));
    EXPECT_FALSE(Strategy().mbFormattedAfterPowerOff);
}

TEST_F(PowerFailure, WithoutTheLockNothingIsFormattedAndTheNextMountIsAFullOne)
{
    Fault("serdes.polls", "never");
    EXPECT_TRUE(Strategy().FormatPartitionPowerOff());
    EXPECT_EQ(Commands(), Steps{});
    EXPECT_EQ(Logged({"FormatPartitionPowerOff"}), (Messages{Error("\tFatal !!!!\tSerdesLock not Achieved "),
                                                             Error("\tFatal !!!!\tSerdesLock not Achieved ")}));
    EXPECT_FALSE(Strategy().mbFormattedAfterPowerOff);
    NoFault("serdes.polls");
    Forget();
    EXPECT_TRUE(Strategy().InsmodNMount());
    EXPECT_EQ(Commands(), (Steps{"service: /usr/bin/MigrationScript.sh InsmodMig = 0",
                                 "service: /bin/spi_init.sh mount migration = 0"}));
}

// The check at a start

TEST_F(PowerFailure, AnInterruptedMigrationIsRecoveredWithTheFlagKeptRaised)
{
    SetPowerFlag(0xAA);
    EXPECT_TRUE(Strategy().CheckNFormatInPowerOffCase());
    EXPECT_EQ(Asked(), (Steps{"eeprom_read 0xF211 1 = 1 AA", kRaise, "micom_check_serdes_lock = 0 1",
                              std::string(kFormat) + "0"}));
    EXPECT_EQ(PowerFlag(), 0xAA);
}

TEST_F(PowerFailure, TheCheckSucceedsWhateverFails)
{
    SetPowerFlag(0xAA);
    Fault("eeprom.write.F211", "-1");
    Fault("service.spi_init.sh.format.migration", "1");
    EXPECT_TRUE(Strategy().CheckNFormatInPowerOffCase());
    Fault("serdes.polls", "never");
    EXPECT_TRUE(Strategy().CheckNFormatInPowerOffCase());
}

TEST_F(PowerFailure, GoesThroughItsWholeCycle)
{
    // Running, and the power goes: another process finds the flag.
    ASSERT_TRUE(Strategy().CheckNFormatInPowerOffCase());
    ASSERT_TRUE(Strategy().InsmodNMount());
    SteeredStrategy next;
    Forget();
    EXPECT_TRUE(next.CheckNFormatInPowerOffCase());
    EXPECT_TRUE(next.InsmodNMount());
    EXPECT_TRUE(next.UnMount());
    EXPECT_TRUE(next.ClearPowerFlag());
    EXPECT_EQ(Commands(), (Steps{std::string(kFormat) + "0", "service: /bin/spi_init.sh umount migration = 0"}));
    EXPECT_EQ(PowerFlag(), 0xFF);
    Forget();
    EXPECT_TRUE(next.CheckNFormatInPowerOffCase());
    EXPECT_TRUE(next.InsmodNMount());
    EXPECT_EQ(Commands(), (Steps{"service: /usr/bin/MigrationScript.sh InsmodMig = 0",
                                 "service: /bin/spi_init.sh mount migration = 0"}));
}

TEST_F(PowerFailure, MessagesNameTheStrategyUnit)
{
    SetPowerFlag(0xAA);
    Strategy().CheckNFormatInPowerOffCase();
    Strategy().ClearPowerFlag();
    EXPECT_EQ(UnitsOf({"CheckForPowerOff", "SetFlagForPower", "ClearPowerFlag", "FormatPartitionPowerOff"}),
              (std::vector<std::string>{"MigrationStrategy.cpp"}));
}

}  // namespace
