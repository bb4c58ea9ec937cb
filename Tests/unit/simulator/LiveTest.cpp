#include "Fixture.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <thread>
#include <vector>

namespace vbset {

namespace {

class AProcessOnASet : public OnASet {};

TEST(AProcessOnNoSet, HasNoFaultsNoPathsAndNoTrace)
{
    char out[64] = "kept";
    EXPECT_FALSE(live::OnSet());
    EXPECT_EQ(live::Fault("serdes.polls"), nullptr);
    EXPECT_FALSE(live::MapPath("/opt/tv", out, sizeof out));
    EXPECT_STREQ(out, "kept");
    EXPECT_EQ(live::Trace("platform", "x", "", ""), 0U);
    EXPECT_NE(Refusal([] { live::SetFault("serdes.polls", "1"); }), "");
}

TEST_F(AProcessOnASet, StandsInTheWorkingDirectoryOfTheTv)
{
    Start("tv15", "box15");
    EXPECT_TRUE(live::OnSet());
    EXPECT_EQ(fs::current_path(), directory_ / "tv/nonvolatile/work");
    EXPECT_STREQ(std::getenv("VBSET_TV"), (directory_ / "tv").c_str());
    EXPECT_STREQ(std::getenv("VBSET_BOX"), (directory_ / "box").c_str());
}

TEST_F(AProcessOnASet, CannotEnterASetThatIsOff)
{
    vbset::Set& set = Start("tv15", "box15");
    set.PowerOff();
    EXPECT_FALSE(live::OnSet());
    EXPECT_EQ(Refusal([&] { set.Enter(); }), "the set is off");
    set.PowerOn();
    EXPECT_TRUE(live::OnSet());
}

TEST_F(AProcessOnASet, MapsEverySpellingOfAPath)
{
    Start("tv15", "box15");
    const std::string tv = (directory_ / "tv/nonvolatile/root/opt/tv").string();
    const std::pair<const char*, std::string> spellings[] = {
        {"/opt/tv", tv}, {"/opt/tv/", tv + "/"}, {"//opt///tv//x/", tv + "/x/"}, {"/opt/./tv/.", tv + "/"},
        {"/etc/../opt/tv/a/../b", tv + "/b"}, {"/../opt/tv/a..b/.c", tv + "/a..b/.c"}, {"/opt/tv/a/..", tv + "/"},
        {"/opt/korvane_vbmg/../tv/x", tv + "/x"}};
    for (const auto& [path, host] : spellings) {
        char out[PATH_MAX] = "";
        EXPECT_TRUE(live::MapPath(path, out, sizeof out)) << path;
        EXPECT_EQ(out, host) << path;
    }
    char out[PATH_MAX] = "kept";
    for (const char* path : {"", ".", "/", "/opt/tv/..", "/opt/tv/../x", "opt/tv", "/optx/tv", "/opt/ tv"}) {
        EXPECT_FALSE(live::MapPath(path, out, sizeof out)) << path;
    }
    EXPECT_FALSE(live::MapPath(nullptr, out, sizeof out));
    EXPECT_STREQ(out, "kept");
}

TEST_F(AProcessOnASet, GetsAPathThatNothingOpensWhenTheHostPathDoesNotFit)
{
    Start("tv15", "box15");
    const std::string host = (directory_ / "tv/nonvolatile/root/opt/tv").string();
    std::vector<char> out(host.size() + 2, '#');
    EXPECT_TRUE(live::MapPath("/opt/tv", out.data(), host.size() + 1));
    EXPECT_EQ(out.data(), host);
    EXPECT_EQ(out.back(), '#');
    EXPECT_TRUE(live::MapPath("/opt/tv", out.data(), host.size()));
    EXPECT_STREQ(out.data(), "");
    EXPECT_TRUE(live::MapPath("/opt/tv", nullptr, 0));
    char roomy[2 * PATH_MAX];
    EXPECT_FALSE(live::MapPath(("/opt/tv/" + std::string(PATH_MAX, 'x')).c_str(), roomy, sizeof roomy));
}

TEST_F(AProcessOnASet, MapsPathsBetweenVforkAndExec)
{
    Start("tv15", "box15");
    const std::string wanted = (directory_ / "box/nonvolatile/mac").string();
    const pid_t child = vfork();
    if (child == 0) {
        char mapped[PATH_MAX];
        _exit(live::MapPath("/dev/mtdblock3", mapped, sizeof mapped) && wanted == mapped ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(AProcessOnASet, SwitchesFaultsForEveryProcess)
{
    Start("tv15", "box15");
    live::SetFault("serdes.polls", "3");
    live::SetFault("micom.mac", "-1");
    const char* polls = live::Fault("serdes.polls");
    EXPECT_STREQ(polls, "3");
    EXPECT_EQ(ReadFile(directory_ / "tv/volatile/faults"), "micom.mac=-1\nserdes.polls=3\n");
    live::SetFault("serdes.polls", nullptr);
    EXPECT_EQ(live::Fault("serdes.polls"), nullptr);
    EXPECT_STREQ(polls, "3");
    EXPECT_NE(Refusal([] { live::SetFault("serdes.polls", "x"); }), "");

    WriteFile(directory_ / "tv/volatile/faults", "encrypt.size=7\n");
    EXPECT_EQ(live::Fault("encrypt.size"), nullptr);
    live::ReloadFaults();
    EXPECT_STREQ(live::Fault("encrypt.size"), "7");
    EXPECT_EQ(live::Fault("micom.mac"), nullptr);
}

TEST_F(AProcessOnASet, KnowsErrorsByName)
{
    EXPECT_EQ(live::ErrnoByName("EACCES"), EACCES);
    EXPECT_EQ(live::ErrnoByName("ENOSPC"), ENOSPC);
    EXPECT_EQ(live::ErrnoByName("EWHAT"), 0);
    EXPECT_EQ(live::ErrnoByName(""), 0);
}

TEST_F(AProcessOnASet, TracesOneLineAnInteraction)
{
    vbset::Set& set = Start("tv15", "box15");
    errno = ENOTTY;
    EXPECT_EQ(live::Trace("file", "open", "a \"b\"\\\n\xC3", "3"), 1U);
    EXPECT_EQ(errno, ENOTTY);
    const std::string text = TraceText();
    const std::string wanted =
        "{\"run\":\"test\"}\n{\"n\":1,\"kind\":\"file\",\"call\":\"open\","
        "\"args\":\"a \\\"b\\\"\\\\\\u000A\\u00C3\",\"result\":\"3\",\"us\":";
    EXPECT_EQ(text.substr(0, wanted.size()), wanted);
    set.BeginRun("again");
    EXPECT_EQ(live::Trace("sleep", "usleep", "1", "0"), 1U);
}

TEST_F(AProcessOnASet, CountsInteractionsOverAllProcessesAndThreads)
{
    Start("tv15", "box15");
    constexpr int each = 50;
    const auto trace = [] {
        for (int i = 0; i < each; ++i) live::Trace("file", "read", std::to_string(i), "0");
    };
    const pid_t child = fork();
    if (child == 0) {
        trace();
        _exit(0);
    }
    std::thread one(trace);
    std::thread other(trace);
    one.join();
    other.join();
    ASSERT_EQ(waitpid(child, nullptr, 0), child);
    const std::string text = TraceText();
    for (int n = 1; n <= 3 * each; ++n) {
        EXPECT_NE(text.find("{\"n\":" + std::to_string(n) + ","), std::string::npos) << n;
    }
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 3 * each);
    EXPECT_EQ(live::Trace("file", "read", "", ""), 3UL * each + 1);
}

TEST_F(AProcessOnASet, FindsItsSetInTheEnvironment)
{
    Start("tv15", "box15");
    EXPECT_EQ(std::system(STARTED_PROGRAM " > /dev/null"), 0);
    EXPECT_NE(TraceText().find("{\"n\":1,\"kind\":\"file\",\"call\":\"from a started program\""), std::string::npos);
    Set().PowerOff();
    EXPECT_NE(std::system(STARTED_PROGRAM " > /dev/null"), 0);
}

TEST_F(AProcessOnASet, SaysWhyItIsOnNone)
{
    Start("tv15", "box15");
    WriteFile(directory_ / "tv/tv.toml", "kind = 3\n");
    EXPECT_NE(std::system(STARTED_PROGRAM " 2> said"), 0);
    EXPECT_EQ(ReadFile("said"), "vbset: " + (directory_ / "tv/tv.toml").string() +
                                    ":1: 'kind' has to be a text in quotes\n");
}

}  // namespace

}  // namespace vbset
