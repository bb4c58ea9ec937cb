/** Notifications with a box of year 13: types of their own, the archive to and from the box, no clean-up. */
#include "MavoNufOnSet.h"

namespace {

constexpr int kBackup = 0;
constexpr int kRestore = 1;
constexpr int kStart = 0;
constexpr int kEnd = 1;

const char* const kClean = "service: /usr/bin/MigrationScript.sh cleanbkup = ";
const char* const kPack = "service: /usr/bin/MigrationScript.sh Bkup13  = ";
const char* const kUnpack = "service: /usr/bin/MigrationScript.sh Restor13  = ";
const char* const kRemove = "service: rm -rf /opt/korvane_vbmg_Tavix.tar.gz = ";
const char* const kFetch = "request: 6:EMPTY:EMPTY:EMPTY = ";
const char* const kSend = "request: 7:EMPTY:EMPTY:EMPTY = ";

const Message kBinder = Info(" Binder Not Present : Empty Implementation ");
const Message kFromNuf = Info(" Restore : From NUF ");
const Message kCleaningFailed = Error(" Cleaning at backkup failed");
const Message kSendFailed = Error(" Failed to send file to NUF  ");
const Message kFetchFailed = Error(" Failed to GET file From NUF  ");
const Message kUnpackFailed = Error(" Restor13 Failed ");
const Message kSucceeded = Info("NotifyMigrationStatus VB_MIGRATION_STATUS_SUCCESS");
const Message kUnknownError = Error("NotifyMigrationStatus VB_MIGRATION_STATUS_UNKNOWN_ERROR");

class MavoNufNotification : public MavoNufOnSet {
 protected:
    void SetUp() override { StartStrategy(); }

    bool Notify(int type, int progress)
    {
        status_ = static_cast<VB_VornBoxMigrationStatus_k>(77);
        return Strategy().NotifyMigrationStatus(static_cast<VB_VornBoxMigrationType_k>(type),
                                                static_cast<VB_VornBoxMigrationProgress_k>(progress), &status_);
    }
    int Status() const { return static_cast<int>(status_); }

    Messages LoggedByNotification() const
    {
        return Logged({"NotifyMigrationStatus", "NotifyMigrationImplBkup", "NotifyMigrationImplRestore"});
    }

    /** An archive with a backup in it, on the box alone. */
    void PutArchiveOnBox()
    {
        PutBackupTree();
        ASSERT_EQ(MigrationCommon::ExecuteUserShell("/usr/bin/MigrationScript.sh Bkup13", true), 0);
        std::filesystem::rename(ArchiveOnTv(), ArchiveOnBox());
        std::filesystem::remove_all(*Set().Map("/opt/tv/migration/korvane_vbmg"));
        Forget();
    }
    bool IsBackupTreeThere()
    {
        return std::filesystem::exists(
            *Set().Map("/opt/tv/migration/korvane_vbmg/SP_VB_Data/PictureMigrationData.dat"));
    }

 private:
    VB_VornBoxMigrationStatus_k status_{};
};

// Backup

TEST_F(MavoNufNotification, ABackupStartOnlyCleansTheOldBackup)
{
    PutBackupTree();
    EXPECT_TRUE(Notify(kBackup, kStart));
    EXPECT_EQ(Status(), 0);
    EXPECT_EQ(Asked(), (Steps{std::string(kClean) + "0"}));
    EXPECT_EQ(LoggedByNotification(), (Messages{kBinder, kSucceeded}));
    EXPECT_FALSE(IsBackupTreeThere());
    EXPECT_EQ(PowerFlag(), 0xFF);
}

TEST_F(MavoNufNotification, ABackupStartFailsWithTheCleaning)
{
    Fault("service.MigrationScript.sh.cleanbkup", "1");
    EXPECT_FALSE(Notify(kBackup, kStart));
    EXPECT_EQ(Status(), 2);
    EXPECT_EQ(Asked(), (Steps{std::string(kClean) + "1"}));  // and no clean-up of the start
    EXPECT_EQ(LoggedByNotification(), (Messages{kBinder, kCleaningFailed, kUnknownError}));
}

TEST_F(MavoNufNotification, ABackupEndPacksSendsAndRemovesTheArchive)
{
    PutBackupTree();
    LetTransfersReport(0);
    EXPECT_TRUE(Notify(kBackup, kEnd));
    EXPECT_EQ(Status(), 0);
    EXPECT_EQ(Asked(), (Steps{std::string(kPack) + "0", std::string(kSend) + "0:0:0", std::string(kRemove) + "0"}));
    EXPECT_EQ(LoggedByNotification(), (Messages{kBinder, kSucceeded}));
    EXPECT_TRUE(std::filesystem::exists(ArchiveOnBox()));
    EXPECT_FALSE(std::filesystem::exists(ArchiveOnTv()));
}

TEST_F(MavoNufNotification, ATransferThatAnswersUnderItsOwnCodeCountsAsFailedAlthoughItWasMade)
{
    PutBackupTree();
    EXPECT_FALSE(Notify(kBackup, kEnd));
    EXPECT_EQ(Status(), 2);
    EXPECT_EQ(Asked(), (Steps{std::string(kPack) + "0", std::string(kSend) + "7:0:0"}));
    EXPECT_EQ(LoggedByNotification(), (Messages{kBinder, kSendFailed, kUnknownError}));
    EXPECT_TRUE(std::filesystem::exists(ArchiveOnBox()));
    EXPECT_TRUE(std::filesystem::exists(ArchiveOnTv()));
}

TEST_F(MavoNufNotification, ABackupEndFailsWithTheSending)
{
    PutBackupTree();
    LetTransfersReport(1);
    EXPECT_FALSE(Notify(kBackup, kEnd));
    EXPECT_EQ(Asked(), (Steps{std::string(kPack) + "0", std::string(kSend) + "0:1:0"}));
    EXPECT_EQ(LoggedByNotification(), (Messages{kBinder, kSendFailed, kUnknownError}));
}

TEST_F(MavoNufNotification, ABackupEndReportsAFailedRemovalAsAFailedSending)
{
    PutBackupTree();
    LetTransfersReport(0);
    Fault("service.rm", "1");
    EXPECT_FALSE(Notify(kBackup, kEnd));
    EXPECT_EQ(Asked(), (Steps{std::string(kPack) + "0", std::string(kSend) + "0:0:0", std::string(kRemove) + "1"}));
    EXPECT_EQ(LoggedByNotification(), (Messages{kBinder, kSendFailed, kUnknownError}));
    EXPECT_TRUE(std::filesystem::exists(ArchiveOnBox()));
}

TEST_F(MavoNufNotification, ABackupEndStopsWhenThereIsNothingToPack)
{
    EXPECT_FALSE(Notify(kBackup, kEnd));
    EXPECT_EQ(Status(), 2);
    EXPECT_EQ(Asked(), (Steps{std::string(kPack) + "1"}));
    EXPECT_EQ(LoggedByNotification(), (Messages{kBinder, Error(" BKup13 Failed "), kUnknownError}));
}

TEST_F(MavoNufNotification, ABackupEndStopsWhenThereIsNoRoomForTheArchive)
{
    PutBackupTree();
    Fault("flash.root.free", "10");
    EXPECT_FALSE(Notify(kBackup, kEnd));
    EXPECT_EQ(Asked(), (Steps{std::string(kPack) + "1"}));
    EXPECT_EQ(LoggedByNotification(), (Messages{kBinder, Error(" BKup13 Failed "), kUnknownError}));
    EXPECT_FALSE(std::filesystem::exists(ArchiveOnTv()));
    EXPECT_FALSE(std::filesystem::exists(ArchiveOnBox()));
}

// Restore

TEST_F(MavoNufNotification, ARestoreStartFetchesAndUnpacksTheArchive)
{
    PutArchiveOnBox();
    LetTransfersReport(0);
    EXPECT_TRUE(Notify(kRestore, kStart));
    EXPECT_EQ(Status(), 0);
    EXPECT_EQ(Asked(), (Steps{std::string(kClean) + "0", std::string(kFetch) + "0:0:0", std::string(kUnpack) + "0"}));
    EXPECT_EQ(LoggedByNotification(), (Messages{kFromNuf, kSucceeded}));
    EXPECT_TRUE(IsBackupTreeThere());
}

TEST_F(MavoNufNotification, AFetchThatAnswersUnderItsOwnCodeCountsAsFailedAndTheStartAsSuccess)
{
    PutArchiveOnBox();
    EXPECT_TRUE(Notify(kRestore, kStart));
    EXPECT_EQ(Status(), 0);
    EXPECT_EQ(Asked(), (Steps{std::string(kClean) + "0", std::string(kFetch) + "6:0:0"}));
    EXPECT_EQ(LoggedByNotification(), (Messages{kFromNuf, kFetchFailed, kSucceeded}));
    EXPECT_FALSE(IsBackupTreeThere());
}

TEST_F(MavoNufNotification, ARestoreEndDoesNothingAndSucceeds)
{
    EXPECT_TRUE(Notify(kRestore, kEnd));
    EXPECT_EQ(Status(), 0);
    EXPECT_EQ(Asked(), Steps{});
    EXPECT_EQ(LoggedByNotification(), (Messages{kFromNuf, kSucceeded}));
}

struct RestoreStart {
    const char* name;
    bool cleans;
    bool fetches;
    bool unpacks;
    bool result;
};

class MavoNufRestoreStart : public MavoNufNotification, public ::testing::WithParamInterface<RestoreStart> {};

TEST_P(MavoNufRestoreStart, IsJudgedByTheCleaningUnlessTheArchiveWasUnpacked)
{
    const RestoreStart& start = GetParam();
    PutArchiveOnBox();
    LetTransfersReport(start.fetches ? 0 : 1);
    Fault("service.MigrationScript.sh.cleanbkup", start.cleans ? "0" : "1");
    Fault("service.MigrationScript.sh.Restor13", start.unpacks ? "0" : "1");
    Steps asked = {std::string(kClean) + (start.cleans ? "0" : "1"),
                   std::string(kFetch) + (start.fetches ? "0:0:0" : "0:1:0")};
    Messages messages = {kFromNuf};
    if (!start.cleans) {
        messages.push_back(kCleaningFailed);
    }
    if (!start.fetches) {
        messages.push_back(kFetchFailed);
    } else {
        asked.push_back(std::string(kUnpack) + (start.unpacks ? "0" : "1"));
        if (!start.unpacks) {
            messages.push_back(kUnpackFailed);
        }
    }
    EXPECT_EQ(Strategy().NotifyMigrationImplRestore(VB_MIGRATION_PROGRESS_START), start.result);
    EXPECT_EQ(Asked(), asked);
    EXPECT_EQ(LoggedByNotification(), messages);
}

INSTANTIATE_TEST_SUITE_P(Cases, MavoNufRestoreStart,
                         ::testing::Values(RestoreStart{"AllWell", true, true, true, true},
                                           RestoreStart{"NoUnpacking", true, true, false, true},
                                           RestoreStart{"NoFetching", true, false, true, true},
                                           RestoreStart{"NoCleaning", false, true, true, true},
                                           RestoreStart{"NoCleaningNorUnpacking", false, true, false, false},
                                           RestoreStart{"NoCleaningNorFetching", false, false, true, false}),
                         [](const auto& start) { return std::string(start.param.name); });

TEST_F(MavoNufNotification, ABoxWithoutAnArchiveGivesNone)
{
    LetTransfersReport(0);  // says that it did, so that what is missing shows when it is unpacked
    EXPECT_TRUE(Notify(kRestore, kStart));
    EXPECT_EQ(Asked(), (Steps{std::string(kClean) + "0", std::string(kFetch) + "0:0:0", std::string(kUnpack) + "1"}));
    EXPECT_EQ(LoggedByNotification(), (Messages{kFromNuf, kUnpackFailed, kSucceeded}));
}

// The transfers

TEST_F(MavoNufNotification, TransfersSucceedExactlyWhenTheClientSaysZero)
{
    for (const char* reply : {"0:0:0", "2:0:0", "9:0:0", "", "0:0"}) {
        Fault("service.reply.6", reply);
        Fault("service.reply.7", reply);
        EXPECT_TRUE(Strategy().GetFileFromNUF()) << reply;
        EXPECT_TRUE(Strategy().SendFileToNUF()) << reply;
    }
    for (const char* reply : {"6:0:0", "7:0:0", "0:1:0", "0:-1:0", "1:0:0"}) {
        Fault("service.reply.6", reply);
        Fault("service.reply.7", reply);
        EXPECT_FALSE(Strategy().GetFileFromNUF()) << reply;
        EXPECT_FALSE(Strategy().SendFileToNUF()) << reply;
    }
}

TEST_F(MavoNufNotification, AServiceThatAnswersWithAnErrorReadsAsSuccess)
{
    Fault("service.state", "error");
    EXPECT_TRUE(Notify(kBackup, kStart));
    EXPECT_TRUE(Notify(kBackup, kEnd));
    EXPECT_TRUE(Notify(kRestore, kStart));
}

TEST_F(MavoNufNotification, WithoutAClientEveryStepFails)
{
    const WithoutClient withoutClient;
    EXPECT_FALSE(Notify(kBackup, kStart));
    EXPECT_FALSE(Notify(kBackup, kEnd));
    EXPECT_FALSE(Notify(kRestore, kStart));
    EXPECT_EQ(LoggedByNotification(),
              (Messages{kBinder, kCleaningFailed, kUnknownError, kBinder, Error(" BKup13 Failed "), kUnknownError,
                        kFromNuf, kCleaningFailed, kFetchFailed, kUnknownError}));
}

// What is none of its notifications

class MavoNufOddType : public MavoNufNotification, public ::testing::WithParamInterface<int> {};

TEST_P(MavoNufOddType, IsRefusedAlsoWhenItIsOneOfTheOtherPairings)
{
    for (const int progress : {kStart, kEnd}) {
        Forget();
        EXPECT_FALSE(Notify(GetParam(), progress));
        EXPECT_EQ(Status(), 2);
        EXPECT_EQ(Asked(), Steps{});
        EXPECT_EQ(Logged(), (Messages{Error("NotifyMigrationStatus Wrong Param for : eType value = [" +
                                            std::to_string(GetParam()) + "] "),
                                      kUnknownError}));
    }
}

INSTANTIATE_TEST_SUITE_P(Types, MavoNufOddType, ::testing::Values(2, 3, 4, -1));

class MavoNufOddProgress : public MavoNufNotification, public ::testing::WithParamInterface<int> {};

TEST_P(MavoNufOddProgress, FailsWithoutAnyStep)
{
    EXPECT_FALSE(Notify(kBackup, GetParam()));
    EXPECT_EQ(Status(), 2);
    EXPECT_FALSE(Notify(kRestore, GetParam()));
    EXPECT_EQ(Status(), 2);
    EXPECT_EQ(Asked(), Steps{});
    EXPECT_EQ(LoggedByNotification(), (Messages{kBinder, kUnknownError, kFromNuf, kUnknownError}));
}

INSTANTIATE_TEST_SUITE_P(Progresses, MavoNufOddProgress, ::testing::Values(2, -1));

TEST_F(MavoNufNotification, MessagesNameItsUnit)
{
    Notify(kBackup, kStart);
    Notify(kBackup, kEnd);
    Notify(kRestore, kStart);
    Notify(9, kStart);
    EXPECT_EQ(UnitsOf({"NotifyMigrationStatus", "NotifyMigrationImplBkup", "NotifyMigrationImplRestore"}),
              (std::vector<std::string>{"MavoNufStratgegy.cpp"}));
}

}  // namespace
