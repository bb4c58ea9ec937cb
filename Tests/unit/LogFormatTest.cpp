// The form of all messages: log, tag, priority, and the prefix that says where a message comes from.

#include "ExportedCalls.h"
#include "StrategyOnSet.h"

#include <PlatformLog.h>

#include <dlfcn.h>

#include <cstdarg>
#include <cstdio>

namespace {

/** One call of the platform log, as the library made it. */
struct LogCall {
    int log;
    int priority;
    std::string tag;
    std::string format;
    std::string unit;
    std::string function;
    int line;
    std::string text;  ///< all of it, with the prefix
};
std::vector<LogCall> logCalls;

const std::string kPrefix = "%s: %s(%d) > ";

bool HasPrefix(const std::string& format)
{
    return format.compare(0, kPrefix.size(), kPrefix) == 0;
}

}  // namespace

int __dlog_print(int log_id, int priority, const char* tag, const char* format, ...)
{
    char text[1024];
    LogCall call = {log_id, priority, tag, format, "", "", 0, ""};
    std::va_list arguments;
    std::va_list prefix;
    va_start(arguments, format);
    va_copy(prefix, arguments);
    if (HasPrefix(format)) {
        call.unit = va_arg(prefix, const char*);
        call.function = va_arg(prefix, const char*);
        call.line = va_arg(prefix, int);
    }
    va_end(prefix);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    call.text = text;
    logCalls.push_back(call);
    static const auto next = reinterpret_cast<decltype(&::__dlog_print)>(dlsym(RTLD_NEXT, "__dlog_print"));
    return next(log_id, priority, tag, "%s", text);
}

namespace {

class LogFormat : public StrategyOnSet {
 protected:
    void SetUp() override
    {
        StartSet("tv15-newboard");
        logCalls.clear();
    }

    /** A backup and the other exported calls, well and with faults, so that most of the library's messages come. */
    void RunMostOfTheLibrary()
    {
        const std::vector<std::pair<const char*, const char*>> faults = {
            {"service.delay", "0"}, {"service.reply.0", "0:1:0"}, {"serdes.polls", "never"}};
        for (const auto& [key, value] : faults) {
            Fault(key, value);
            Notify();
            migration_api_dump_non_volatile_data();
            migration_api_restore_non_volatile_data();
            migration_api_do_vornBox_picture_data_sync(VB_INFO_VB_FAC_TO_TV_SPI);
            migration_api_do_vornBox_picture_data_sync(VB_INFO_TV_SPI_TO_VB_FAC);
            migration_api_set_factory_item(1713, 1);
            migration_api_set_factory_item(1714, 1);
            migration_api_get_vornBox_migration_test_data(20);
            migration_api_SetBootPartition(1);
        }
        migration_final();
    }
};

TEST_F(LogFormat, IsOneForAllMessages)
{
    RunMostOfTheLibrary();
    EXPECT_GT(logCalls.size(), 500U);
    for (const LogCall& call : logCalls) {
        EXPECT_EQ(call.log, 0) << call.text;
        EXPECT_EQ(call.tag, "MIGVBX") << call.text;
        EXPECT_TRUE(call.priority == 4 || call.priority == 6) << call.text;
        EXPECT_TRUE(HasPrefix(call.format)) << call.text;
        EXPECT_THAT(call.unit, ::testing::MatchesRegex("[A-Za-z]+\\.cpp")) << call.text;
        EXPECT_THAT(call.function, ::testing::MatchesRegex("~?[A-Za-z_]+")) << call.text;
        EXPECT_GT(call.line, 0) << call.text;
    }
}

TEST_F(LogFormat, NamesTheLineOfEachMessage)
{
    SteeredStrategy strategy;
    logCalls.clear();
    strategy.IsCIEnable();
    ASSERT_EQ(logCalls.size(), 3U);
    EXPECT_LT(logCalls[0].line, logCalls[1].line);
    EXPECT_LT(logCalls[1].line, logCalls[2].line);
    const int first = logCalls[0].line;
    strategy.IsCIEnable();
    ASSERT_EQ(logCalls.size(), 6U);
    EXPECT_EQ(logCalls[3].line, first);
}

TEST_F(LogFormat, OfTheEntryTraceNamesItsLineAndFunctionTwice)
{
    migration_api_dump_non_volatile_data();
    ASSERT_FALSE(logCalls.empty());
    const LogCall& entry = logCalls.front();
    EXPECT_EQ(entry.priority, 6);
    EXPECT_EQ(entry.format, kPrefix + "Migration -> Func -> %s \t\t@ line\t-> %d\t");
    const std::string line = std::to_string(entry.line);
    EXPECT_EQ(entry.text, "VBMigration.cpp: migration_api_dump_non_volatile_data(" + line +
                              ") > Migration -> Func -> migration_api_dump_non_volatile_data \t\t@ line\t-> " + line +
                              "\t");
}

}  // namespace
