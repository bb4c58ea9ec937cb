// Writing the picture file and reading it whole, also when the file gets in the way.

#include "PictureOnSet.h"

#include <PictureMigration.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

/** Operations keep no descriptor, however they end. */
class PictureFile : public OnPictureSet {
 protected:
    PictureFile()
    {
        Start();
        openBefore_ = OpenDescriptors();
        Forget();
    }
    void TearDown() override { EXPECT_EQ(OpenDescriptors(), openBefore_); }

    int Write(std::string bytes, const char* path = kFile)
    {
        return picture.t_WriteToFlash(reinterpret_cast<unsigned char*>(bytes.data()),
                                      static_cast<unsigned int>(bytes.size()), path);
    }
    int Read() { return picture.t_ReadMigrationSPIData(values.data(), kFile); }

    static std::string At(const char* fault) { return std::string(fault) + kFile; }

    PictureDataMigration picture;
    std::vector<int> values = std::vector<int>(8, 12345);

 private:
    int openBefore_ = 0;
};

class PictureWrite : public PictureFile {};
class PictureRead : public PictureFile {
 protected:
    const std::string twoRecords = RecordBytes(79, 1, Raw({0x34, 0x12})) + RecordBytes(80, 1, Raw({0x78, 0x56}));
};

TEST_F(PictureWrite, CreatesTheFileWritesSyncsAndClosesIt)
{
    EXPECT_EQ(Write("some bytes"), 0);
    EXPECT_EQ(FileBytes(kFile), "some bytes");
    EXPECT_THAT(Calls(), ElementsAre("open", "write", "fsync", "close"));
    EXPECT_EQ(Trace().at(0).args, std::string(kFile) + " O_WRONLY|O_CREAT|O_TRUNC");
    EXPECT_THAT(Logged(), ElementsAre(Info("In t_WriteToFlash function\n "),
                                      Info("PictureDataMigration::t_WriteToFlash :: file created"),
                                      Info("\t>>[PICMIGRATE] t_WriteToFlash: File write SUCCESS \n")));
}

TEST_F(PictureWrite, GivesTheFileAllPermissions)
{
    const mode_t before = umask(0);
    EXPECT_EQ(Write("some bytes"), 0);
    umask(before);
    EXPECT_EQ(std::filesystem::status(Host(kFile)).permissions(), std::filesystem::perms::all);
}

TEST_F(PictureWrite, TruncatesALongerFile)
{
    PutFile(kFile, "a longer file that was there");
    EXPECT_EQ(Write("short"), 0);
    EXPECT_EQ(FileBytes(kFile), "short");
}

TEST_F(PictureWrite, NeedsDataPathAndSize)
{
    unsigned char byte = 1;
    const struct {
        unsigned char* data;
        unsigned int size;
        const char* path;
        const char* words;
    } cases[] = {
        {nullptr, 1, kFile, "MigData_NULL, ., ."},
        {&byte, 1, nullptr, "., SPIPath_NULL, ."},
        {&byte, 0, kFile, "., ., MigBuffSz_0"},
        {nullptr, 1, nullptr, "MigData_NULL, SPIPath_NULL, ."},
        {nullptr, 0, kFile, "MigData_NULL, ., MigBuffSz_0"},
        {&byte, 0, nullptr, "., SPIPath_NULL, MigBuffSz_0"},
        {nullptr, 0, nullptr, "MigData_NULL, SPIPath_NULL, MigBuffSz_0"},
    };
    for (const auto& given : cases) {
        Forget();
        EXPECT_EQ(picture.t_WriteToFlash(given.data, given.size, given.path), kGeneralFailure) << given.words;
        EXPECT_THAT(Logged(),
                    ElementsAre(Info("In t_WriteToFlash function\n "),
                                Error(std::string("[PICMIGRATE] t_WriteToFlash:(Error) Param is NULL : ") +
                                      given.words + "\n")));
        EXPECT_THAT(Trace(), IsEmpty());
    }
}

TEST_F(PictureWrite, TellsTheErrorNumberWhenTheFileCannotBeOpened)
{
    Fault(At("path."), "EROFS");
    EXPECT_EQ(Write("some bytes"), kGeneralFailure);
    EXPECT_THAT(Logged(), ElementsAre(Info("In t_WriteToFlash function\n "),
                                      Error("[PICMIGRATE] t_WriteToFlash:(Error:30) File Open Failed \n")));
    EXPECT_THAT(Calls(), ElementsAre("open"));
}

TEST_F(PictureWrite, GoesOnAfterShortWrites)
{
    Fault(At("write."), "short:3");
    EXPECT_EQ(Write("ten bytes."), 0);
    EXPECT_EQ(FileBytes(kFile), "ten bytes.");
    EXPECT_THAT(Calls(), ElementsAre("open", "write", "write", "write", "write", "fsync", "close"));
}

TEST_F(PictureWrite, IsRepeatedWhenInterrupted)
{
    EXPECT_EQ(Interrupted(At("write."), [&] { return Write("ten bytes."); }), 0);
    EXPECT_EQ(FileBytes(kFile), "ten bytes.");
    EXPECT_GE(Count("write", "EINTR"), 1U);
    EXPECT_EQ(Count("write", "10"), 1U);
}

class FailingWrite : public PictureWrite, public ::testing::WithParamInterface<std::pair<const char*, const char*>> {};

TEST_P(FailingWrite, StillSyncsAndClosesTheFileAndLeavesWhatWasWritten)
{
    const auto& [fault, left] = GetParam();
    PutFile(kFile, "what was there");
    Fault(At("write."), fault);
    EXPECT_EQ(Write("ten bytes."), kGeneralFailure);
    EXPECT_EQ(FileBytes(kFile), left);
    std::vector<std::string> calls = Calls();
    ASSERT_GE(calls.size(), 3U);
    EXPECT_EQ(calls[calls.size() - 2], "fsync");
    EXPECT_EQ(calls.back(), "close");
    EXPECT_THAT(Logged(), ElementsAre(Info("In t_WriteToFlash function\n "),
                                      Info("PictureDataMigration::t_WriteToFlash :: file created"),
                                      Error("\t>>[PICMIGRATE] t_WriteToFlash: File write FAIL \n")));
}

INSTANTIATE_TEST_SUITE_P(Faults, FailingWrite,
                         ::testing::Values(std::pair{"EIO", ""}, std::pair{"full:0", ""}, std::pair{"full:4", "ten "},
                                           std::pair{"full:9", "ten bytes"}, std::pair{"EAGAIN", ""}));

TEST_F(PictureWrite, FailsOnAFullPartition)
{
    std::filesystem::remove_all(Host("/opt/tv/migration/service/PictureData.dat"));
    Fault("flash.data_sync.free", "100");
    const std::filesystem::path link = Set().TvDirectory() / "volatile/mnt/data_sync";
    std::filesystem::remove(link);
    std::filesystem::create_symlink(Set().Partition("data_sync"), link);
    EXPECT_EQ(Write(std::string(616, 'x'), kServiceFile), kGeneralFailure);
    EXPECT_EQ(FileBytes(kServiceFile), std::string(100, 'x'));
    EXPECT_EQ(Count("write", "ENOSPC"), 1U);
}

TEST_F(PictureWrite, IgnoresAFailureToSync)
{
    Fault(At("fsync."), "EIO");
    EXPECT_EQ(Write("some bytes"), 0);
    EXPECT_EQ(Count("fsync", "EIO"), 1U);
    EXPECT_EQ(Logged().back(), Info("\t>>[PICMIGRATE] t_WriteToFlash: File write SUCCESS \n"));
}

TEST_F(PictureRead, LooksAtTheFileReadsItWholeAndClosesIt)
{
    PutFile(kFile, twoRecords);
    EXPECT_EQ(Read(), 0);
    EXPECT_THAT(values, ElementsAre(0x1234, 0x5678, 12345, 12345, 12345, 12345, 12345, 12345));
    EXPECT_THAT(Calls(), ElementsAre("stat", "open", "read", "close"));
    EXPECT_EQ(Trace().at(1).args, std::string(kFile) + " O_RDONLY");
    EXPECT_THAT(Logged(),
                ElementsAre(Info(std::string("t_ReadMigrationTestData: Read data from pSPIPath(") + kFile + ")\n"),
                            Info("stat() success  verify\n"), Info("stat() success Size is 28 \n"),
                            Info("File Size is 28\n"), Info("\n ==> reading againg from m_ReadFromFile \n"),
                            Info(" File read SUCCESS \n")));
}

TEST_F(PictureRead, NamesItsOperationsInTheLog)
{
    PutFile(kFile, twoRecords);
    EXPECT_EQ(Read(), 0);
    EXPECT_THAT(Logged({"t_ReadMigrationSPIData"}).size(), 5U);
    EXPECT_THAT(Logged({"m_ReadFromFile"}), ElementsAre(Info("\n ==> reading againg from m_ReadFromFile \n")));
}

class UnreadableFile : public PictureRead, public ::testing::WithParamInterface<const char*> {};

TEST_P(UnreadableFile, ThatCannotBeLookedAtIsAFileFailure)
{
    if (*GetParam() != '\0') {
        PutFile(kFile, twoRecords);
        Fault(At("path."), GetParam());
    }
    EXPECT_EQ(Read(), kFileFailure);
    EXPECT_THAT(values, ElementsAre(12345, 12345, 12345, 12345, 12345, 12345, 12345, 12345));
    EXPECT_THAT(Calls(), ElementsAre("stat"));
    EXPECT_THAT(Logged(),
                ElementsAre(Info(std::string("t_ReadMigrationTestData: Read data from pSPIPath(") + kFile + ")\n"),
                            Error("stat() failed \n")));
}

INSTANTIATE_TEST_SUITE_P(MissingOrRefused, UnreadableFile, ::testing::Values("", "EACCES", "EIO"));

TEST_F(PictureRead, OfAFileThatCannotBeOpenedIsAFileFailure)
{
    PutUnopenable(kFile);
    EXPECT_EQ(Read(), kFileFailure);
    EXPECT_THAT(Logged(),
                ElementsAre(Info(std::string("t_ReadMigrationTestData: Read data from pSPIPath(") + kFile + ")\n"),
                            Info("stat() success  verify\n"), Info("stat() success Size is 0 \n"),
                            Error("\t PictureDataMigration::t_ReadMigrationSPIData - > File Open Failed \n")));
}

TEST_F(PictureRead, OfAnEmptyFileIsAFileFailure)
{
    PutFile(kFile, "");
    EXPECT_EQ(Read(), kFileFailure);
    EXPECT_THAT(Calls(), ElementsAre("stat", "open", "close"));
    EXPECT_THAT(
        Logged(),
        ElementsAre(Info(std::string("t_ReadMigrationTestData: Read data from pSPIPath(") + kFile + ")\n"),
                    Info("stat() success  verify\n"), Info("stat() success Size is 0 \n"),
                    Error("PictureDataMigration::t_ReadMigrationSPIData - >Filesize less than one\n")));
}

TEST_F(PictureRead, OfAFileThatNoMemoryHoldsFails)
{
    PutFile(kFile, "");
    ASSERT_EQ(truncate64(Host(kFile).c_str(), off64_t{3} << 30), 0);
    if (sizeof(off_t) == 4) {  // stat() itself has no number for such a size
        EXPECT_EQ(Read(), kFileFailure);
        EXPECT_EQ(Logged().back(), Error("stat() failed \n"));
        return;
    }
    EXPECT_EQ(Read(), kGeneralFailure);
    EXPECT_THAT(Logged(), Contains(Info("stat() success Size is 3221225472 \n")));
    EXPECT_EQ(Logged().back(),
              Error("PictureDataMigration::t_ReadMigrationSPIData -> pMigrationBuffer creation Failed() \n"));
    EXPECT_THAT(Calls(), ElementsAre("stat", "open", "close"));
}

TEST_F(PictureRead, GoesOnAfterShortReads)
{
    PutFile(kFile, twoRecords);
    Fault(At("read."), "short:5");
    EXPECT_EQ(Read(), 0);
    EXPECT_EQ(values[1], 0x5678);
    EXPECT_EQ(Logged({"m_ReadFromFile"}).size(), 6U) << "a line a read";
    EXPECT_EQ(Calls().size(), 2U + 6U + 1U);
}

TEST_F(PictureRead, IsRepeatedWhenInterrupted)
{
    PutFile(kFile, twoRecords);
    EXPECT_EQ(Interrupted(At("read."), [&] { return Read(); }), 0);
    EXPECT_EQ(values[0], 0x1234);
    const std::size_t interrupted = Count("read", "EINTR");
    EXPECT_GE(interrupted, 1U);
    EXPECT_EQ(Logged({"m_ReadFromFile"}).size(), interrupted + 1) << "a line a read";
}

class FailingRead : public PictureRead, public ::testing::WithParamInterface<const char*> {};

TEST_P(FailingRead, IsAGeneralFailureAndStoresNothing)
{
    PutFile(kFile, twoRecords);
    Fault(At("read."), GetParam());
    errno = EINTR;  // left from something else: an end of file is no interruption
    EXPECT_EQ(Read(), kGeneralFailure);
    EXPECT_THAT(values, ElementsAre(12345, 12345, 12345, 12345, 12345, 12345, 12345, 12345));
    EXPECT_THAT(Calls(), ElementsAre("stat", "open", "read", "close"));
    const Messages messages = Logged();
    ASSERT_GE(messages.size(), 2U);
    EXPECT_EQ(messages[messages.size() - 2], Info("\n ==> reading againg from m_ReadFromFile \n"));
    EXPECT_EQ(messages.back(), Error(" File read FAIL \n"));
}

INSTANTIATE_TEST_SUITE_P(Faults, FailingRead, ::testing::Values("EIO", "EAGAIN", "short:0"));

TEST_F(PictureRead, OfAFileThatShrankSinceItWasLookedAtIsAGeneralFailure)
{
    PutFile(kFile, twoRecords);
    // The reads before it are interrupted, so that EINTR is what was left last.
    EXPECT_EQ(Interrupted(At("read."), [&] { return Read(); },
                          [&] { std::filesystem::resize_file(Host(kFile), twoRecords.size() - 1); }),
              kGeneralFailure);
    EXPECT_EQ(Count("read", "27"), 1U);
    EXPECT_EQ(Count("read", "0"), 1U);
    EXPECT_THAT(values, Not(Contains(0x1234)));
    EXPECT_EQ(Logged().back(), Error(" File read FAIL \n"));
}

}  // namespace
