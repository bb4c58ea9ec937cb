// The exported C functions: what each returns, logs and calls.

#include "ExportedCalls.h"

#include <CaseName.h>
#include <TestSet.h>
#include <VBMigration.h>

#include <limits>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

/** The entry trace of a function; the number of the line is not fixed. */
::testing::Matcher<Message> EntryTrace(const std::string& function)
{
    return Pair(6, ::testing::MatchesRegex("Migration -> Func -> " + function + " \t\t@ line\t-> [0-9]+\t"));
}

class ExportedApi : public OnSet {
 protected:
    ExportedApi() { Start(); }

    void TvYearIs(int year) { Fault("system_info.254", std::to_string(year)); }

    /** What the front door itself logged, the start-up left out. */
    Messages FrontDoorLog() const
    {
        Messages messages;
        for (const LogLine& line : Log()) {
            if (line.unit == "VBMigration.cpp" && line.function != "CreateAll" &&
                line.function != "GetMigrationStrategy") {
                messages.emplace_back(line.priority, line.text);
            }
        }
        return messages;
    }

    bool HasStartedUp() const { return !Logged({"CreateAll", "GetMigrationStrategy"}).empty() || !Calls().empty(); }
};

int OneSize(unsigned int, int* size)
{
    *size = 1;
    return 1;
}

int OtherSize(unsigned int, int* size)
{
    *size = 2;
    return 1;
}

int OneData(unsigned int, unsigned int*, int*, unsigned char* data)
{
    *data = 1;
    return 1;
}

const NamedCall kStrategyCalls[] = {
    {"notify", Notify},
    {"restore", migration_api_restore_non_volatile_data},
    {"dump", migration_api_dump_non_volatile_data},
    {"sync", [] { return migration_api_do_vornBox_picture_data_sync(VB_INFO_MIGRATION_EVENT_2); }},
    {"SetBootPartition", [] { return migration_api_SetBootPartition(1); }},
    {"GetBootPartition", GetBootPartition},
};

}  // namespace

// What the library does not support.

class Unsupported : public ExportedApi, public ::testing::WithParamInterface<NamedCall> {};

TEST_P(Unsupported, ReturnsMinusTwoAndDoesNothingButTrace)
{
    EXPECT_EQ(GetParam().call(), -2);
    EXPECT_THAT(Logged(), ElementsAre(EntryTrace(GetParam().name)));
    EXPECT_THAT(Calls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Functions, Unsupported,
    ::testing::Values(NamedCall{"migration_api_get_migration_free_memory", migration_api_get_migration_free_memory},
                      NamedCall{"migration_api_do_vornBox_store_data_sync", migration_api_do_vornBox_store_data_sync},
                      NamedCall{"migration_api_mountpartition", migration_api_mountpartition}),
    CaseName<NamedCall>);

TEST_F(ExportedApi, TheTunerGpioCallSucceedsWithoutATrace)
{
    EXPECT_EQ(migration_api_SetResetTunerGPIO(), 0);
    EXPECT_THAT(Log(), IsEmpty());
    EXPECT_THAT(Calls(), IsEmpty());
}

// The two callbacks.

TEST_F(ExportedApi, CallbacksAreNullUntilRegistered)
{
    EXPECT_EQ(funptrretSize(), nullptr);
    EXPECT_EQ(funptrretData(), nullptr);
    EXPECT_EQ(migration_callback_fac_get_size, nullptr);
    EXPECT_EQ(migration_callback_fac_get_data, nullptr);
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(ExportedApi, RegistersCallbacksBeforeAnyStartUp)
{
    EXPECT_EQ(migration_api_assign_callback_getsize(OneSize), 0);
    EXPECT_EQ(migration_api_assign_callback_getdata(OneData), 0);

    EXPECT_EQ(funptrretSize(), OneSize);
    EXPECT_EQ(funptrretData(), OneData);
    EXPECT_EQ(migration_callback_fac_get_size, OneSize);
    EXPECT_EQ(migration_callback_fac_get_data, OneData);
    EXPECT_THAT(Logged(), ElementsAre(EntryTrace("migration_api_assign_callback_getsize"),
                                      EntryTrace("migration_api_assign_callback_getdata")));
    EXPECT_FALSE(HasStartedUp());
}

TEST_F(ExportedApi, ALaterRegistrationReplacesAnEarlierOne)
{
    migration_api_assign_callback_getsize(OneSize);
    EXPECT_EQ(migration_api_assign_callback_getsize(OtherSize), 0);
    EXPECT_EQ(funptrretSize(), OtherSize);
}

TEST_F(ExportedApi, ANullSizeCallbackFailsAndKeepsTheEarlierOne)
{
    migration_api_assign_callback_getsize(OneSize);
    Forget();
    EXPECT_EQ(migration_api_assign_callback_getsize(nullptr), -1);
    EXPECT_EQ(funptrretSize(), OneSize);
    EXPECT_THAT(Logged(), ElementsAre(EntryTrace("migration_api_assign_callback_getsize"),
                                      Error("migration_api_assign_callback_getsize is NULL")));
}

TEST_F(ExportedApi, ANullDataCallbackFailsUnderTheNameOfTheOtherRegistration)
{
    migration_api_assign_callback_getdata(OneData);
    Forget();
    EXPECT_EQ(migration_api_assign_callback_getdata(nullptr), -1);
    EXPECT_EQ(funptrretData(), OneData);
    EXPECT_THAT(Logged(), ElementsAre(EntryTrace("migration_api_assign_callback_getdata"),
                                      Error("migration_api_assign_callback_getsize is NULL")));
}

// Functions of the strategy.

TEST_F(ExportedApi, NotifyRefusesANullStatusBeforeAnyStartUp)
{
    EXPECT_EQ(migration_api_notify_migration_status(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_START, nullptr),
              -1);
    EXPECT_THAT(Logged(), ElementsAre(EntryTrace("migration_api_notify_migration_status"),
                                      Error("NULL Parameter Passed..")));
    EXPECT_FALSE(HasStartedUp());
}

TEST_F(ExportedApi, NotifyHandsTypeProgressAndStatusToTheStrategy)
{
    StartService();
    VB_VornBoxMigrationStatus_k status = VB_MIGRATION_STATUS_UNKNOWN_ERROR;
    EXPECT_EQ(migration_api_notify_migration_status(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_START, &status), 0);
    EXPECT_EQ(status, VB_MIGRATION_STATUS_SUCCESS);
    EXPECT_THAT(Calls({"request"}), Contains("0:/usr/bin/MigrationScript.sh cleanbkup:EMPTY:EMPTY"));
    EXPECT_THAT(FrontDoorLog(), ElementsAre(EntryTrace("migration_api_notify_migration_status"),
                                            Info("get_Startegy VBMigration ")));
}

TEST_F(ExportedApi, NotifyPassesOnValuesWithoutAName)
{
    VB_VornBoxMigrationStatus_k status = VB_MIGRATION_STATUS_SUCCESS;
    const auto type = static_cast<VB_VornBoxMigrationType_k>(-7);
    EXPECT_EQ(migration_api_notify_migration_status(type, VB_MIGRATION_PROGRESS_END, &status), -1);
    EXPECT_EQ(status, VB_MIGRATION_STATUS_UNKNOWN_ERROR);
    EXPECT_THAT(Logged(), Contains(Error("NotifyMigrationStatus Wrong Param for : eType value = [-7] ")));
}

class WithoutAStrategy : public ExportedApi, public ::testing::WithParamInterface<NamedCall> {};

TEST_P(WithoutAStrategy, StrategyFunctionsFailAfterTryingToMakeOne)
{
    TvYearIs(16);
    EXPECT_EQ(GetParam().call(), -1);
    EXPECT_THAT(Logged(), Contains(Error("FATAL!! FATAL!!! FATAL!!! Wrong Year Passed ")));
    EXPECT_THAT(Calls({"command", "request", "file", "ioctl"}), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Functions, WithoutAStrategy, ::testing::ValuesIn(kStrategyCalls), CaseName<NamedCall>);

TEST_F(ExportedApi, ItemsCanBeSetOnASetWithoutAStrategy)
{
    TvYearIs(16);
    EXPECT_EQ(migration_api_set_factory_item(1713, 1), 0);
    EXPECT_THAT(Calls({"command"}), ElementsAre("/bin/spi_init.sh mount  data_sync"));
    EXPECT_GT(std::filesystem::file_size(Set().Partition("data_sync") / "PictureData.dat"), 0u);
}

TEST_F(ExportedApi, PictureSyncTracesAtEntryAndExit)
{
    EXPECT_EQ(migration_api_do_vornBox_picture_data_sync(VB_INFO_MIGRATION_EVENT_3), 0);
    EXPECT_THAT(FrontDoorLog(), ElementsAre(EntryTrace("migration_api_do_vornBox_picture_data_sync"),
                                            Info("get_Startegy VBMigration "),
                                            EntryTrace("migration_api_do_vornBox_picture_data_sync")));
    EXPECT_THAT(Logged(), Contains(Info("Migration Event(3)")));
}

TEST_F(ExportedApi, PictureSyncTracesAtExitAlsoWithoutAStrategy)
{
    TvYearIs(16);
    EXPECT_EQ(migration_api_do_vornBox_picture_data_sync(VB_INFO_MIGRATION_EVENT_3), -1);
    EXPECT_THAT(FrontDoorLog(), ElementsAre(EntryTrace("migration_api_do_vornBox_picture_data_sync"),
                                            Info("get_Startegy VBMigration "),
                                            EntryTrace("migration_api_do_vornBox_picture_data_sync")));
}

TEST_F(ExportedApi, PictureSyncGivesTheOutcomeOfTheMigrator)
{
    EXPECT_EQ(migration_api_do_vornBox_picture_data_sync(VB_INFO_VB_FAC_TO_TV_SPI), 0);
    Fault("factory.get.*", "0");
    EXPECT_EQ(migration_api_do_vornBox_picture_data_sync(VB_INFO_VB_FAC_TO_TV_SPI), -1);
}

TEST_F(ExportedApi, PictureSyncTakesEveryDirectionOf32Bits)
{
    for (const int direction : {4, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        Forget();
        EXPECT_EQ(migration_api_do_vornBox_picture_data_sync(static_cast<VB_VornBoxInfo_k>(direction)), 0);
        EXPECT_THAT(Logged(), Contains(Info("DoVornBoxDataSync(" + std::to_string(direction) + ")")));
        EXPECT_THAT(Logged(), Contains(Error("Invalid combination of VB and TV ")));
    }
}

TEST_F(ExportedApi, DumpAndRestoreTraceAndReportTheStrategysOutcome)
{
    Fault("serdes.polls", "never");
    EXPECT_EQ(migration_api_dump_non_volatile_data(), -1);
    EXPECT_EQ(migration_api_restore_non_volatile_data(), -1);
    EXPECT_THAT(FrontDoorLog(), ElementsAre(EntryTrace("migration_api_dump_non_volatile_data"),
                                            Info("get_Startegy VBMigration "),
                                            EntryTrace("migration_api_restore_non_volatile_data"),
                                            Info("get_Startegy VBMigration ")));
}

// The boot partition.

TEST_F(ExportedApi, BootPartitionIsReadAndSetWithoutATrace)
{
    TvYearIs(13);
    StartService();
    int partition = -5;
    EXPECT_EQ(migration_api_SetBootPartition(7), 0);
    EXPECT_EQ(Set().BootPartition(), 7);
    EXPECT_EQ(migration_api_GetBootPartition(&partition), 0);
    EXPECT_EQ(partition, 7);
    EXPECT_THAT(FrontDoorLog(), ElementsAre(Info("get_Startegy VBMigration "), Info("get_Startegy VBMigration ")));
}

TEST_F(ExportedApi, BootPartitionIsLeftAloneWhenItCannotBeRead)
{
    TvYearIs(13);
    StartService();
    Fault("service.reply.8", "8:1:3");
    int partition = -5;
    EXPECT_EQ(migration_api_GetBootPartition(&partition), -1);
    EXPECT_EQ(partition, -5);
}

TEST_F(ExportedApi, BootPartitionIsNotSupportedByMostPairings)
{
    int partition = -5;
    EXPECT_EQ(migration_api_GetBootPartition(&partition), -1);
    EXPECT_EQ(partition, -5);
    EXPECT_EQ(migration_api_SetBootPartition(1), -1);
    EXPECT_THAT(Logged({"GetBootPartition", "SetBootPartition"}),
                ElementsAre(Error(" 15~15 Not Supported\t"), Error(" 15~15 Not Supported\t")));
}

TEST_F(ExportedApi, BootPartitionRefusesANullPointerBeforeAnythingIsCalled)
{
    EXPECT_EQ(migration_api_GetBootPartition(nullptr), -1);
    EXPECT_THAT(Log(), IsEmpty());
    EXPECT_FALSE(HasStartedUp());
}

// Functions of the picture migrator.

TEST_F(ExportedApi, SetFactoryItemGivesTheIdAsSpecialIdAndTheValue)
{
    EXPECT_EQ(migration_api_set_factory_item(77, -3), -1);
    EXPECT_THAT(FrontDoorLog(), ElementsAre(EntryTrace("migration_api_set_factory_item"),
                                            Info("get_vemigration_instance VBMigration "),
                                            Info("Special ID[77],Set Val[-3]"),
                                            Info("get_vemigration_instance VBMigration ")));
    EXPECT_THAT(Logged({"SetFactoryItem"}),
                ElementsAre(Info("VEMigration::SetFactoryItem called "), Info("UID&SID : 77, SetValue = -3")));
}

TEST_F(ExportedApi, SetFactoryItemStoresAndLoads)
{
    EXPECT_EQ(migration_api_set_factory_item(1713, 1), 0);
    EXPECT_EQ(migration_api_set_factory_item(1714, 1), 0);
    EXPECT_EQ(migration_api_set_factory_item(1713, 0), -1);
}

TEST_F(ExportedApi, ConvertGivesTheIdAsUniqueIndexAndTheBuffer)
{
    ASSERT_EQ(migration_api_set_factory_item(1713, 1), 0);
    ASSERT_EQ(migration_api_set_factory_item(1714, 1), 0);
    Forget();
    char text[10] = "unchanged";
    EXPECT_EQ(migration_api_convert_factory_value_to_str(1717, 5, text), 0);
    EXPECT_THAT(FrontDoorLog(), ElementsAre(EntryTrace("migration_api_convert_factory_value_to_str"),
                                            Info("get_vemigration_instance VBMigration "),
                                            Info("Special ID[1717],Set Val[5]"),
                                            Info("get_vemigration_instance VBMigration ")));
    EXPECT_THAT(Logged({"ConvertValueToStr"}),
                ElementsAre(Info("VEMigration::ConvertValueToStr 44"),
                            Info(" UID[1717]:: Values[" + std::string(text) + "] ")));
}

TEST_F(ExportedApi, ConvertFailsForAnUnknownItem)
{
    char text[10] = "unchanged";
    EXPECT_EQ(migration_api_convert_factory_value_to_str(1760, 5, text), -1);
    EXPECT_STREQ(text, "unchanged");
    EXPECT_THAT(FrontDoorLog(), Contains(Error("Call to ConvertValueToStr Failed")));
}

TEST_F(ExportedApi, ConvertRefusesANullBufferBeforeAnythingIsCalled)
{
    EXPECT_EQ(migration_api_convert_factory_value_to_str(1716, 5, nullptr), -1);
    EXPECT_FALSE(HasStartedUp());
}

TEST_F(ExportedApi, TestDataFailsWithoutAServiceFileAndTracesAtEntryAndExit)
{
    EXPECT_EQ(migration_api_get_vornBox_migration_test_data(8), -1);
    EXPECT_THAT(FrontDoorLog(), ElementsAre(EntryTrace("migration_api_get_vornBox_migration_test_data"),
                                            Info("migration_api_get_vornBox_migration_test_data() called "),
                                            Info("get_vemigration_instance VBMigration "),
                                            Error("Call to GetVBMigrationTestData Failed"),
                                            EntryTrace("migration_api_get_vornBox_migration_test_data")));
    EXPECT_THAT(Logged({"GetVBMigrationTestData"}),
                Contains(Error("8   : White Balance (All Offset/ All Gain) : NULL  ")));
}

TEST_F(ExportedApi, TestDataSucceedsWithTheSelectorGiven)
{
    ASSERT_EQ(migration_api_set_factory_item(1713, 1), 0);
    Forget();
    EXPECT_EQ(migration_api_get_vornBox_migration_test_data(10), 0);
    EXPECT_THAT(FrontDoorLog(), ElementsAre(EntryTrace("migration_api_get_vornBox_migration_test_data"),
                                            Info("migration_api_get_vornBox_migration_test_data() called "),
                                            Info("get_vemigration_instance VBMigration "),
                                            EntryTrace("migration_api_get_vornBox_migration_test_data")));
    EXPECT_THAT(Logged(), Contains(Info("10  : CGA (Gain) : Not Support it (Not NTV Model)")));
}

// After the teardown.

TEST_F(ExportedApi, MigratorFunctionsFailAfterTheTeardown)
{
    char text[10] = "unchanged";
    ASSERT_NE(get_vemigration_instance(), nullptr);
    migration_final();

    Forget();
    EXPECT_EQ(migration_api_set_factory_item(1713, 1), -1);
    EXPECT_THAT(Logged(), ElementsAre(EntryTrace("migration_api_set_factory_item"),
                                      Info("get_vemigration_instance VBMigration "),
                                      Error("Migration Instance is NULL")));
    Forget();
    EXPECT_EQ(migration_api_convert_factory_value_to_str(1716, 1, text), -1);
    EXPECT_STREQ(text, "unchanged");
    EXPECT_THAT(Logged(), ElementsAre(EntryTrace("migration_api_convert_factory_value_to_str"),
                                      Info("get_vemigration_instance VBMigration "),
                                      Error("VEMigration Instance is NULL")));
    Forget();
    EXPECT_EQ(migration_api_get_vornBox_migration_test_data(20), -1);
    EXPECT_THAT(Logged(), ElementsAre(EntryTrace("migration_api_get_vornBox_migration_test_data"),
                                      Info("migration_api_get_vornBox_migration_test_data() called "),
                                      Info("get_vemigration_instance VBMigration "),
                                      Error("VEMigration Instance is NULL"),
                                      EntryTrace("migration_api_get_vornBox_migration_test_data")));
}

TEST_F(ExportedApi, CallbacksSurviveTheTeardown)
{
    migration_api_assign_callback_getsize(OneSize);
    migration_api_assign_callback_getdata(OneData);
    get_vemigration_instance();
    migration_final();
    EXPECT_EQ(funptrretSize(), OneSize);
    EXPECT_EQ(funptrretData(), OneData);
}

TEST_F(ExportedApi, StrategyFunctionsReachTheSurvivingStrategyAfterTheTeardown)
{
    TvYearIs(13);
    StartService();
    ASSERT_NE(get_Startegy(), nullptr);
    migration_final();
    EXPECT_EQ(migration_api_SetBootPartition(3), 0);
    EXPECT_EQ(Set().BootPartition(), 3);
}
