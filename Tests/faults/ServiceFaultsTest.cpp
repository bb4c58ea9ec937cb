/** A service, or a bus, that fails at any request of a flow: each call returns a documented result, nothing of the
 * machine stays in use, and the next process makes a backup that holds the same data. Two clients of one service at
 * once. */
#include <Child.h>
#include <DBusServiceClient.h>

#include <dlfcn.h>

#include <atomic>
#include <functional>
#include <thread>

#include "FaultedFlow.h"
#include "Try.h"

namespace {

int requestsLeft = 0;  // until the one before which something happens; 0 when nothing does
std::function<void()> atThatRequest;

/** Has something happen right before the client makes its nth request from now, from 1. */
void BeforeRequest(int nth, std::function<void()> action)
{
    requestsLeft = nth;
    atThatRequest = std::move(action);
}

/** Ends every call that blocks, as long as it lives, as another thread of a TV service may. */
class Destroyer {
 public:
    ~Destroyer() { Stop(); }

    void Start()
    {
        thread_ = std::thread([this] {
            while (!isOver_) {
                DBusClient::Instance()->Destroy();
                std::this_thread::yield();
            }
        });
    }

    void Stop()
    {
        isOver_ = true;
        if (thread_.joinable()) thread_.join();
    }

 private:
    std::atomic<bool> isOver_{false};
    std::thread thread_;
};

}  // namespace

extern "C" void g_dbus_proxy_call(GDBusProxy* proxy, const gchar* method, GVariant* parameters, GDBusCallFlags flags,
                                  gint timeout, GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data)
{
    static const auto next = reinterpret_cast<decltype(&::g_dbus_proxy_call)>(dlsym(RTLD_NEXT, "g_dbus_proxy_call"));
    if (requestsLeft > 0 && --requestsLeft == 0) atThatRequest();
    next(proxy, method, parameters, flags, timeout, cancellable, callback, data);
}

namespace {

class ServiceFaults : public FaultedFlow, public ::testing::WithParamInterface<Pairing> {
 protected:
    ServiceFaults()
    {
        StartPairing(GetParam());
        // The raw MAC block and the folder of a restore belong to the service: reads, writes and path tests are requests.
        Fault(std::string("path.") + kMacBlock, "EACCES");
        Fault("system_info.248", "/opt/tv/restored/");
        Fault("path./opt/tv/restored/SP_VB_Data/", "EACCES");
        // The first process makes the backup that all others are compared with, and tells how many requests there are.
        const auto count = Temporary() / "requests";
        EXPECT_TRUE(HoldsInChild([&] {
            MakeAllThatStays();
            BeginTry();
            Forget();
            EverythingOnce();
            WriteFile(count, std::to_string(Calls({"request"}).size()));
        }));
        requests_ = std::stoi(ReadFile(count));
        EXPECT_GE(requests_, 5);
    }

    /** Every flow, with something happening before the nth request and put right after the last one, in a process of
     * its own; then a backup by the next one. */
    void SurviveAtRequest(int nth, const std::function<void()>& happens, const std::function<void()>& putRight)
    {
        const std::string which = "request " + std::to_string(nth);
        EXPECT_TRUE(HoldsInChild([&] {
            MakeAllThatStays();
            BeginTry();
            BeforeRequest(nth, happens);
            EverythingOnce();
            EXPECT_EQ(requestsLeft, 0) << "there is no such request";
            if (putRight) putRight();
            ExpectNothingHeld(which);
        })) << which;
        NoFault("service.state");
        EXPECT_TRUE(HoldsInChild([&] {
            StartService();
            ExpectAGoodBackup(which);
        })) << "after " << which;
    }

    /** The same at every request, or at every few when not everything is tried. */
    void SurviveAtEveryRequest(const char* kind, const std::function<void()>& happens,
                               const std::function<void()>& putRight = {})
    {
        for (int nth = 1; nth <= requests_; nth += TriesAll() ? 1 : 2) {
            const Try failing(kind);
            SurviveAtRequest(nth, happens, putRight);
        }
    }

    void RestartService()
    {
        Bus().StopService();
        Bus().StartService();
    }

 private:
    int requests_ = 0;
};

INSTANTIATE_TEST_SUITE_P(On, ServiceFaults, ::testing::ValuesIn(Pairings()), PairingName);

}  // namespace

TEST_P(ServiceFaults, SurvivesAServiceThatHasEnded)
{
    SurviveAtEveryRequest("requests before which the service ended", [&] { Bus().StopService(); });
}

TEST_P(ServiceFaults, SurvivesAServiceThatDiesInMidCall)
{
    SurviveAtEveryRequest("requests in which the service died", [&] { Fault("service.state", "dies"); });
}

TEST_P(ServiceFaults, SurvivesAServiceThatIsStartedAgain)
{
    SurviveAtEveryRequest("requests before which the service was started again", [&] { RestartService(); });
}

TEST_P(ServiceFaults, SurvivesAServiceThatBeginsToRefuse)
{
    SurviveAtEveryRequest("requests from which on the service refused", [&] { Fault("service.state", "error"); });
}

TEST_P(ServiceFaults, SurvivesTheEndOfTheBus)
{
    SurviveAtEveryRequest("requests before which the bus ended", [&] { Bus().Stop(); });
}

TEST_P(ServiceFaults, SurvivesABusThatIsBack)
{
    SurviveAtEveryRequest("requests before which the bus ended and came back", [&] {
        Bus().Stop();
        StartService();
    });
}

TEST_P(ServiceFaults, SurvivesASilentServiceWhoseCallsAreEnded)
{
    Destroyer destroyer;
    SurviveAtEveryRequest(
        "requests from which on the service was silent and Destroy() ended calls",
        [&] {
            Fault("service.state", "silent");
            destroyer.Start();
        },
        [&] { destroyer.Stop(); });
}

TEST_P(ServiceFaults, SurvivesAServiceThatIsSlow)
{
    SurviveInNewProcesses("flows with a slow service", {{"service.delay", "20"}});
}

namespace {

class TwoClients : public FaultedFlow {
 protected:
    TwoClients() { StartPairing({"tv15", "box15"}); }

    /** Requests of many kinds about files that only this client has; every answer is its own. */
    void AskAboutFilesOf(unsigned char name)
    {
        DBusClient& client = *DBusClient::Instance();
        const std::string own = std::string("/opt/tv/client") + static_cast<char>(name);
        for (int round = 0; round < (TriesAll() ? 2000 : 100); ++round) {
            const auto digit = static_cast<unsigned char>(round);
            unsigned char written[6] = {name, digit, name, digit, name, digit};
            unsigned char read[6] = {};
            ASSERT_EQ(client.WriteOnServer(own.c_str(), 6, written), 6);
            ASSERT_EQ(client.PathExists(own.c_str()), 0);
            ASSERT_EQ(client.PathExists((own + "/nothing").c_str()), -1);
            ASSERT_TRUE(client.ReadOnServer(own, 6, read));
            ASSERT_THAT(read, ::testing::ElementsAreArray(written));
        }
    }
};

}  // namespace

TEST_F(TwoClients, EachGetTheAnswersToTheirOwnRequests)
{
    const Try failing("two clients that ask at once");
    StartService();
    Child other([&] { AskAboutFilesOf('B'); });
    EXPECT_TRUE(HoldsInChild([&] { AskAboutFilesOf('A'); }));
    EXPECT_TRUE(other.Holds());
}

TEST_F(TwoClients, MayMigrateAtOnceAndTheNextBackupIsGood)
{
    ASSERT_TRUE(HoldsInChild([this] { MakeAllThatStays(); }));
    StartService();
    for (int round = 0; round < (TriesAll() ? 100 : 5); ++round) {
        const Try failing("two clients that migrate at once");
        Child other([this] { EverythingOnce(); });
        EXPECT_TRUE(HoldsInChild([this] { EverythingOnce(); }));
        EXPECT_TRUE(other.Holds());
        EXPECT_TRUE(HoldsInChild([this] { ExpectAGoodBackup("both"); }));
    }
}
