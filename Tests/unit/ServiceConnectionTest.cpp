// The service client's connection: its making, and calls that fail because it was lost or nobody answers.

#include <Together.h>

#include <dlfcn.h>
#include <sys/wait.h>

#include <atomic>

#include "ServiceConnection.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::atomic<bool> slowBus{false};

const char* const kMade = "Instance of DBusClient in Migration Created ";

}  // namespace

extern "C" GDBusConnection* g_bus_get_sync(GBusType type, GCancellable* cancellable, GError** error)
{
    static const auto next = reinterpret_cast<decltype(&::g_bus_get_sync)>(dlsym(RTLD_NEXT, "g_bus_get_sync"));
    if (slowBus) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return next(type, cancellable, error);
}

// Making the client.

TEST_F(ServiceConnection, ThreadsAtFirstUseGetOneClientConstructedOnce)
{
    slowBus = true;  // so that all of them come while the first one is at it
    constexpr std::size_t kThreads = 8;
    DBusClient* clients[kThreads] = {};
    Together(kThreads, [&](std::size_t i) { clients[i] = DBusClient::Instance(); });

    ASSERT_NE(clients[0], nullptr);
    EXPECT_THAT(clients, ::testing::Each(clients[0]));
    EXPECT_THAT(Logged(), Contains(Info(kMade)).Times(1));
    EXPECT_EQ(DBusClient::Instance(), clients[0]);
    EXPECT_THAT(Logged(), Contains(Info(kMade)).Times(1));
}

TEST_F(ServiceConnection, IsMadeWithTheProxysDefaultTimeout)
{
    StartService();
    DBusClient::Instance();
    EXPECT_THAT(Logged(), ElementsAre(Info(kMade), Info("[VBMD] [Client] : Default Timeout is [-1]ms ")));
}

TEST_F(ServiceConnection, IsMadeJustTheSameWithoutABus)
{
    EXPECT_TRUE(DBusClient::Instance()->Create());
    EXPECT_THAT(Logged(), Contains(Info(kMade)).Times(1));
    EXPECT_THAT(Calls(), IsEmpty());
}

// Calls that fail.

namespace {

/** What every operation gives when its call fails. */
void ExpectFailedCalls(DBusClient& client)
{
    unsigned char bytes[6] = {1, 2, 3, 4, 5, 6};
    int partition = 5;
    EXPECT_EQ(client.SendCmdToServer("/bin/spi_init.sh mount migration"), 0);
    EXPECT_TRUE(client.ReadOnServer("/dev/mtdblock3", 6, bytes));
    EXPECT_THAT(bytes, ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_EQ(client.WriteOnServer("/dev/mtdblock3", 6, bytes), 0);
    EXPECT_EQ(client.PathExists("/dev/mtdblock3"), 0);
    EXPECT_EQ(client.GetFileFromNUF(), 0);
    EXPECT_EQ(client.SendFileToNUF(), 0);
    EXPECT_EQ(client.SetBootPartition(1), 0);
    EXPECT_EQ(client.GetBootPartition(&partition), 0);
    EXPECT_EQ(partition, -1);
}

}  // namespace

TEST_F(ServiceConnection, EveryCallReturnsAsAFailedOneWithoutABus)
{
    ExpectFailedCalls(*DBusClient::Instance());
    EXPECT_THAT(Calls({"request"}), IsEmpty());
}

TEST_F(ServiceConnection, EveryCallReturnsAsAFailedOneWithoutAService)
{
    Fault("service.state", "absent");
    StartService();
    ExpectFailedCalls(*DBusClient::Instance());
    EXPECT_EQ(Calls({"request"}).size(), 8u);
}

TEST_F(ServiceConnection, EveryCallReturnsAsAFailedOneWhenTheServiceRefuses)
{
    Fault("service.state", "error");
    StartService();
    ExpectFailedCalls(*DBusClient::Instance());
    EXPECT_EQ(Calls({"request"}).size(), 8u);
}

TEST_F(ServiceConnection, AServiceThatDiesInMidCallEndsTheCallAsAFailedOne)
{
    StartService();
    DBusClient& client = *DBusClient::Instance();
    Fault("service.state", "dies");
    EXPECT_EQ(client.SendCmdToServer("mkdir -p /opt/tv/x"), 0);
    EXPECT_EQ(client.PathExists("/opt/tv/nothing"), 0);  // nobody is there any more
    siginfo_t ended = {};
    waitid(P_PID, static_cast<id_t>(Bus().ServiceProcess()), &ended, WEXITED | WNOWAIT);

    NoFault("service.state");
    Bus().StartService();
    EXPECT_EQ(client.PathExists("/opt/tv/nothing"), -1);  // the next one is found by its name
}

TEST_F(ServiceConnection, ASlowAnswerIsWaitedFor)
{
    StartService();
    Fault("service.delay", "200");
    EXPECT_EQ(DBusClient::Instance()->PathExists("/opt/tv/nothing"), -1);
}

TEST_F(ServiceConnection, TheEndOfTheBusEndsNeitherTheProcessNorLaterCalls)
{
    StartService();
    DBusClient& client = *DBusClient::Instance();
    EXPECT_EQ(client.PathExists("/opt/tv/nothing"), -1);

    Bus().Stop();

    ExpectFailedCalls(client);
    while (g_main_context_iteration(nullptr, FALSE)) {
    }
    EXPECT_EQ(client.PathExists("/opt/tv/nothing"), 0);
}

TEST_F(ServiceConnection, TheEndOfTheBusInMidCallEndsTheCall)
{
    StartService();
    Fault("service.state", "silent");
    auto call = InThread([] { return DBusClient::Instance()->SendCmdToServer("mkdir -p /opt/tv/x"); });
    UntilServiceHasTaken(1);
    EXPECT_TRUE(IsBlocked(call));
    Bus().Stop();
    EXPECT_EQ(call.get(), 0);
}

TEST_F(ServiceConnection, DoesNotReconnectToAnotherBus)
{
    StartService();
    DBusClient& client = *DBusClient::Instance();
    Bus().Stop();
    StartService();
    EXPECT_EQ(client.PathExists("/opt/tv/nothing"), 0);
    EXPECT_TRUE(client.Create());
    EXPECT_EQ(client.PathExists("/opt/tv/nothing"), 0);
}
