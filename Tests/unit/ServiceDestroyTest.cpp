// Destroy() of the service client: what it ends, what it leaves, and what comes after it.

#include "ServiceConnection.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using ServiceDestroy = ServiceConnection;

TEST_F(ServiceDestroy, DestroyFailsOnlyWhileConnectedAndBeforeTheFirstCall)
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

TEST_F(ServiceDestroy, ARefusedArgumentIsNoCall)
{
    DBusClient& client = *DBusClient::Instance();
    EXPECT_EQ(client.SendCmdToServer(nullptr), -1);
    EXPECT_EQ(client.PathExists(nullptr), -1);
    EXPECT_FALSE(client.Destroy());
}

TEST_F(ServiceDestroy, DestroyEndsACallThatASilentServiceBlocks)
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

TEST_F(ServiceDestroy, ACallBlocksAfterDestroyUntilTheNextOne)
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

TEST_F(ServiceDestroy, EveryOperationBlocksAfterDestroyAndFailsWithTheNextOne)
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

TEST_F(ServiceDestroy, WhatDestroyLeavesInTheMainContextGoesOnceTheCallIsOver)
{
    DBusClient& client = *DBusClient::Instance();
    client.SendCmdToServer("x");
    client.Destroy();
    BeforeNextLoopRun([&] { InThread([&client] { return client.Destroy(); }).get(); });
    EXPECT_EQ(client.SendCmdToServer("x"), -1);

    const auto isLeft = [&client] { return g_main_context_find_source_by_user_data(nullptr, &client) != nullptr; };
    EXPECT_TRUE(isLeft());  // for another thread may have iterated the context before the loop ran
    EXPECT_TRUE(Soon([&] {
        g_main_context_iteration(nullptr, FALSE);
        return !isLeft();
    }));
}

TEST_F(ServiceDestroy, DestroyBetweenTheMakingOfALoopAndItsRunIsNotLost)
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

TEST_F(ServiceDestroy, DestroyBeforeASilentServicesLoopRunsIsNotLost)
{
    StartService();
    Fault("service.state", "silent");
    DBusClient& client = *DBusClient::Instance();
    BeforeNextLoopRun([&] { InThread([&client] { return client.Destroy(); }).get(); });
    EXPECT_EQ(client.SendCmdToServer("mkdir -p /opt/tv/x"), -1);
}

TEST_F(ServiceDestroy, CreateConnectsAgainAfterDestroy)
{
    StartService();
    DBusClient& client = *DBusClient::Instance();
    EXPECT_EQ(client.PathExists("/opt/tv/nothing"), -1);
    client.Destroy();
    EXPECT_TRUE(client.Create());
    EXPECT_EQ(client.PathExists("/dev/mtdblock3"), 0);
    EXPECT_EQ(Calls({"request"}).size(), 2u);
}

TEST_F(ServiceDestroy, AReplyToACallThatDestroyEndedEndsNoLaterOne)
{
    StartService();
    DBusClient& client = *DBusClient::Instance();
    Fault("service.delay", "1500");
    auto first = InThread([&client] { return client.SendCmdToServer("mkdir -p /opt/tv/x"); });
    UntilServiceHasTaken(1);
    client.Destroy();
    EXPECT_EQ(first.get(), -1);

    auto second = InThread([&client] { return client.SendCmdToServer("mkdir -p /opt/tv/y"); });
    ASSERT_TRUE(Soon([this] { return Calls({"request"}).size() == 1; }));
    EXPECT_TRUE(IsBlocked(second));
    client.Destroy();
    EXPECT_EQ(second.get(), -1);
    EXPECT_THAT(Logged({"ResponseHandeler"}), IsEmpty());
}

TEST_F(ServiceDestroy, AReadReplyThatComesAfterDestroyWritesNowhere)
{
    StartService();
    DBusClient& client = *DBusClient::Instance();
    Fault("service.delay", "1500");
    unsigned char bytes[6] = {1, 2, 3, 4, 5, 6};
    auto read = InThread([&] { return client.ReadOnServer("/dev/mtdblock3", 6, bytes); });
    UntilServiceHasTaken(1);
    client.Destroy();
    EXPECT_TRUE(read.get());

    ASSERT_TRUE(Soon([this] {
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
        return Calls({"request"}).size() == 1;
    }));
    EXPECT_THAT(bytes, ElementsAre(1, 2, 3, 4, 5, 6));  // the caller may have released them long ago
}

TEST_F(ServiceDestroy, AReplyToACallThatDestroyHasEndedIsNotTakenForTheNextOne)
{
    StartService();
    DBusClient& client = *DBusClient::Instance();
    Fault("service.delay", "1000");
    auto ended = InThread([&client] { return client.PathExists("/opt/tv/nothing"); });
    UntilServiceHasTaken(1);
    client.Destroy();
    EXPECT_EQ(ended.get(), -1);

    client.Create();
    Fault("service.delay", "2000");
    Fault("service.reply.3", "3:42:0");
    EXPECT_EQ(client.PathExists("/dev/mtdblock3"), 42);
    EXPECT_EQ(Calls({"request"}).size(), 2u);
}
