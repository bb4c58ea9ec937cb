// The service client's connection: its making, its loss, its end, and calls beside other users of the main context.

#include <DBusServiceClient.h>
#include <LoopHook.h>
#include <TestSet.h>
#include <Together.h>
#include <VBMigration.h>

#include <dlfcn.h>
#include <sys/wait.h>

#include <atomic>
#include <functional>
#include <future>
#include <string>
#include <thread>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using std::chrono::milliseconds;

std::atomic<bool> slowBus{false};

const char* const kMade = "Instance of DBusClient in Migration Created ";

class ServiceConnection : public OnSet {
 protected:
    ServiceConnection() { Start(); }

    long Count(const std::string& text) const
    {
        long count = 0;
        for (const LogLine& line : Log()) {
            count += line.text == text ? 1 : 0;
        }
        return count;
    }

    /** Waits until something is so, which has to happen some time. */
    static void Until(const std::function<bool()>& isSo)
    {
        for (int tries = 0; !isSo(); ++tries) {
            ASSERT_LT(tries, 3000) << "it never came to be";
            std::this_thread::sleep_for(milliseconds(10));
        }
    }

    /** Waits until the service has taken its @p nth request, whether it answers or not. */
    void UntilServiceHasTaken(int nth)
    {
        Until([this, nth] {
            const std::string trace = ReadFile(Set().TvDirectory() / "trace.jsonl");
            int taken = 0;
            for (std::size_t at = 0; (at = trace.find("\"kind\":\"service\"", at)) != std::string::npos; ++at) {
                ++taken;
            }
            return taken >= nth;
        });
    }
};

/** A call in a thread of its own. */
template <class Call>
auto InThread(Call call)
{
    return std::async(std::launch::async, call);
}

/** The same for a call that blocks; it has begun to when this returns. */
template <class Call>
auto BlockingInThread(Call call)
{
    const int runsBefore = LoopRuns();
    auto result = InThread(call);
    while (LoopRuns() == runsBefore) {
        std::this_thread::yield();
    }
    return result;
}

template <class Result>
bool IsBlocked(std::future<Result>& call)
{
    return call.wait_for(milliseconds(100)) == std::future_status::timeout;
}

}  // namespace

extern "C" GDBusConnection* g_bus_get_sync(GBusType type, GCancellable* cancellable, GError** error)
{
    static const auto next = reinterpret_cast<decltype(&::g_bus_get_sync)>(dlsym(RTLD_NEXT, "g_bus_get_sync"));
    if (slowBus) {
        std::this_thread::sleep_for(milliseconds(100));
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
    EXPECT_EQ(Count(kMade), 1);
    EXPECT_EQ(DBusClient::Instance(), clients[0]);
    EXPECT_EQ(Count(kMade), 1);
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
    EXPECT_EQ(Count(kMade), 1);
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

// Destroy.

TEST_F(ServiceConnection, DestroyFailsOnlyWhileConnectedAndBeforeTheFirstCall)
{
    DBusClient unconnected;
    EXPECT_TRUE(unconnected.Destroy());
    DBusClient& client = *DBusClient::Instance();
    EXPECT_FALSE(client.Destroy());
    EXPECT_EQ(client.SendCmdToServer("x"), 0);  // and has not disconnected: it would block
    EXPECT_TRUE(client.Destroy());
    EXPECT_TRUE(client.Destroy());
    EXPECT_EQ(DBusClient::Instance(), &client);
}

TEST_F(ServiceConnection, ARefusedArgumentIsNoCall)
{
    DBusClient& client = *DBusClient::Instance();
    EXPECT_EQ(client.SendCmdToServer(nullptr), -1);
    EXPECT_EQ(client.PathExists(nullptr), -1);
    EXPECT_FALSE(client.Destroy());
}

TEST_F(ServiceConnection, DestroyEndsACallThatASilentServiceBlocks)
{
    StartService();
    Fault("service.state", "silent");
    DBusClient& client = *DBusClient::Instance();
    auto call = InThread([&client] { return client.SendCmdToServer("mkdir -p /opt/tv/x"); });
    UntilServiceHasTaken(1);
    EXPECT_TRUE(IsBlocked(call));
    EXPECT_TRUE(client.Destroy());
    EXPECT_EQ(call.get(), -1);
}

TEST_F(ServiceConnection, ACallBlocksAfterDestroyUntilTheNextOne)
{
    DBusClient& client = *DBusClient::Instance();
    client.SendCmdToServer("x");
    client.Destroy();
    Forget();
    for (int i = 0; i < 2; ++i) {
        unsigned char byte = 7;
        auto call = BlockingInThread([&client] { return client.SendCmdToServer("x"); });
        EXPECT_TRUE(IsBlocked(call));
        EXPECT_TRUE(client.Destroy());
        EXPECT_EQ(call.get(), -1);

        auto read = BlockingInThread([&client, &byte] { return client.ReadOnServer("/p", 1, &byte); });
        EXPECT_TRUE(IsBlocked(read));
        EXPECT_TRUE(client.Destroy());
        EXPECT_TRUE(read.get());
        EXPECT_EQ(byte, 7);
    }
    EXPECT_THAT(Calls({"request"}), IsEmpty());
    EXPECT_THAT(Logged({"ResponseHandeler", "BuffReadResponse"}), IsEmpty());
}

TEST_F(ServiceConnection, EveryOperationBlocksAfterDestroyAndFailsWithTheNextOne)
{
    DBusClient& client = *DBusClient::Instance();
    client.SendCmdToServer("x");
    client.Destroy();
    Forget();
    unsigned char bytes[1] = {};
    int partition = 5;
    const std::function<int()> operations[] = {
        [&] { return client.WriteOnServer("/p", 1, bytes); }, [&] { return client.PathExists("/p"); },
        [&] { return client.GetFileFromNUF(); },              [&] { return client.SendFileToNUF(); },
        [&] { return client.SetBootPartition(1); },           [&] { return client.GetBootPartition(&partition); },
    };
    for (const auto& operation : operations) {
        auto call = BlockingInThread(operation);
        EXPECT_TRUE(IsBlocked(call));
        EXPECT_TRUE(client.Destroy());
        EXPECT_EQ(call.get(), -1);
    }
    EXPECT_EQ(partition, -1);
    EXPECT_THAT(Calls({"request"}), IsEmpty());
    EXPECT_THAT(Logged({"IntToGstring", "CovertHexBuffToString"}), IsEmpty()) << "a request was made for nobody";
}

TEST_F(ServiceConnection, WhatDestroyLeavesInTheMainContextGoesOnceTheCallIsOver)
{
    DBusClient& client = *DBusClient::Instance();
    client.SendCmdToServer("x");
    client.Destroy();
    BeforeNextLoopRun([&] { InThread([&client] { return client.Destroy(); }).get(); });
    EXPECT_EQ(client.SendCmdToServer("x"), -1);

    const auto isLeft = [&client] { return g_main_context_find_source_by_user_data(nullptr, &client) != nullptr; };
    EXPECT_TRUE(isLeft());  // for another thread may have iterated the context before the loop ran
    Until([&] {
        g_main_context_iteration(nullptr, FALSE);
        return !isLeft();
    });
}

TEST_F(ServiceConnection, DestroyBetweenTheMakingOfALoopAndItsRunIsNotLost)
{
    DBusClient& client = *DBusClient::Instance();
    client.SendCmdToServer("x");
    client.Destroy();
    int destroyed = 0;
    BeforeNextLoopRun([&] {
        EXPECT_TRUE(InThread([&client] { return client.Destroy(); }).get());
        ++destroyed;
    });
    EXPECT_EQ(client.SendCmdToServer("x"), -1);
    EXPECT_EQ(destroyed, 1);

    // It has ended that call and no later one.
    auto call = BlockingInThread([&client] { return client.SendCmdToServer("x"); });
    EXPECT_TRUE(IsBlocked(call));
    client.Destroy();
    EXPECT_EQ(call.get(), -1);
}

TEST_F(ServiceConnection, DestroyBeforeASilentServicesLoopRunsIsNotLost)
{
    StartService();
    Fault("service.state", "silent");
    DBusClient& client = *DBusClient::Instance();
    BeforeNextLoopRun([&] { InThread([&client] { return client.Destroy(); }).get(); });
    EXPECT_EQ(client.SendCmdToServer("mkdir -p /opt/tv/x"), -1);
}

TEST_F(ServiceConnection, CreateConnectsAgainAfterDestroy)
{
    StartService();
    DBusClient& client = *DBusClient::Instance();
    EXPECT_EQ(client.PathExists("/opt/tv/nothing"), -1);
    client.Destroy();
    EXPECT_TRUE(client.Create());
    EXPECT_EQ(client.PathExists("/dev/mtdblock3"), 0);
    EXPECT_EQ(Calls({"request"}).size(), 2u);
}

TEST_F(ServiceConnection, AReplyToACallThatDestroyEndedEndsNoLaterOne)
{
    StartService();
    DBusClient& client = *DBusClient::Instance();
    Fault("service.delay", "300");
    auto first = InThread([&client] { return client.SendCmdToServer("mkdir -p /opt/tv/x"); });
    UntilServiceHasTaken(1);
    client.Destroy();
    EXPECT_EQ(first.get(), -1);

    auto second = InThread([&client] { return client.SendCmdToServer("mkdir -p /opt/tv/y"); });
    Until([this] { return Calls({"request"}).size() == 1; });
    EXPECT_TRUE(IsBlocked(second));
    client.Destroy();
    EXPECT_EQ(second.get(), -1);
    EXPECT_THAT(Logged({"ResponseHandeler"}), IsEmpty());
}

TEST_F(ServiceConnection, AReadReplyThatComesAfterDestroyWritesNowhere)
{
    StartService();
    DBusClient& client = *DBusClient::Instance();
    Fault("service.delay", "300");
    unsigned char bytes[6] = {1, 2, 3, 4, 5, 6};
    auto read = InThread([&] { return client.ReadOnServer("/dev/mtdblock3", 6, bytes); });
    UntilServiceHasTaken(1);
    client.Destroy();
    EXPECT_TRUE(read.get());

    Until([this] {
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
        return Calls({"request"}).size() == 1;
    });
    EXPECT_THAT(bytes, ElementsAre(1, 2, 3, 4, 5, 6));  // the caller may have released them long ago
}

TEST_F(ServiceConnection, AReplyToACallThatDestroyHasEndedIsNotTakenForTheNextOne)
{
    StartService();
    DBusClient& client = *DBusClient::Instance();
    Fault("service.delay", "200");
    auto ended = InThread([&client] { return client.PathExists("/opt/tv/nothing"); });
    UntilServiceHasTaken(1);
    client.Destroy();
    EXPECT_EQ(ended.get(), -1);

    client.Create();
    Fault("service.delay", "500");
    Fault("service.reply.3", "3:42:0");
    EXPECT_EQ(client.PathExists("/dev/mtdblock3"), 42);
    EXPECT_EQ(Calls({"request"}).size(), 2u);
}

// Beside a main loop of the caller's own.

namespace {

/** A caller's own main loop on the default context, in a thread of its own. */
class OwnMainLoop {
 public:
    OwnMainLoop() : loop_(g_main_loop_new(nullptr, FALSE)), thread_([this] { g_main_loop_run(loop_); })
    {
        while (!g_main_loop_is_running(loop_)) {
            std::this_thread::yield();
        }
    }

    ~OwnMainLoop()
    {
        g_main_loop_quit(loop_);
        thread_.join();
        g_main_loop_unref(loop_);
    }
    OwnMainLoop(const OwnMainLoop&) = delete;
    OwnMainLoop& operator=(const OwnMainLoop&) = delete;

 private:
    GMainLoop* loop_;
    std::thread thread_;
};

}  // namespace

TEST_F(ServiceConnection, CallsReturnWhileAnotherThreadIteratesTheMainContext)
{
    StartService();
    DBusClient& client = *DBusClient::Instance();
    Set().WriteMacBlock({1, 2, 3, 4, 5, 6});
    const OwnMainLoop own;
    for (int i = 0; i < 50; ++i) {
        unsigned char bytes[6] = {};
        EXPECT_EQ(client.PathExists("/opt/tv/nothing"), -1);
        EXPECT_EQ(client.PathExists("/dev/mtdblock3"), 0);
        EXPECT_TRUE(client.ReadOnServer("/dev/mtdblock3", 6, bytes));
        EXPECT_THAT(bytes, ElementsAre(1, 2, 3, 4, 5, 6));
    }
}

TEST_F(ServiceConnection, AReplyThatAnotherThreadTakesBeforeTheLoopRunsIsNotLost)
{
    StartService();
    DBusClient& client = *DBusClient::Instance();
    const OwnMainLoop own;
    BeforeNextLoopRun([this] {
        Until([this] { return Calls({"request"}).size() == 1; });
        std::this_thread::sleep_for(milliseconds(50));  // for the rest of the reply's handling
    });
    EXPECT_EQ(client.PathExists("/opt/tv/nothing"), -1);
}

TEST_F(ServiceConnection, DestroyEndsABlockedCallWhileAnotherThreadIteratesTheMainContext)
{
    DBusClient& client = *DBusClient::Instance();
    client.SendCmdToServer("x");
    client.Destroy();
    const OwnMainLoop own;
    auto call = BlockingInThread([&client] { return client.SendCmdToServer("x"); });
    EXPECT_TRUE(IsBlocked(call));
    client.Destroy();
    EXPECT_EQ(call.get(), -1);

    BeforeNextLoopRun([&] { InThread([&client] { return client.Destroy(); }).get(); });
    EXPECT_EQ(client.SendCmdToServer("x"), -1);
}
