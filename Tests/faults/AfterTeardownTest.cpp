/** Every exported function once migration_final() has destroyed the picture migrator. */
#include <Child.h>
#include <TestSet.h>
#include <VBMigration.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "ExportedFunctions.h"
#include "Try.h"

namespace {

using Names = std::vector<std::string>;

/** They ask for the migrator, and say that there is none. */
const Names kAskForTheMigrator = {"get_vemigration_instance", "set item", "convert", "test data"};

/** They use the pointer that the strategy was given when it was made. */
const Names kUseTheStrategysMigrator = {"restore", "dump", "picture sync"};

bool IsAmong(const Names& names, const std::string& name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

class AfterTeardown : public OnSet, public ::testing::WithParamInterface<const char*> {
 protected:
    AfterTeardown()
    {
        Start();
        Fault("system_info.254", GetParam());
    }

    /** The result of a function in a process of its own, after something has been done there. */
    int ResultAfter(const std::function<void()>& before, const ExportedFunction& function)
    {
        const auto result = Temporary() / "result";
        EXPECT_TRUE(HoldsInChild([&] {
            before();
            WriteFile(result, std::to_string(function.call()));
        })) << function.name;
        return std::stoi(ReadFile(result));
    }
};

INSTANTIATE_TEST_SUITE_P(TvCodes, AfterTeardown, ::testing::Values("17", "15", "14", "13"));

}  // namespace

TEST_P(AfterTeardown, OnlyWhatNeedsTheMigratorFails)
{
    for (const ExportedFunction& function : ExportedFunctions()) {
        // The strategy keeps a pointer to what is no more: these calls are the caller's error.
        if (IsAmong(kUseTheStrategysMigrator, function.name)) continue;
        const Try torn("functions after migration_final()");
        const int expected =
            IsAmong(kAskForTheMigrator, function.name) ? -1 : ResultAfter([] { get_Startegy(); }, function);
        const auto tearDown = [] {
            get_Startegy();
            migration_final();
        };
        EXPECT_EQ(ResultAfter(tearDown, function), expected) << function.name;
    }
}

TEST_P(AfterTeardown, AStrategyThatIsMadeLaterHasNoMigrator)
{
    for (const ExportedFunction& function : ExportedFunctions()) {
        const Try torn("functions after migration_final(), without a strategy before");
        const bool fails =
            IsAmong(kAskForTheMigrator, function.name) || IsAmong(kUseTheStrategysMigrator, function.name);
        const int expected = fails ? -1 : ResultAfter([] { get_vemigration_instance(); }, function);
        const auto tearDown = [] {
            get_vemigration_instance();
            migration_final();
        };
        EXPECT_EQ(ResultAfter(tearDown, function), expected) << function.name;
    }
}
