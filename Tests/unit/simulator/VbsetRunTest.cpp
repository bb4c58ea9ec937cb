/** `vbset run` and `vbset off`. */
#include <sys/stat.h>

#include <chrono>
#include <csignal>

#include "Process.h"
#include "ServiceClient.h"
#include "VbsetCommand.h"

namespace {

TEST_F(VbsetCommand, RunPassesOnHowTheProgramEnded)
{
    EXPECT_EQ(Run({"true"}).status, 0);
    EXPECT_EQ(Run({"false"}).status, 1);
    EXPECT_EQ(Shell("exit 37").status, 37);
    EXPECT_EQ(Shell("kill -KILL $$").status, 128 + SIGKILL);
    EXPECT_EQ(Shell("kill -TERM $$").status, 128 + SIGTERM);
}

TEST_F(VbsetCommand, RunSaysWhenThereIsNoSuchProgram)
{
    const auto before = Snapshot();
    const auto missing = Run({"no-such-program"});
    EXPECT_EQ(missing.status, 127);
    EXPECT_EQ(missing.errors, "vbset: no-such-program: no such program\n");
    const auto notExecutable = Run({Tv() / "tv.toml"});
    EXPECT_EQ(notExecutable.status, 126);
    EXPECT_EQ(Snapshot(), before);
}

TEST_F(VbsetCommand, RunFindsRelativeProgramsAndDirectories)
{
    std::ofstream(Directory() / "program") << "#!/bin/sh\npwd\necho \"$0\"\n";
    fs::permissions(Directory() / "program", fs::perms::owner_all);
    const std::string vbset = VBSET_COMMAND;
    const auto ended =
        program::Run({"sh", "-c", "cd '" + Directory().string() + "' && " + vbset + " run tv ./box -- ./program"});
    EXPECT_EQ(ended.status, 0) << ended.errors;
    EXPECT_EQ(ended.output, (Tv() / "nonvolatile/work\n").string() + (Directory() / "./program\n").string());
}

TEST_F(VbsetCommand, RunHandsTheProgramItsArgumentsAsTheyAre)
{
    const auto ended = Run({"printf", "<%s>", "--help", "a b", "", "--", "$HOME", "--fault"});
    EXPECT_EQ(ended.output, "<--help><a b><><--><$HOME><--fault>");
}

TEST_F(VbsetCommand, RunPassesStandardInputAndOutputThrough)
{
    const std::string vbset = VBSET_COMMAND;
    const auto ended = program::Run({"sh", "-c", "echo through | " + vbset + " run '" + Tv().string() + "' '" +
                                                     Box().string() + "' -- sh -c 'cat; echo aside >&2'"});
    EXPECT_EQ(ended.output, "through\n");
    EXPECT_EQ(ended.errors, "aside\n");
}

TEST_F(VbsetCommand, TheProgramSeesThePathsOfTheSet)
{
    vbset::Set(Tv(), Box()).WriteMacBlock({'m', 'a', 'c', 'm', 'a', 'c'});
    EXPECT_EQ(Run({"cat", "/dev/mtdblock3"}).output, "macmac");
    EXPECT_EQ(Run({"cat", "/dev/mtdblock3"}, {"--fault", "path./dev/mtdblock3=EACCES"}).status, 1);
}

TEST_F(VbsetCommand, TheServiceAnswersDuringTheRunOnABusOfItsOwn)
{
    const auto ended = Run({ASK_SERVICE, "8:EMPTY:EMPTY:EMPTY", "0:mkdir -p /opt/tv/made:EMPTY:EMPTY"});
    EXPECT_EQ(ended.output, "8:0:0\n0:0:0\n") << ended.errors;
    EXPECT_TRUE(fs::is_directory(Tv() / "nonvolatile/root/opt/tv/made"));
}

TEST_F(VbsetCommand, BusAndStragglersAreGoneAfterTheRun)
{
    const auto ended = Shell("sleep 1000 >&- 2>&- & echo $!; echo $DBUS_SYSTEM_BUS_ADDRESS");
    std::istringstream lines(ended.output);
    pid_t straggler = 0;
    std::string address;
    lines >> straggler >> address;
    ASSERT_GT(straggler, 0) << ended.output;
    ASSERT_EQ(address.rfind("unix:", 0), 0U) << address;
    EXPECT_EQ(kill(straggler, 0), -1);
    EXPECT_THROW(ServiceClient client(address), std::runtime_error);
}

TEST_F(VbsetCommand, WithoutABusNoConnectionIsPossible)
{
    const auto ended = Run({ASK_SERVICE, "8:EMPTY:EMPTY:EMPTY"}, {"--no-bus"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output, "");
}

TEST_F(VbsetCommand, FaultsAreOnForOneRunAndThoseOfTheDescriptionsForAll)
{
    Edit(Tv() / "tv.toml", "[faults]", "[faults]\n\"service.reply.8\" = \"8:0:7\"\n\"service.reply.3\" = \"3:5:0\"");
    const Strings ask = {ASK_SERVICE, "8:EMPTY:EMPTY:EMPTY", "3:/opt/tv:EMPTY:EMPTY", "9:1:EMPTY:EMPTY"};
    EXPECT_EQ(Run(ask, {"--fault", "service.reply.8=8:0:a=b", "--fault", "service.reply.9="}).output,
              "8:0:a=b\n3:5:0\n\n");
    EXPECT_EQ(Run(ask).output, "8:0:7\n3:5:0\n9:0:0\n");
}

TEST_F(VbsetCommand, FaultsOfARunEndWithIt)
{
    EXPECT_EQ(Shell("cat \"$VBSET_TV/volatile/faults\"", {"--fault", "serdes.polls=never"}).output,
              "serdes.polls=never\n");
    EXPECT_EQ(Show(Tv())["volatile"]["faults"], json::object());
}

TEST_F(VbsetCommand, RunNamesTheFaultsThatNothingAskedFor)
{
    const auto never = [](const std::string& fault) {
        return "vbset: the fault " + fault + " was never met: nothing in this run asked for it\n";
    };
    // One of each way to ask: a path, a command of the service, what the service answers, a function of the platform.
    const Strings ask = {ASK_SERVICE, "0:mkdir -p /opt/tv/made:EMPTY:EMPTY"};
    EXPECT_EQ(Shell("cat /dev/mtdblock3 >/dev/null", {"--fault", "read./dev/mtdblock3=short:1"}).errors, "");
    EXPECT_EQ(Run({"cat", "/dev/mtdblock3"}, {"--fault", "read./dev/mtdblok3=short:1"}).errors,
              never("read./dev/mtdblok3=short:1"));
    EXPECT_EQ(Run(ask, {"--fault", "service.mkdir=1"}).errors, "");
    EXPECT_EQ(Run(ask, {"--fault", "service.mkdir.-p./opt=1", "--fault", "local.mkdir=1"}).errors,
              never("local.mkdir=1") + never("service.mkdir.-p./opt=1"));
    EXPECT_EQ(Run(ask, {"--fault", "service.reply.0=x", "--fault", "service.reply.1=x"}).errors,
              never("service.reply.1=x"));
    EXPECT_EQ(Run(ask, {"--fault", "service.mkdir=1", "--fault", "service.reply.0=x"}).errors, "")
        << "met in this run, and not only in one before";
    EXPECT_EQ(Run({"true"}, {"--fault", "service.mkdir=1"}).errors, never("service.mkdir=1"));
}

TEST_F(VbsetCommand, FaultsOfTheDescriptionsAreNotNamed)
{
    Edit(Tv() / "tv.toml", "[faults]", "[faults]\n\"service.reply.8\" = \"8:0:7\"");
    EXPECT_EQ(Run({"true"}).errors, "");
}

TEST_F(VbsetCommand, AnAbsentServiceIsNotStarted)
{
    const auto ended = Run({ASK_SERVICE, "8:EMPTY:EMPTY:EMPTY"}, {"--fault", "service.state=absent"});
    EXPECT_EQ(ended.output, "org.freedesktop.DBus.Error.ServiceUnknown\n");
}

TEST_F(VbsetCommand, SleepsTakeTheirTimeOnlyInRealTime)
{
    const auto secondsForSleep = [this](const std::string& seconds, const Strings& options) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(Run({ASK_SERVICE, "sleep", seconds}, options).status, 0);
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    EXPECT_LT(secondsForSleep("60", {}), 60.0);
    EXPECT_GE(secondsForSleep("2", {"--real-time"}), 2.0);
}

TEST_F(VbsetCommand, ATimeoutEndsTheProgramAndSaysWhereItWas)
{
    const auto ended = Shell("cat /dev/mtdblock3 >/dev/null; while :; do :; done", {"--timeout", "3"});
    EXPECT_EQ(ended.status, 124);
    EXPECT_EQ(ended.errors.rfind("vbset: sh did not end within 3 s and is ended; last in the trace: {\"n\":", 0), 0U)
        << ended.errors;
    EXPECT_NE(ended.errors.find("/dev/mtdblock3"), std::string::npos) << ended.errors;
}

TEST_F(VbsetCommand, ATimeoutEndsAProgramThatIgnoresIt)
{
    EXPECT_EQ(Shell("trap '' TERM; while :; do :; done", {"--timeout", "0.2"}).status, 124);
}

/** `vbset run` in the background, with what its program printed first. */
class Background {
 public:
    Background(const fs::path& tv, const fs::path& box, const std::string& script)
    {
        vbset::Launch launch;
        launch.program = "/bin/sh";
        launch.environment = vbset::Environment({});
        const fs::path output = tv.parent_path() / "output";
        launch.arguments = {"sh", "-c", "exec \"$@\" >'" + output.string() + "'", "sh", VBSET_COMMAND, "run", tv, box, "--",
                            "sh", "-c", script};
        EXPECT_EQ(mkfifo(output.c_str(), 0600), 0);
        process_ = vbset::Start(launch);
        std::ifstream(output) >> pid >> address;
    }
    pid_t Process() const { return process_; }
    int Wait() const { return vbset::WaitFor(process_); }

    pid_t pid = 0;
    std::string address;

 private:
    pid_t process_;
};

TEST_F(VbsetCommand, ASignalToTheRunReachesTheProgram)
{
    const Background run(Tv(), Box(), "trap 'exit 42' TERM; echo $$ $DBUS_SYSTEM_BUS_ADDRESS; while :; do :; done");
    ASSERT_GT(run.pid, 0);
    kill(run.Process(), SIGTERM);
    EXPECT_EQ(vbset::ExitStatus(run.Wait()), 42);
}

TEST_F(VbsetCommand, AKilledRunLeavesNoBusBehind)
{
    const Background run(Tv(), Box(), "echo $$ $DBUS_SYSTEM_BUS_ADDRESS; exec sleep 1000");
    ASSERT_NE(run.address, "");
    ServiceClient client(run.address);
    ASSERT_TRUE(client.IsThere());
    kill(run.Process(), SIGKILL);
    run.Wait();
    client.WaitForClose();
    EXPECT_THROW(ServiceClient again(run.address), std::runtime_error);
}

TEST_F(VbsetCommand, WhatIsMountedStaysUntilTheSetIsSwitchedOff)
{
    EXPECT_EQ(Run({ASK_SERVICE, "0:/bin/spi_init.sh mount data_sync:EMPTY:EMPTY"}).output, "0:0:0\n");
    EXPECT_EQ(Run({"true"}).status, 0);
    EXPECT_EQ(Show(Tv())["volatile"]["mounted"], json({"data_sync"}));
    EXPECT_EQ(Vbset({"off", Tv(), Box()}).status, 0);
    EXPECT_EQ(Show(Tv())["on"], false);
    EXPECT_EQ(Run({"true"}).status, 0);
    EXPECT_EQ(Show(Tv())["volatile"]["mounted"], json::array());
}

}  // namespace
