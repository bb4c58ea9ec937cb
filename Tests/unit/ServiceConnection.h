/** @file
 * The service client with a set of its own, and calls of it in other threads. For test programs that have LoopHook.cpp
 * among their sources.
 */
#pragma once

#include <DBusServiceClient.h>
#include <LoopHook.h>
#include <Soon.h>
#include <TestSet.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>

class ServiceConnection : public OnSet {
 protected:
    ServiceConnection() { Start(); }

    /** Waits until the service has taken its @p nth request, whether it answers or not. */
    void UntilServiceHasTaken(int nth)
    {
        const auto hasTaken = [this, nth] {
            const std::string trace = ReadFile(Set().TvDirectory() / "trace.jsonl");
            int taken = 0;
            for (std::size_t at = 0; (at = trace.find("\"kind\":\"service\"", at)) != std::string::npos; ++at) {
                ++taken;
            }
            return taken >= nth;
        };
        ASSERT_TRUE(Soon(hasTaken));
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
    return call.wait_for(std::chrono::milliseconds(100)) == std::future_status::timeout;
}
