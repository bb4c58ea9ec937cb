// What the exported functions make of the operations they call: which one, with which arguments, and its result.
//
// The library makes its two objects itself; recording ones are put in their places here.

#include <CaseName.h>
#include <MavoMavoStratgegy.h>
#include <PlatformLog.h>
#include <TestSet.h>
#include <VBMigration.h>
#include <VEMigrationImpl.h>

#include <dlfcn.h>

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <functional>
#include <new>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::vector<std::string> calls;

struct {
    bool strategy = true;
    int migrator = 0;
    bool isCreated = true;
    int bootPartition = 3;
} answers;

/** The operation that throws. */
std::string thrower;

/** The message at which a teardown comes in between, once. */
std::string teardownAt;

VB_VornBoxMigrationStatus_k callersStatus = VB_MIGRATION_STATUS_SUCCESS;
char callersText[10] = "unchanged";
int callersPartition = -5;

template <class Result>
Result Called(const std::string& call, Result result)
{
    calls.push_back(call);
    if (call == thrower) {
        throw std::bad_alloc();
    }
    return result;
}

std::string Text(int number)
{
    return ' ' + std::to_string(number);
}

/** The words of a record that are not zero: "18=77 19=77". */
std::string WordsOf(const VB_FactoryItemNode_t& node)
{
    unsigned int words[45];
    static_assert(sizeof node == sizeof words);
    std::memcpy(words, &node, sizeof words);
    std::string text;
    for (int i = 0; i < 45; ++i) {
        text += words[i] != 0 ? Text(i) + '=' + std::to_string(words[i]) : "";
    }
    return text;
}

class RecordingMigrator : public VEMigration {
 public:
    ~RecordingMigrator() override { calls.emplace_back("destructor"); }
    int Create() override { return Called("Create", 0); }
    int Destroy() override { return Called("Destroy", 0); }
    bool FlagCreate() override { return Called("FlagCreate", answers.isCreated); }
    int DoVornBoxDataSync(VB_VornBoxInfo_k direction) override
    {
        return Called("DoVornBoxDataSync" + Text(direction), answers.migrator);
    }
    int SetFactoryItem(const VB_FactoryItemNode_t* item, int value) override
    {
        return Called("SetFactoryItem" + WordsOf(*item) + " value" + Text(value), answers.migrator);
    }
    int ConvertValueToStr(VB_FactoryItemNode_t* item, int value, char* out) override
    {
        const std::string where = out == callersText ? " into the caller's text" : "";
        return Called("ConvertValueToStr" + WordsOf(*item) + " value" + Text(value) + where, answers.migrator);
    }
    int GetVBMigrationTestData(int code) override
    {
        return Called("GetVBMigrationTestData" + Text(code), answers.migrator);
    }
    int m_VerifyVornBoxDataSync() override { return Called("m_VerifyVornBoxDataSync", 0); }

 private:
    [[maybe_unused]] unsigned char rest_[sizeof(VEMigrationImpl<44>) - sizeof(VEMigration)] = {};
};

class RecordingStrategy : public MigrationStrategy {
 public:
    bool DumpNonVolatileData() override { return Called("DumpNonVolatileData", answers.strategy); }
    bool RestoreNonVolatileData() override { return Called("RestoreNonVolatileData", answers.strategy); }
    bool NotifyMigrationStatus(const VB_VornBoxMigrationType_k& type, const VB_VornBoxMigrationProgress_k& progress,
                               VB_VornBoxMigrationStatus_k* status) override
    {
        const std::string where = status == &callersStatus ? " into the caller's status" : "";
        return Called("NotifyMigrationStatus" + Text(type) + Text(progress) + where, answers.strategy);
    }
    bool BackupMACAddress() override { return Called("BackupMACAddress", answers.strategy); }
    bool RestoreMACAddress() override { return Called("RestoreMACAddress", answers.strategy); }
    bool SetBootPartition(int partition) override
    {
        return Called("SetBootPartition" + Text(partition), answers.strategy);
    }
    bool GetBootPartition(int* partition) override
    {
        *partition = answers.bootPartition;
        return Called("GetBootPartition", answers.strategy);
    }
    bool SetRestorePath() override { return Called("SetRestorePath", answers.strategy); }
    bool RestorePicture() override { return Called("RestorePicture", answers.strategy); }
};

static_assert(sizeof(RecordingMigrator) == sizeof(VEMigrationImpl<44>));
static_assert(sizeof(RecordingStrategy) == sizeof(MavoMavoStratgegy));

class FrontDoor : public OnSet {
 protected:
    FrontDoor()
    {
        Start("tv15", "box15");
        MigrationStrategy* const strategy = get_Startegy();
        VEMigration* const migrator = get_vemigration_instance();
        strategy->~MigrationStrategy();
        migrator->~VEMigration();
        (new (migrator) RecordingMigrator);
        (new (strategy) RecordingStrategy)->SetObserver(migrator);
        Forget();
    }
};

}  // namespace

int __dlog_print(int log_id, int priority, const char* tag, const char* format, ...)
{
    char text[1024];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    static const auto next = reinterpret_cast<decltype(&::__dlog_print)>(dlsym(RTLD_NEXT, "__dlog_print"));
    const int result = next(log_id, priority, tag, "%s", text);
    if (!teardownAt.empty() && std::string(text).find(teardownAt) != std::string::npos) {
        teardownAt.clear();
        migration_final();
    }
    return result;
}

namespace {

struct DoorCase {
    const char* name;
    std::function<int()> call;
    const char* operation;
};

std::ostream& operator<<(std::ostream& out, const DoorCase& door)
{
    return out << door.name;
}

int NotifyWithOddValues()
{
    return migration_api_notify_migration_status(static_cast<VB_VornBoxMigrationType_k>(-7),
                                                 static_cast<VB_VornBoxMigrationProgress_k>(9), &callersStatus);
}

const DoorCase kStrategyDoors[] = {
    {"notify", NotifyWithOddValues, "NotifyMigrationStatus -7 9 into the caller's status"},
    {"restore", migration_api_restore_non_volatile_data, "RestoreNonVolatileData"},
    {"dump", migration_api_dump_non_volatile_data, "DumpNonVolatileData"},
    {"SetBootPartition", [] { return migration_api_SetBootPartition(INT_MIN); }, "SetBootPartition -2147483648"},
    {"GetBootPartition", [] { return migration_api_GetBootPartition(&callersPartition); }, "GetBootPartition"},
};

const DoorCase kMigratorDoors[] = {
    {"sync", [] { return migration_api_do_vornBox_picture_data_sync(static_cast<VB_VornBoxInfo_k>(-9)); },
     "DoVornBoxDataSync -9"},
    {"SetItem", [] { return migration_api_set_factory_item(77, -3); }, "SetFactoryItem 18=77 19=77 value -3"},
    {"Convert", [] { return migration_api_convert_factory_value_to_str(78, 5, callersText); },
     "ConvertValueToStr 18=78 19=78 value 5 into the caller's text"},
    {"TestData", [] { return migration_api_get_vornBox_migration_test_data(-20); }, "GetVBMigrationTestData -20"},
};

class StrategyDoor : public FrontDoor, public ::testing::WithParamInterface<DoorCase> {};
class MigratorDoor : public FrontDoor, public ::testing::WithParamInterface<DoorCase> {};

}  // namespace

TEST_P(StrategyDoor, GivesZeroForTrueAndMinusOneForFalse)
{
    EXPECT_EQ(GetParam().call(), 0);
    EXPECT_THAT(calls, ElementsAre(GetParam().operation));
    answers.strategy = false;
    EXPECT_EQ(GetParam().call(), -1);
    EXPECT_THAT(calls, ElementsAre(GetParam().operation, GetParam().operation));
}

INSTANTIATE_TEST_SUITE_P(Functions, StrategyDoor, ::testing::ValuesIn(kStrategyDoors), CaseName<DoorCase>);

TEST_P(MigratorDoor, GivesZeroForZeroAndMinusOneForEverythingElse)
{
    EXPECT_EQ(GetParam().call(), 0);
    EXPECT_THAT(calls, ElementsAre(GetParam().operation));
    for (const int result : {-1, 1, 8, INT_MIN, INT_MIN + 16, INT_MAX}) {
        answers.migrator = result;
        EXPECT_EQ(GetParam().call(), -1) << result;
    }
}

INSTANTIATE_TEST_SUITE_P(Functions, MigratorDoor, ::testing::ValuesIn(kMigratorDoors), CaseName<DoorCase>);

TEST_P(StrategyDoor, GivesMinusOneForAnException)
{
    thrower = GetParam().operation;
    EXPECT_EQ(GetParam().call(), -1);
    EXPECT_THAT(calls, ElementsAre(thrower));
}

TEST_P(MigratorDoor, GivesMinusOneForAnException)
{
    thrower = GetParam().operation;
    EXPECT_EQ(GetParam().call(), -1);
    EXPECT_THAT(calls, ElementsAre(thrower));
}

class MigratorAskedForTwice : public FrontDoor, public ::testing::WithParamInterface<DoorCase> {};

TEST_P(MigratorAskedForTwice, MayBeGoneTheSecondTime)
{
    teardownAt = GetParam().operation;
    EXPECT_EQ(GetParam().call(), -1);
    EXPECT_THAT(teardownAt, IsEmpty());
    EXPECT_THAT(calls, ElementsAre("FlagCreate", "Destroy", "destructor"));
}

INSTANTIATE_TEST_SUITE_P(
    Functions, MigratorAskedForTwice,
    ::testing::Values(DoorCase{"SetItem", [] { return migration_api_set_factory_item(77, -3); },
                               "Special ID[77],Set Val[-3]"},
                      DoorCase{"Convert", [] { return migration_api_convert_factory_value_to_str(78, 5, callersText); },
                               "Special ID[78],Set Val[5]"}),
    CaseName<DoorCase>);

TEST_F(FrontDoor, LeavesWhatTheOperationsWriteToThem)
{
    for (const DoorCase& door : kStrategyDoors) {
        answers.strategy = std::string(door.name) != "GetBootPartition";
        door.call();
    }
    for (const DoorCase& door : kMigratorDoors) {
        door.call();
    }
    EXPECT_EQ(callersStatus, VB_MIGRATION_STATUS_SUCCESS);
    EXPECT_STREQ(callersText, "unchanged");
    EXPECT_EQ(callersPartition, -5);
}

TEST_F(FrontDoor, CopiesTheBootPartitionOnSuccessAlone)
{
    answers.strategy = false;
    EXPECT_EQ(migration_api_GetBootPartition(&callersPartition), -1);
    EXPECT_EQ(callersPartition, -5);
    answers.strategy = true;
    EXPECT_EQ(migration_api_GetBootPartition(&callersPartition), 0);
    EXPECT_EQ(callersPartition, 3);
}

TEST_F(FrontDoor, CallsNothingForWhatIsNotSupported)
{
    migration_api_get_migration_free_memory();
    migration_api_do_vornBox_store_data_sync();
    migration_api_mountpartition();
    migration_api_SetResetTunerGPIO();
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(FrontDoor, TheTeardownDestroysACreatedMigratorBeforeItDeletesIt)
{
    migration_final();
    EXPECT_THAT(calls, ElementsAre("FlagCreate", "Destroy", "destructor"));
}

TEST_F(FrontDoor, TheTeardownDeletesAMigratorWhoseEndThrowsAndGivesItsLockBack)
{
    thrower = "Destroy";
    EXPECT_NO_THROW(migration_final());
    EXPECT_THAT(calls, ElementsAre("FlagCreate", "Destroy", "destructor"));
    EXPECT_EQ(get_vemigration_instance(), nullptr);
    migration_final();
}

TEST_F(FrontDoor, TheTeardownOnlyDeletesAMigratorThatIsNotCreated)
{
    answers.isCreated = false;
    migration_final();
    EXPECT_THAT(calls, ElementsAre("FlagCreate", "destructor"));
}
