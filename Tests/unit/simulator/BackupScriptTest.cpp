// The backup tree on its way between TV and box: packed, unpacked and cleaned by the set's script, really executed.
#include "CommandLines.h"

namespace fs = std::filesystem;

namespace {

using ::testing::HasSubstr;

constexpr const char* archive = "/opt/korvane_vbmg_Tavix.tar.gz";

class BackupScriptTest : public CommandLines {};

TEST_F(BackupScriptTest, BackupIsPackedAndUnpackedByteForByte)
{
    StartWith("restore_path = \"/opt/tv/restored/\"\n");
    const std::string bytes("\0\xFF\n\t binary", 11);
    Put("/opt/tv/migration/korvane_vbmg/SP_VB_Data/PictureMigrationData.dat", bytes);
    EXPECT_EQ(Run("/bin/spi_init.sh mount migration"), 0);
    EXPECT_EQ(Script("tarncpy"), 0) << Messages();
    EXPECT_TRUE(fs::exists(Set().Partition("migration") / "korvane_vbmg.tar"));
    EXPECT_EQ(ReadFile(Set().Partition("migration") / "SP_VB_Data/PictureMigrationData.dat"), bytes);
    Put("/opt/tv/restored/SP_VB_Data/stale", "x");
    EXPECT_EQ(Script("cpynuntar"), 0) << Messages();
    EXPECT_EQ(ReadFile(OnHost("/opt/tv/restored/SP_VB_Data/PictureMigrationData.dat")), bytes);
    EXPECT_FALSE(IsOnSet("/opt/tv/restored/SP_VB_Data/stale"));
    EXPECT_EQ(Entries(OnHost("/opt/tv/restored")), 1U);
    EXPECT_EQ(Entries(Set().Partition("migration")), 2U);
}

TEST_F(BackupScriptTest, BackupBaseOnThePartitionIsPackedInPlace)
{
    StartWith("backup_path = \"/opt/korvane_vbmg/\"\nrestore_path = \"/opt/korvane_vbmg/\"\n");
    EXPECT_EQ(Run("/bin/spi_init.sh mount migration"), 0);
    Put("/opt/korvane_vbmg/SP_VB_Data/file", "abc");
    EXPECT_EQ(Script("tarncpy"), 0) << Messages();
    EXPECT_EQ(ReadFile(Set().Partition("migration") / "SP_VB_Data/file"), "abc");
    fs::remove_all(Set().Partition("migration") / "SP_VB_Data");
    EXPECT_EQ(Script("cpynuntar"), 0) << Messages();
    EXPECT_EQ(ReadFile(Set().Partition("migration") / "SP_VB_Data/file"), "abc");
}

TEST_F(BackupScriptTest, BaseThatTheSystemInformationCannotTellIsTheUsualOne)
{
    StartWith("backup_path = \"/opt/tv/other/\"\n");
    Put("/opt/tv/other/SP_VB_Data/file", "other");
    Put("/opt/tv/migration/korvane_vbmg/SP_VB_Data/file", "usual");
    EXPECT_EQ(Run("/bin/spi_init.sh mount migration"), 0);
    EXPECT_EQ(Script("tarncpy"), 0);
    EXPECT_EQ(ReadFile(Set().Partition("migration") / "SP_VB_Data/file"), "other");
    Fault("system_info.247", "fail");
    EXPECT_EQ(Script("tarncpy"), 0);
    EXPECT_EQ(ReadFile(Set().Partition("migration") / "SP_VB_Data/file"), "usual");
    Fault("system_info.247", "/opt/tv/other/");
    EXPECT_EQ(Script("tarncpy"), 0);
    EXPECT_EQ(ReadFile(Set().Partition("migration") / "SP_VB_Data/file"), "other");
    Fault("system_info.247", "/etc/");
    EXPECT_EQ(Script("tarncpy"), 1);
    EXPECT_EQ(Script("cleanbkup"), 1);
}

TEST_F(BackupScriptTest, PackingNeedsATreeAndAMountedPartition)
{
    StartWith("");
    Put("/opt/tv/migration/korvane_vbmg/SP_VB_Data/file", "x");
    EXPECT_EQ(Script("tarncpy"), 1);
    EXPECT_EQ(Script("cpynuntar"), 1);
    EXPECT_EQ(Run("/bin/spi_init.sh mount migration"), 0);
    EXPECT_EQ(Script("cpynuntar"), 1) << "nothing was packed";
    EXPECT_EQ(Run("rm -rf /opt/tv/migration/korvane_vbmg/SP_VB_Data"), 0);
    EXPECT_EQ(Script("tarncpy"), 1);
    EXPECT_EQ(Script("Bkup13"), 1);
    EXPECT_EQ(Script("Restor13"), 1);
    EXPECT_EQ(Entries(Set().Partition("migration")), 0U);
    EXPECT_FALSE(IsOnSet(archive));
}

TEST_F(BackupScriptTest, PartitionThatCannotBeWrittenTakesNoBackup)
{
    StartWith("");
    Put("/opt/tv/migration/korvane_vbmg/SP_VB_Data/file", "x");
    EXPECT_EQ(Run("/bin/spi_init.sh mount migration"), 0);
    // Root writes in spite of permissions, but not on what is a directory.
    fs::create_directories(Set().Partition("migration") / ".korvane_vbmg.tar/in the way");
    EXPECT_NE(Script("tarncpy"), 0);
    EXPECT_FALSE(fs::exists(Set().Partition("migration") / "korvane_vbmg.tar"));
    EXPECT_FALSE(fs::exists(Set().Partition("migration") / "SP_VB_Data"));
    if (geteuid() != 0) {
        fs::permissions(Set().Partition("migration"), fs::perms::owner_read | fs::perms::owner_exec);
        EXPECT_EQ(Script("tarncpy"), 1);
        EXPECT_THAT(Messages(), HasSubstr("cannot be written"));
        fs::permissions(Set().Partition("migration"), fs::perms::owner_all);
    }
}

TEST_F(BackupScriptTest, FullPartitionTakesNoBackupAndKeepsTheOldOne)
{
    StartWith("");
    Put("/opt/tv/migration/korvane_vbmg/SP_VB_Data/file", "old");
    EXPECT_EQ(Run("/bin/spi_init.sh mount migration"), 0);
    EXPECT_EQ(Script("tarncpy"), 0);
    const std::string old = ReadFile(Set().Partition("migration") / "korvane_vbmg.tar");
    Put("/opt/tv/migration/korvane_vbmg/SP_VB_Data/file", std::string(50000, 'n'));
    Fault("flash.migration.free", "20000");
    EXPECT_EQ(Script("tarncpy"), 1);
    EXPECT_THAT(Messages(), HasSubstr("no space left"));
    EXPECT_EQ(ReadFile(Set().Partition("migration") / "korvane_vbmg.tar"), old);
    EXPECT_EQ(ReadFile(Set().Partition("migration") / "SP_VB_Data/file"), "old");
    EXPECT_EQ(Entries(Set().Partition("migration")), 2U);
    Fault("flash.migration.free", "200000");
    EXPECT_EQ(Script("tarncpy"), 0);
}

TEST_F(BackupScriptTest, FullPartitionGivesRoomBackWhenItIsCleaned)
{
    StartWith("");
    EXPECT_EQ(Run("/bin/spi_init.sh mount migration"), 0);
    WriteFile(Set().Partition("migration") / "korvane_vbmg.tar", std::string(50000, 'o'));
    Put("/opt/tv/migration/korvane_vbmg/SP_VB_Data/file", "new");
    Fault("flash.migration.free", "10");
    EXPECT_EQ(Script("tarncpy"), 1);
    EXPECT_EQ(Script("cleanbkup"), 0);
    Put("/opt/tv/migration/korvane_vbmg/SP_VB_Data/file", "new");
    EXPECT_EQ(Script("tarncpy"), 0) << Messages();
}

TEST_F(BackupScriptTest, LegacyBackupIsUnpackedWhereTheRelativePathLeads)
{
    StartWith("", "box14-legacy");
    Put("/opt/tv/migration/korvane_vbmg/SP_VB_Data/stale", "of another box");
    EXPECT_EQ(Run("/bin/spi_init.sh mount migration"), 0);
    EXPECT_EQ(Script("cpynuntar"), 0) << Messages();
    EXPECT_GT(fs::file_size("TD/Migration/PictureMigrationData.dat"), 0U) << "seen from the TV's working directory";
    EXPECT_FALSE(IsOnSet("/opt/tv/migration/korvane_vbmg/SP_VB_Data"));
    EXPECT_TRUE(fs::exists(Set().Partition("migration") / "legacy.tar"));
}

TEST_F(BackupScriptTest, ArchiveThatIsNoneIsRefusedAndChangesNothing)
{
    StartWith("");
    EXPECT_EQ(Run("/bin/spi_init.sh mount migration"), 0);
    Put("/opt/tv/migration/korvane_vbmg/SP_VB_Data/file", "kept");
    WriteFile(Set().Partition("migration") / "korvane_vbmg.tar", std::string(3000, 'x'));
    EXPECT_EQ(Script("cpynuntar"), 1);
    Put(archive, "no archive either");
    EXPECT_EQ(Script("Restor13"), 1);
    EXPECT_EQ(ReadFile(OnHost("/opt/tv/migration/korvane_vbmg/SP_VB_Data/file")), "kept");
    EXPECT_EQ(Entries(OnHost("/opt/tv/migration/korvane_vbmg")), 1U);
}

TEST_F(BackupScriptTest, ArchiveOfTheOlderBoxIsPackedAndUnpacked)
{
    StartWith("restore_path = \"/opt/tv/restored/\"\n");
    Put("/opt/tv/migration/korvane_vbmg/SP_VB_Data/file", "abc");
    EXPECT_EQ(Script("Bkup13 "), 0) << Messages();
    EXPECT_EQ(ReadFile(OnHost(archive)).substr(0, 2), "\x1F\x8B");
    EXPECT_EQ(Script("Restor13 "), 0) << Messages();
    EXPECT_EQ(ReadFile(OnHost("/opt/tv/restored/SP_VB_Data/file")), "abc");
    EXPECT_EQ(Run(std::string("rm -rf ") + archive), 0);
    EXPECT_FALSE(IsOnSet(archive));
}

TEST_F(BackupScriptTest, FullTvMakesNoArchive)
{
    StartWith("");
    Put("/opt/tv/migration/korvane_vbmg/SP_VB_Data/file", "abc");
    Fault("flash.root.free", "20");
    EXPECT_EQ(Script("Bkup13 "), 1);
    EXPECT_FALSE(IsOnSet(archive));
    EXPECT_EQ(Entries(Set().TvDirectory() / "nonvolatile/root/opt"), 2U) << "no half archive either";
}

TEST_F(BackupScriptTest, CleaningRemovesBackupsAndNothingElse)
{
    StartWith("", "box14-legacy");
    EXPECT_EQ(Run("/bin/spi_init.sh mount migration"), 0);
    for (const char* path : {"/opt/tv/migration/korvane_vbmg/SP_VB_Data/file", "/opt/korvane_vbmg/SP_VB_Data/file",
                             "/opt/korvane_vbmg/korvane_vbmg.tar", archive}) {
        Put(path, "old");
    }
    Put("/opt/korvane_vbmg/SP_VB_DATA/file", "kept");
    EXPECT_EQ(Script("cleanbkup"), 0);
    EXPECT_FALSE(IsOnSet("/opt/tv/migration/korvane_vbmg/SP_VB_Data"));
    EXPECT_FALSE(IsOnSet("/opt/korvane_vbmg/SP_VB_Data"));
    EXPECT_FALSE(IsOnSet("/opt/korvane_vbmg/korvane_vbmg.tar"));
    EXPECT_FALSE(IsOnSet(archive));
    EXPECT_TRUE(IsOnSet("/opt/korvane_vbmg/legacy.tar"));
    EXPECT_TRUE(IsOnSet("/opt/korvane_vbmg/SP_VB_DATA/file"));
    EXPECT_EQ(Script("cleanbkup"), 0) << "nothing to clean";
}

}  // namespace
