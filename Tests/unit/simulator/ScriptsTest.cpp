// The set's shell and its partitions, really executed.
#include <csignal>

#include "CommandLines.h"

namespace fs = std::filesystem;

namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

class ScriptsTest : public CommandLines {};

TEST_F(ScriptsTest, MountShowsThePartitionAndUmountHidesIt)
{
    StartWith("");
    for (const std::string name : {"migration", "data_sync"}) {
        EXPECT_EQ(Run("/bin/spi_init.sh mount " + name), 0);
        EXPECT_TRUE(Set().IsMounted(name));
        EXPECT_EQ(Run("/bin/spi_init.sh mount " + name), 0) << "mounted already";
        EXPECT_EQ(Run("/bin/spi_init.sh umount " + name), 0);
        EXPECT_FALSE(Set().IsMounted(name));
        EXPECT_EQ(Run("/bin/spi_init.sh umount " + name), 1) << "not mounted";
    }
}

TEST_F(ScriptsTest, FilesBelowAMountPointAreHiddenWhileItIsMounted)
{
    StartWith("");
    EXPECT_EQ(Run("mkdir -p /opt/tv/migration/service/bare"), 0);
    EXPECT_EQ(Run("/bin/spi_init.sh mount  data_sync"), 0);
    EXPECT_FALSE(IsOnSet("/opt/tv/migration/service/bare"));
    EXPECT_EQ(Run("mkdir -p /opt/tv/migration/service/on_flash"), 0);
    EXPECT_TRUE(fs::is_directory(Set().Partition("data_sync") / "on_flash"));
    EXPECT_EQ(Run("/bin/spi_init.sh umount data_sync"), 0);
    EXPECT_TRUE(IsOnSet("/opt/tv/migration/service/bare"));
}

TEST_F(ScriptsTest, FormatLeavesThePartitionEmptyAndMounted)
{
    StartWith("");
    fs::create_directories(Set().Partition("migration") / "a b/.hidden");
    WriteFile(Set().Partition("migration") / "a b/file", "x");
    EXPECT_EQ(Run("/bin/spi_init.sh format migration mkfs.vfat /dev/mtdblock1"), 0);
    EXPECT_EQ(Entries(Set().Partition("migration")), 0U);
    EXPECT_TRUE(Set().IsMounted("migration"));
    EXPECT_TRUE(ModuleIsLoaded());
}

TEST_F(ScriptsTest, PartitionThatWasNeverFormattedDoesNotMount)
{
    StartWith("");
    fs::remove_all(Set().Partition("data_sync"));
    EXPECT_EQ(Run("/bin/spi_init.sh mount data_sync"), 1);
    EXPECT_EQ(Run("/bin/spi_init.sh format data_sync"), 0);
    EXPECT_TRUE(Set().IsMounted("data_sync"));
}

TEST_F(ScriptsTest, ModuleIsLoadedAndUnloadedWithThePartition)
{
    StartWith("");
    EXPECT_EQ(Script("InsmodMig"), 0);
    EXPECT_TRUE(ModuleIsLoaded());
    EXPECT_FALSE(Set().IsMounted("migration"));
    EXPECT_EQ(Run("/bin/spi_init.sh mount migration"), 0);
    EXPECT_EQ(Script("UnmountMig"), 0);
    EXPECT_FALSE(Set().IsMounted("migration"));
    EXPECT_TRUE(ModuleIsLoaded());
    EXPECT_EQ(Run("/bin/spi_init.sh mount migration"), 0);
    EXPECT_EQ(Script("UnMoungNRmmod"), 0);
    EXPECT_FALSE(Set().IsMounted("migration"));
    EXPECT_FALSE(ModuleIsLoaded());
    EXPECT_EQ(Script("UnMoungNRmmod"), 0);
}

TEST_F(ScriptsTest, OnlyTheCommandsOfTheSystemAreRun)
{
    StartWith("");
    const std::string made = Temporary() / "made";
    for (const std::string& line : {
             std::string(""), std::string("true"), std::string("/bin/sh -c true"), std::string("mkdir /opt/tv/x"),
             std::string("mkdir -p"), std::string("mkdir -p /opt/tv/x /opt/tv/y"), std::string("mkdir -p x"),
             std::string("mkdir -p /opt/tv/x; touch " + made), std::string("mkdir -p /opt/tv/$(touch " + made + ")"),
             std::string("rm -rf /opt/tv/*"), std::string("rm -rf \"/opt/tv\""), std::string("mkdir -p /opt/tv/a\nb"),
             std::string("rm -r /opt/tv"), std::string("spi_init.sh mount migration"),
             std::string("/bin/spi_init.sh mount"), std::string("/bin/spi_init.sh mount other"),
             std::string("/bin/spi_init.sh erase migration"), std::string("/bin/spi_init.sh mount migration now"),
             std::string("/usr/bin/MigrationScript.sh"), std::string("/usr/bin/MigrationScript.sh other"),
             std::string("/usr/bin/MigrationScript.sh cleanbkup twice")}) {
        EXPECT_EQ(Run(line), 126) << line;
        EXPECT_FALSE(Messages().empty()) << line;
    }
    EXPECT_FALSE(fs::exists(made));
    EXPECT_FALSE(IsOnSet("/opt/tv/x"));
}

TEST_F(ScriptsTest, PathsThatAreNotOfTheSetAreRefused)
{
    StartWith("");
    const std::string outside = Temporary() / "outside";
    fs::create_directory(outside);
    for (const std::string& path : {std::string("/opt"), std::string("/opt/tvx"), std::string("/"),
                                    std::string("/opt/tv/../x"), std::string("/opt/korvane_vbmg/../../tmp/x"),
                                    std::string("relative"), outside.substr(0, outside.find(' '))}) {
        EXPECT_EQ(Run("mkdir -p " + path), 126) << path;
        EXPECT_EQ(Run("rm -rf " + path), 126) << path;
    }
    EXPECT_TRUE(fs::exists(outside));
}

TEST_F(ScriptsTest, DevicesAndMountPointsAreNotRemoved)
{
    StartWith("");
    Put("/opt/tv/kept", "x");
    for (const std::string path : {"/dev/mtdblock3", "/dev/system", "/opt/korvane_vbmg", "/opt/korvane_vbmg/",
                                   "/opt/tv", "/opt/tv/migration", "/opt/tv/migration/service"}) {
        EXPECT_EQ(Run("rm -rf " + path), 1) << path;
    }
    EXPECT_EQ(Run("mkdir -p /dev/system"), 1);
    EXPECT_TRUE(IsOnSet("/dev/mtdblock3"));
    EXPECT_TRUE(IsOnSet("/opt/tv/kept"));
    EXPECT_EQ(Run("rm -rf /opt/tv/kept"), 0);
    EXPECT_EQ(Run("rm -rf /opt/tv/kept"), 0);
    EXPECT_FALSE(IsOnSet("/opt/tv/kept"));
}

TEST_F(ScriptsTest, FaultEndsACommandOnItsSideOnly)
{
    StartWith("");
    Fault("local.spi_init.sh.mount.data_sync", "3");
    EXPECT_EQ(Run("/bin/spi_init.sh mount  data_sync", "local"), 3);
    EXPECT_FALSE(Set().IsMounted("data_sync"));
    EXPECT_EQ(Run("/bin/spi_init.sh mount  data_sync", "service"), 0);
    EXPECT_TRUE(Set().IsMounted("data_sync"));
    Fault("service.MigrationScript.sh.cleanbkup", "0");
    Put("/opt/tv/migration/korvane_vbmg/SP_VB_Data/file", "x");
    EXPECT_EQ(Run("/usr/bin/MigrationScript.sh cleanbkup", "service"), 0);
    EXPECT_TRUE(IsOnSet("/opt/tv/migration/korvane_vbmg/SP_VB_Data/file")) << "status 0, and nothing done";
}

TEST_F(ScriptsTest, FaultOfTheFirstWordsCountsForAllThatBeginSo)
{
    StartWith("");
    Fault("service.spi_init.sh.format.migration", "9");
    EXPECT_EQ(Run("/bin/spi_init.sh format migration mkfs.vfat /dev/mtdblock1", "service"), 9);
    EXPECT_EQ(Run("/bin/spi_init.sh format data_sync", "service"), 0);
    Fault("local.mkdir", "4");
    EXPECT_EQ(Run("mkdir -p /opt/tv/x/"), 4);
    Fault("local.mkdir.-p.x", "5");
    EXPECT_EQ(Run("mkdir -p /opt/tv/x/"), 5);
    EXPECT_FALSE(IsOnSet("/opt/tv/x"));
}

TEST_F(ScriptsTest, FaultKillEndsTheShellBySignal)
{
    StartWith("");
    Fault("service.MigrationScript.sh.tarncpy", "kill");
    const int status = Wait("/usr/bin/MigrationScript.sh tarncpy", "service");
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST_F(ScriptsTest, NothingRunsOffASetOrOnOneThatIsOff)
{
    StartWith("");
    Set().PowerOff();
    EXPECT_EQ(Run("mkdir -p /opt/tv/x"), 126);
    EXPECT_THAT(Messages(), HasSubstr("the set is off"));
    unsetenv("VBSET_TV");
    EXPECT_EQ(Run("mkdir -p /opt/tv/x"), 126);
    EXPECT_THAT(Messages(), HasSubstr("not on a set"));
}

TEST_F(ScriptsTest, WhatWasRunIsInTheTraceWithoutANumber)
{
    StartWith("");
    EXPECT_EQ(Run("/bin/spi_init.sh umount  data_sync", "service"), 1);
    EXPECT_THAT(ReadFile(Set().TvDirectory() / "trace.jsonl"),
                HasSubstr("{\"kind\":\"script\",\"side\":\"service\",\"call\":\"/bin/spi_init.sh umount data_sync\","
                          "\"result\":\"1\"}\n"));
    EXPECT_THAT(Trace(), IsEmpty());
}

}  // namespace
