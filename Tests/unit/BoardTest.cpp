/** The board's devices one by one: detection of the new board, CI slots, GPIO levels, tuner mute. */
#include "StrategyOnSet.h"

#include <BoardDevices.h>
#include <UniqueFd.h>

#include <fcntl.h>

#include <cstddef>
#include <optional>

namespace {

class Board : public StrategyOnSet {
 protected:
    void StartStrategy(const std::string& tv = "tv15-newboard")
    {
        StartSet(tv);
        Prepare();
    }
    void Prepare()
    {
        system_.emplace(open("/dev/system", O_RDWR));
        ASSERT_TRUE(system_->IsOpen());
        strategy_.emplace();
        Forget();
    }
    SteeredStrategy& Strategy() { return *strategy_; }
    int System() const { return system_->Get(); }

    std::filesystem::path Volatile(const std::string& name) { return Set().TvDirectory() / "volatile" / name; }
    int State(const std::string& name) { return std::stoi(ReadFile(Volatile(name))); }
    void SetLevel(int gpio, int level) { WriteFile(Volatile("gpio/" + std::to_string(gpio)), std::to_string(level)); }

 private:
    std::optional<UniqueFd> system_;
    std::optional<SteeredStrategy> strategy_;
};

// What the drivers are asked for by number

TEST(BoardRequests, HaveTheNumbersThatTheDriversKnow)
{
    EXPECT_EQ(BOARD_READ_GPIO_107, 1074022676UL);
    EXPECT_EQ(BOARD_READ_GPIO_153, 1074022677UL);
    EXPECT_EQ(BOARD_READ_GPIO_165, 1074022678UL);
    EXPECT_EQ(BOARD_READ_GPIO_172, 1074022679UL);
    EXPECT_EQ(BOARD_READ_GPIO_173, 1074022680UL);
    EXPECT_EQ(BOARD_READ_GPIO_174, 1074022681UL);
    EXPECT_EQ(BOARD_READ_GPIO_175, 1074022682UL);
    EXPECT_EQ(BOARD_SET_GPIO_172, 1074022683UL);
    EXPECT_EQ(BOARD_SET_GPIO_173, 1074022684UL);
    EXPECT_EQ(BOARD_SET_GPIO_174, 1074022685UL);
    EXPECT_EQ(BOARD_SET_GPIO_175, 1074022686UL);
    EXPECT_EQ(BOARD_SET_BUFFER_IC, 1074022687UL);
    EXPECT_EQ(FE_SEND_DBG_CMD, 2149871441UL);
    EXPECT_EQ(FE_DBG_CMD_TUNER_MUTE, 803);
}

TEST(BoardRequests, CarryARecordOf36BytesToTheFrontend)
{
    EXPECT_EQ(sizeof(FrontendDebugCommand_t), 36u);
    EXPECT_EQ(offsetof(FrontendDebugCommand_t, command), 0u);
    EXPECT_EQ(offsetof(FrontendDebugCommand_t, parameter), 4u);
    EXPECT_EQ(offsetof(FrontendDebugCommand_t, reserved), 8u);
}

// The new board

using NewBoard = Board;

TEST_F(NewBoard, IsRecognisedByThreeGpios)
{
    StartStrategy();
    EXPECT_TRUE(Strategy().CheckForNewBoard(System()));
    EXPECT_EQ(Asked(), (Steps{"BOARD_READ_GPIO_165 level 1 = 0", "BOARD_READ_GPIO_153 level 1 = 0",
                              "BOARD_READ_GPIO_107 level 0 = 0"}));
    EXPECT_EQ(Logged(),
              (Messages{Info("...START "),
                        Info(" Values read :  mGPIOS[GPIO_165] = [1], mGPIOS[GPIO_153] = [1], mGPIOS[GPIO_107] = [0] "),
                        Info("This is New Board ...END ")}));
}

struct Levels {
    int gpio165;
    int gpio153;
    int gpio107;
};

class OldBoard : public Board, public ::testing::WithParamInterface<Levels> {};

TEST_P(OldBoard, HasAnyOtherLevels)
{
    StartStrategy();
    SetLevel(165, GetParam().gpio165);
    SetLevel(153, GetParam().gpio153);
    SetLevel(107, GetParam().gpio107);
    EXPECT_FALSE(Strategy().CheckForNewBoard(System()));
    EXPECT_EQ(Logged(), (Messages{Info("...START "),
                                  Info(" Values read :  mGPIOS[GPIO_165] = [" + std::to_string(GetParam().gpio165) +
                                       "], mGPIOS[GPIO_153] = [" + std::to_string(GetParam().gpio153) +
                                       "], mGPIOS[GPIO_107] = [" + std::to_string(GetParam().gpio107) + "] "),
                                  Info("This is not New Board ......END ")}));
}

INSTANTIATE_TEST_SUITE_P(Boards, OldBoard,
                         ::testing::Values(Levels{1, 1, 1}, Levels{1, 0, 0}, Levels{0, 1, 0}, Levels{0, 0, 0},
                                           Levels{0, 0, 1}, Levels{0, 1, 1}, Levels{1, 0, 1}, Levels{2, 1, 0},
                                           Levels{1, 2, 0}, Levels{1, 1, 2}));

struct FailingRead {
    const char* gpio;
    const char* fault;
    int readsBefore;
};

TEST_F(NewBoard, LevelsAreKeptInThePlacesOfTheirGpios)
{
    StartStrategy();
    SetLevel(165, 5);
    SetLevel(153, 6);
    SetLevel(107, 7);
    EXPECT_FALSE(Strategy().CheckForNewBoard(System()));
    EXPECT_THAT(Strategy().mGPIOS, ::testing::ElementsAre(0, 0, 0, 0, 5, 6, 7));
}

class BoardDetection : public Board, public ::testing::WithParamInterface<FailingRead> {};

TEST_P(BoardDetection, EndsAtTheFirstReadThatFails)
{
    StartStrategy();
    Fault(GetParam().fault, "EIO");
    EXPECT_FALSE(Strategy().CheckForNewBoard(System()));
    const Steps reads = {"BOARD_READ_GPIO_165 level 1 = 0", "BOARD_READ_GPIO_153 level 1 = 0"};
    Steps asked(reads.begin(), reads.begin() + GetParam().readsBefore);
    asked.push_back("BOARD_READ_" + std::string(GetParam().gpio) + " = EIO");
    EXPECT_EQ(Asked(), asked);
    EXPECT_EQ(Logged(), (Messages{Info("...START "),
                                  Error(" IOCTL Failed for " + std::string(GetParam().gpio) + " retval = [-1]")}));
}

INSTANTIATE_TEST_SUITE_P(Reads, BoardDetection,
                         ::testing::Values(FailingRead{"GPIO_165", "ioctl.40044916", 0},
                                           FailingRead{"GPIO_153", "ioctl.40044915", 1},
                                           FailingRead{"GPIO_107", "ioctl.40044914", 2}));

// CI slots

struct SlotCount {
    const char* value;
    bool enabled;
    const char* message;
};

class CiSlots : public StrategyOnSet, public ::testing::WithParamInterface<SlotCount> {};

TEST_P(CiSlots, OneIsEnough)
{
    StartSet();
    SteeredStrategy strategy;
    Fault("system_info.241", GetParam().value);
    Forget();
    EXPECT_EQ(strategy.IsCIEnable(), GetParam().enabled);
    EXPECT_EQ(Calls(), (Steps{"system_info_get_value_int"}));
    EXPECT_THAT(Asked(), ::testing::ElementsAre(::testing::StartsWith("system_info_get_value_int 241 = ")));
    EXPECT_EQ(Logged(), (Messages{Info("...START "), Info(GetParam().message), Info("...END ")}));
}

INSTANTIATE_TEST_SUITE_P(Counts, CiSlots,
                         ::testing::Values(SlotCount{"0", false, "...NUM_OF_CI is 0"},
                                           SlotCount{"1", true, "...NUM_OF_CI is over 1"},
                                           SlotCount{"2", true, "...NUM_OF_CI is over 1"},
                                           SlotCount{"-1", false, "...NUM_OF_CI is 0"},
                                           SlotCount{"fail", false, "...NUM_OF_CI is 0"}));

// Saving levels

TEST_F(Board, FourGpioLevelsAreSaved)
{
    StartStrategy();
    EXPECT_TRUE(Strategy().BackupGPIOs(System()));
    EXPECT_EQ(Asked(), (Steps{"BOARD_READ_GPIO_172 level 1 = 0", "BOARD_READ_GPIO_173 level 0 = 0",
                              "BOARD_READ_GPIO_174 level 1 = 0", "BOARD_READ_GPIO_175 level 1 = 0"}));
    EXPECT_EQ(Logged(),
              (Messages{Info("...START "),
                        Info(" Values read :  mGPIOS[GPIO_172] = [1], mGPIOS[GPIO_173] = [0], mGPIOS[GPIO_174] "
                             "= [1], mGPIOS[GPIO_175] = [1] "),
                        Info("...END ")}));
    EXPECT_THAT(Strategy().mGPIOS, ::testing::ElementsAre(1, 0, 1, 1, 1, 1, 0));
}

TEST_F(Board, ADriverThatStoresFourBytesOverwritesTheFollowingEntriesOfTheArrayAndNothingElse)
{
    StartSetWith("tv15-newboard", "gpio_reads_store_four_bytes = false", "gpio_reads_store_four_bytes = true");
    Prepare();
    EXPECT_TRUE(Strategy().BackupGPIOs(System()));
    EXPECT_THAT(Strategy().mGPIOS, ::testing::ElementsAre(1, 0, 1, 1, 0, 0, 0));
    EXPECT_TRUE(Strategy().CheckForNewBoard(System()));  // the entries of the detection are read anew
}

class FailingGpio : public Board, public ::testing::WithParamInterface<int> {
 protected:
    /** Fault key of the request that reads or sets the GPIO of the case. */
    std::string ReadFault() const { return std::string("ioctl.4004491") + "789A"[GetParam()]; }
    std::string SetFault() const { return std::string("ioctl.4004491") + "BCDE"[GetParam()]; }
    std::string Gpio() const { return "GPIO_17" + std::to_string(2 + GetParam()); }
    Message Failure() const { return Error(" IOCTL Failed for " + Gpio() + " retval = [-1]"); }
};

TEST_P(FailingGpio, LeavesTheLaterEntriesAsTheyWere)
{
    StartStrategy();
    const unsigned char before[4] = {11, 12, 13, 14};
    std::copy(std::begin(before), std::end(before), Strategy().mGPIOS);
    Fault(ReadFault(), "EIO");
    EXPECT_FALSE(Strategy().BackupGPIOs(System()));
    const unsigned char levels[4] = {1, 0, 1, 1};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(Strategy().mGPIOS[i], i < GetParam() ? levels[i] : before[i]) << i;
    }
    EXPECT_EQ(Calls({"ioctl"}).size(), static_cast<std::size_t>(GetParam() + 1));
    EXPECT_EQ(Asked().back(), "BOARD_READ_" + Gpio() + " = EIO");
    EXPECT_EQ(Logged(), (Messages{Info("...START "), Failure()}));
}

TEST_P(FailingGpio, LeavesTheLaterGpiosUnset)
{
    StartStrategy();
    for (const int gpio : {172, 173, 174, 175}) {
        SetLevel(gpio, 0);
    }
    std::fill_n(Strategy().mGPIOS, 4, static_cast<unsigned char>(1));
    Fault(SetFault(), "EIO");
    EXPECT_FALSE(Strategy().RestoreGPIOs(System()));
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(State("gpio/" + std::to_string(172 + i)), i < GetParam() ? 1 : 0) << i;
    }
    EXPECT_EQ(Calls({"ioctl"}).size(), static_cast<std::size_t>(GetParam() + 1));
    EXPECT_EQ(Asked().back(), "BOARD_SET_" + Gpio() + " = EIO");
    EXPECT_EQ(Logged(),
              (Messages{Info("...START "),
                        Info(" Values writing :  mGPIOS[GPIO_172] = [1], mGPIOS[GPIO_173] = [1], mGPIOS[GPIO_174] "
                             "= [1], mGPIOS[GPIO_175] = [1] "),
                        Failure()}));
}

INSTANTIATE_TEST_SUITE_P(Gpios, FailingGpio, ::testing::Range(0, 4));

// Restoring levels

TEST_F(Board, SavedLevelsAreSetAgain)
{
    StartStrategy();
    ASSERT_TRUE(Strategy().BackupGPIOs(System()));
    SetLevel(172, 0);
    SetLevel(173, 1);
    SetLevel(174, 0);
    SetLevel(175, 0);
    Forget();
    EXPECT_TRUE(Strategy().RestoreGPIOs(System()));
    EXPECT_EQ(Asked(), (Steps{"BOARD_SET_GPIO_172 level 1 = 0", "BOARD_SET_GPIO_173 level 0 = 0",
                              "BOARD_SET_GPIO_174 level 1 = 0", "BOARD_SET_GPIO_175 level 1 = 0"}));
    EXPECT_EQ(Logged(),
              (Messages{Info("...START "),
                        Info(" Values writing :  mGPIOS[GPIO_172] = [1], mGPIOS[GPIO_173] = [0], mGPIOS[GPIO_174] "
                             "= [1], mGPIOS[GPIO_175] = [1] "),
                        Info("...END ")}));
    EXPECT_EQ(State("gpio/172"), 1);
    EXPECT_EQ(State("gpio/173"), 0);
    EXPECT_EQ(State("gpio/174"), 1);
    EXPECT_EQ(State("gpio/175"), 1);
}

TEST_F(Board, ALevelAboveAHundredAndTwentySevenIsNotTakenForANegativeOne)
{
    StartStrategy();
    SetLevel(172, 200);
    ASSERT_TRUE(Strategy().BackupGPIOs(System()));
    EXPECT_EQ(Logged()[1],
              Info(" Values read :  mGPIOS[GPIO_172] = [200], mGPIOS[GPIO_173] = [0], mGPIOS[GPIO_174] = [1], "
                   "mGPIOS[GPIO_175] = [1] "));
    EXPECT_TRUE(Strategy().RestoreGPIOs(System()));
    EXPECT_EQ(Asked()[4], "BOARD_SET_GPIO_172 level 200 = 0");
}

// Muting

TEST_F(Board, TheTunerIsMutedAndUnmuted)
{
    StartStrategy();
    for (const int onOff : {1, 0}) {
        const std::string level = std::to_string(onOff);
        Forget();
        EXPECT_EQ(Strategy().SetTunerMute(onOff), 0);
        EXPECT_EQ(State("tuner_mute"), onOff);
        // The frontend refuses a record of which a byte of the rest is not zero.
        EXPECT_EQ(Asked(), (Steps{"open /dev/dvb/adapter0/frontend0 O_RDONLY = 0",
                                  "FE_SEND_DBG_CMD command 0x323 parameter " + level + " = 0",
                                  "close /dev/dvb/adapter0/frontend0 = 0"}));
        EXPECT_EQ(Logged(), (Messages{Info("...START, onOff[" + level + "] "), Info("...END, onOff[" + level + "] ")}));
    }
}

TEST_F(Board, WithoutAFrontendThereIsNothingToMute)
{
    StartStrategy();
    Fault("path./dev/dvb/adapter0/frontend0", "ENOENT");
    EXPECT_EQ(Strategy().SetTunerMute(1), -1);
    EXPECT_EQ(Asked(), (Steps{"open /dev/dvb/adapter0/frontend0 O_RDONLY = ENOENT"}));
    EXPECT_EQ(Logged(), (Messages{Info("...START, onOff[1] "), Error("ERR: open frontend0 failed.")}));
}

TEST_F(Board, AFrontendThatRefusesIsClosedAgain)
{
    StartStrategy();
    Fault("ioctl.80246F51", "EINVAL");
    EXPECT_EQ(Strategy().SetTunerMute(1), -1);
    EXPECT_EQ(Asked(), (Steps{"open /dev/dvb/adapter0/frontend0 O_RDONLY = 0", "FE_SEND_DBG_CMD = EINVAL",
                              "close /dev/dvb/adapter0/frontend0 = 0"}));
    EXPECT_EQ(Logged(), (Messages{Info("...START, onOff[1] "), Error("ERR: failed FE_SEND_DBG_CMD")}));
}

TEST_F(Board, TheMuteParameterIsPassedOnAsItIs)
{
    StartStrategy();
    EXPECT_EQ(Strategy().SetTunerMute(-7), -1);  // which the frontend refuses
    EXPECT_EQ(Asked({"ioctl"}), (Steps{"FE_SEND_DBG_CMD command 0x323 parameter -7 = EINVAL"}));
}

TEST_F(Board, MessagesNameTheStrategyUnit)
{
    StartStrategy();
    Strategy().CheckForNewBoard(System());
    Strategy().IsCIEnable();
    Strategy().BackupGPIOs(System());
    Strategy().RestoreGPIOs(System());
    Strategy().SetTunerMute(1);
    EXPECT_EQ(UnitsOf({"CheckForNewBoard", "IsCIEnable", "BackupGPIOs", "RestoreGPIOs", "SetTunerMute"}),
              (std::vector<std::string>{"MigrationStrategy.cpp"}));
}

}  // namespace
