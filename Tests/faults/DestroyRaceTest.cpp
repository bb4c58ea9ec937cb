/** A client that another thread destroys at any moment of a call: the call returns, and the next connection works. */
#include <AnsweringBus.h>
#include <DBusServiceClient.h>
#include <Resources.h>

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>

#include "Try.h"

namespace {

/** Passes a random time from nothing to that of a few calls. */
void PassTime(std::mt19937& random)
{
    const unsigned int turns = std::uniform_int_distribution<unsigned int>(0, 4000)(random);
    for (std::atomic<unsigned int> turn{0}; turn < turns; ++turn) {
    }
}

}  // namespace

TEST(DestroyRace, EveryCallReturnsWhateverTheMoment)
{
    constexpr int kTimes = 10000;
    const OwnTemporaryFiles temporaryFiles;
    AnswerRequests([](const char*) { return g_variant_new("(s)", "0:0:0:"); });
    DBusClient& client = *DBusClient::Instance();
    std::mt19937 random{1};
    Resources before;
    for (int i = 0; i < (TriesAll() ? 10 * kTimes : kTimes); ++i) {
        const Try race("calls during which another thread calls Destroy(), seed 1");
        std::atomic<bool> isOver{false};
        std::thread other([&] {
            PassTime(random);
            // A call that begins after it is blocked until the next one.
            do {
                client.Destroy();
                std::this_thread::yield();
            } while (!isOver);
        });
        const int status = client.SendCmdToServer("true");
        isOver = true;
        other.join();
        EXPECT_TRUE(status == 0 || status == -1) << status;
        ASSERT_TRUE(client.Create());
        ASSERT_EQ(client.SendCmdToServer("true"), 0);
        if (i == 0) before = Resources::Now();  // what the client makes once, is made
    }
    const Resources now = Resources::NowOrSoon(before);
    EXPECT_TRUE(now.AreNoMoreThan(before)) << "now " << now << "\nbefore " << before;
}
