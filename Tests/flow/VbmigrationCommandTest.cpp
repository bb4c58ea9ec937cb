/** `vbmigration`: its command line, its calls one by one and together, its status. */
#include <algorithm>

#include "VbmigrationCommand.h"

namespace {

bool IsOneLine(const std::string& text)
{
    return !text.empty() && std::count(text.begin(), text.end(), '\n') == 1 && text.back() == '\n';
}

struct WrongUsage {
    const char* name;
    Strings words;
    std::string complaint;
};

class VbmigrationUsage : public VbmigrationCommand, public testing::WithParamInterface<WrongUsage> {};

TEST_P(VbmigrationUsage, IsOneClearLineAndCallsNothing)
{
    const auto ended = OnSet(GetParam().words);
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.output, "");
    EXPECT_TRUE(IsOneLine(ended.errors)) << ended.errors;
    EXPECT_NE(ended.errors.find(GetParam().complaint), std::string::npos) << ended.errors;
    EXPECT_EQ(Interactions(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Wrong, VbmigrationUsage,
    testing::Values(WrongUsage{"NoCommand", {}, "A command is required"},
                    WrongUsage{"UnknownCommand", {"explode"}, "there is no command 'explode' (see vbmigration --help)"},
                    WrongUsage{"UnknownType", {"notify", "bakup", "start"}, "'bakup' is no type"},
                    WrongUsage{"UnknownProgress", {"notify", "backup", "begin"}, "'begin' is no progress"},
                    WrongUsage{"NoProgress",
                               {"notify", "backup"},
                               "PROGRESS is required (see vbmigration notify --help)"},
                    WrongUsage{"TwoArgumentsTooMany",
                               {"notify", "backup", "start", "now", "then"},
                               "'now' is not expected here"},
                    WrongUsage{"TypeOf33Bits", {"notify", "2147483648", "start"}, "'2147483648' is no type"},
                    WrongUsage{"TypeOfNumberAndMore", {"notify", "2x", "start"}, "'2x' is no type"},
                    WrongUsage{"EmptyType", {"notify", "", "start"}, "'' is no type"},
                    WrongUsage{"UnknownDirection", {"sync", "sideways"}, "'sideways' is no direction"},
                    WrongUsage{"UnknownTestCode", {"test", "everything"}, "'everything' is no test code"},
                    WrongUsage{"UnknownItemCommand", {"item", "set", "first", "1"}, "'first' is no item id"},
                    WrongUsage{"ItemValueInWords", {"item", "set", "1713", "one"}, "'one' is no number"},
                    WrongUsage{"HalfACommand", {"item"}, "A command is required"},
                    WrongUsage{"HexadecimalWithoutDigits", {"boot", "set", "0x"}, "'0x' is no number"},
                    WrongUsage{"UnknownOption", {"dump", "--fast"}, "'--fast' is not expected here"},
                    WrongUsage{"UnknownItemWord",
                               {"item", "put", "1"},
                               "there is no command 'put' (see vbmigration item --help)"},
                    WrongUsage{"OptionWithoutItsValue", {"dump", "--timeout"}, "--timeout needs a value"},
                    WrongUsage{"FlagWithAValue", {"dump", "--json=1"}, "--json takes no value"},
                    WrongUsage{"NoTime", {"dump", "--timeout", "0"}, "'0' is no time"},
                    WrongUsage{"TimeInWords", {"dump", "--timeout", "soon"}, "'soon' is no time"},
                    WrongUsage{"TimeThatIsNoNumber", {"dump", "--timeout", "nan"}, "'nan' is no time"}),
    [](const auto& usage) { return usage.param.name; });

TEST_F(VbmigrationCommand, IsRefusedOutsideASet)
{
    const auto ended = program::Run({VBMIGRATION_COMMAND, "dump"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.errors,
              "vbmigration: this is not a set; run it on a simulated one: vbset run TV BOX -- "
              "vbmigration ...\n");
}

TEST_F(VbmigrationCommand, ExplainsItsExitStatusesInTheHelp)
{
    const auto ended = program::Run({VBMIGRATION_COMMAND, "--help"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_NE(ended.output.find("Exit status: 0 all calls succeeded, 1 a call failed, 2 wrong usage (nothing was "
                                "called),\n3 the library does not support the call, 124 the timeout passed. Those of "
                                "backup: vbmigration backup --help.\n"),
              std::string::npos)
        << ended.output;
}

TEST_F(VbmigrationCommand, SaysWhichVersionItIs)
{
    const auto ended = program::Run({VBMIGRATION_COMMAND, "--version"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, "vbmigration " PROJECT_VERSION "\n");
}

TEST_F(VbmigrationCommand, EndsWithZeroWhenAllCallsSucceeded)
{
    const auto ended = OnSet({"tuner-reset"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_TRUE(IsOneLine(ended.output)) << ended.output;
    EXPECT_EQ(ended.output.rfind("migration_api_SetResetTunerGPIO() -> 0 ok, ", 0), 0U) << ended.output;
}

TEST_F(VbmigrationCommand, EndsWithOneWhenACallFailed)
{
    const auto ended = OnSet({"restore"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output.rfind(kRestore + "() -> -1 failed, ", 0), 0U) << ended.output;
    EXPECT_NE(ended.output.find("(always so here: TV and box are of the same generation)"), std::string::npos)
        << ended.output;
}

TEST_F(VbmigrationCommand, EndsWithThreeWhenTheLibraryDoesNotSupportTheCall)
{
    for (const char* word : {"free-memory", "store-sync", "mount"}) {
        const auto ended = OnSet({word});
        EXPECT_EQ(ended.status, 3) << word;
        EXPECT_NE(ended.output.find("() -> -2 unsupported, "), std::string::npos) << ended.output;
    }
}

TEST_F(VbmigrationCommand, PassesNumbersOnAsTheyAre)
{
    EXPECT_EQ(OnSet({"notify", "7", "0"}).status, 1);
    EXPECT_NE(Log().find("NotifyMigrationStatus Wrong Param for : eType value = [7] "), std::string::npos);
    EXPECT_EQ(OnSet({"sync", "-1"}).status, 0);
    EXPECT_NE(Log().find("DoVornBoxDataSync(-1)"), std::string::npos);
    EXPECT_EQ(OnSet({"sync", "0x7FFFFFFF"}).status, 0);
    EXPECT_NE(Log().find("DoVornBoxDataSync(2147483647)"), std::string::npos);
    EXPECT_EQ(OnSet({"item", "set", "1714", "-5"}).status, 1);
    EXPECT_NE(Log().find("Special ID[1714],Set Val[-5]"), std::string::npos);
}

TEST_F(VbmigrationCommand, TellsACallAsJson)
{
    const json calls = CallsOnSet({"notify", "backup", "start"});
    ASSERT_EQ(calls.size(), 1U);
    const json& call = calls[0];
    EXPECT_EQ(call.at("function"), kNotify);
    EXPECT_EQ(call.at("arguments"), json({{"type", 2}, {"progress", 0}}));
    EXPECT_EQ(call.at("result"), 0);
    EXPECT_EQ(call.at("out"), json({{"status", 0}}));
    EXPECT_GT(call.at("milliseconds").get<double>(), 0);
}

TEST_F(VbmigrationCommand, BacksUpInOneProcess)
{
    const json calls = CallsOnSet({"backup"});
    EXPECT_EQ(Outline(calls), (Strings{kNotify + " 0", kDump + " -1", kNotify + " 0"}));
    EXPECT_NE(calls.at(1).value("note", "").find("the picture items were saved all the same"),
              std::string::npos);
    EXPECT_TRUE(fs::exists(vbset::Set(Tv(), Box()).Partition("migration") / "korvane_vbmg.tar"));
}

TEST_F(VbmigrationCommand, SendsEndAlsoAfterAFailedStart)
{
    const Strings outline = {kNotify + " -1", kNotify + " -1"};
    EXPECT_EQ(Outline(CallsOnSet({"backup"}, {"serdes.polls=never"})), outline);
    EXPECT_EQ(Outline(CallsOnSet({"migrate"}, {"serdes.polls=never"})), (Strings{kNotify + " -1", kNotify + " 0"}));
    EXPECT_EQ(OnSet({"migrate"}, {"serdes.polls=never"}).status, 1);
}

TEST_F(VbmigrationCommand, TakesTheTypesOfASetWithCode13)
{
    UseSides("tv13", "box13");
    const json backup = CallsOnSet({"backup"});
    EXPECT_EQ(backup.at(0).at("arguments").at("type"), 0);
    EXPECT_EQ(backup.at(1).at("function"), kDump);
    EXPECT_EQ(backup.at(2).at("arguments"), json({{"type", 0}, {"progress", 1}}));
    EXPECT_EQ(CallsOnSet({"migrate"}).at(0).at("arguments").at("type"), 1);
    EXPECT_EQ(CallsOnSet({"notify", "restore", "end"}).at(0).at("arguments").at("type"), 1);
    const auto wrong = OnSet({"notify", "2", "start"});
    EXPECT_EQ(wrong.status, 1);
    EXPECT_NE(wrong.output.find("(this set knows the types 0 (backup) and 1 (restore))"), std::string::npos)
        << wrong.output;
}

TEST_F(VbmigrationCommand, ReadsAnItemThatWasLoadedInTheSameProcess)
{
    EXPECT_EQ(OnSet({"item", "set", "store", "1"}).status, 0);
    const auto items = vbset::Set(Tv(), Box()).FactoryItems();
    const auto& data = items.at(79).data;  // the first item of the table
    const int value = data.at(0) | (data.size() > 1 ? data[1] << 8 : 0);
    ASSERT_NE(value, 0);
    EXPECT_EQ(CallsOnSet({"item", "get", "1716"}).at(0).at("out").at("out"), "0");
    const json calls = CallsOnSet({"item", "get", "1716", "--load"});
    EXPECT_EQ(Outline(calls),
              (Strings{"migration_api_set_factory_item 0", "migration_api_convert_factory_value_to_str 0"}));
    EXPECT_EQ(calls.at(1).at("out").at("out"), std::to_string(value));
    EXPECT_EQ(OnSet({"item", "get", "1779"}).status, 1);
}

TEST_F(VbmigrationCommand, CanHaveTheItemsReadThroughCallbacks)
{
    const json calls = CallsOnSet({"item", "set", "store", "1", "--callbacks"});
    EXPECT_EQ(Outline(calls),
              (Strings{"migration_api_assign_callback_getsize 0", "migration_api_assign_callback_getdata 0",
                       "funptrretSize 0", "funptrretData 0", "migration_api_set_factory_item 0"}));
    EXPECT_NE(Log().find("call back UID=79 , Size="), std::string::npos);
}

TEST_F(VbmigrationCommand, NamesTheCallThatItWaitsInWhenTheTimeoutPasses)
{
    const auto ended = OnSet({"notify", "backup", "start", "--timeout", "0.5"}, {"service.state=silent"});
    EXPECT_EQ(ended.status, 124);
    EXPECT_EQ(ended.errors, "vbmigration: timeout: 0.5 s have passed, still waiting in " + kNotify +
                                "(type=2 backup, progress=0 start)\n");
    EXPECT_EQ(ended.output, "");
}

TEST_F(VbmigrationCommand, TellsTheUnfinishedCallAsJsonWhenTheTimeoutPasses)
{
    EXPECT_EQ(OnSet({"notify", "backup", "start"}).status, 0);
    const json calls = CallsOnSet({"backup", "--timeout", "3"}, {"service.state=silent"});
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls.at(0).at("function"), kNotify);
    EXPECT_TRUE(calls.at(0).at("result").is_null());
    EXPECT_GE(calls.at(0).at("milliseconds").get<double>(), 400);
}

TEST_F(VbmigrationCommand, DoesNotMindATimeoutThatDoesNotPass)
{
    EXPECT_EQ(OnSet({"notify", "backup", "start", "--timeout", "100"}).status, 0);
}

TEST_F(VbmigrationCommand, TellsTheStatusOfAnIdleSet)
{
    WritePowerFlag(0xFF);
    const json status = StatusOnSet();
    EXPECT_EQ(status.at("tv_code"), 15);
    EXPECT_EQ(status.at("power_flag"), "0xFF");
    EXPECT_EQ(status.at("interrupted"), false);
    EXPECT_EQ(status.at("mounted"), json({{"migration", false}, {"data_sync", false}}));
    EXPECT_EQ(status.at("next_start").at("formats_backup"), false);
    EXPECT_FALSE(status.contains("advice"));
}

TEST_F(VbmigrationCommand, SaysThatTheNextStartFormatsTheBackupBeforeAnyoneDoesIt)
{
    EXPECT_EQ(Outline(CallsOnSet({"backup"})).size(), 3U);
    const fs::path backup = vbset::Set(Tv(), Box()).Partition("migration") / "korvane_vbmg.tar";
    ASSERT_TRUE(fs::exists(backup));
    WritePowerFlag(0xAA);

    const auto told = OnSet({"status"});
    EXPECT_EQ(told.status, 0);
    EXPECT_NE(told.output.find("power flag     0xAA: a migration is running or was cut\n"), std::string::npos)
        << told.output;
    EXPECT_NE(told.output.find("restore START  will format the partition that holds the backup, and then refuse to "
                               "restore\n"),
              std::string::npos)
        << told.output;
    EXPECT_NE(told.output.find("to keep it     nothing is lost before a START; unless a migration is running, save the "
                               "partition first, or lower the flag with `vbmigration notify restore end`: see "
                               "docs/migration-road.md, \"After a cut: what to do\"\n"),
              std::string::npos)
        << told.output;
    EXPECT_EQ(StatusOnSet().at("next_start").at("formats_backup"), true);
    EXPECT_TRUE(fs::exists(backup));
    EXPECT_EQ(vbset::Set(Tv(), Box()).Eeprom(EEPROM_ITEM_POWER_FLAG), std::vector<unsigned char>{0xAA});

    EXPECT_EQ(Outline(CallsOnSet({"notify", "restore", "start"})), Strings{kNotify + " -1"});
    EXPECT_FALSE(fs::exists(backup));
    EXPECT_EQ(StatusOnSet().at("interrupted"), false);
}

TEST_F(VbmigrationCommand, TellsWhatIsMounted)
{
    EXPECT_EQ(OnSet({"item", "set", "store", "1"}).status, 0);
    EXPECT_EQ(StatusOnSet().at("mounted"), json({{"migration", false}, {"data_sync", true}}));
    EXPECT_EQ(OnSet({"notify", "backup", "start"}).status, 0);
    const json status = StatusOnSet();
    EXPECT_EQ(status.at("mounted"), json({{"migration", true}, {"data_sync", true}}));
    EXPECT_EQ(status.at("power_flag"), "0xAA");
}

TEST_F(VbmigrationCommand, SaysWhenThePowerFlagCannotBeRead)
{
    const auto ended = OnSet({"status", "--json"}, {"eeprom.read.F211=-1"});
    EXPECT_EQ(ended.status, 1);
    const json status = json::parse(ended.output, nullptr, false);
    EXPECT_TRUE(status.at("power_flag").is_null());
    EXPECT_EQ(status.at("next_start").at("formats_backup"), false);
}

TEST_F(VbmigrationCommand, SaysThatASetWithoutAStrategyCannotStart)
{
    const auto status = OnSet({"status"}, {"system_info.254=16"});
    EXPECT_NE(status.output.find("backup START   will fail: there is no strategy for this TV code\n"),
              std::string::npos)
        << status.output;
    const auto notify = OnSet({"notify", "backup", "start"}, {"system_info.254=16"});
    EXPECT_EQ(notify.status, 1);
    EXPECT_NE(notify.output.find("(no strategy for TV code 16)"), std::string::npos) << notify.output;
    EXPECT_EQ(OnSet({"item", "set", "store", "1"}, {"system_info.254=16"}).status, 0);
}

TEST_F(VbmigrationCommand, GivesNoValueAfterALoadThatFailed)
{
    const json calls = CallsOnSet({"item", "get", "1716", "--load"});
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls.at(0).at("result"), -1);
}

}  // namespace
