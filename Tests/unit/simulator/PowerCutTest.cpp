// The places of power cuts, as they are written.
#include "PowerCut.h"

#include "Fixture.h"

namespace vbset {
namespace {

using When = PowerCut::When;

TEST(PowerCutText, BBehindANumberIsBeforeThatInteraction)
{
    const PowerCut cut = ParsePowerCut("17b");
    EXPECT_EQ(cut.interaction, 17U);
    EXPECT_EQ(cut.when, When::Before);
    EXPECT_EQ(cut.unsynced, "");
}

TEST(PowerCutText, ABehindANumberIsAfterThatInteraction)
{
    const PowerCut cut = ParsePowerCut("1a");
    EXPECT_EQ(cut.interaction, 1U);
    EXPECT_EQ(cut.when, When::After);
}

TEST(PowerCutText, WIsFollowedByBytes)
{
    const PowerCut cut = ParsePowerCut("17w425");
    EXPECT_EQ(cut.interaction, 17U);
    EXPECT_EQ(cut.when, When::Bytes);
    EXPECT_EQ(cut.amount, 425U);
}

TEST(PowerCutText, ADotIsFollowedByAStep)
{
    const PowerCut cut = ParsePowerCut("999999999.2");
    EXPECT_EQ(cut.interaction, 999999999U);
    EXPECT_EQ(cut.when, When::Step);
    EXPECT_EQ(cut.amount, 2U);
}

TEST(PowerCutText, LettersBehindADashSayWhatBecomesOfFiles)
{
    EXPECT_EQ(ParsePowerCut("17a-o").unsynced, "o");
    EXPECT_EQ(ParsePowerCut("17w5-onz").unsynced, "onz");
    EXPECT_EQ(ParsePowerCut("17.1-zz").unsynced, "zz");
}

class WrittenPlace : public testing::TestWithParam<const char*> {};

TEST_P(WrittenPlace, IsWrittenAsItIsRead) { EXPECT_EQ(Text(ParsePowerCut(GetParam())), GetParam()); }

INSTANTIATE_TEST_SUITE_P(PowerCutText, WrittenPlace,
                         testing::Values("1b", "17a", "17a-o", "17w425", "17w1-zn", "17.2", "17.2-n", "999999999a"));

class NoPlace : public testing::TestWithParam<const char*> {};

TEST_P(NoPlace, IsRefused)
{
    const std::string text = GetParam();
    EXPECT_EQ(Refusal([&] { ParsePowerCut(text); }),
              "'" + text + "' is no place for a power cut: give the number of an interaction, as `vbset trace` shows "
              "it, and where in it: 17b (before), 17a (after), 17w425 (after 425 bytes of a write) or 17.2 (after its "
              "second step); 17a-o says what is lost (see vbset run --help)");
}

INSTANTIATE_TEST_SUITE_P(PowerCutText, NoPlace,
                         testing::Values("", "a", "17", "0a", "-1a", "+1a", " 1a", "1a ", "1A", "17c", "17b-o", "17a-",
                                         "17a-x", "17ao", "17a-o-n", "17w", "17w0", "17w-o", "17.", "17.0", "17.a",
                                         "17.1.1", "1000000000a", "17w99999999999999999999"));

TEST(PowerCutOutcome, EachFileHasALetterAndTheLastOneStandsForTheRest)
{
    EXPECT_EQ(Outcome("oz", 0), 'o');
    EXPECT_EQ(Outcome("oz", 1), 'z');
    EXPECT_EQ(Outcome("oz", 7), 'z');
}

TEST(PowerCutOutcome, WithoutLettersFilesAreAsTheyWereWritten) { EXPECT_EQ(Outcome("", 3), 'n'); }

}  // namespace
}  // namespace vbset
