/** Data files: written and read here, or through the service. */
#include "StrategyOnSet.h"

#include <fstream>
#include <optional>

namespace {

const char* const kFile = "/opt/tv/data/file";

class DataFile : public StrategyOnSet {
 protected:
    void SetUp() override
    {
        StartSet();
        strategy_.emplace();
        Forget();
    }
    SteeredStrategy& Strategy() { return *strategy_; }

    bool Write(const std::string& path, const std::string& bytes)
    {
        return Strategy().WriteToFile(path, reinterpret_cast<const unsigned char*>(bytes.data()),
                                      static_cast<int>(bytes.size()));
    }
    std::string OnTv(const std::string& path) { return ReadFile(Set().Map(path).value()); }

    unsigned char buffer_[8] = {'.', '.', '.', '.', '.', '.', '.', '.'};
    std::string Buffer() const { return {buffer_, buffer_ + sizeof buffer_}; }

 private:
    std::optional<SteeredStrategy> strategy_;
};

// Writing

TEST_F(DataFile, IsCreated)
{
    PutOnTv("/opt/tv/data/other");
    EXPECT_TRUE(Write(kFile, std::string("a\n\0b", 4)));
    EXPECT_EQ(OnTv(kFile), std::string("a\n\0b", 4));
    EXPECT_EQ(Asked(),
              (Steps{"fopen /opt/tv/data/file O_WRONLY|O_CREAT|O_TRUNC = 0", "write /opt/tv/data/file 4 610A0062 = 4",
                     "close /opt/tv/data/file = 0"}));  // and not synced to the device
    EXPECT_EQ(Logged(),
              (Messages{Info(" File /opt/tv/data/file opened for write "),
                        Info(" Data written to File /opt/tv/data/file "), Info(" File /opt/tv/data/file Closed ")}));
}

TEST_F(DataFile, IsEmptiedBeforeItIsWritten)
{
    PutOnTv(kFile, "something longer");
    EXPECT_TRUE(Write(kFile, "new"));
    EXPECT_EQ(OnTv(kFile), "new");
    EXPECT_TRUE(Write(kFile, ""));
    EXPECT_EQ(OnTv(kFile), "");
}

TEST_F(DataFile, WriteErrorsAreNotLookedAt)
{
    PutOnTv(kFile, "old");
    for (const char* fault : {"ENOSPC", "EIO", "full:1"}) {
        Fault("write./opt/tv/data/file", fault);
        EXPECT_TRUE(Write(kFile, "new")) << fault;
    }
    EXPECT_EQ(OnTv(kFile), "n");
}

TEST_F(DataFile, ThatCannotBeOpenedIsNotWritten)
{
    PutOnTv("/opt/tv/data/folder/file");
    PutOnTv(kFile, "old");
    Fault("path./opt/tv/data/file", "EACCES");
    for (const char* path : {"/opt/tv/data/folder", "/opt/tv/missing/file", kFile}) {
        Forget();
        EXPECT_FALSE(Write(path, "new")) << path;
        EXPECT_EQ(Logged(), (Messages{Error("Could not open file ")})) << path;
        EXPECT_EQ(Calls(), (Steps{"fopen"})) << path;
    }
    EXPECT_EQ(OnTv(kFile), "old");
}

TEST_F(DataFile, OnARawBlockReplacesItsFirstBytesOnly)
{
    Set().WriteMacBlock({1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_TRUE(Write("/dev/mtdblock3", "abcdef"));
    EXPECT_EQ(OnTv("/dev/mtdblock3"), "abcdef\x07\x08");
}

// Reading by path

TEST_F(DataFile, IsReadByPath)
{
    PutOnTv(kFile, "abcdefgh");
    EXPECT_TRUE(Strategy().ReadFromFileToBuff(kFile, buffer_, 3));
    EXPECT_EQ(Buffer(), "abc.....");
    EXPECT_EQ(Logged(),
              (Messages{Info(" File /opt/tv/data/file opend for read "), Info(" Data read from File /opt/tv/data/file"),
                        Info(" File /opt/tv/data/file Closed ")}));
    EXPECT_EQ(Calls(), (Steps{"fopen", "read", "close"}));
    EXPECT_EQ(Asked().front(), "fopen /opt/tv/data/file O_RDONLY = 0");
}

TEST_F(DataFile, AShortReadIsNotNoticed)
{
    PutOnTv(kFile, "ab");
    EXPECT_TRUE(Strategy().ReadFromFileToBuff(kFile, buffer_, 8));
    EXPECT_EQ(Buffer(), "ab......");
    Fault("read./opt/tv/data/file", "EIO");
    EXPECT_TRUE(Strategy().ReadFromFileToBuff(kFile, buffer_, 8));
    EXPECT_EQ(Buffer(), "ab......");
}

TEST_F(DataFile, ThatIsMissingIsNotRead)
{
    EXPECT_FALSE(Strategy().ReadFromFileToBuff(kFile, buffer_, 8));
    EXPECT_EQ(Buffer(), "........");
    EXPECT_EQ(Logged(), (Messages{Error("Could not open file ")}));
}

// Reading by stream

TEST_F(DataFile, IsReadFromAnOpenStreamWhichStaysOpen)
{
    PutOnTv(kFile, "abcdefgh");
    std::fstream stream(kFile, std::ios::in);
    EXPECT_TRUE(Strategy().ReadFromFileToBuff(stream, buffer_, 3));
    EXPECT_EQ(Buffer(), "abc.....");
    EXPECT_TRUE(stream.is_open());
    EXPECT_TRUE(Strategy().ReadFromFileToBuff(stream, buffer_ + 3, 2));
    EXPECT_EQ(Buffer(), "abcde...");
    EXPECT_EQ(Logged(), (Messages{Info(" File opend for read "), Info(" Data read from File"),
                                  Info(" File opend for read "), Info(" Data read from File")}));
}

TEST_F(DataFile, AClosedStreamIsRefusedSilently)
{
    std::fstream stream;
    EXPECT_FALSE(Strategy().ReadFromFileToBuff(stream, buffer_, 3));
    EXPECT_EQ(Buffer(), "........");
    EXPECT_EQ(Logged(), Messages{});
}

// Through the service

TEST_F(DataFile, IsWrittenByTheService)
{
    PutOnTv("/opt/tv/data/other");
    unsigned char bytes[6] = {0x02, 0x00, 0x5E, 0x10, 0x00, 0xFF};
    EXPECT_TRUE(Strategy().WriteToFileServer(kFile, bytes, 6));
    EXPECT_EQ(OnTv(kFile), std::string("\x02\x00\x5E\x10\x00\xFF", 6));
    EXPECT_EQ(Asked(), (Steps{"request: 2:/opt/tv/data/file:6:02005E1000FF = 2:6:0"}));
}

TEST_F(DataFile, TheServiceHasToWriteEveryByte)
{
    unsigned char bytes[6] = {};
    for (const char* reply : {"2:5:0", "2:0:0", "2:-1:0", "2:7:0", "5:6:0"}) {
        Fault("service.reply.2", reply);
        EXPECT_FALSE(Strategy().WriteToFileServer(kFile, bytes, 6)) << reply;
    }
    Fault("service.reply.2", "2:6:0");
    EXPECT_TRUE(Strategy().WriteToFileServer(kFile, bytes, 6));
}

TEST_F(DataFile, TheServiceIsNotAskedToWriteWithoutPathOrBuffer)
{
    unsigned char bytes[6] = {};
    EXPECT_FALSE(Strategy().WriteToFileServer(nullptr, bytes, 6));
    EXPECT_FALSE(Strategy().WriteToFileServer(kFile, nullptr, 6));
    EXPECT_EQ(Asked(), Steps{});
    EXPECT_EQ(Logged(), Messages{});
}

TEST_F(DataFile, IsReadByTheService)
{
    PutOnTv(kFile, "abcdefgh");
    EXPECT_TRUE(Strategy().ExcuteBlockReadOnServer(kFile, 6, buffer_));
    EXPECT_EQ(Buffer(), "abcdef..");
    EXPECT_EQ(Asked(), (Steps{"request: 1:/opt/tv/data/file:6:EMPTY = 1:6:616263646566"}));
}

TEST_F(DataFile, AServiceReadSucceedsWhateverTheServiceAnswers)
{
    for (const char* reply : {"1:0:", "2:6:616263646566", "", "nonsense"}) {
        Fault("service.reply.1", reply);
        EXPECT_TRUE(Strategy().ExcuteBlockReadOnServer(kFile, 6, buffer_)) << reply;
        EXPECT_EQ(Buffer(), "........") << reply;
    }
    Fault("service.state", "error");
    EXPECT_TRUE(Strategy().ExcuteBlockReadOnServer(kFile, 6, buffer_));
    EXPECT_EQ(Buffer(), "........");
}

TEST_F(DataFile, TheServiceIsNotAskedToReadWithoutPathOrBuffer)
{
    EXPECT_FALSE(Strategy().ExcuteBlockReadOnServer(kFile, 6, nullptr));
    EXPECT_FALSE(Strategy().ExcuteBlockReadOnServer(nullptr, 6, buffer_));
    EXPECT_EQ(Asked(), Steps{});
}

TEST_F(DataFile, TheServiceIsToldTheSize)
{
    PutOnTv(kFile, "abcdefgh");
    EXPECT_TRUE(Strategy().ExcuteBlockReadOnServer(kFile, 3, buffer_));
    EXPECT_EQ(Buffer(), "abc.....");
    EXPECT_TRUE(Strategy().WriteToFileServer(kFile, buffer_, 2));
    EXPECT_EQ(OnTv(kFile), "ab");
    EXPECT_EQ(Asked(), (Steps{"request: 1:/opt/tv/data/file:3:EMPTY = 1:3:616263",
                              "request: 2:/opt/tv/data/file:2:6162 = 2:2:0"}));
}

TEST_F(DataFile, NothingGoesThroughTheServiceWithoutAClient)
{
    const WithoutClient withoutClient;
    unsigned char bytes[6] = {};
    EXPECT_FALSE(Strategy().WriteToFileServer(kFile, bytes, 6));
    EXPECT_FALSE(Strategy().ExcuteBlockReadOnServer(kFile, 6, bytes));
    EXPECT_EQ(Asked(), Steps{});
    EXPECT_EQ(Logged(), Messages{});
}

// Existence

TEST_F(DataFile, ThatCanBeOpenedExists)
{
    PutOnTv(kFile);
    EXPECT_TRUE(Strategy().IsExists(kFile));
    EXPECT_TRUE(Strategy().IsExists("/opt/tv/data"));
    EXPECT_EQ(Asked(), (Steps{"open /opt/tv/data/file O_RDONLY = 0", "close /opt/tv/data/file = 0",
                              "open /opt/tv/data O_RDONLY = 0", "close /opt/tv/data = 0"}));
    EXPECT_EQ(Logged(), Messages{});
}

struct Refusal {
    const char* error;
    int number;
};

class DataFileRefused : public DataFile, public ::testing::WithParamInterface<Refusal> {};

TEST_P(DataFileRefused, ForAnotherReasonThanPermissionDoesNotExistAndTheServiceIsNotAsked)
{
    PutOnTv(kFile);
    Fault("path./opt/tv/data/file", GetParam().error);
    EXPECT_FALSE(Strategy().IsExists(kFile));
    EXPECT_EQ(Asked(), (Steps{std::string("open /opt/tv/data/file O_RDONLY = ") + GetParam().error}));
    EXPECT_EQ(Logged(), (Messages{Error("can't open Path [/opt/tv/data/file], errno : [ " +
                                        std::to_string(GetParam().number) + " ] ")}));
}

INSTANTIATE_TEST_SUITE_P(Errors, DataFileRefused,
                         ::testing::Values(Refusal{"ENOENT", 2}, Refusal{"EIO", 5}, Refusal{"EPERM", 1},
                                           Refusal{"EMFILE", 24}),
                         [](const auto& refusal) { return std::string(refusal.param.error); });

TEST_F(DataFile, ThatIsMissingDoesNotExistAndTheServiceIsNotAsked)
{
    EXPECT_FALSE(Strategy().IsExists(kFile));
    EXPECT_EQ(Asked(), (Steps{"open /opt/tv/data/file O_RDONLY = ENOENT"}));
    EXPECT_EQ(Logged(), (Messages{Error("can't open Path [/opt/tv/data/file], errno : [ 2 ] ")}));
}

TEST_F(DataFile, ThatThisProcessMayNotReadExistsWhenTheServiceSaysSo)
{
    Fault("path./opt/tv/data/file", "EACCES");
    PutOnTv(kFile);
    EXPECT_TRUE(Strategy().IsExists(kFile));
    EXPECT_EQ(Asked(),
              (Steps{"open /opt/tv/data/file O_RDONLY = EACCES", "request: 3:/opt/tv/data/file:EMPTY:EMPTY = 3:0:0"}));
    EXPECT_EQ(Logged({"IsExists"}), (Messages{Error("can't open Path [/opt/tv/data/file], errno : [ 13 ] ")}));
    std::filesystem::remove(*Set().Map(kFile));
    EXPECT_FALSE(Strategy().IsExists(kFile));
    Fault("service.reply.3", "3:1:0");
    EXPECT_FALSE(Strategy().IsExists(kFile));
}

TEST_F(DataFile, ThatThisProcessMayNotReadDoesNotExistWithoutAClient)
{
    const WithoutClient withoutClient;
    PutOnTv(kFile);
    Fault("path./opt/tv/data/file", "EACCES");
    EXPECT_FALSE(Strategy().IsExists(kFile));
    EXPECT_EQ(Logged(), (Messages{Error("can't open Path [/opt/tv/data/file], errno : [ 13 ] ")}));
}

TEST_F(DataFile, OperationsLeaveNoDescriptorOpen)
{
    PutOnTv(kFile);
    Strategy().ExcuteBlockReadOnServer(kFile, 6, buffer_);  // connects the client
    const auto before = OpenDescriptors();
    const std::vector<std::pair<std::string, std::string>> faults = {
        {"path./opt/tv/data/file", "EACCES"}, {"read./opt/tv/data/file", "EIO"}, {"write./opt/tv/data/file", "ENOSPC"}};
    for (const auto& [key, value] : faults) {
        Fault(key, value);
        Write(kFile, "abc");
        Strategy().ReadFromFileToBuff(kFile, buffer_, 8);
        Strategy().IsExists(kFile);
        Strategy().ReadRAWBlock(kFile, 8, buffer_);
        EXPECT_EQ(OpenDescriptors(), before) << key;
        NoFault(key);
    }
    Write(kFile, "abc");
    Strategy().ReadFromFileToBuff(kFile, buffer_, 8);
    Strategy().IsExists(kFile);
    Strategy().ReadRAWBlock(kFile, 8, buffer_);
    EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(DataFile, MessagesNameTheStrategyUnit)
{
    Write(kFile, "a");
    Strategy().ReadFromFileToBuff(kFile, buffer_, 1);
    Strategy().IsExists(kFile);
    EXPECT_EQ(UnitsOf({"WriteToFile", "ReadFromFileToBuff", "IsExists"}),
              (std::vector<std::string>{"MigrationStrategy.cpp"}));
}

}  // namespace
