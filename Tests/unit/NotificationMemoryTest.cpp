/** Memory that runs out at any place of a notification: it fails, is cleaned up, and nothing is thrown at the caller.
 */
#include "MavoNufOnSet.h"

#include <AllocationFailure.h>

namespace {

/** There is no bus here, so that every command of the service reads as success and the library alone allocates. */
class NotificationWithoutMemory : public StrategyOnSet {
 protected:
    void SetUp() override
    {
        Start();
        MigrationCommon::SetVornBoxSystemConfig();
        MigrationCommon::ExecuteUserShell("", true);  // makes the client
    }

    /** Notifies with each allocation in turn failing.
     * @return how often the notification failed */
    template <class Prepare, class Check>
    int FailAtEveryPlace(MigrationStrategy& strategy, int type, int progress, Prepare prepare, Check afterFailure)
    {
        int failures = 0;
        for (long place = 1;; ++place) {
            VB_VornBoxMigrationStatus_k status = static_cast<VB_VornBoxMigrationStatus_k>(77);
            bool result = false;
            prepare();
            allocation_failure::FailAny(place);
            EXPECT_NO_THROW(
                result = strategy.NotifyMigrationStatus(static_cast<VB_VornBoxMigrationType_k>(type),
                                                        static_cast<VB_VornBoxMigrationProgress_k>(progress), &status))
                << place;
            if (!allocation_failure::Stop()) {
                EXPECT_TRUE(result);
                return failures;
            }
            EXPECT_EQ(static_cast<int>(status), result ? 0 : 2) << place;
            if (!result) {
                ++failures;
                afterFailure();
            }
        }
    }
};

class NotificationWithoutMemoryOfType : public NotificationWithoutMemory, public ::testing::WithParamInterface<int> {};

TEST_P(NotificationWithoutMemoryOfType, FailsAtAStartAndLeavesNothingMountedAndTheFlagLowered)
{
    SteeredStrategy strategy;
    const auto switchOn = [&] { strategy.mbMigrationMounted = false; };
    const int failures = FailAtEveryPlace(strategy, GetParam(), 0, switchOn, [&] {
        EXPECT_FALSE(strategy.mbMigrationMounted);
        EXPECT_EQ(PowerFlag(), 0xFF);
    });
    EXPECT_GT(failures, 0);
}

INSTANTIATE_TEST_SUITE_P(Types, NotificationWithoutMemoryOfType, ::testing::Values(2, 3));

TEST_F(NotificationWithoutMemory, FailsAtABackupEndAndLeavesNothingMountedAndTheFlagLowered)
{
    SteeredStrategy strategy;
    const auto begin = [&] {
        strategy.mbMigrationMounted = true;
        SetPowerFlag(0xAA);
    };
    const int failures = FailAtEveryPlace(strategy, 2, 1, begin, [&] {
        EXPECT_FALSE(strategy.mbMigrationMounted);
        EXPECT_EQ(PowerFlag(), 0xFF);
    });
    EXPECT_GT(failures, 0);
}

TEST_F(NotificationWithoutMemory, FailsWithABoxOfYear13)
{
    MavoNufStratgegy strategy;
    EXPECT_GT(FailAtEveryPlace(
                  strategy, 0, 0, [] {}, [] {}),
              0);
    EXPECT_GT(FailAtEveryPlace(
                  strategy, 0, 1, [] {}, [] {}),
              0);
    EXPECT_GT(FailAtEveryPlace(
                  strategy, 1, 0, [] {}, [] {}),
              0);
}

}  // namespace
