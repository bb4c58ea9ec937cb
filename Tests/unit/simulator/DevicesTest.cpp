// The board's devices as a program sees them through libvbset-paths.so, which this program is linked with.
#include <BoardDevices.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <fstream>

#include "SetWithBlanks.h"

namespace {

using ::testing::ElementsAre;

class DevicesTest : public SetWithBlanks {
 protected:
    /** A set with a TV of these further lines of description. */
    void StartWith(const std::string& lines)
    {
        const auto file = Temporary() / "described.toml";
        WriteFile(file, "kind = \"tv\"\nname = \"t\"\nyear = 15\nmain_chip = 1\nmac = \"02:00:5E:10:00:15\"\n" + lines);
        Start(file.string(), "box15");
    }
    void Open(const char* path, int flags = O_RDWR) { ASSERT_GE(device_ = open(path, flags), 0); }

    std::string State(const std::string& name)
    {
        std::string text;
        std::ifstream(Set().TvDirectory() / "volatile" / name) >> text;
        return text;
    }

    int device_ = -1;
};

TEST_F(DevicesTest, ReadStoresOneByteOfTheLevel)
{
    StartWith("[gpio]\n172 = 1\n153 = 200\n");
    Open(SYSTEM_DEVICE_PATH);
    std::uint8_t levels[4] = {7, 7, 7, 7};
    EXPECT_EQ(ioctl(device_, BOARD_READ_GPIO_172, &levels[1]), 0);
    EXPECT_THAT(levels, ElementsAre(7, 1, 7, 7));
    EXPECT_EQ(ioctl(device_, BOARD_READ_GPIO_153, &levels[0]), 0);
    EXPECT_THAT(levels, ElementsAre(200, 1, 7, 7));
    const auto seen = Trace({"ioctl"});
    ASSERT_EQ(seen.size(), 2U);
    EXPECT_EQ(seen[0].call, "BOARD_READ_GPIO_172");
    EXPECT_EQ(seen[0].args, "level 1");
    EXPECT_EQ(seen[0].result, "0");
}

TEST_F(DevicesTest, EveryReadRequestReadsItsOwnLevel)
{
    StartWith("[gpio]\n107 = 1\n153 = 2\n165 = 3\n172 = 4\n173 = 5\n174 = 6\n175 = 7\n");
    Open(SYSTEM_DEVICE_PATH, O_RDONLY);
    std::uint8_t expected = 1;
    for (unsigned long request = BOARD_READ_GPIO_107; request <= BOARD_READ_GPIO_175; ++request, ++expected) {
        std::uint8_t level = 0;
        EXPECT_EQ(ioctl(device_, request, &level), 0);
        EXPECT_EQ(level, expected);
    }
}

TEST_F(DevicesTest, DriverWithTheSwitchStoresFourBytesForTheTunerLevels)
{
    StartWith("gpio_reads_store_four_bytes = true\n[gpio]\n175 = 1\n165 = 1\n");
    Open(SYSTEM_DEVICE_PATH);
    std::uint8_t levels[7] = {9, 9, 9, 9, 9, 9, 9};
    EXPECT_EQ(ioctl(device_, BOARD_READ_GPIO_175, &levels[3]), 0);
    EXPECT_THAT(levels, ElementsAre(9, 9, 9, 1, 0, 0, 0));
    EXPECT_EQ(ioctl(device_, BOARD_READ_GPIO_165, &levels[0]), 0);
    EXPECT_THAT(levels, ElementsAre(1, 9, 9, 1, 0, 0, 0));
}

TEST_F(DevicesTest, SetTakesTheLevelAsTheArgument)
{
    StartWith("");
    Open(SYSTEM_DEVICE_PATH);
    int level = 1;
    for (unsigned long request = BOARD_SET_GPIO_172; request <= BOARD_SET_GPIO_175; ++request) {
        EXPECT_EQ(ioctl(device_, request, level++), 0);
    }
    EXPECT_EQ(State("gpio/172") + State("gpio/173") + State("gpio/174") + State("gpio/175"), "1234");
    EXPECT_EQ(Trace({"ioctl"}).back().args, "level 4");
}

TEST_F(DevicesTest, BufferIcIsSwitchedByZeroAndOneOnly)
{
    StartWith("");
    Open(SYSTEM_DEVICE_PATH);
    EXPECT_EQ(State("buffer_ic"), "1");
    EXPECT_EQ(ioctl(device_, BOARD_SET_BUFFER_IC, 0), 0);
    EXPECT_EQ(State("buffer_ic"), "0");
    EXPECT_EQ(ioctl(device_, BOARD_SET_BUFFER_IC, 2), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(State("buffer_ic"), "0");
}

TEST_F(DevicesTest, RequestThatTheDeviceDoesNotKnowIsRefused)
{
    StartWith("");
    Open(SYSTEM_DEVICE_PATH);
    FrontendDebugCommand_t record = {FE_DBG_CMD_TUNER_MUTE, 1, {}};
    EXPECT_EQ(ioctl(device_, 0x40044920UL, 0), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(ioctl(device_, FE_SEND_DBG_CMD, &record), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(Trace({"ioctl"})[0].call, "0x40044920");
    EXPECT_EQ(Trace({"ioctl"})[0].result, "ENOTTY");
    EXPECT_EQ(State("tuner_mute"), "0");
}

TEST_F(DevicesTest, DebugCommandMutesTheTuner)
{
    StartWith("");
    Open(TUNER_FRONTEND_PATH, O_RDONLY);
    FrontendDebugCommand_t record = {FE_DBG_CMD_TUNER_MUTE, 1, {}};
    EXPECT_EQ(ioctl(device_, FE_SEND_DBG_CMD, &record), 0);
    EXPECT_EQ(State("tuner_mute"), "1");
    EXPECT_EQ(Trace({"ioctl"})[0].args, "command 0x323 parameter 1");
    record.parameter = 0;
    EXPECT_EQ(ioctl(device_, FE_SEND_DBG_CMD, &record), 0);
    EXPECT_EQ(State("tuner_mute"), "0");
}

TEST_F(DevicesTest, WrongDebugRecordIsRefusedFieldByField)
{
    StartWith("");
    Open(TUNER_FRONTEND_PATH, O_RDONLY);
    const auto refused = [this](FrontendDebugCommand_t record) {
        const int result = ioctl(device_, FE_SEND_DBG_CMD, &record);
        return result == -1 && errno == EINVAL;
    };
    EXPECT_TRUE(refused({0x322, 1, {}}));
    EXPECT_TRUE(refused({FE_DBG_CMD_TUNER_MUTE, 2, {}}));
    EXPECT_TRUE(refused({FE_DBG_CMD_TUNER_MUTE, -1, {}}));
    for (std::size_t i = 0; i < sizeof FrontendDebugCommand_t{}.reserved; ++i) {
        FrontendDebugCommand_t record = {FE_DBG_CMD_TUNER_MUTE, 1, {}};
        record.reserved[i] = 1;
        EXPECT_TRUE(refused(record)) << i;
    }
    EXPECT_EQ(ioctl(device_, FE_SEND_DBG_CMD, nullptr), -1);
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(State("tuner_mute"), "0");
}

TEST_F(DevicesTest, IoctlFaultFailsOneRequestAndDoesNothing)
{
    StartWith("[gpio]\n173 = 1\n");
    Open(SYSTEM_DEVICE_PATH);
    Fault("ioctl.4004491C", "EIO");
    std::uint8_t level = 0;
    EXPECT_EQ(ioctl(device_, BOARD_SET_GPIO_173, 0), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(ioctl(device_, BOARD_READ_GPIO_173, &level), 0);
    EXPECT_EQ(level, 1);
}

TEST_F(DevicesTest, DevicesThatTheTvDoesNotHaveCannotBeOpenedOrMade)
{
    StartWith("system_device = false\nfrontend = false\n");
    for (const char* path : {SYSTEM_DEVICE_PATH, TUNER_FRONTEND_PATH}) {
        EXPECT_EQ(open(path, O_RDWR | O_CREAT, 0600), -1);
        EXPECT_EQ(errno, ENOENT);
        EXPECT_FALSE(std::ofstream(path).is_open());
        EXPECT_FALSE(std::filesystem::exists(path));
    }
}

TEST_F(DevicesTest, RequestDevicesHaveNothingToReadOrWrite)
{
    StartWith("");
    Open(SYSTEM_DEVICE_PATH);
    char byte = 0;
    EXPECT_EQ(read(device_, &byte, 1), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(write(device_, &byte, 1), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(DevicesTest, RequestsOnTheHostsDescriptorsPassUntraced)
{
    StartWith("");
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "abc", 3), 3);
    int waiting = 0;
    EXPECT_EQ(ioctl(ends[0], FIONREAD, &waiting), 0);
    EXPECT_EQ(waiting, 3);
    EXPECT_TRUE(Trace().empty());
}

}  // namespace
