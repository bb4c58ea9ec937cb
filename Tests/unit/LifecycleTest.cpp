// Start-up, the two single objects, and the teardown.

#include <AllocationFailure.h>
#include <CaseName.h>
#include <MigrationStrategy.h>
#include <TestSet.h>
#include <Together.h>
#include <VBMigration.h>
#include <VEMigrationImpl.h>

#include <cxxabi.h>
#include <dlfcn.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <typeinfo>

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

class Lifecycle : public OnSet {
 protected:
    Lifecycle() { Start(); }

    void TvYearIs(int year) { Fault("system_info.254", std::to_string(year)); }

    /** How often a message was logged. */
    long Count(const std::string& text) const
    {
        long count = 0;
        for (const LogLine& line : Log()) {
            count += line.text == text ? 1 : 0;
        }
        return count;
    }

    /** The picture migrator that a strategy holds: its first member after the virtual table. */
    static VEMigration* MigratorOf(const MigrationStrategy* strategy)
    {
        VEMigration* migrator = nullptr;
        std::memcpy(&migrator, reinterpret_cast<const char*>(strategy) + sizeof(void*), sizeof migrator);
        return migrator;
    }
};

const char* const kNoYear = "none";

struct YearCase {
    int year;
    const char* strategy;
};

std::ostream& operator<<(std::ostream& out, const YearCase& year)
{
    return out << year.year;
}

std::string StrategyName(const MigrationStrategy* strategy)
{
    if (strategy == nullptr) {
        return kNoYear;
    }
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(typeid(*strategy).name(), nullptr, nullptr, &status), &std::free);
    return name.get();
}

/** Has the texts and numbers of the system information take their time. */
std::atomic<bool> slowPlatform{false};

template <class Function>
Function Slowed(const char* name)
{
    if (slowPlatform) {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
    }
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int system_info_get_value_int(int key, int* value)
{
    return Slowed<int (*)(int, int*)>("system_info_get_value_int")(key, value);
}

extern "C" int system_info_get_value_string(int key, char** value)
{
    return Slowed<int (*)(int, char**)>("system_info_get_value_string")(key, value);
}

TEST_F(Lifecycle, TheFirstStrategyAccessStartsUpInTheFixedOrder)
{
    ASSERT_NE(get_Startegy(), nullptr);

    EXPECT_THAT(Logged({"get_Startegy", "CreateAll", "SetVornBoxSystemConfig", "VEMigrationImpl", "Create",
                        "CreateArray", "GetMigrationStrategy", "MigrationStrategy"}),
                ElementsAre(Info("get_Startegy VBMigration "),
                            Info("Creating VBMigration "),
                            Info("migration_start ======> "),
                            Info("SetVornBoxSystemConfig <============ "),
                            Info("In VBMigration TVYear is : 15"),
                            Info("In VBMigration VBYear is : 15"),
                            Info("In VBMigration TVChip is : [" + std::to_string(Set().Tv().mainChip) +
                                 "].. Compare values from system_info_type.h:system_info_tv_side_main_chip enum "),
                            Info("In VBMigration VBChip is : [" + std::to_string(Set().Box().mainChip) +
                                 "].. Compare values from system_info_type.h:system_info_vb_side_main_chip enum "),
                            Info("Valid duolink information from SystemConfig... "),
                            Info("Fetch Information from System-Config-Info has been Success. VBMigrationLib IS SAFE "
                                 "for use..."),
                            Info("migration_start <====== "),
                            Error("\n VEMigration VBMigration \n"),
                            Info("VEMigration::Create VBMigration "),
                            Info(" VEMigration::CreateArray "),
                            Info(" VEMigration::Create VBMigration "),
                            Info("pVEMigration Created "),
                            Info("OVer Creation VBMigration "),
                            Info("GetMigrationStrategy::creating strategy "),
                            Info("TV Year is 15  "),
                            Info("Final Path Now is ==> : /opt/tv/migration/korvane_vbmg/ "),
                            Info("Final Path Now is ==> : /opt/tv/migration/korvane_vbmg/ ")));
}

TEST_F(Lifecycle, MessagesOfTheAccessorsCarryTheFrontDoorsFileName)
{
    get_Startegy();
    migration_final();
    for (const LogLine& line : Log()) {
        const bool isFrontDoor = line.function == "get_Startegy" || line.function == "CreateAll" ||
                                 line.function == "GetMigrationStrategy" || line.function == "migration_final";
        EXPECT_EQ(line.unit == "VBMigration.cpp", isFrontDoor) << line.unit << ' ' << line.function;
        EXPECT_EQ(line.unit == "MigrationCommon.cpp", line.function == "SetVornBoxSystemConfig") << line.function;
    }
}

TEST_F(Lifecycle, StartsUpOnceForBothAccessors)
{
    MigrationStrategy* const strategy = get_Startegy();
    VEMigration* const migrator = get_vemigration_instance();
    Forget();

    EXPECT_EQ(get_Startegy(), strategy);
    EXPECT_EQ(get_vemigration_instance(), migrator);

    EXPECT_THAT(Logged(),
                ElementsAre(Info("get_Startegy VBMigration "), Info("get_vemigration_instance VBMigration ")));
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(Lifecycle, TheMigratorAccessorStartsUpWithoutAStrategy)
{
    ASSERT_NE(get_vemigration_instance(), nullptr);

    EXPECT_EQ(Count("Creating VBMigration "), 1);
    EXPECT_EQ(Count("GetMigrationStrategy::creating strategy "), 0);
}

TEST_F(Lifecycle, TheStrategyHoldsTheMigratorAsItsFirstMember)
{
    MigrationStrategy* const strategy = get_Startegy();
    EXPECT_EQ(MigratorOf(strategy), get_vemigration_instance());
}

TEST_F(Lifecycle, AStrategyMadeBeforeTheStartUpHasNoMigrator)
{
    MigrationStrategy* const strategy = GetMigrationStrategy(15);
    ASSERT_NE(strategy, nullptr);
    EXPECT_EQ(MigratorOf(strategy), nullptr);
    EXPECT_EQ(Count("Creating VBMigration "), 0);
}

class LifecycleByYear : public Lifecycle, public ::testing::WithParamInterface<YearCase> {};

TEST_P(LifecycleByYear, TheTvCodeAloneSelectsTheStrategy)
{
    TvYearIs(GetParam().year);
    Fault("system_info.252", "13");  // the box is not asked
    EXPECT_EQ(StrategyName(get_Startegy()), GetParam().strategy);
}

TEST_P(LifecycleByYear, TheStrategyIsMadeForTheYearGiven)
{
    EXPECT_EQ(StrategyName(GetMigrationStrategy(GetParam().year)), GetParam().strategy);
}

INSTANTIATE_TEST_SUITE_P(Codes, LifecycleByYear,
                         ::testing::Values(YearCase{13, "MavoNufStratgegy"}, YearCase{14, "MavoTeskStratgegy"},
                                           YearCase{15, "MavoMavoStratgegy"}, YearCase{17, "RiloRiloStratgegy"},
                                           YearCase{16, kNoYear}, YearCase{12, kNoYear}, YearCase{18, kNoYear},
                                           YearCase{0, kNoYear}, YearCase{-1, kNoYear}),
                         CaseName<YearCase>);

TEST_F(Lifecycle, AWrongYearIsLoggedAndTriedAgainByTheNextCall)
{
    EXPECT_EQ(GetMigrationStrategy(16), nullptr);
    EXPECT_THAT(Logged(), ElementsAre(Info("GetMigrationStrategy::creating strategy "), Info("TV Year is 16  "),
                                      Error("FATAL!! FATAL!!! FATAL!!! Wrong Year Passed "),
                                      Error("new failed for strategy ")));
    Forget();

    EXPECT_EQ(StrategyName(GetMigrationStrategy(17)), "RiloRiloStratgegy");
    EXPECT_THAT(Logged(), Contains(Info("TV Year is 17  ")));
}

TEST_F(Lifecycle, TheYearIsLookedAtOnlyAsLongAsThereIsNoStrategy)
{
    MigrationStrategy* const strategy = GetMigrationStrategy(15);
    Forget();
    EXPECT_EQ(GetMigrationStrategy(13), strategy);
    EXPECT_EQ(GetMigrationStrategy(99), strategy);
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(Lifecycle, AFailedStrategyAllocationIsLoggedAndTriedAgain)
{
    allocation_failure::FailNothrow(1);
    EXPECT_EQ(GetMigrationStrategy(15), nullptr);
    EXPECT_TRUE(allocation_failure::Stop());
    EXPECT_THAT(Logged(), ElementsAre(Info("GetMigrationStrategy::creating strategy "), Info("TV Year is 15  "),
                                      Error("new failed for strategy ")));

    EXPECT_EQ(StrategyName(GetMigrationStrategy(15)), "MavoMavoStratgegy");
}

class LifecycleByChip : public Lifecycle, public ::testing::WithParamInterface<const char*> {};

TEST_P(LifecycleByChip, OnlyChip3GivesTheMigratorOfTheExtendedTable)
{
    Fault("system_info.253", GetParam());
    VEMigration* const migrator = get_vemigration_instance();
    const bool isChip3 = std::string(GetParam()) == "3";
    EXPECT_EQ(dynamic_cast<VEMigrationImpl<62>*>(migrator) != nullptr, isChip3);
    EXPECT_EQ(dynamic_cast<VEMigrationImpl<44>*>(migrator) != nullptr, !isChip3);
    EXPECT_TRUE(migrator->FlagCreate());
}

TEST_P(LifecycleByChip, AFailedAllocationIsTheAbsenceOfAMigrator)
{
    Fault("system_info.253", GetParam());
    allocation_failure::FailNothrow(1);
    EXPECT_EQ(get_vemigration_instance(), nullptr);
    EXPECT_TRUE(allocation_failure::Stop());
    EXPECT_THAT(Logged({"CreateAll"}), Contains(Info("pVEMigration Created ")));
}

INSTANTIATE_TEST_SUITE_P(Chips, LifecycleByChip, ::testing::Values("3", "fail", "-1", "0", "2", "4", "62"),
                         CaseName<const char*>);

TEST_F(Lifecycle, StartsUpAlsoWhenNothingIsKnownOfTheSet)
{
    for (const char* key : {"254", "252", "253", "251", "705"}) {
        Fault(std::string("system_info.") + key, "fail");
    }

    EXPECT_EQ(get_Startegy(), nullptr);

    EXPECT_THAT(Logged({"CreateAll", "GetMigrationStrategy"}),
                ElementsAre(Info("Creating VBMigration "), Info("migration_start ======> "),
                            Error("Fetch Information from System-Config-Info has been Failed. VBMigrationLib IS NOT "
                                  "SAFE for use..."),
                            Info("migration_start <====== "), Info("pVEMigration Created "),
                            Info("OVer Creation VBMigration "), Info("GetMigrationStrategy::creating strategy "),
                            Info("TV Year is -1  "), Error("FATAL!! FATAL!!! FATAL!!! Wrong Year Passed "),
                            Error("new failed for strategy ")));
    EXPECT_NE(dynamic_cast<VEMigrationImpl<44>*>(get_vemigration_instance()), nullptr);
}

TEST_F(Lifecycle, AMissingTvCodeLeavesTheSetWithoutAStrategy)
{
    Fault("system_info.254", "fail");
    EXPECT_EQ(get_Startegy(), nullptr);
    EXPECT_EQ(MigrationCommon::miTVYear, -1);
    EXPECT_THAT(Logged(), Contains(Info("Fetch Information from System-Config-Info has been Success. "
                                        "VBMigrationLib IS SAFE for use...")));
}

TEST_F(Lifecycle, AFailedMigratorAllocationIsTheAbsenceOfAMigrator)
{
    allocation_failure::FailNothrow(1);
    EXPECT_EQ(get_vemigration_instance(), nullptr);
    EXPECT_TRUE(allocation_failure::Stop());
    EXPECT_THAT(Logged({"CreateAll"}), Contains(Info("pVEMigration Created ")));
    Forget();

    // The library does not count as started, so the next access starts it up again.
    EXPECT_NE(get_vemigration_instance(), nullptr);
    EXPECT_EQ(Count("Creating VBMigration "), 1);
    EXPECT_EQ(Count("SetVornBoxSystemConfig <============ "), 1);
}

TEST_F(Lifecycle, AMigratorThatIsNotCreatedIsKeptWhileEveryAccessReadsTheConfigurationAgain)
{
    allocation_failure::FailNothrow(2);  // the first is the migrator, the second its state
    VEMigration* const migrator = get_vemigration_instance();
    EXPECT_TRUE(allocation_failure::Stop());
    ASSERT_NE(migrator, nullptr);
    EXPECT_FALSE(migrator->FlagCreate());
    EXPECT_EQ(MigrationCommon::miTVYear, 15);
    Forget();

    TvYearIs(17);
    EXPECT_EQ(get_vemigration_instance(), migrator);
    EXPECT_EQ(StrategyName(get_Startegy()), "RiloRiloStratgegy");

    EXPECT_EQ(MigrationCommon::miTVYear, 17);
    EXPECT_EQ(Count("Creating VBMigration "), 2);
    EXPECT_EQ(Count("\n VEMigration VBMigration \n"), 0);
    EXPECT_EQ(Count("VEMigration::Create VBMigration "), 0);
    EXPECT_FALSE(migrator->FlagCreate());
}

TEST_F(Lifecycle, TheTeardownDestroysTheMigratorAndNothingElse)
{
    MigrationStrategy* const strategy = get_Startegy();
    VEMigration* const migrator = get_vemigration_instance();
    Forget();

    migration_final();

    EXPECT_THAT(Logged(), ElementsAre(Info("migration_final  "), Info("migration_final lock achieved"),
                                      Info("pMigrationService Deleted VBMigration "),
                                      Info(" PictureDataMigration Destructor called \n"), Info("Destructor called "),
                                      Info("pVEMigration destructed VBMigration "), Info("migration_final lock over")));
    Forget();
    EXPECT_EQ(get_vemigration_instance(), nullptr);
    EXPECT_EQ(get_Startegy(), strategy);
    EXPECT_EQ(MigratorOf(strategy), migrator);  // dangling now, and kept
    EXPECT_EQ(MigrationCommon::miTVYear, 15);
    EXPECT_EQ(MigrationCommon::miVBYear, 15);
    EXPECT_EQ(Count("Creating VBMigration "), 0);
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST_F(Lifecycle, ASecondTeardownOnlyLogs)
{
    get_Startegy();
    migration_final();
    Forget();
    migration_final();
    EXPECT_THAT(Logged(), ElementsAre(Info("migration_final  "), Info("migration_final lock achieved"),
                                      Info("pMigrationService Deleted VBMigration "),
                                      Info("pVEMigration destructed VBMigration "), Info("migration_final lock over")));
}

TEST_F(Lifecycle, ATeardownBeforeTheStartUpDoesNotHinderIt)
{
    migration_final();
    EXPECT_THAT(Logged(), Not(Contains(Info("Creating VBMigration "))));
    EXPECT_NE(get_vemigration_instance(), nullptr);
    EXPECT_NE(get_Startegy(), nullptr);
}

TEST_F(Lifecycle, ATeardownOfAMigratorThatIsNotCreatedLetsTheNextAccessMakeAnother)
{
    allocation_failure::FailNothrow(2);  // the first is the migrator, the second its state
    get_vemigration_instance();
    EXPECT_TRUE(allocation_failure::Stop());
    migration_final();
    VEMigration* const migrator = get_vemigration_instance();
    ASSERT_NE(migrator, nullptr);
    EXPECT_TRUE(migrator->FlagCreate());
    EXPECT_EQ(Count("\n VEMigration VBMigration \n"), 2);
}

TEST_F(Lifecycle, TheEndOfTheProcessFreesNeitherObject)
{
    const auto startAndExit = [] {
        get_Startegy();
        std::exit(17);
    };
    EXPECT_EXIT(startAndExit(), ::testing::ExitedWithCode(17), "");
    EXPECT_EQ(Count("OVer Creation VBMigration "), 1);
    EXPECT_THAT(Logged({"~MigrationStrategy", "~VEMigrationImpl", "~PictureDataMigration"}), IsEmpty());
}

// Threads. The platform is slow in these, so that all of them come while the first one is at it.

TEST_F(Lifecycle, ThreadsAtFirstUseCreateExactlyOneStrategyAndOneMigrator)
{
    constexpr std::size_t kThreads = 8;
    MigrationStrategy* strategies[kThreads] = {};
    VEMigration* migrators[kThreads] = {};
    slowPlatform = true;
    Together(kThreads, [&](std::size_t i) {
        if (i % 2 == 0) {
            strategies[i] = get_Startegy();
            migrators[i] = get_vemigration_instance();
        } else {
            migrators[i] = get_vemigration_instance();
            strategies[i] = get_Startegy();
        }
    });

    ASSERT_NE(strategies[0], nullptr);
    ASSERT_NE(migrators[0], nullptr);
    EXPECT_THAT(strategies, Each(strategies[0]));
    EXPECT_THAT(migrators, Each(migrators[0]));
    EXPECT_EQ(Count("GetMigrationStrategy::creating strategy "), 1);
    EXPECT_EQ(Count("\n VEMigration VBMigration \n"), 1);
    EXPECT_EQ(Count("VEMigration::Create VBMigration "), 1);
}

TEST_F(Lifecycle, ThreadsThatNeedAStrategyAtOnceCreateExactlyOne)
{
    constexpr std::size_t kThreads = 8;
    MigrationStrategy* strategies[kThreads] = {};
    get_vemigration_instance();
    slowPlatform = true;
    Together(kThreads, [&](std::size_t i) { strategies[i] = get_Startegy(); });

    ASSERT_NE(strategies[0], nullptr);
    EXPECT_THAT(strategies, Each(strategies[0]));
    EXPECT_EQ(Count("GetMigrationStrategy::creating strategy "), 1);
}

TEST_F(Lifecycle, StartUpAndTeardownComeOneAfterTheOther)
{
    slowPlatform = true;
    Together(4, [&](std::size_t i) {
        if (i == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));  // in the middle of the first start-up
            migration_final();
        } else {
            get_vemigration_instance();
        }
    });

    int under = 0;  // the lock
    for (const Message& message : Logged({"CreateAll", "migration_final"})) {
        const std::string& text = message.second;
        const bool begins = text == "Creating VBMigration " || text == "migration_final lock achieved";
        const bool ends = text == "OVer Creation VBMigration " || text == "pVEMigration destructed VBMigration ";
        under += begins ? 1 : ends ? -1 : 0;
        EXPECT_LE(under, 1) << text;
    }
    EXPECT_EQ(Count("pVEMigration destructed VBMigration "), 1);
    EXPECT_GE(Count("OVer Creation VBMigration "), 1);
}
