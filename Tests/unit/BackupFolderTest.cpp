/** The backup folder: made where it is missing, named by the backup path only while a dump runs. */
#include "StrategyOnSet.h"

#include <sys/stat.h>

#include <optional>

namespace {

const char* const kBase = "/opt/tv/migration/korvane_vbmg/";
const char* const kFolder = "/opt/tv/migration/korvane_vbmg/SP_VB_Data/";
const char* const kStatOfMissing = "stat /opt/tv/migration/korvane_vbmg/SP_VB_Data/ = ENOENT";
const char* const kMkdirHere = "here: mkdir -p /opt/tv/migration/korvane_vbmg/SP_VB_Data/ = ";
const char* const kMkdirOnService = "service: mkdir -p /opt/tv/migration/korvane_vbmg/SP_VB_Data/ = ";

class BackupFolder : public StrategyOnSet {
 protected:
    void SetUp() override
    {
        StartSet();
        strategy_.emplace();
        Forget();
    }
    SteeredStrategy& Strategy() { return *strategy_; }
    std::filesystem::path OnHost(const std::string& path) { return Set().Map(path).value(); }

 private:
    std::optional<SteeredStrategy> strategy_;
};

TEST_F(BackupFolder, IsMadeByThisProcess)
{
    EXPECT_TRUE(Strategy().CreateSPFolder());
    EXPECT_TRUE(std::filesystem::is_directory(OnHost(kFolder)));
    EXPECT_EQ(Strategy().mBackupPath, kFolder);
    EXPECT_EQ(Asked(), (Steps{kStatOfMissing, std::string(kMkdirHere) + "0"}));
    EXPECT_EQ(Logged({"CreateSPFolder"}),
              (Messages{Info("mkdir -p /opt/tv/migration/korvane_vbmg/SP_VB_Data/ cmd Succeeded on Process App ")}));
}

TEST_F(BackupFolder, IsMadeByTheServiceWhenThisProcessCannot)
{
    Fault("local.mkdir", "13");
    EXPECT_TRUE(Strategy().CreateSPFolder());
    EXPECT_TRUE(std::filesystem::is_directory(OnHost(kFolder)));
    EXPECT_EQ(Strategy().mBackupPath, kFolder);
    EXPECT_EQ(Asked(), (Steps{kStatOfMissing, std::string(kMkdirHere) + "13", std::string(kMkdirOnService) + "0"}));
    EXPECT_EQ(
        Logged({"CreateSPFolder"}),
        (Messages{Error("mkdir -p /opt/tv/migration/korvane_vbmg/SP_VB_Data/ cmd failed with : error 13 , now trying "
                        "on server ")}));
}

TEST_F(BackupFolder, ThatNobodyCanMakeLeavesTheBackupPathAsItWas)
{
    Fault("local.mkdir", "1");
    Fault("service.mkdir", "2");
    EXPECT_FALSE(Strategy().CreateSPFolder());
    EXPECT_FALSE(std::filesystem::exists(OnHost(kFolder)));
    EXPECT_EQ(Strategy().mBackupPath, kBase);
    EXPECT_EQ(Asked(), (Steps{kStatOfMissing, std::string(kMkdirHere) + "1", std::string(kMkdirOnService) + "2"}));
    EXPECT_EQ(
        Logged({"CreateSPFolder"}),
        (Messages{Error("mkdir -p /opt/tv/migration/korvane_vbmg/SP_VB_Data/ cmd failed with : error 1 , now trying "
                        "on server "),
                  Error("mkdir -p /opt/tv/migration/korvane_vbmg/SP_VB_Data/ cmd failed with : error 2")}));
}

TEST_F(BackupFolder, ThatExistsIsOnlyNamed)
{
    PutBackupTree();
    struct stat status = {};
    ASSERT_EQ(stat(OnHost(kFolder).c_str(), &status), 0);
    EXPECT_TRUE(Strategy().CreateSPFolder());
    EXPECT_EQ(Strategy().mBackupPath, kFolder);
    EXPECT_EQ(Asked(), (Steps{"stat /opt/tv/migration/korvane_vbmg/SP_VB_Data/ = 0"}));
    EXPECT_EQ(Logged(), (Messages{Info("stat() sucess\tverify"),
                                  Info("stat() sucess Size is " + std::to_string(status.st_size) + " ")}));
}

TEST_F(BackupFolder, IsNotAppendedToAPathThatContainsItAlready)
{
    PutOnTv("/opt/tv/migration/korvane_vbmg/SP_VB_Data/SP_VB_Data/file");
    Strategy().mBackupPath = kFolder;
    EXPECT_TRUE(Strategy().CreateSPFolder());
    EXPECT_EQ(Strategy().mBackupPath, kFolder);
}

TEST_F(BackupFolder, IsMadeBelowAPathThatContainsItWhenItIsMissingThere)
{
    PutBackupTree();
    Strategy().mBackupPath = kFolder;
    EXPECT_TRUE(Strategy().CreateSPFolder());
    EXPECT_EQ(Strategy().mBackupPath, std::string(kFolder) + "SP_VB_Data/");
}

TEST_F(BackupFolder, ThatCannotBeLookedAtCountsAsMissing)
{
    PutBackupTree();
    Fault("path./opt/tv/migration/korvane_vbmg/SP_VB_Data", "EACCES");
    EXPECT_TRUE(Strategy().CreateSPFolder());
    EXPECT_EQ(Asked(),
              (Steps{"stat /opt/tv/migration/korvane_vbmg/SP_VB_Data/ = EACCES", std::string(kMkdirHere) + "0"}));
    EXPECT_EQ(Strategy().mBackupPath, kFolder);
}

TEST_F(BackupFolder, LeavesNoDescriptorOpen)
{
    Fault("local.mkdir", "1");
    Strategy().CreateSPFolder();  // connects the client
    const auto before = OpenDescriptors();
    Strategy().CreateSPFolder();
    NoFault("local.mkdir");
    Strategy().RestorBkupPath();
    Strategy().CreateSPFolder();
    EXPECT_EQ(OpenDescriptors(), before);
}

struct CutPath {
    const char* name;
    const char* path;
    const char* left;
};

class BackupPath : public BackupFolder, public ::testing::WithParamInterface<CutPath> {};

TEST_P(BackupPath, EndsBeforeTheFirstBackupFolderInIt)
{
    Strategy().mBackupPath = GetParam().path;
    EXPECT_TRUE(Strategy().RestorBkupPath());
    EXPECT_EQ(Strategy().mBackupPath, GetParam().left);
    EXPECT_EQ(Logged(), Messages{});
}

INSTANTIATE_TEST_SUITE_P(Paths, BackupPath,
                         ::testing::Values(CutPath{"Folder", "/opt/tv/SP_VB_Data/", "/opt/tv/"},
                                           CutPath{"BelowFolder", "/opt/tv/SP_VB_Data/more/", "/opt/tv/"},
                                           CutPath{"TwoFolders", "/opt/SP_VB_Data/tv/SP_VB_Data/", "/opt/"},
                                           CutPath{"NoFolder", "/opt/tv/", "/opt/tv/"},
                                           CutPath{"NoSlash", "/opt/tv/SP_VB_Data", "/opt/tv/SP_VB_Data"},
                                           CutPath{"OtherCase", "/opt/tv/SP_VB_DATA/", "/opt/tv/SP_VB_DATA/"},
                                           CutPath{"Alone", "SP_VB_Data/", ""}, CutPath{"Empty", "", ""}),
                         [](const auto& cut) { return std::string(cut.param.name); });

}  // namespace
