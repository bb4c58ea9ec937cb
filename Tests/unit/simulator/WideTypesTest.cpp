// The set as a program sees it that was compiled for file offsets and times of 64 bits, on a machine of 32 bits too:
// there such a program calls other functions of the C library.
#include <BoardDevices.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "SetWithBlanks.h"

namespace {

using ::testing::ElementsAre;

static_assert(sizeof(off_t) == 8 && sizeof(time_t) == 8, "what this file is compiled for");

constexpr const char* tvFile = "/opt/tv/file";
constexpr off_t fiveGigabytes = off_t{5} << 30;

class WideTypes : public SetWithBlanks {
 protected:
    WideTypes() { Start("tv15", "box14"); }

    std::filesystem::path OnHost(const std::string& path) { return Set().Map(path).value(); }
};

}  // namespace

TEST_F(WideTypes, EachWayToLookAtAFileFindsTheSets)
{
    WriteFile(OnHost(tvFile), "abc");
    struct stat status = {};
    EXPECT_EQ(stat(tvFile, &status), 0);
    EXPECT_EQ(status.st_size, 3);
    struct stat linkStatus = {};
    EXPECT_EQ(lstat(tvFile, &linkStatus), 0);
    EXPECT_EQ(linkStatus.st_ino, status.st_ino);
    EXPECT_EQ(linkStatus.st_mtime, status.st_mtime);
    struct stat statusAt = {};
    EXPECT_EQ(fstatat(AT_FDCWD, tvFile, &statusAt, 0), 0);
    EXPECT_EQ(statusAt.st_ino, status.st_ino);
    EXPECT_THAT(Calls({"file"}), ElementsAre("stat", "lstat", "stat"));
}

TEST_F(WideTypes, EachWayToOpenAFileFindsTheSets)
{
    EXPECT_EQ(close(open(tvFile, O_WRONLY | O_CREAT, 0600)), 0);
    EXPECT_EQ(close(creat(tvFile, 0600)), 0);
    EXPECT_EQ(close(openat(-1, tvFile, O_RDONLY)), 0);
    FILE* const stream = fopen(tvFile, "r");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(fclose(stream), 0);
    EXPECT_THAT(Calls({"file"}), ElementsAre("open", "close", "creat", "close", "open", "close", "fopen", "close"));
    EXPECT_TRUE(exists(OnHost(tvFile)));
}

TEST_F(WideTypes, AFileOfTheSetCanBeLongerThanFourGigabytes)
{
    const int file = open(tvFile, O_RDWR | O_CREAT, 0600);
    ASSERT_GE(file, 0);
    EXPECT_EQ(lseek(file, fiveGigabytes, SEEK_SET), fiveGigabytes);
    EXPECT_EQ(write(file, "end", 3), 3);
    char bytes[3] = {};
    EXPECT_EQ(lseek(file, -3, SEEK_END), fiveGigabytes);
    EXPECT_EQ(read(file, bytes, sizeof bytes), 3);
    EXPECT_THAT(bytes, ElementsAre('e', 'n', 'd'));
    EXPECT_EQ(close(file), 0);
    struct stat status = {};
    EXPECT_EQ(stat(tvFile, &status), 0);
    EXPECT_EQ(status.st_size, fiveGigabytes + 3);
    EXPECT_EQ(truncate(tvFile, fiveGigabytes - 1), 0);
    EXPECT_EQ(file_size(OnHost(tvFile)), static_cast<std::uintmax_t>(fiveGigabytes - 1));
}

TEST_F(WideTypes, OnlyTheBytesBeyondTheEndOfALongFileTakeRoom)
{
    const int file = open(tvFile, O_RDWR | O_CREAT, 0600);
    ASSERT_EQ(ftruncate(file, fiveGigabytes), 0);
    Fault("flash.root.free", "1");
    EXPECT_EQ(lseek(file, -2, SEEK_END), fiveGigabytes - 2);
    EXPECT_EQ(write(file, "abcd", 4), 3);
    EXPECT_EQ(close(file), 0);
    EXPECT_EQ(file_size(OnHost(tvFile)), static_cast<std::uintmax_t>(fiveGigabytes + 1));
}

TEST_F(WideTypes, TheBoardsRequestsArriveWithTheirNumbersAndArguments)
{
    const int board = open(SYSTEM_DEVICE_PATH, O_RDWR);
    ASSERT_GE(board, 0);
    for (const int set : {0, 1}) {
        unsigned char level = 7;
        EXPECT_EQ(ioctl(board, BOARD_SET_GPIO_172, set), 0);
        EXPECT_EQ(ioctl(board, BOARD_READ_GPIO_172, &level), 0);
        EXPECT_EQ(level, set);
    }
    const int tuner = open(TUNER_FRONTEND_PATH, O_RDWR);
    ASSERT_GE(tuner, 0);
    FrontendDebugCommand_t mute = {FE_DBG_CMD_TUNER_MUTE, 1, {}};
    EXPECT_EQ(ioctl(tuner, FE_SEND_DBG_CMD, &mute), 0);  // its number is beyond that of an int
    EXPECT_THAT(Calls({"ioctl"}), ElementsAre("BOARD_SET_GPIO_172", "BOARD_READ_GPIO_172", "BOARD_SET_GPIO_172",
                                              "BOARD_READ_GPIO_172", "FE_SEND_DBG_CMD"));
    close(tuner);
    close(board);
}
