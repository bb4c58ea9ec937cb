/** The migration service, asked by a client of its own over a real bus. */
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <thread>

#include "ServiceClient.h"
#include "Soon.h"
#include "TestSet.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* archive = "nonvolatile/root/opt/korvane_vbmg_Tavix.tar.gz";
constexpr const char* timedOut = "Timeout was reached";

class BusOfASet : public OnSet {
 protected:
    BusOfASet() { Start(); }
    ~BusOfASet() override { EndBus(); }

    void StartBus()
    {
        bus_.emplace(Set());
        client_.emplace(bus_->Address());
    }
    void EndBus()
    {
        client_.reset();
        bus_.reset();
    }

    vbset::Bus& Bus() { return *bus_; }
    ServiceClient& Client() { return *client_; }
    std::string Ask(const std::string& request, int milliseconds = -1) { return client_->Ask(request, milliseconds); }

    static bool CanConnect(const std::string& address)
    {
        try {
            ServiceClient client(address);
            return true;
        } catch (const std::runtime_error&) {
            return false;
        }
    }

 private:
    std::optional<vbset::Bus> bus_;
    std::optional<ServiceClient> client_;
};

class Service : public BusOfASet {
 protected:
    Service() { StartBus(); }
};

TEST_F(Service, RunsACommandAndAnswersItsExitStatus)
{
    EXPECT_EQ(Ask("0:mkdir -p /opt/tv/migration/here:EMPTY:EMPTY"), "0:0:0");
    EXPECT_TRUE(fs::is_directory(*Set().Map("/opt/tv/migration/here")));
    EXPECT_EQ(Ask("0:/bin/spi_init.sh umount migration:EMPTY:EMPTY"), "0:1:0");
}

TEST_F(Service, CommandsChangeWhatIsMountedForEveryProcessOfTheSet)
{
    EXPECT_EQ(Ask("0:/bin/spi_init.sh mount data_sync:EMPTY:EMPTY"), "0:0:0");
    EXPECT_TRUE(Set().IsMounted("data_sync"));
}

TEST_F(Service, AnswersTheStatusOfTheShellThatRefusesACommand)
{
    EXPECT_EQ(Ask("0:reboot now:EMPTY:EMPTY"), "0:126:0");
}

TEST_F(Service, ACommandMayHoldColons)
{
    EXPECT_EQ(Ask("0:mkdir -p /opt/tv/a:b:c:EMPTY:EMPTY"), "0:0:0");
    EXPECT_TRUE(fs::is_directory(*Set().Map("/opt/tv/a:b:c")));
}

TEST_F(Service, CommandFaultsOfTheServiceAreItsOwn)
{
    Fault("local.mkdir", "7");
    EXPECT_EQ(Ask("0:mkdir -p /opt/tv/one:EMPTY:EMPTY"), "0:0:0");
    Fault("service.mkdir", "9");
    EXPECT_EQ(Ask("0:mkdir -p /opt/tv/two:EMPTY:EMPTY"), "0:9:0");
    EXPECT_FALSE(fs::exists(*Set().Map("/opt/tv/two")));
}

TEST_F(Service, ACommandThatASignalEndedAnswers128AndTheSignal)
{
    Fault("service.mkdir", "kill");
    EXPECT_EQ(Ask("0:mkdir -p /opt/tv/one:EMPTY:EMPTY"), "0:137:0");
}

TEST_F(Service, ReadsTheRawMacBlock)
{
    Set().WriteMacBlock({0x00, 0x1A, 0xFF, 0x20, 0x30, 0x40});
    EXPECT_EQ(Ask("1:/dev/mtdblock3:6:EMPTY"), "1:6:001AFF203040");
    EXPECT_EQ(Ask("1:/dev/mtdblock3:2:EMPTY"), "1:2:001A");
    EXPECT_EQ(Ask("1:/dev/mtdblock3:0:EMPTY"), "1:0:");
}

TEST_F(Service, AnswersAReadWithTheBytesThatThereAre)
{
    Set().WriteMacBlock({0x00, 0x1A, 0xFF});
    EXPECT_EQ(Ask("1:/dev/mtdblock3:6:EMPTY"), "1:3:001AFF");
}

TEST_F(Service, ReadsWhatTheCallerMayNot)
{
    Set().WriteMacBlock({1, 2, 3, 4, 5, 6});
    Fault("path./dev/mtdblock3", "EACCES");
    EXPECT_EQ(Ask("1:/dev/mtdblock3:6:EMPTY"), "1:6:010203040506");
    EXPECT_EQ(Ask("3:/dev/mtdblock3:EMPTY:EMPTY"), "3:0:0");
}

TEST_F(Service, AReadThatFailsAnswersNoData)
{
    EXPECT_EQ(Ask("1:/opt/tv/nothing:6:EMPTY"), "1:0:");
    EXPECT_EQ(Ask("1:/opt/tv:6:EMPTY"), "1:0:");
    EXPECT_EQ(Ask("1:/dev/mtdblock3:-1:EMPTY"), "1:0:");
    EXPECT_EQ(Ask("1:/dev/mtdblock3:six:EMPTY"), "1:0:");
    EXPECT_EQ(Ask("1::6:EMPTY"), "1:0:");
}

TEST_F(Service, WritesAndAnswersTheNumberOfBytes)
{
    EXPECT_EQ(Ask("2:/opt/tv/file:3:001AFF"), "2:3:0");
    EXPECT_EQ(ReadFile(*Set().Map("/opt/tv/file")), std::string("\x00\x1A\xFF", 3));
    EXPECT_EQ(Ask("2:/opt/tv/file:1:41"), "2:1:0");
    EXPECT_EQ(ReadFile(*Set().Map("/opt/tv/file")), "A");
    EXPECT_EQ(Ask("2:/opt/tv/file:0:"), "2:0:0");
    EXPECT_EQ(ReadFile(*Set().Map("/opt/tv/file")), "");
}

TEST_F(Service, APathMayHoldColons)
{
    EXPECT_EQ(Ask("2:/opt/tv/a:b:2:4142"), "2:2:0");
    EXPECT_EQ(Ask("1:/opt/tv/a:b:9:EMPTY"), "1:2:4142");
    EXPECT_EQ(Ask("3:/opt/tv/a:b:EMPTY:EMPTY"), "3:0:0");
    EXPECT_TRUE(fs::exists(*Set().Map("/opt/tv/a:b")));
}

TEST_F(Service, WritesADeviceInPlace)
{
    Set().WriteMacBlock({1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_EQ(Ask("2:/dev/mtdblock3:6:AABBCCDDEEFF"), "2:6:0");
    EXPECT_EQ(Set().MacBlock(), (vbset::Mac{0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}));
    EXPECT_EQ(fs::file_size(*Set().Map("/dev/mtdblock3")), 8U);
}

TEST_F(Service, RefusesAWriteThatIsNotWhatItSays)
{
    EXPECT_EQ(Ask("2:/opt/tv/file:2:001AFF"), "2:-1:0");
    EXPECT_EQ(Ask("2:/opt/tv/file:3:001AF"), "2:-1:0");
    EXPECT_EQ(Ask("2:/opt/tv/file:3:001AFG"), "2:-1:0");
    EXPECT_EQ(Ask("2:/opt/tv/file:-1:"), "2:-1:0");
    EXPECT_FALSE(fs::exists(*Set().Map("/opt/tv/file")));
    EXPECT_EQ(Ask("2:/opt/tv/no/such/directory:1:00"), "2:-1:0");
}

TEST_F(Service, TouchesNothingOutsideTheSet)
{
    const fs::path outside = Temporary() / "outside";
    WriteFile(outside, "host");
    EXPECT_EQ(Ask("1:" + outside.string() + ":4:EMPTY"), "1:0:");
    EXPECT_EQ(Ask("2:" + outside.string() + ":1:41"), "2:-1:0");
    EXPECT_EQ(Ask("3:" + outside.string() + ":EMPTY:EMPTY"), "3:-1:0");
    EXPECT_EQ(Ask("2:../../../outside:1:41"), "2:-1:0");
    EXPECT_EQ(Ask("3:/etc/passwd:EMPTY:EMPTY"), "3:-1:0");
    EXPECT_EQ(Ask("3:/opt/tv/../../etc/passwd:EMPTY:EMPTY"), "3:-1:0");
    EXPECT_EQ(ReadFile(outside), "host");
}

TEST_F(Service, ARelativePathLiesInTheWorkingDirectory)
{
    WriteFile(Temporary() / "tv/nonvolatile/work/note", "x");
    EXPECT_EQ(Ask("1:note:9:EMPTY"), "1:1:78");
}

TEST_F(Service, TestsWhetherAPathExists)
{
    EXPECT_EQ(Ask("3:/opt/tv:EMPTY:EMPTY"), "3:0:0");
    EXPECT_EQ(Ask("3:/opt/korvane_vbmg/:EMPTY:EMPTY"), "3:0:0");
    EXPECT_EQ(Ask("3:/opt/tv/nothing:EMPTY:EMPTY"), "3:-1:0");
}

TEST_F(Service, FetchesTheArchiveOfTheBox)
{
    const fs::path fetched = Temporary() / "tv" / archive;
    EXPECT_EQ(Ask("6:EMPTY:EMPTY:EMPTY"), "6:-1:0");
    EXPECT_FALSE(fs::exists(fetched));
    WriteFile(Temporary() / "box/nonvolatile/archive.tar.gz", std::string(10000, 'z'));
    EXPECT_EQ(Ask("6:EMPTY:EMPTY:EMPTY"), "6:0:0");
    EXPECT_EQ(ReadFile(fetched), std::string(10000, 'z'));
}

TEST_F(Service, SendsTheArchiveToTheBox)
{
    const fs::path sent = Temporary() / "box/nonvolatile/archive.tar.gz";
    EXPECT_EQ(Ask("7:EMPTY:EMPTY:EMPTY"), "7:-1:0");
    EXPECT_FALSE(fs::exists(sent));
    WriteFile(sent, "an older one");
    WriteFile(Temporary() / "tv" / archive, "archive");
    EXPECT_EQ(Ask("7:EMPTY:EMPTY:EMPTY"), "7:0:0");
    EXPECT_EQ(ReadFile(sent), "archive");
    EXPECT_TRUE(fs::exists(Temporary() / "tv" / archive)) << "the client removes it itself";
}

TEST_F(Service, ReadsAndSetsTheBootPartition)
{
    const int before = Set().BootPartition();
    EXPECT_EQ(Ask("8:EMPTY:EMPTY:EMPTY"), "8:0:" + std::to_string(before));
    EXPECT_EQ(Ask("9:" + std::to_string(before + 3) + ":EMPTY:EMPTY"), "9:0:0");
    EXPECT_EQ(Set().BootPartition(), before + 3);
    EXPECT_EQ(Ask("8:EMPTY:EMPTY:EMPTY"), "8:0:" + std::to_string(before + 3));
    EXPECT_EQ(Ask("9:-5:EMPTY:EMPTY"), "9:0:0");
    EXPECT_EQ(Ask("8:EMPTY:EMPTY:EMPTY"), "8:0:-5");
    EXPECT_EQ(Ask("9:two:EMPTY:EMPTY"), "9:-1:0");
    EXPECT_EQ(Set().BootPartition(), -5);
}

TEST_F(Service, ABootPartitionThatCannotBeReadIsAFailure)
{
    WriteFile(Temporary() / "box/nonvolatile/boot_partition", "garbage");
    EXPECT_EQ(Ask("8:EMPTY:EMPTY:EMPTY"), "8:-1:0");
}

TEST_F(Service, AnswersCodesThatItDoesNotKnowWithFailure)
{
    EXPECT_EQ(Ask("4:EMPTY:EMPTY:EMPTY"), "4:-1:0");
    EXPECT_EQ(Ask("77:EMPTY:EMPTY:EMPTY"), "77:-1:0");
}

TEST_F(Service, RefusesARequestWithoutFourFields)
{
    for (const char* request : {"", "0", "8:EMPTY", "8:EMPTY:EMPTY", "x:EMPTY:EMPTY:EMPTY", ":EMPTY:EMPTY:EMPTY"}) {
        EXPECT_EQ(Ask(request), "org.freedesktop.DBus.Error.InvalidArgs") << request;
    }
    EXPECT_EQ(Ask("3:/opt/tv:EMPTY:EMPTY"), "3:0:0");
}

TEST_F(Service, AReplyFaultChangesTheAnswerAfterTheWorkIsDone)
{
    Fault("service.reply.9", "9:-1:0");
    EXPECT_EQ(Ask("9:6:EMPTY:EMPTY"), "9:-1:0");
    EXPECT_EQ(Set().BootPartition(), 6);
    WriteFile(Temporary() / "box/nonvolatile/archive.tar.gz", "z");
    Fault("service.reply.6", "0:0:0");
    EXPECT_EQ(Ask("6:EMPTY:EMPTY:EMPTY"), "0:0:0");
    EXPECT_EQ(ReadFile(Temporary() / "tv" / archive), "z");
    Fault("service.reply.6", "");
    EXPECT_EQ(Ask("6:EMPTY:EMPTY:EMPTY"), "");
    NoFault("service.reply.6");
    EXPECT_EQ(Ask("6:EMPTY:EMPTY:EMPTY"), "6:0:0");
}

TEST_F(Service, AReplyFaultThatIsNoTextOfTheBusIsMadeOne)
{
    Fault("service.reply.8", "8:\xFF:0");
    EXPECT_EQ(Ask("8:EMPTY:EMPTY:EMPTY"), "8:\xEF\xBF\xBD:0");
}

TEST_F(Service, ASilentServiceNeverAnswers)
{
    Fault("service.state", "silent");
    EXPECT_EQ(Ask("9:6:EMPTY:EMPTY", 200), timedOut);
    EXPECT_NE(Set().BootPartition(), 6);
    NoFault("service.state");
    EXPECT_EQ(Ask("3:/opt/tv:EMPTY:EMPTY"), "3:0:0");
}

TEST_F(Service, AServiceThatDiesLeavesTheCallWithAnError)
{
    Fault("service.state", "dies");
    EXPECT_EQ(Ask("9:6:EMPTY:EMPTY"), "org.freedesktop.DBus.Error.NoReply");
    EXPECT_NE(Set().BootPartition(), 6);
    EXPECT_TRUE(Client().WaitUntilGone());
    NoFault("service.state");
    Bus().StartService();
    EXPECT_EQ(Ask("9:6:EMPTY:EMPTY"), "9:0:0");
}

TEST_F(Service, ARefusingServiceAnswersWithAnErrorAndDoesNothing)
{
    Fault("service.state", "error");
    EXPECT_EQ(Ask("9:6:EMPTY:EMPTY"), "org.freedesktop.DBus.Error.Failed");
    EXPECT_NE(Set().BootPartition(), 6);
}

TEST_F(Service, ADelayedAnswerComesLateAndHoldsUpNoOther)
{
    Fault("service.delay", "300");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Ask("8:EMPTY:EMPTY:EMPTY"), "8:0:" + std::to_string(Set().BootPartition()));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
    Fault("service.delay", "60000");
    EXPECT_EQ(Ask("9:6:EMPTY:EMPTY", 100), timedOut);
    EXPECT_TRUE(Soon([this] { return Set().BootPartition() == 6; })) << "the work was done all the same";
    NoFault("service.delay");
    EXPECT_EQ(Ask("8:EMPTY:EMPTY:EMPTY"), "8:0:6");
}

TEST_F(Service, IsNotOnTheBusWhileStopped)
{
    EXPECT_TRUE(Client().IsThere());
    Bus().StopService();
    EXPECT_TRUE(Client().WaitUntilGone());
    EXPECT_EQ(Ask("8:EMPTY:EMPTY:EMPTY"), "org.freedesktop.DBus.Error.ServiceUnknown");
    Bus().StartService();
    EXPECT_TRUE(Client().IsThere());
}

TEST_F(Service, IsNotStartedWhileAFaultMakesItAbsent)
{
    Bus().StopService();
    Fault("service.state", "absent");
    Bus().StartService();
    EXPECT_EQ(Bus().ServiceProcess(), -1);
    EXPECT_TRUE(Client().WaitUntilGone());
}

TEST_F(Service, NotesEachRequestInTheTraceWithoutANumber)
{
    Ask("2:/opt/tv/\"quoted\":1:41");
    Fault("service.state", "silent");
    Ask("8:EMPTY:EMPTY:EMPTY", 50);
    std::string trace;
    EXPECT_TRUE(Soon([&] {
        trace = ReadFile(Temporary() / "tv/trace.jsonl");
        return trace.find("\"args\":\"8:EMPTY:EMPTY:EMPTY\",\"result\":\"no reply\"") != std::string::npos;
    })) << trace;
    EXPECT_NE(trace.find("{\"kind\":\"service\",\"call\":\"ExecuteUserShell\","
                         "\"args\":\"2:/opt/tv/\\\"quoted\\\":1:41\",\"result\":\"2:1:0\",\"us\":"),
              std::string::npos) << trace;
    EXPECT_EQ(trace.find("\"n\":"), std::string::npos) << trace;
}

TEST_F(Service, TellsWhatItOffers)
{
    const std::string description = Client().Introspect();
    EXPECT_NE(description.find("<interface name=\"com.vornbox.migration\">"), std::string::npos) << description;
    EXPECT_NE(description.find("<method name=\"ExecuteUserShell\">"), std::string::npos) << description;
}

TEST_F(BusOfASet, TheAddressIsExportedForItsLifetimeOnly)
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/before", 1);
    StartBus();
    EXPECT_STREQ(getenv("DBUS_SYSTEM_BUS_ADDRESS"), Bus().Address().c_str());
    EndBus();
    EXPECT_STREQ(getenv("DBUS_SYSTEM_BUS_ADDRESS"), "unix:path=/before");
}

TEST_F(BusOfASet, NothingIsLeftOfItAtItsEnd)
{
    StartBus();
    const pid_t daemon = Bus().DaemonProcess();
    const pid_t service = Bus().ServiceProcess();
    const std::string address = Bus().Address();
    ASSERT_EQ(kill(daemon, 0), 0);
    ASSERT_EQ(kill(service, 0), 0);
    EndBus();
    EXPECT_EQ(kill(daemon, 0), -1);
    EXPECT_EQ(kill(service, 0), -1);
    EXPECT_FALSE(CanConnect(address));
}

TEST_F(BusOfASet, StopClosesEveryConnection)
{
    StartBus();
    EXPECT_EQ(Ask("3:/opt/tv:EMPTY:EMPTY"), "3:0:0");
    Bus().Stop();
    EXPECT_NE(Ask("3:/opt/tv:EMPTY:EMPTY"), "3:0:0");
    EXPECT_FALSE(CanConnect(Bus().Address()));
}

/** True when no process reads, or waits for, what is written to a FIFO; may take a moment after the reader's end. */
bool HasNoReader(const fs::path& fifo)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < limit) {
        const int writer = open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        if (writer < 0 && errno == ENXIO) {
            return true;
        }
        close(writer);
        std::this_thread::yield();
    }
    return false;
}

TEST_F(BusOfASet, EndsTogetherWithACommandThatTheServiceIsCarryingOut)
{
    StartBus();
    const fs::path paths = Temporary() / "tv/volatile/paths";
    fs::remove(paths);
    ASSERT_EQ(mkfifo(paths.c_str(), 0600), 0) << "a table that the command never gets to read";
    ASSERT_EQ(Ask("0:mkdir -p /opt/tv/x:EMPTY:EMPTY", 300), timedOut);
    EndBus();
    EXPECT_TRUE(HasNoReader(paths));
}

TEST_F(BusOfASet, AStoppedServiceEndsToo)
{
    StartBus();
    const pid_t service = Bus().ServiceProcess();
    ASSERT_EQ(kill(service, SIGSTOP), 0);
    EndBus();
    EXPECT_EQ(kill(service, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

TEST_F(BusOfASet, SaysWhenThereIsNoDaemon)
{
    setenv("PATH", "/nonexistent", 1);
    try {
        StartBus();
        FAIL() << "a bus without a daemon";
    } catch (const vbset::Error& error) {
        EXPECT_STREQ(error.what(), "dbus-daemon is not installed");
    }
}

}  // namespace
