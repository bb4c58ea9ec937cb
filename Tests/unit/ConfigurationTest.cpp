// What the library learns of the set at start-up.

#include <CaseName.h>
#include <MessageTrace.h>
#include <SystemInfo.h>
#include <TestSet.h>
#include <VBMigration.h>

#include <dlfcn.h>

#include <algorithm>
#include <map>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;

namespace {

const char* const kTvChip = "In VBMigration TVChip is : [4].. Compare values from "
                            "system_info_type.h:system_info_tv_side_main_chip enum ";
const char* const kBoxChip = "In VBMigration VBChip is : [6].. Compare values from "
                             "system_info_type.h:system_info_vb_side_main_chip enum ";

/** What the platform writes by key although it fails, and what it found where it writes. */
std::map<int, int> writtenByFailures;
std::map<int, int> found;

int resultOfFailures = -1;

class Configuration : public OnSet {
 protected:
    Configuration()
    {
        Start();
        Answers("14", "13", "4", "6", "1");
    }

    /** What the platform says to keys 254, 252, 253, 251 and 705; "fail" for a key that cannot be read. */
    void Answers(const char* tvYear, const char* boxYear, const char* tvChip, const char* boxChip, const char* duolink)
    {
        Fault("system_info.254", tvYear);
        Fault("system_info.252", boxYear);
        Fault("system_info.253", tvChip);
        Fault("system_info.251", boxChip);
        Fault("system_info.705", duolink);
    }

    static std::vector<int> Variables()
    {
        return {MigrationCommon::miTVYear, MigrationCommon::miVBYear, MigrationCommon::miTVMainChip,
                MigrationCommon::miVBMainChip, MigrationCommon::bDLSupported ? 1 : 0};
    }
};

}  // namespace

int system_info_get_value_int(int key, int* value)
{
    static const auto next =
        reinterpret_cast<decltype(&::system_info_get_value_int)>(dlsym(RTLD_NEXT, "system_info_get_value_int"));
    found[key] = *value;
    const int result = next(key, value);
    if (result != 0 && writtenByFailures.count(key) != 0) {
        *value = writtenByFailures[key];
    }
    return result != 0 ? resultOfFailures : 0;
}

TEST_F(Configuration, IsUnknownAtFirst)
{
    EXPECT_THAT(Variables(), ElementsAre(-1, -1, -1, -1, 0));
}

TEST_F(Configuration, ReadsFiveKeysInOrder)
{
    EXPECT_EQ(MigrationCommon::SetVornBoxSystemConfig(), 0);

    std::vector<std::string> keys;
    for (const Interaction& interaction : Trace({"platform"})) {
        EXPECT_EQ(interaction.call, "system_info_get_value_int");
        keys.push_back(interaction.args);
    }
    EXPECT_THAT(keys, ElementsAre("254", "252", "253", "251", "705"));
    EXPECT_THAT(Variables(), ElementsAre(14, 13, 4, 6, 1));
    EXPECT_THAT(Logged(), ElementsAre(Info("SetVornBoxSystemConfig <============ "),
                                      Info("In VBMigration TVYear is : 14"),
                                      Info("In VBMigration VBYear is : 13"), Info(kTvChip), Info(kBoxChip),
                                      Info("Valid duolink information from SystemConfig... ")));
}

TEST_F(Configuration, TellsOfEachKeyWhenItHasBeenRead)
{
    Answers("fail", "13", "4", "fail", "1");
    MigrationCommon::SetVornBoxSystemConfig();
    const std::string read = "system_info_get_value_int";
    EXPECT_THAT(Happened(Trace()),
                ElementsAre("\"SetVornBoxSystemConfig <============ \"", read,
                            "\"Invalid TV Year information from SystemConfig...\"", read,
                            "\"In VBMigration VBYear is : 13\"", read, '"' + std::string(kTvChip) + '"', read,
                            "\"Invalid VornBox Chip information from SystemConfig...\"", read,
                            "\"Valid duolink information from SystemConfig... \""));
}

TEST_F(Configuration, FailsWhenNoKeyCanBeRead)
{
    Answers("fail", "fail", "fail", "fail", "fail");

    EXPECT_EQ(MigrationCommon::SetVornBoxSystemConfig(), -1);

    EXPECT_THAT(Variables(), ElementsAre(-1, -1, -1, -1, 0));
    EXPECT_THAT(Logged(), ElementsAre(Info("SetVornBoxSystemConfig <============ "),
                                      Error("Invalid TV Year information from SystemConfig..."),
                                      Error("Invalid VB Year information from SystemConfig..."),
                                      Error("Invalid TV Chip information from SystemConfig..."),
                                      Error("Invalid VornBox Chip information from SystemConfig..."),
                                      Error("Invalid duolink information from SystemConfig...")));
}

TEST_F(Configuration, KeepsWhatItKnowsWhenAKeyCannotBeReadAnyMore)
{
    MigrationCommon::SetVornBoxSystemConfig();
    Answers("fail", "fail", "fail", "fail", "fail");
    EXPECT_EQ(MigrationCommon::SetVornBoxSystemConfig(), -1);
    EXPECT_THAT(Variables(), ElementsAre(14, 13, 4, 6, 0));  // duolink support is decided anew each time
}

TEST_F(Configuration, KeepsWhatItKnowsAlsoWhenAReadWritesAndFails)
{
    MigrationCommon::SetVornBoxSystemConfig();
    Answers("fail", "fail", "fail", "fail", "fail");
    writtenByFailures = {{254, 99}, {252, 99}, {253, 99}, {251, 99}};
    for (const int result : {-1, 1}) {
        resultOfFailures = result;
        EXPECT_EQ(MigrationCommon::SetVornBoxSystemConfig(), -1);
        EXPECT_THAT(Variables(), ElementsAre(14, 13, 4, 6, 0));
    }
}

TEST_F(Configuration, GoesByTheDuolinkValueAlsoWhenItsReadFails)
{
    Answers("fail", "fail", "fail", "fail", "fail");
    writtenByFailures = {{705, 1}};
    EXPECT_EQ(MigrationCommon::SetVornBoxSystemConfig(), -1);
    EXPECT_TRUE(MigrationCommon::bDLSupported);
    EXPECT_EQ(Logged().back(), Error("Invalid duolink information from SystemConfig..."));
}

TEST_F(Configuration, AsksForTheDuolinkValueFromZeroEachTime)
{
    for (int i = 0; i < 2; ++i) {
        found[705] = 7;
        MigrationCommon::SetVornBoxSystemConfig();
        EXPECT_EQ(found[705], 0);
    }
}

TEST_F(Configuration, SucceedsByTheTvYearAlone)
{
    Answers("17", "fail", "fail", "fail", "fail");
    EXPECT_EQ(MigrationCommon::SetVornBoxSystemConfig(), 0);
    EXPECT_THAT(Variables(), ElementsAre(17, -1, -1, -1, 0));
}

/** A later key that can be read makes up for a TV year that cannot. */
class ConfigurationByOneKey : public Configuration, public ::testing::WithParamInterface<const char*> {};

TEST_P(ConfigurationByOneKey, SucceedsWithoutATvYear)
{
    Answers("fail", "fail", "fail", "fail", "fail");
    Fault(std::string("system_info.") + GetParam(), "1");

    EXPECT_EQ(MigrationCommon::SetVornBoxSystemConfig(), 0);

    EXPECT_EQ(MigrationCommon::miTVYear, -1);
    const std::vector<int> variables = Variables();
    EXPECT_EQ(std::count(variables.begin(), variables.end(), 1), 1);
    EXPECT_THAT(Logged(), Contains(Error("Invalid TV Year information from SystemConfig...")));
}

INSTANTIATE_TEST_SUITE_P(Keys, ConfigurationByOneKey, ::testing::Values("252", "253", "251", "705"),
                         CaseName<const char*>);

/** Only exactly 1 is support. */
class ConfigurationByDuolink : public Configuration, public ::testing::WithParamInterface<const char*> {};

TEST_P(ConfigurationByDuolink, IsWithoutSupportThoughTheKeyCountsAsRead)
{
    Answers("fail", "fail", "fail", "fail", "1");
    MigrationCommon::SetVornBoxSystemConfig();
    ASSERT_TRUE(MigrationCommon::bDLSupported);
    Forget();
    Fault("system_info.705", GetParam());

    EXPECT_EQ(MigrationCommon::SetVornBoxSystemConfig(), 0);

    EXPECT_FALSE(MigrationCommon::bDLSupported);
    EXPECT_THAT(Logged(), Contains(Info("Valid duolink information from SystemConfig... ")));
    EXPECT_THAT(Logged(), Not(Contains(Error("Invalid duolink information from SystemConfig..."))));
}

INSTANTIATE_TEST_SUITE_P(Values, ConfigurationByDuolink, ::testing::Values("2", "0", "-1"), CaseName<const char*>);
