// Whatever a program does with the set's paths and commands, the host's own stay as they are, also for root.
#include <BoardDevices.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <map>

#include "SetWithBlanks.h"

extern "C" pid_t vfork(void) noexcept;

namespace fs = std::filesystem;

namespace {

constexpr const char* setPaths[] = {
    "/dev/mtdblock1", "/dev/mtdblock3", "/dev/system", "/dev/dvb/adapter0/frontend0", "/dev/dvb",
    "/opt/korvane_vbmg_Tavix.tar.gz", "/opt/korvane_vbmg", "/opt/korvane_vbmg/SP_VB_Data", "/opt/tv",
    "/opt/tv/migration", "/opt/tv/migration/service", "/bin/spi_init.sh", "/usr/bin/MigrationScript.sh",
};

/** What the host has at and around the set's paths: names, kinds, sizes and times of change, seen past the shim
 * because this process is on no set yet, or no longer. */
std::map<std::string, std::string> Host()
{
    std::map<std::string, std::string> seen;
    const auto look = [&seen](const fs::path& path) {
        struct stat status = {};
        seen[path] = lstat(path.c_str(), &status) != 0
                         ? "absent"
                         : std::to_string(status.st_mode) + " " + std::to_string(status.st_size) + " " +
                               std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec);
    };
    for (const char* path : setPaths) look(path);
    for (const char* directory : {"/opt", "/bin", "/usr/bin"}) look(directory);
    for (const char* directory : {"/dev", "/opt"}) {
        std::error_code error;
        for (const auto& entry : fs::directory_iterator(directory, error)) seen[entry.path()] += " listed";
    }
    return seen;
}

int RunLine(const std::string& line)
{
    const char* text = line.c_str();
    const pid_t child = vfork();
    if (child == 0) {
        execl("/bin/sh", "/bin/sh", "-c", text, static_cast<char*>(nullptr));
        _exit(errno);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class HostUntouchedTest : public SetWithBlanks {
 protected:
    HostUntouchedTest() : before_(Host()) {}

    void StartWith(const std::string& lines)
    {
        const auto file = Temporary() / "described.toml";
        WriteFile(file, "kind = \"tv\"\nname = \"t\"\nyear = 15\nmain_chip = 1\nmac = \"02:00:5E:10:00:15\"\n" + lines);
        Start(file.string(), "box15");
    }

    void ExpectHostUntouched()
    {
        Set().PowerOff();
        EXPECT_EQ(Host(), before_);
    }

 private:
    std::map<std::string, std::string> before_;
};

TEST_F(HostUntouchedTest, OpeningWhatTheSetDoesNotHaveMakesNothing)
{
    StartWith("system_device = false\nfrontend = false\n");
    for (const char* path : {SYSTEM_DEVICE_PATH, TUNER_FRONTEND_PATH, RAW_MAC_BKUP_PATH, "/opt/korvane_vbmg/x/y",
                             "/opt/tv/x/y", "/opt/tv/new", "/opt/korvane_vbmg/new", "/opt/korvane_vbmg_Tavix.tar.gz",
                             "/opt/tv/migration/service/new", "/dev/dvb/adapter0/frontend0/x"}) {
        const int descriptor = open(path, O_RDWR | O_CREAT | O_TRUNC, 0600);
        if (descriptor >= 0) close(descriptor);
        std::ofstream(path, std::ios::app) << "x";
        if (FILE* stream = std::fopen(path, "w")) std::fclose(stream);
        const int created = creat(path, 0600);
        if (created >= 0) close(created);
    }
    mkdir("/opt/tv", 0700);
    mkdir("/opt/korvane_vbmg/directory", 0700);
    chmod("/opt/korvane_vbmg", 0700);
    EXPECT_TRUE(fs::exists("/opt/tv/new"));
    ExpectHostUntouched();
}

TEST_F(HostUntouchedTest, RemovingOnTheSetRemovesNothingOfTheHost)
{
    StartWith("");
    for (const char* path : setPaths) {
        if (!Set().Map(path)) continue;
        // Nothing is removed unless the shim really stands before the C library.
        Forget();
        access(path, F_OK);
        ASSERT_EQ(Trace({"file"}).size(), 1U) << path;
        std::error_code ignored;
        unlink(path);
        rmdir(path);
        std::remove(path);
        fs::remove_all(path, ignored);
    }
    ExpectHostUntouched();
}

TEST_F(HostUntouchedTest, AllCommandsOfTheSetLeaveTheHostAlone)
{
    StartWith("backup_path = \"/opt/korvane_vbmg/\"\nrestore_path = \"/opt/tv/restore/\"\n");
    const std::string script = "/usr/bin/MigrationScript.sh ";
    for (const std::string& line : {
             std::string("/bin/spi_init.sh format migration mkfs.vfat /dev/mtdblock1"),
             std::string("/bin/spi_init.sh mount  data_sync"), script + "InsmodMig", script + "cleanbkup",
             std::string("mkdir -p /opt/korvane_vbmg/SP_VB_Data/"), script + "tarncpy", script + "cpynuntar",
             script + "Bkup13 ", script + "Restor13 ", std::string("rm -rf /opt/korvane_vbmg_Tavix.tar.gz"),
             std::string("/bin/spi_init.sh umount data_sync"), script + "UnmountMig", script + "UnMoungNRmmod"}) {
        EXPECT_EQ(RunLine(line), 0) << line;
    }
    EXPECT_NE(RunLine("rm -rf /opt"), 0);
    EXPECT_NE(RunLine("rm -rf /dev/mtdblock3"), 0);
    EXPECT_NE(RunLine("mkdir -p /dev/dvb/adapter0/new"), 0);
    EXPECT_NE(RunLine("mkdir -p /opt/tv/../new"), 0);
    EXPECT_NE(RunLine("/bin/sh -c true"), 0);
    ExpectHostUntouched();
}

}  // namespace
