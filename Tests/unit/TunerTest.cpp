/** The tuner held still while a migration runs, and let go again. */
#include "StrategyOnSet.h"

#include <optional>

namespace {

const Steps kOpened = {"open /dev/system O_RDWR = 0"};
const Steps kNewBoard = {"open /dev/system O_RDWR = 0", "BOARD_READ_GPIO_165 level 1 = 0",
                         "BOARD_READ_GPIO_153 level 1 = 0", "BOARD_READ_GPIO_107 level 0 = 0"};
const Steps kOldBoard = {"open /dev/system O_RDWR = 0", "BOARD_READ_GPIO_165 level 1 = 0",
                         "BOARD_READ_GPIO_153 level 1 = 0", "BOARD_READ_GPIO_107 level 1 = 0", "close /dev/system = 0"};
const Steps kScript = {"service: /usr/bin/MigrationScript.sh UnMoungNRmmod = 0"};
const Steps kClosed = {"close /dev/system = 0"};

Steps Slots(int count)
{
    return {"system_info_get_value_int 241 = 0 " + std::to_string(count)};
}

Steps Mute(const std::string& parameter)
{
    return {"open /dev/dvb/adapter0/frontend0 O_RDONLY = 0",
            "FE_SEND_DBG_CMD command 0x323 parameter " + parameter + " = 0", "close /dev/dvb/adapter0/frontend0 = 0"};
}

const Steps kMuteRefused = {"open /dev/dvb/adapter0/frontend0 O_RDONLY = 0", "FE_SEND_DBG_CMD = EIO",
                            "close /dev/dvb/adapter0/frontend0 = 0"};
const Steps kSaved = {"BOARD_READ_GPIO_172 level 1 = 0", "BOARD_READ_GPIO_173 level 0 = 0",
                      "BOARD_READ_GPIO_174 level 1 = 0", "BOARD_READ_GPIO_175 level 1 = 0"};
const Steps kRestored = {"BOARD_SET_GPIO_172 level 1 = 0", "BOARD_SET_GPIO_173 level 0 = 0",
                         "BOARD_SET_GPIO_174 level 1 = 0", "BOARD_SET_GPIO_175 level 1 = 0"};
const Steps kBufferOff = {"BOARD_SET_BUFFER_IC level 0 = 0"};
const Steps kBufferOn = {"BOARD_SET_BUFFER_IC level 1 = 0"};

Steps All(const std::vector<Steps>& parts)
{
    Steps all;
    for (const Steps& part : parts) {
        all = Joined(all, part);
    }
    return all;
}

/** The first steps of some, and then one more. */
Steps UpTo(const Steps& steps, int count, const std::string& last)
{
    return Joined(Steps(steps.begin(), steps.begin() + count), {last});
}

class Tuner : public StrategyOnSet {
 protected:
    void StartStrategy(const std::string& tv)
    {
        StartSet(tv);
        strategy_.emplace();
        Forget();
    }
    /** On a new board with CI slots, after a start. */
    void StartHeld()
    {
        StartStrategy("tv15-newboard");
        ASSERT_TRUE(Strategy().TunerGIPOSet());
        Forget();
    }
    SteeredStrategy& Strategy() { return *strategy_; }

    int State(const std::string& name) { return std::stoi(ReadFile(Set().TvDirectory() / "volatile" / name)); }
    void SetLevel(int gpio, int level)
    {
        WriteFile(Set().TvDirectory() / "volatile/gpio" / std::to_string(gpio), std::to_string(level));
    }

 private:
    std::optional<SteeredStrategy> strategy_;
};

// Set

TEST_F(Tuner, IsHeldOnANewBoardWithCiSlots)
{
    StartStrategy("tv15-newboard");
    EXPECT_TRUE(Strategy().TunerGIPOSet());
    EXPECT_EQ(Asked(), All({kNewBoard, kScript, Slots(2), Mute("1"), kSaved, kBufferOff, kClosed}));
    EXPECT_EQ(Logged({"TunerGIPOSet"}), (Messages{Info("...MigrationScript.sh UnMoungNRmmod START "),
                                                  Info("...MigrationScript.sh UnMoungNRmmod END ")}));
    EXPECT_EQ(State("tuner_mute"), 1);
    EXPECT_EQ(State("buffer_ic"), 0);
    EXPECT_THAT(Strategy().mGPIOS, ::testing::ElementsAre(1, 0, 1, 1, 1, 1, 0));
}

TEST_F(Tuner, IsNeitherMutedNorSavedOnANewBoardWithoutCiSlotsButTheBufferIcIsSwitched)
{
    StartStrategy("tv15-newboard-noci");
    EXPECT_TRUE(Strategy().TunerGIPOSet());
    EXPECT_EQ(Asked(), All({kNewBoard, kScript, Slots(0), kBufferOff, kClosed}));
    EXPECT_EQ(State("tuner_mute"), 0);
    EXPECT_EQ(State("buffer_ic"), 0);
}

TEST_F(Tuner, IsLeftAloneOnAnOldBoard)
{
    StartStrategy("tv15");
    EXPECT_TRUE(Strategy().TunerGIPOSet());
    EXPECT_EQ(Asked(), kOldBoard);
    EXPECT_TRUE(Strategy().TunerGIPOUnset());
    EXPECT_EQ(Asked(), All({kOldBoard, kOldBoard}));
    EXPECT_EQ(Logged({"TunerGIPOSet", "TunerGIPOUnset"}), Messages{});
}

class TunerWithoutSystemDevice : public Tuner, public ::testing::WithParamInterface<const char*> {};

TEST_P(TunerWithoutSystemDevice, CountsAsHeldAndAsLetGo)
{
    StartStrategy("tv15-newboard");
    Fault("path./dev/system", GetParam());
    EXPECT_TRUE(Strategy().TunerGIPOSet());
    EXPECT_TRUE(Strategy().TunerGIPOUnset());
    const std::string refused = std::string("open /dev/system O_RDWR = ") + GetParam();
    EXPECT_EQ(Asked(), (Steps{refused, refused}));
    EXPECT_EQ(Logged({"TunerGIPOSet"}), (Messages{Error("FATAL failure to open /dev/system ")}));
    EXPECT_EQ(Logged({"TunerGIPOUnset"}), (Messages{Error("FATAL failure to open /dev/system ")}));
    EXPECT_EQ(Logged().size(), 2u);
}

INSTANTIATE_TEST_SUITE_P(Errors, TunerWithoutSystemDevice, ::testing::Values("ENOENT", "EACCES"));

TEST_F(Tuner, ATvWithoutTheSystemDeviceNeedsNoHolding)
{
    StartSetWith("tv15-newboard", "system_device = true", "system_device = false");
    SteeredStrategy strategy;
    EXPECT_TRUE(strategy.TunerGIPOSet());
    EXPECT_EQ(Logged({"TunerGIPOSet"}), (Messages{Error("FATAL failure to open /dev/system ")}));
}

TEST_F(Tuner, AScriptThatFailsIsIgnored)
{
    StartStrategy("tv15-newboard");
    Fault("service.MigrationScript.sh.UnMoungNRmmod", "1");
    const Steps script = {"service: /usr/bin/MigrationScript.sh UnMoungNRmmod = 1"};
    EXPECT_TRUE(Strategy().TunerGIPOSet());
    EXPECT_EQ(Asked(), All({kNewBoard, script, Slots(2), Mute("1"), kSaved, kBufferOff, kClosed}));
    Forget();
    EXPECT_TRUE(Strategy().TunerGIPOUnset());
    EXPECT_EQ(Asked(), All({kNewBoard, Slots(2), script, kBufferOn, kRestored, Mute("0"), kClosed}));
}

// Unset

TEST_F(Tuner, IsLetGoOnANewBoardWithCiSlots)
{
    StartHeld();
    for (const int gpio : {172, 174, 175}) {
        SetLevel(gpio, 0);
    }
    EXPECT_TRUE(Strategy().TunerGIPOUnset());
    EXPECT_EQ(Asked(), All({kNewBoard, Slots(2), kScript, kBufferOn, kRestored, Mute("0"), kClosed}));
    EXPECT_EQ(Logged({"TunerGIPOUnset"}), (Messages{Info("...MigrationScript.sh UnMoungNRmmod START "),
                                                    Info("...MigrationScript.sh UnMoungNRmmod END ")}));
    EXPECT_EQ(State("tuner_mute"), 0);
    EXPECT_EQ(State("buffer_ic"), 1);
    EXPECT_EQ(State("gpio/172"), 1);
    EXPECT_EQ(State("gpio/173"), 0);
    EXPECT_EQ(State("gpio/174"), 1);
    EXPECT_EQ(State("gpio/175"), 1);
}

TEST_F(Tuner, IsOnlyLookedAtOnANewBoardWithoutCiSlotsSoThatTheBufferIcStaysOff)
{
    StartStrategy("tv15-newboard-noci");
    ASSERT_TRUE(Strategy().TunerGIPOSet());
    Forget();
    EXPECT_TRUE(Strategy().TunerGIPOUnset());
    EXPECT_EQ(Asked(), All({kNewBoard, Slots(0), kClosed}));
    EXPECT_EQ(Logged({"TunerGIPOUnset"}), Messages{});
    EXPECT_EQ(State("buffer_ic"), 0);
}

TEST_F(Tuner, LevelsAreRestoredAlsoWhenTheBufferIcFails)
{
    StartHeld();
    Fault("ioctl.4004491F", "EIO");
    EXPECT_FALSE(Strategy().TunerGIPOUnset());
    EXPECT_EQ(Asked(),
              All({kNewBoard, Slots(2), kScript, {"BOARD_SET_BUFFER_IC = EIO"}, kRestored, Mute("0"), kClosed}));
    EXPECT_EQ(Logged({"TunerGIPOUnset"}), (Messages{Info("...MigrationScript.sh UnMoungNRmmod START "),
                                                    Info("...MigrationScript.sh UnMoungNRmmod END "),
                                                    Error(" IOCTL Failed for Buffer IC enable  retval = [-1]")}));
}

TEST_F(Tuner, LevelsOfADriverThatStoresFourBytesArePutBackToo)
{
    StartSetWith("tv15-newboard", "gpio_reads_store_four_bytes = false", "gpio_reads_store_four_bytes = true");
    SteeredStrategy strategy;
    Forget();
    EXPECT_TRUE(strategy.TunerGIPOSet());
    EXPECT_TRUE(strategy.TunerGIPOUnset());
    EXPECT_EQ(Asked({"ioctl"}).back(), "FE_SEND_DBG_CMD command 0x323 parameter 0 = 0");
    EXPECT_EQ(State("gpio/172"), 1);
    EXPECT_EQ(State("gpio/173"), 0);
    EXPECT_EQ(State("gpio/174"), 1);
    EXPECT_EQ(State("gpio/175"), 1);
}

// A failure at each place in turn

struct Failing {
    const char* name;
    std::string fault;
    bool result;
    Steps asked;
};

const Steps kUpToMute = All({kNewBoard, kScript, Slots(2)});
const Steps kUpToSaving = All({kUpToMute, Mute("1")});
const Steps kSetEnd = All({kBufferOff, kClosed});

const std::vector<Failing> kFailingSets = {
    {"Gpio165", "ioctl.40044916", true, All({kOpened, {"BOARD_READ_GPIO_165 = EIO"}, kClosed})},
    {"Gpio153", "ioctl.40044915", true, All({UpTo(kNewBoard, 2, "BOARD_READ_GPIO_153 = EIO"), kClosed})},
    {"Gpio107", "ioctl.40044914", true, All({UpTo(kNewBoard, 3, "BOARD_READ_GPIO_107 = EIO"), kClosed})},
    {"Frontend", "path./dev/dvb/adapter0/frontend0", true,
     All({kUpToMute, {"open /dev/dvb/adapter0/frontend0 O_RDONLY = EIO"}, kSaved, kSetEnd})},
    {"Mute", "ioctl.80246F51", true, All({kUpToMute, kMuteRefused, kSaved, kSetEnd})},
    {"Gpio172", "ioctl.40044917", false, All({kUpToSaving, {"BOARD_READ_GPIO_172 = EIO"}, kSetEnd})},
    {"Gpio173", "ioctl.40044918", false, All({kUpToSaving, UpTo(kSaved, 1, "BOARD_READ_GPIO_173 = EIO"), kSetEnd})},
    {"Gpio174", "ioctl.40044919", false, All({kUpToSaving, UpTo(kSaved, 2, "BOARD_READ_GPIO_174 = EIO"), kSetEnd})},
    {"Gpio175", "ioctl.4004491A", false, All({kUpToSaving, UpTo(kSaved, 3, "BOARD_READ_GPIO_175 = EIO"), kSetEnd})},
    {"BufferIc", "ioctl.4004491F", false, All({kUpToSaving, kSaved, {"BOARD_SET_BUFFER_IC = EIO"}, kClosed})},
};

const Steps kUpToBuffer = All({kNewBoard, Slots(2), kScript});
const Steps kUpToRestoring = All({kUpToBuffer, kBufferOn});
const Steps kUnsetEnd = All({Mute("0"), kClosed});

const std::vector<Failing> kFailingUnsets = {
    {"Gpio165", "ioctl.40044916", true, All({kOpened, {"BOARD_READ_GPIO_165 = EIO"}, kClosed})},
    {"Gpio153", "ioctl.40044915", true, All({UpTo(kNewBoard, 2, "BOARD_READ_GPIO_153 = EIO"), kClosed})},
    {"Gpio107", "ioctl.40044914", true, All({UpTo(kNewBoard, 3, "BOARD_READ_GPIO_107 = EIO"), kClosed})},
    {"BufferIc", "ioctl.4004491F", false, All({kUpToBuffer, {"BOARD_SET_BUFFER_IC = EIO"}, kRestored, kUnsetEnd})},
    {"Gpio172", "ioctl.4004491B", false, All({kUpToRestoring, {"BOARD_SET_GPIO_172 = EIO"}, kUnsetEnd})},
    {"Gpio173", "ioctl.4004491C", false,
     All({kUpToRestoring, UpTo(kRestored, 1, "BOARD_SET_GPIO_173 = EIO"), kUnsetEnd})},
    {"Gpio174", "ioctl.4004491D", false,
     All({kUpToRestoring, UpTo(kRestored, 2, "BOARD_SET_GPIO_174 = EIO"), kUnsetEnd})},
    {"Gpio175", "ioctl.4004491E", false,
     All({kUpToRestoring, UpTo(kRestored, 3, "BOARD_SET_GPIO_175 = EIO"), kUnsetEnd})},
    {"Frontend", "path./dev/dvb/adapter0/frontend0", true,
     All({kUpToRestoring, kRestored, {"open /dev/dvb/adapter0/frontend0 O_RDONLY = EIO"}, kClosed})},
    {"Mute", "ioctl.80246F51", true, All({kUpToRestoring, kRestored, kMuteRefused, kClosed})},
};

std::string NameOf(const ::testing::TestParamInfo<Failing>& failing)
{
    return failing.param.name;
}

class TunerSet : public Tuner, public ::testing::WithParamInterface<Failing> {};

TEST_P(TunerSet, GoesOnAsFarAsItMayAndClosesWhatItOpened)
{
    StartStrategy("tv15-newboard");
    ASSERT_TRUE(Strategy().TunerGIPOSet());  // connects the client
    const auto before = OpenDescriptors();
    Fault(GetParam().fault, "EIO");
    Forget();
    EXPECT_EQ(Strategy().TunerGIPOSet(), GetParam().result);
    EXPECT_EQ(Asked(), GetParam().asked);
    EXPECT_EQ(OpenDescriptors(), before);
}

INSTANTIATE_TEST_SUITE_P(Failing, TunerSet, ::testing::ValuesIn(kFailingSets), NameOf);

class TunerUnset : public Tuner, public ::testing::WithParamInterface<Failing> {};

TEST_P(TunerUnset, GoesOnAsFarAsItMayAndClosesWhatItOpened)
{
    StartHeld();
    const auto before = OpenDescriptors();
    Fault(GetParam().fault, "EIO");
    EXPECT_EQ(Strategy().TunerGIPOUnset(), GetParam().result);
    EXPECT_EQ(Asked(), GetParam().asked);
    EXPECT_EQ(OpenDescriptors(), before);
}

INSTANTIATE_TEST_SUITE_P(Failing, TunerUnset, ::testing::ValuesIn(kFailingUnsets), NameOf);

TEST_F(Tuner, ABufferIcThatCannotBeSwitchedOffIsReported)
{
    StartStrategy("tv15-newboard-noci");
    Fault("ioctl.4004491F", "EIO");
    EXPECT_FALSE(Strategy().TunerGIPOSet());
    EXPECT_EQ(Logged({"TunerGIPOSet"}), (Messages{Info("...MigrationScript.sh UnMoungNRmmod START "),
                                                  Info("...MigrationScript.sh UnMoungNRmmod END "),
                                                  Error(" IOCTL Failed for Buffer IC enable  retval = [-1]")}));
}

// By progress

TEST_F(Tuner, IsSetAtAStart)
{
    StartStrategy("tv15-newboard");
    EXPECT_TRUE(Strategy().TunerGPIOSetUnset(VB_MIGRATION_PROGRESS_START));
    EXPECT_EQ(Logged({"TunerGPIOSetUnset", "SetTunerMute"}),
              (Messages{Info("VB_MIGRATION_PROGRESS_START Start =="), Info("...START, onOff[1] "),
                        Info("...END, onOff[1] "), Info("VB_MIGRATION_PROGRESS_START END  ==")}));
    Fault("ioctl.4004491F", "EIO");
    Forget();
    EXPECT_FALSE(Strategy().TunerGPIOSetUnset(VB_MIGRATION_PROGRESS_START));
    EXPECT_EQ(Logged().back(), Info("VB_MIGRATION_PROGRESS_START END  =="));
}

TEST_F(Tuner, IsUnsetAtAnEnd)
{
    StartHeld();
    EXPECT_TRUE(Strategy().TunerGPIOSetUnset(VB_MIGRATION_PROGRESS_END));
    EXPECT_EQ(Logged({"TunerGPIOSetUnset", "SetTunerMute"}),
              (Messages{Info("VB_MIGRATION_PROGRESS_END Start =="), Info("...START, onOff[0] "),
                        Info("...END, onOff[0] "), Info("VB_MIGRATION_PROGRESS_END END ==")}));
    Fault("ioctl.4004491F", "EIO");
    Forget();
    EXPECT_FALSE(Strategy().TunerGPIOSetUnset(VB_MIGRATION_PROGRESS_END));
    EXPECT_EQ(Logged().back(), Info("VB_MIGRATION_PROGRESS_END END =="));
}

TEST_F(Tuner, IsLeftAloneAtAnyOtherProgress)
{
    StartStrategy("tv15-newboard");
    for (const int progress : {2, -1}) {
        EXPECT_TRUE(Strategy().TunerGPIOSetUnset(static_cast<VB_VornBoxMigrationProgress_k>(progress)));
    }
    EXPECT_EQ(Asked(), Steps{});
    EXPECT_EQ(Logged(), Messages{});
}

TEST_F(Tuner, MessagesNameTheStrategyUnit)
{
    StartHeld();
    Strategy().TunerGPIOSetUnset(VB_MIGRATION_PROGRESS_START);
    Strategy().TunerGPIOSetUnset(VB_MIGRATION_PROGRESS_END);
    EXPECT_EQ(UnitsOf({"TunerGIPOSet", "TunerGIPOUnset", "TunerGPIOSetUnset"}),
              (std::vector<std::string>{"MigrationStrategy.cpp"}));
}

}  // namespace
