// Memory that runs out inside an exported function: it returns, and no exception leaves it.

#include "ExportedCalls.h"

#include <AllocationFailure.h>
#include <CaseName.h>
#include <DBusServiceClient.h>
#include <TestSet.h>
#include <VBMigration.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>

namespace {

int Convert()
{
    char text[10];
    return migration_api_convert_factory_value_to_str(1716, 0, text);
}

class OutOfMemory : public OnSet {
 protected:
    OutOfMemory() { Start(); }

    static constexpr int kThrown = 1000;

    // As exit status; what ends a process by itself gives none of these.
    enum Outcome { kSucceeded = 100, kFailed, kWrongResult, kNothingRanOut };

    static int ResultOf(const std::function<int()>& call)
    {
        try {
            return call();
        } catch (...) {
            return kThrown;
        }
    }

    /** Runs a body in a child and gives its outcome. */
    static Outcome InChild(const std::function<Outcome()>& body)
    {
        const pid_t child = fork();
        if (child == 0) {
            _exit(body());
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        const bool isOutcome = WIFEXITED(status) && WEXITSTATUS(status) >= kSucceeded;
        EXPECT_TRUE(isOutcome) << "wait status " << status;
        return isOutcome ? static_cast<Outcome>(WEXITSTATUS(status)) : kWrongResult;
    }

    using Fail = void (*)(long nth);

    /** Has the @p nth allocation of the call fail, alone or with all after it, in a child. */
    static Outcome CallWithFailure(const std::function<int()>& call, long nth, Fail fail = allocation_failure::FailAny)
    {
        return InChild([&] {
            fail(nth);
            const int result = ResultOf(call);
            const bool failed = allocation_failure::Stop();
            return !failed ? kNothingRanOut : result == 0 ? kSucceeded : result == -1 ? kFailed : kWrongResult;
        });
    }
};

struct CallOfYear : NamedCall {
    int year;  ///< of the TV
};

class OutOfMemoryIn : public OutOfMemory, public ::testing::WithParamInterface<CallOfYear> {};

}  // namespace

TEST_P(OutOfMemoryIn, AnyAllocationTheCallReturnsWithADocumentedResult)
{
    Fault("system_info.254", std::to_string(GetParam().year));
    for (const Fail fail : {allocation_failure::FailAny, allocation_failure::FailAnyFrom}) {
        long nth = 1;
        Outcome outcome = kSucceeded;
        for (; outcome == kSucceeded || outcome == kFailed; ++nth) {
            outcome = CallWithFailure(GetParam().call, nth, fail);
        }
        EXPECT_EQ(outcome, kNothingRanOut) << "at allocation " << nth;
        EXPECT_GE(nth, 4);  // the library's own, in the call that makes the fewest
    }
}

const CallOfYear kAllocatingCalls[] = {
    {{"notify", Notify}, 15},
    {{"notify", Notify}, 13},
    {{"restore", migration_api_restore_non_volatile_data}, 14},
    {{"restore", migration_api_restore_non_volatile_data}, 13},
    {{"dump", migration_api_dump_non_volatile_data}, 15},
    {{"dump", migration_api_dump_non_volatile_data}, 13},
    {{"sync", [] { return migration_api_do_vornBox_picture_data_sync(VB_INFO_VB_FAC_TO_TV_SPI); }}, 15},
    {{"sync back", [] { return migration_api_do_vornBox_picture_data_sync(VB_INFO_TV_SPI_TO_VB_FAC); }}, 15},
    {{"SetFactoryItem", [] { return migration_api_set_factory_item(1713, 1); }}, 15},
    {{"Convert", Convert}, 15},
    {{"TestData", [] { return migration_api_get_vornBox_migration_test_data(20); }}, 15},
    {{"SetBootPartition", [] { return migration_api_SetBootPartition(1); }}, 13},
    {{"GetBootPartition", GetBootPartition}, 13},
};

INSTANTIATE_TEST_SUITE_P(Functions, OutOfMemoryIn, ::testing::ValuesIn(kAllocatingCalls), CaseName<CallOfYear>);

TEST_F(OutOfMemory, WithinTheMakingOfAStrategyIsToldLikeAStrategyThatCannotBeAllocated)
{
    const auto makeStrategy = [] { return GetMigrationStrategy(15) != nullptr ? 0 : -1; };
    long failures = 0;
    Outcome outcome = kSucceeded;
    for (long nth = 1; outcome != kNothingRanOut; ++nth) {
        outcome = CallWithFailure(makeStrategy, nth);
        ASSERT_NE(outcome, kWrongResult);
        failures += outcome == kFailed ? 1 : 0;
    }
    const Messages messages = Logged({"GetMigrationStrategy"});
    EXPECT_EQ(std::count(messages.begin(), messages.end(), Error("new failed for strategy ")), failures);
    EXPECT_GT(failures, 1);  // the object, and its path texts
}

TEST_F(OutOfMemory, ForACommandOnTheServiceIsAFailedCommand)
{
    const auto run = [] { return MigrationCommon::ExecuteUserShell("/usr/bin/MigrationScript.sh cleanbkup", true); };
    DBusClient::Instance();
    long nth = 1;
    while (CallWithFailure(run, nth) == kFailed) {
        ++nth;
    }
    EXPECT_GT(nth, 1);
    EXPECT_EQ(CallWithFailure(run, nth), kNothingRanOut) << "at allocation " << nth;
}

TEST_F(OutOfMemory, InADumpLeavesTheBackupPathForTheNextOne)
{
    // The second dump of a process would otherwise look for the backup folder below itself.
    const auto dumpTwice = [] {
        migration_api_dump_non_volatile_data();
        const bool failed = allocation_failure::Stop();
        migration_api_dump_non_volatile_data();
        return failed ? kFailed : kNothingRanOut;
    };
    const auto folder = Set().Map("/opt/tv/migration/korvane_vbmg/SP_VB_Data/SP_VB_Data").value();
    Outcome outcome = kFailed;
    long nth = 1;
    for (; outcome == kFailed; ++nth) {
        outcome = InChild([&] {
            allocation_failure::FailAny(nth);
            return dumpTwice();
        });
        ASSERT_FALSE(std::filesystem::exists(folder)) << "at allocation " << nth;
    }
    EXPECT_EQ(outcome, kNothingRanOut) << "at allocation " << nth;
    EXPECT_GT(nth, 20);
}
