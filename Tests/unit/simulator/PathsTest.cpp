// The set's files as a program sees them through libvbset-paths.so, which this program is linked with.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <thread>

#include "SetWithBlanks.h"

namespace fs = std::filesystem;

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* macBlock = "/dev/mtdblock3";
constexpr const char* tvFile = "/opt/tv/file";

class PathsTest : public SetWithBlanks {
 protected:
    PathsTest() { Start("tv15", "box14"); }

    fs::path OnHost(const std::string& path) { return Set().Map(path).value(); }

    /** Traced file calls as "CALL ARGS = RESULT". */
    std::vector<std::string> Files()
    {
        std::vector<std::string> lines;
        for (const Interaction& seen : Trace({"file"})) {
            lines.push_back(seen.call + " " + seen.args + " = " + seen.result);
        }
        return lines;
    }
};

TEST_F(PathsTest, StreamReadsTheMacBlockOfTheBox)
{
    std::ifstream block(macBlock, std::ios::binary);
    char mac[6] = {};
    ASSERT_TRUE(block.read(mac, sizeof mac));
    block.close();
    EXPECT_EQ(std::string(mac, 6), std::string("\x02\x00\x5E\x20\x00\x14", 6));
    EXPECT_THAT(Files(), Contains("fopen /dev/mtdblock3 O_RDONLY = 0"));
    EXPECT_THAT(Files(), Contains("close /dev/mtdblock3 = 0"));
}

TEST_F(PathsTest, StreamThatTruncatesOverwritesADeviceInPlace)
{
    Set().WriteMacBlock({1, 2, 3, 4, 5, 6, 7, 8});
    std::ofstream block(macBlock, std::ios::out | std::ios::trunc);
    block.write("\xAA\xBB", 2);
    block.close();
    EXPECT_TRUE(block.good());
    EXPECT_EQ(ReadFile(OnHost(macBlock)), "\xAA\xBB\x03\x04\x05\x06\x07\x08");
}

TEST_F(PathsTest, BlockDeviceDoesNotGrow)
{
    Set().WriteMacBlock({1, 2, 3});
    const int device = open(macBlock, O_WRONLY);
    ASSERT_GE(device, 0);
    EXPECT_EQ(write(device, "abcdef", 6), 3);
    EXPECT_EQ(write(device, "def", 3), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(close(device), 0);
    EXPECT_EQ(ReadFile(OnHost(macBlock)), "abc");
}

TEST_F(PathsTest, EveryCallOnAFileIsTracedInOrder)
{
    const int file = open(tvFile, O_RDWR | O_CREAT | O_TRUNC, 0644);
    ASSERT_GE(file, 0);
    char bytes[4];
    iovec pieces[2] = {{bytes, 1}, {bytes, 2}};
    EXPECT_EQ(write(file, "\x01\xFF", 2), 2);
    EXPECT_EQ(writev(file, pieces, 2), 3);
    EXPECT_EQ(lseek(file, 0, SEEK_SET), 0);
    EXPECT_EQ(read(file, bytes, 2), 2);
    EXPECT_EQ(fsync(file), 0);
    EXPECT_EQ(close(file), 0);
    struct stat status = {};
    EXPECT_EQ(stat(tvFile, &status), 0);
    EXPECT_EQ(status.st_size, 5);
    EXPECT_EQ(stat("/opt/tv/absent", &status), -1);
    EXPECT_THAT(Files(), ElementsAre("open /opt/tv/file O_RDWR|O_CREAT|O_TRUNC = 0", "write /opt/tv/file 2 01FF = 2",
                                     "writev /opt/tv/file 3 = 3", "read /opt/tv/file 2 01FF = 2",
                                     "fsync /opt/tv/file = 0", "close /opt/tv/file = 0", "stat /opt/tv/file = 0",
                                     "stat /opt/tv/absent = ENOENT"));
}

TEST_F(PathsTest, OtherPathsAndDescriptorsPassUntraced)
{
    const fs::path file = Temporary() / "not of the set";
    WriteFile(file, "abc");
    EXPECT_EQ(ReadFile(file), "abc");
    EXPECT_EQ(access("/opt", F_OK), 0);
    EXPECT_EQ(access("/opt/tvx", F_OK), -1);
    EXPECT_THAT(Trace(), IsEmpty());
}

TEST_F(PathsTest, NumberOfAClosedDescriptorIsNotTheSetsAnyMore)
{
    const int device = open(macBlock, O_RDONLY);
    ASSERT_GE(device, 0);
    close(device);
    Forget();
    const int other = open("/dev/null", O_RDONLY);
    ASSERT_EQ(other, device);
    char byte = 0;
    EXPECT_EQ(read(other, &byte, 1), 0);
    close(other);
    EXPECT_THAT(Trace(), IsEmpty());
}

TEST_F(PathsTest, FileTreeFunctionsWorkOnTheSet)
{
    EXPECT_EQ(mkdir("/opt/tv/made", 0755), 0);
    EXPECT_TRUE(fs::is_directory(OnHost("/opt/tv/made")));
    std::ofstream("/opt/tv/made/one") << "1";
    EXPECT_EQ(rename("/opt/tv/made/one", "/opt/tv/made/two"), 0);
    EXPECT_EQ(ReadFile(OnHost("/opt/tv/made/two")), "1");
    DIR* directory = opendir("/opt/tv/made");
    ASSERT_NE(directory, nullptr);
    closedir(directory);
    EXPECT_EQ(truncate("/opt/tv/made/two", 0), 0);
    EXPECT_TRUE(fs::exists("/opt/tv/made/two"));
    EXPECT_EQ(fs::remove_all("/opt/tv/made"), 2U);
    EXPECT_FALSE(fs::exists(OnHost("/opt/tv/made")));
    EXPECT_EQ(unlink("/opt/tv/made/two"), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(PathsTest, NoSpellingOfAPathSlipsByTheTable)
{
    for (const char* spelling : {"/dev//mtdblock3", "/opt/tv/../../dev/mtdblock3", "//dev/./mtdblock3"}) {
        Forget();
        const int device = open(spelling, O_RDWR | O_CREAT | O_TRUNC, 0600);
        EXPECT_GE(device, 0) << spelling;
        EXPECT_EQ(Trace({"file"}).size(), 1U) << spelling;
        close(device);
    }
    EXPECT_EQ(fs::file_size(OnHost(macBlock)), 6U);
}

TEST_F(PathsTest, MountPointShowsThePartitionOnceMounted)
{
    std::ofstream("/opt/korvane_vbmg/bare") << "x";
    fs::remove(fs::path(Set().TvDirectory() / "volatile/mnt/migration"));
    fs::create_symlink(Set().Partition("migration"), Set().TvDirectory() / "volatile/mnt/migration");
    EXPECT_EQ(access("/opt/korvane_vbmg/bare", F_OK), -1);
    std::ofstream("/opt/korvane_vbmg/on_flash") << "x";
    EXPECT_TRUE(fs::exists(Set().Partition("migration") / "on_flash"));
}

TEST_F(PathsTest, StreamModesOpenAsTheCLibraryDoes)
{
    WriteFile(OnHost(tvFile), "abc");
    FILE* stream = std::fopen(tvFile, "a+");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(std::fputs("def", stream), 1);
    EXPECT_EQ(std::fclose(stream), 0);
    EXPECT_EQ(ReadFile(OnHost(tvFile)), "abcdef");
    EXPECT_EQ(std::fopen(tvFile, "wx"), nullptr);
    EXPECT_EQ(errno, EEXIST);
    EXPECT_EQ(std::fopen(tvFile, "q"), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(std::fopen("/opt/tv/absent", "r"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(ReadFile(OnHost(tvFile)), "abcdef");
}

TEST_F(PathsTest, PathFaultRefusesOpenAndStat)
{
    Fault("path./dev/mtdblock3", "EACCES");
    Fault("path./opt/tv/directory", "ENOENT");
    fs::create_directory(OnHost("/opt/tv/directory"));
    struct stat status = {};
    EXPECT_EQ(open(macBlock, O_RDONLY), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_FALSE(std::ifstream(macBlock).is_open());
    EXPECT_EQ(stat(macBlock, &status), -1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(stat("/opt/tv/directory/", &status), -1);
    EXPECT_EQ(errno, ENOENT);
    NoFault("path./dev/mtdblock3");
    EXPECT_EQ(stat(macBlock, &status), 0);
}

TEST_F(PathsTest, ReadFaultsShortenOrFailEachRead)
{
    char bytes[6];
    Fault("read./dev/mtdblock3", "short:4");
    const int device = open(macBlock, O_RDONLY);
    ASSERT_GE(device, 0);
    EXPECT_EQ(read(device, bytes, 6), 4);
    EXPECT_EQ(read(device, bytes, 6), 2);
    Fault("read./dev/mtdblock3", "EIO");
    EXPECT_EQ(read(device, bytes, 6), -1);
    EXPECT_EQ(errno, EIO);
    close(device);
    EXPECT_THAT(Files(), Contains("read /dev/mtdblock3 6 = EIO"));
}

TEST_F(PathsTest, WriteFaultsShortenFailOrFillUp)
{
    const int file = open(tvFile, O_WRONLY | O_CREAT, 0644);
    ASSERT_GE(file, 0);
    Fault("write./opt/tv/file", "short:2");
    EXPECT_EQ(write(file, "abcdef", 6), 2);
    Fault("write./opt/tv/file", "full:5");
    char text[] = "cdefgh";
    iovec pieces[2] = {{text, 1}, {text + 1, 5}};
    EXPECT_EQ(writev(file, pieces, 2), 3);
    EXPECT_EQ(write(file, "x", 1), -1);
    EXPECT_EQ(errno, ENOSPC);
    Fault("write./opt/tv/file", "EROFS");
    EXPECT_EQ(write(file, "x", 1), -1);
    EXPECT_EQ(errno, EROFS);
    Fault("fsync./opt/tv/file", "EIO");
    EXPECT_EQ(fsync(file), -1);
    EXPECT_EQ(errno, EIO);
    close(file);
    EXPECT_EQ(ReadFile(OnHost(tvFile)), "abcde");
}

TEST_F(PathsTest, FullFlashTakesNoMoreThanItsRoom)
{
    WriteFile(Set().Partition("data_sync") / "old", "12345");
    fs::remove(Set().TvDirectory() / "volatile/mnt/data_sync");
    fs::create_symlink(Set().Partition("data_sync"), Set().TvDirectory() / "volatile/mnt/data_sync");
    Fault("flash.data_sync.free", "4");
    const int file = open("/opt/tv/migration/service/new", O_WRONLY | O_CREAT | O_TRUNC, 0644);
    ASSERT_GE(file, 0);
    EXPECT_EQ(write(file, "abcdef", 6), 4);
    EXPECT_EQ(write(file, "ef", 2), -1);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(lseek(file, 0, SEEK_SET), 0);
    EXPECT_EQ(write(file, "ABCD", 4), 4) << "what is written over takes no room";
    EXPECT_EQ(unlink("/opt/tv/migration/service/old"), 0);
    EXPECT_EQ(write(file, "efghijkl", 8), 5) << "what is removed gives room back";
    close(file);
    std::ofstream elsewhere(tvFile);
    elsewhere << "another partition has room";
    elsewhere.close();
    EXPECT_TRUE(elsewhere.good());
}

TEST_F(PathsTest, WhatIsTruncatedGivesRoomBack)
{
    WriteFile(OnHost(tvFile), "12345");
    Fault("flash.root.free", "0");
    const int file = open(tvFile, O_WRONLY | O_TRUNC);
    ASSERT_GE(file, 0);
    EXPECT_EQ(write(file, "abcdef", 6), 5);
    EXPECT_EQ(write(file, "f", 1), -1);
    EXPECT_EQ(errno, ENOSPC);
    close(file);
}

TEST_F(PathsTest, FullFlashFailsAStream)
{
    Fault("flash.root.free", "3");
    std::ofstream stream(tvFile);
    stream << "abcdef" << std::flush;
    EXPECT_FALSE(stream.good());
    EXPECT_EQ(ReadFile(OnHost(tvFile)), "abc");
}

TEST_F(PathsTest, PathTooLongForTheTableIsRefused)
{
    std::string path = "/opt/tv";
    while (path.size() < 600) path += "/" + std::string(40, 'd');
    fs::create_directories(OnHost(path));
    EXPECT_EQ(open((path + "/file").c_str(), O_RDWR | O_CREAT, 0644), -1);
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(open(("/opt/tv/" + std::string(5000, 'x')).c_str(), O_RDONLY), -1);
}

TEST_F(PathsTest, ManyThreadsUseTheTableAtOnce)
{
    constexpr int threads = 8;
    constexpr int rounds = 50;
    std::vector<std::thread> workers;
    std::atomic<int> wrong{0};
    for (int i = 0; i < threads; ++i) {
        workers.emplace_back([i, &wrong]() {
            const std::string path = "/opt/tv/thread" + std::to_string(i);
            for (int round = 0; round < rounds; ++round) {
                const int file = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC, 0644);
                char byte = 0;
                const bool written = write(file, "x", 1) == 1 && lseek(file, 0, SEEK_SET) == 0;
                const bool readBack = read(file, &byte, 1) == 1 && byte == 'x';
                if (!written || !readBack || close(file) != 0) ++wrong;
            }
        });
    }
    for (std::thread& worker : workers) worker.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(Trace({"file"}).size(), static_cast<std::size_t>(threads * rounds * 4));
}

TEST_F(PathsTest, ProcessWhoseSetIsOffSeesTheHost)
{
    const std::string path = "/opt/tv/vbset-test-" + std::to_string(getpid());
    std::ofstream(path) << "x";
    EXPECT_EQ(access(path.c_str(), F_OK), 0);
    Set().PowerOff();
    EXPECT_EQ(access(path.c_str(), F_OK), -1);
    EXPECT_EQ(errno, ENOENT);
}

}  // namespace
