// Calls of the service client beside a main loop of the caller's own.

#include "ServiceConnection.h"

using ::testing::ElementsAre;

using ServiceMainLoop = ServiceConnection;

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

TEST_F(ServiceMainLoop, CallsReturnWhileAnotherThreadIteratesTheMainContext)
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

TEST_F(ServiceMainLoop, AReplyThatAnotherThreadTakesBeforeTheLoopRunsIsNotLost)
{
    StartService();
    DBusClient& client = *DBusClient::Instance();
    const OwnMainLoop own;
    BeforeNextLoopRun([this] {
        ASSERT_TRUE(Soon([this] { return Calls({"request"}).size() == 1; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));  // for the rest of the reply's handling
    });
    EXPECT_EQ(client.PathExists("/opt/tv/nothing"), -1);
}

TEST_F(ServiceMainLoop, DestroyEndsABlockedCallWhileAnotherThreadIteratesTheMainContext)
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
