/** `vbmigration`: whether a whole backup is one, and why a migration's calls failed. */
#include <sstream>

#include "VbmigrationCommand.h"

namespace {

class VbmigrationBackup : public VbmigrationCommand {
 protected:
    /** What the command says of a call: the text in the brackets at the end of its line, of the n-th line. */
    std::string NoteOf(const program::Ended& ended, std::size_t n)
    {
        std::istringstream lines(ended.output);
        std::string line;
        for (std::size_t i = 0; i <= n; ++i) {
            std::getline(lines, line);
        }
        const std::size_t begin = line.find(" ms (");
        return begin == std::string::npos ? "" : line.substr(begin + 5, line.size() - begin - 6);
    }
};

std::string LastLine(const std::string& text)
{
    const std::string lines = text.substr(0, text.size() - 1);
    return lines.substr(lines.rfind('\n') + 1);
}

TEST_F(VbmigrationBackup, IsCompleteWhateverTheDumpReturned)
{
    const auto ended = OnSet({"backup"});
    EXPECT_EQ(LastLine(ended.output),
              "backup: complete: 44 picture items in 616 bytes; the service answered all 5 requests");
    EXPECT_EQ(ended.status, 0);
}

TEST_F(VbmigrationBackup, OfASetWith62ItemsHasThemAll)
{
    UseSides("tv17-62", "box17-62");
    const auto ended = OnSet({"backup"});
    EXPECT_EQ(LastLine(ended.output),
              "backup: complete: 62 picture items in 850 bytes; the service answered all 5 requests");
    EXPECT_EQ(ended.status, 0);
}

struct Incomplete {
    const char* name;
    Strings faults;
    int status;
    std::string line;
};

class AnIncompleteBackup : public VbmigrationBackup, public testing::WithParamInterface<Incomplete> {};

TEST_P(AnIncompleteBackup, IsToldFromACompleteOneByLineAndStatus)
{
    const auto ended = OnSet({"backup"}, GetParam().faults);
    EXPECT_EQ(LastLine(ended.output), GetParam().line) << ended.output;
    EXPECT_EQ(ended.status, GetParam().status);
}

const std::string kNoAnswers =
    "backup: service did not answer: 5 of 5 requests had no answer; results of 0 say nothing then";
const std::string kPictureFile = "/opt/tv/migration/korvane_vbmg/SP_VB_Data/PictureMigrationData.dat";

INSTANTIATE_TEST_SUITE_P(
    Backup, AnIncompleteBackup,
    testing::Values(
        Incomplete{"WithoutAService", {"service.state=absent"}, 5, kNoAnswers},
        Incomplete{"WithAServiceThatDies", {"service.state=dies"}, 5, kNoAnswers},
        Incomplete{"WithAServiceThatRefuses", {"service.state=error"}, 5, kNoAnswers},
        Incomplete{"WithEmptyAnswers", {"service.reply.0="}, 5, kNoAnswers},
        Incomplete{"WithoutServiceAndItems",
                   {"service.state=absent", "factory.get.79=0"},
                   5,
                   kNoAnswers + "; not all 44 picture items were saved"},
        Incomplete{"WithoutAnItem",
                   {"factory.get.79=0"},
                   4,
                   "backup: items missing: not all 44 picture items were saved"},
        Incomplete{"WithAFileThatWasCut",
                   {"write." + kPictureFile + "=full:100"},
                   4,
                   "backup: items missing: not all 44 picture items were saved"},
        Incomplete{"WithoutALink",
                   {"serdes.polls=never"},
                   1,
                   "backup: failed: START failed; END failed; not all 44 picture items were saved"},
        Incomplete{"ThatCouldNotBePacked",
                   {"service.MigrationScript.sh.tarncpy=3"},
                   1,
                   "backup: failed: END failed"},
        Incomplete{"OfASetWithoutAStrategy",
                   {"system_info.254=99"},
                   1,
                   "backup: failed: START failed; END failed; not all 44 picture items were saved"}),
    [](const auto& backup) { return backup.param.name; });

TEST_F(VbmigrationBackup, WithoutABusHasNoService)
{
    UseSides("tv15", "box15");
    const auto ended =
        program::Run({VBSET_COMMAND, "run", Tv(), Box(), "--no-bus", "--", VBMIGRATION_COMMAND, "backup"});
    EXPECT_EQ(LastLine(ended.output),
              "backup: service did not answer: no request could be sent: there is no bus; results of 0 say nothing "
              "then");
    EXPECT_EQ(ended.status, 5);
    EXPECT_EQ(NoteOf(ended, 0), "reads as success, but no request could be sent: there is no bus");
}

TEST_F(VbmigrationBackup, AsJsonEndsWithWhatItAmountsTo)
{
    const json good = {{"summary", "backup"}, {"verdict", "complete"}, {"picture_items", true}, {"items", 44},
                       {"bytes", 616},        {"service", true},       {"requests", 5},         {"answered", 5}};
    EXPECT_EQ(CallsOnSet({"backup"}).at(3), good);
    const json bad = {{"summary", "backup"}, {"verdict", "service did not answer"}, {"picture_items", false},
                      {"items", 44},         {"bytes", 616},                        {"service", false},
                      {"requests", 5},       {"answered", 0}};
    EXPECT_EQ(CallsOnSet({"backup"}, {"factory.get.79=0", "service.state=absent"}).at(3), bad);
}

TEST_F(VbmigrationBackup, TellsWhatTheDumpLeft)
{
    const auto dumped = [this](const Strings& faults) { return CallsOnSet({"backup"}, faults).at(1).at("out"); };
    EXPECT_EQ(dumped({"factory.get.79=0"}), json({{"picture_items", false}, {"items", 0}, {"bytes", 0}}));
    EXPECT_EQ(dumped({}), json({{"picture_items", true}, {"items", 44}, {"bytes", 616}}));
    EXPECT_EQ(dumped({"write." + kPictureFile + "=full:100"}),
              json({{"picture_items", false}, {"items", 7}, {"bytes", 100}}));

    const auto line = [this](const Strings& words, const Strings& faults) {
        const std::string output = OnSet(words, faults).output;
        const std::size_t begin = output.find("picture_items=");
        return output.substr(begin, output.find(" of 44") - begin);
    };
    EXPECT_EQ(line({"backup"}, {"write." + kPictureFile + "=full:100"}), "picture_items=NOT ALL WRITTEN, items=7");
    EXPECT_EQ(line({"backup"}, {"factory.get.79=0"}), "picture_items=NOT WRITTEN, items=0");
    EXPECT_EQ(line({"dump"}, {}), "picture_items=written, items=44");
    EXPECT_EQ(line({"dump"}, {"factory.get.79=0"}), "picture_items=NOT WRITTEN (there is an older file), items=44");
}

TEST_F(VbmigrationBackup, SaysOfADumpWithoutItemsWhereTheReasonIs)
{
    const std::string where = ": see the lines before 'Picture data could not be dumped' in the platform log, else "
                              "'mkdir' or 'Mount Partition failed'";
    EXPECT_EQ(NoteOf(OnSet({"backup"}, {"factory.get.79=0"}), 1),
              "the picture items were not saved, whatever became of the MAC" + where);
    EXPECT_NE(Log().find("Picture data could not be dumped"), std::string::npos);
}

TEST_F(VbmigrationBackup, SaysOfADumpThatSavedTheMacAloneThatTheItemsAreMissing)
{
    // The service writes the MAC address; the folder for the items can be made by neither.
    const auto ended = OnSet({"backup"}, {"path./dev/mtdblock3=EACCES", "local.mkdir=1", "service.mkdir=1"});
    EXPECT_EQ(NoteOf(ended, 1).rfind("the MAC was saved, the picture items were not: see ", 0), 0U) << ended.output;
}

TEST_F(VbmigrationBackup, SaysAtWhichStepAStartFailed)
{
    const std::string noLink = "no link to the box: 'SerDes Not locked!' in the platform log";
    EXPECT_EQ(NoteOf(OnSet({"backup"}, {"serdes.polls=never"}), 0), noLink);
    EXPECT_NE(Log().find("SerDes Not locked!"), std::string::npos);
    EXPECT_EQ(NoteOf(OnSet({"migrate"}, {"serdes.polls=never"}), 0), noLink);
    EXPECT_EQ(NoteOf(OnSet({"backup"}, {"service.MigrationScript.sh.cleanbkup=3"}), 0),
              "the old backup could not be cleaned away: the service answered '0:3:0'");
    EXPECT_EQ(NoteOf(OnSet({"migrate"}), 0),
              "the backup could not be unpacked, often because there is none: the service answered '0:1:0'");
}

TEST_F(VbmigrationBackup, SaysThatARestoreIsRefusedAfterACut)
{
    const std::string refused = "the last migration was cut, so this restore is refused; the next START is an ordinary "
                                "one; ";
    WritePowerFlag(0xAA);
    EXPECT_EQ(NoteOf(OnSet({"migrate"}), 0),
              refused + "the partition was to be formatted: the service answered '0:0:0'");
    WritePowerFlag(0xAA);
    EXPECT_EQ(NoteOf(OnSet({"migrate"}, {"serdes.polls=never"}), 0),
              refused + "nothing was formatted, for want of a link to the box");
}

TEST_F(VbmigrationBackup, SaysWhatTheServiceAnsweredToAnEndThatFailed)
{
    EXPECT_EQ(NoteOf(OnSet({"backup"}, {"service.MigrationScript.sh.tarncpy=3"}), 2),
              "the backup could not be packed: nothing was dumped, or no room or no mount; the service answered "
              "'0:3:0'");
}

TEST_F(VbmigrationBackup, OfTvCode13SaysAtWhichStepItFailed)
{
    UseSides("tv13", "box13");
    EXPECT_EQ(NoteOf(OnSet({"backup"}, {"service.MigrationScript.sh.cleanbkup=2"}), 0),
              "cleaning away the old backup failed: the service answered '0:2:0'");
    EXPECT_EQ(NoteOf(OnSet({"backup"}, {"service.MigrationScript.sh.Bkup13=2"}), 2),
              "the archive could not be made: the service answered '0:2:0'");
    EXPECT_EQ(NoteOf(OnSet({"backup"}), 2),
              "sending the archive counts as failed: the service answered '7:0:0'; a reply that names request code 7 "
              "does so even if the archive arrived");
    EXPECT_EQ(NoteOf(OnSet({"backup"}, {"service.reply.7=0:0:0", "service.rm=4"}), 2),
              "the archive was sent, but could not be removed from the TV: the service answered '0:4:0'");
    const auto complete = OnSet({"backup"}, {"service.reply.7=0:0:0"});
    EXPECT_EQ(LastLine(complete.output).rfind("backup: complete: 44 picture items", 0), 0U) << complete.output;
}

TEST_F(VbmigrationBackup, SaysOfEveryCallThatReadsAsSuccessWithoutAnAnswer)
{
    UseSides("tv13", "box13");
    const auto ended = OnSet({"boot", "get"}, {"service.state=absent"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(NoteOf(ended, 0), "reads as success, but the service did not answer 1 of 1 requests");
}

TEST_F(VbmigrationBackup, SaysOfAFailedRestoreWhichMessagesTellWhy)
{
    UseSides("tv14", "box15");
    EXPECT_EQ(OnSet({"backup"}).status, 0);
    const auto ended = OnSet({"migrate"}, {"factory.set.551=0"});
    EXPECT_EQ(NoteOf(ended, 1), "see the platform log: before 'MAC data could not be Restored' why nothing was stored, "
                                "before 'Picture data could not be Restored' why some items were not, else 'Mount "
                                "Partition failed'; docs/messages.md explains them");
    EXPECT_NE(Log().find("Picture data could not be Restored"), std::string::npos);
    EXPECT_EQ(OnSet({"restore"}, {"eeprom.migrated_mac=5"}).status, 1);
    EXPECT_NE(Log().find("MAC data could not be Restored"), std::string::npos);
}

TEST_F(VbmigrationBackup, ExplainsItsExitStatusesInItsHelp)
{
    const auto ended = program::Run({VBMIGRATION_COMMAND, "backup", "--help"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_NE(ended.output.find("Exit status: 0 backup: complete (whatever the dump returned), 1 backup: failed (START "
                                "or END did), 2 wrong usage\n(nothing was called), 4 backup: items missing, 5 backup: "
                                "service did not answer (the library takes that for\nsuccess), 124 the timeout "
                                "passed.\n"),
              std::string::npos)
        << ended.output;
}

}  // namespace
