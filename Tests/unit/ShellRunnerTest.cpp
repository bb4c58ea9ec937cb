// The shell runner with any command line: this program is not put before the set's paths, so /bin/sh is the host's.

#include <AllocationFailure.h>
#include <TestSet.h>
#include <VBMigration.h>

#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

/** What the next wait gives instead of waiting, 0 for the truth. */
std::atomic<pid_t> falseWaitResult{0};

int timerSignals = 0;

void CountTimerSignal(int)
{
    ++timerSignals;
}

int RunHere(const std::string& command)
{
    return MigrationCommon::ExecuteUserShell(command.c_str(), false);
}

class ShellRunner : public OnSet {
 protected:
    ShellRunner() { Start(); }
};

}  // namespace

extern "C" pid_t waitpid(pid_t child, int* status, int options)
{
    static const auto next = reinterpret_cast<decltype(&::waitpid)>(dlsym(RTLD_NEXT, "waitpid"));
    const pid_t waited = next(child, status, options);
    const pid_t lie = falseWaitResult.exchange(0);
    return lie != 0 ? lie : waited;
}

TEST_F(ShellRunner, GivesZeroForACommandThatSucceeds)
{
    EXPECT_EQ(RunHere("true"), 0);
    EXPECT_THAT(Logged(), ElementsAre(Info("Command to be executed is [true]"),
                                      Info("Command to be executed in this process & not on server is [true]"),
                                      Info("status of the Shell is [0] "), Info("After Convertions Return val [0] ")));
    for (const LogLine& line : Log()) {
        EXPECT_EQ(line.unit, "MigrationCommon.cpp");
        EXPECT_EQ(line.function, "ExecuteUserShell");
    }
}

TEST_F(ShellRunner, GivesTheExitStatus)
{
    EXPECT_EQ(RunHere("exit 3"), 3);
    EXPECT_THAT(Logged(), ElementsAre(Info("Command to be executed is [exit 3]"),
                                      Info("Command to be executed in this process & not on server is [exit 3]"),
                                      Info("status of the Shell is [768] "),
                                      Info("After Convertions Return val [3] ")));
    EXPECT_EQ(RunHere("exit 255"), 255);
    EXPECT_EQ(RunHere("exit 1"), 1);
}

TEST_F(ShellRunner, GivesTheShellsStatusForACommandThatIsNotFound)
{
    EXPECT_EQ(RunHere("/nonexistent/command 2>/dev/null"), 127);
}

TEST_F(ShellRunner, DoesNotTellASignalFromSuccess)
{
    EXPECT_EQ(RunHere("kill -KILL $$"), 0);
    EXPECT_THAT(Logged(), ::testing::Contains(Info("status of the Shell is [9] ")));
}

TEST_F(ShellRunner, GivesTheWholeLineToTheSystemShellAsOneArgument)
{
    EXPECT_EQ(RunHere("test \"$0\" = /bin/sh && test $# -eq 0"), 0);
    EXPECT_EQ(RunHere("echo 'a  b' | grep -q 'a  b'; exit $(($? + 4))"), 4);
    EXPECT_EQ(RunHere(""), 0);
}

TEST_F(ShellRunner, RunsInTheDirectoryAndEnvironmentOfTheCaller)
{
    setenv("SHELL_RUNNER_TEST", "a value", 1);
    EXPECT_EQ(RunHere("test \"$SHELL_RUNNER_TEST\" = 'a value'"), 0);
    EXPECT_EQ(RunHere("test \"$(pwd -P)\" = '" + std::filesystem::canonical(".").string() + "'"), 0);
}

TEST_F(ShellRunner, WaitsForTheCommand)
{
    const std::filesystem::path file = Temporary() / "written";
    EXPECT_EQ(RunHere("sleep 0.2; echo done > '" + file.string() + "'"), 0);
    EXPECT_EQ(ReadFile(file), "done\n");
}

TEST_F(ShellRunner, ResumesAnInterruptedWait)
{
    struct sigaction action = {};
    action.sa_handler = CountTimerSignal;  // and no SA_RESTART
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often = {{0, 10000}, {0, 10000}};
    setitimer(ITIMER_REAL, &often, nullptr);

    EXPECT_EQ(RunHere("sleep 0.3; exit 5"), 5);

    const itimerval never = {};
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_GT(timerSignals, 0);
    EXPECT_THAT(Logged(), ::testing::Contains(Info("status of the Shell is [1280] ")));
}

TEST_F(ShellRunner, GivesTheByteOfMinusOneWhenTheWaitFails)
{
    std::signal(SIGCHLD, SIG_IGN);  // a child leaves no status behind then: there is none to wait for
    EXPECT_EQ(RunHere("exit 3"), 255);
    EXPECT_THAT(Logged(), ElementsAre(Info("Command to be executed is [exit 3]"),
                                      Info("Command to be executed in this process & not on server is [exit 3]"),
                                      Info("status of the Shell is [-1] "),
                                      Info("After Convertions Return val [255] ")));
}

TEST_F(ShellRunner, GivesTheSameWhenTheWaitNamesAnotherChild)
{
    falseWaitResult = 1;
    EXPECT_EQ(RunHere("exit 3"), 255);
}

TEST_F(ShellRunner, WaitsForItsOwnChildAlone)
{
    const pid_t other = fork();
    if (other == 0) {
        _exit(9);
    }
    siginfo_t ended = {};
    waitid(P_PID, static_cast<id_t>(other), &ended, WEXITED | WNOWAIT);

    EXPECT_EQ(RunHere("exit 3"), 3);

    int status = 0;
    EXPECT_EQ(::waitpid(other, &status, WNOHANG), other);
    EXPECT_EQ(WEXITSTATUS(status), 9);
}

TEST_F(ShellRunner, GivesTheErrorNumberWhenTheShellCannotBeStarted)
{
    const std::string tooLong(1 << 20, ' ');  // longer than any single argument may be
    EXPECT_EQ(RunHere(tooLong + "true"), E2BIG);
}

TEST_F(ShellRunner, GivesMinusOneWhenNoChildCanBeStarted)
{
    const auto runWithoutProcesses = [] {
        const rlimit none = {0, 0};
        // The limit does not hold for root, who becomes somebody else for as long as it matters.
        const bool isRoot = getuid() == 0;
        const bool limited = (!isRoot || setresuid(65534, 65534, 0) == 0) && setrlimit(RLIMIT_NPROC, &none) == 0;
        const int result = RunHere("true");
        const bool isBack = !isRoot || setresuid(0, 0, 0) == 0;
        std::_Exit(limited && isBack && result == -1 ? 0 : 1);
    };
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(runWithoutProcesses(), ::testing::ExitedWithCode(0), "");
}

TEST_F(ShellRunner, LeavesNoChildAndNoDescriptorBehind)
{
    const auto descriptors = [] {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::distance(begin(all), end(all));
    };
    RunHere("true");
    const auto before = descriptors();
    RunHere("exit 9");
    RunHere("/nonexistent 2>/dev/null");
    EXPECT_EQ(descriptors(), before);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(ShellRunner, SendsTheLineToTheServiceWhenAsked)
{
    StartService();
    EXPECT_EQ(MigrationCommon::ExecuteUserShell("mkdir -p /opt/tv/made:by:service", true), 0);
    EXPECT_TRUE(std::filesystem::is_directory(*Set().Map("/opt/tv/made:by:service")));
    EXPECT_THAT(Logged({"ExecuteUserShell"}),
                ElementsAre(Info("Command to be executed is [mkdir -p /opt/tv/made:by:service]"),
                            Info("Command to be executed on server is [mkdir -p /opt/tv/made:by:service]")));
}

TEST_F(ShellRunner, GivesTheServicesStatus)
{
    StartService();
    EXPECT_EQ(MigrationCommon::ExecuteUserShell("/bin/spi_init.sh umount migration", true), 1);
    Fault("service.reply.0", "0:-17:0");
    EXPECT_EQ(MigrationCommon::ExecuteUserShell("/bin/spi_init.sh mount migration", true), -17);
}

TEST_F(ShellRunner, FailsWithoutAClientAndStartsNoProcess)
{
    allocation_failure::FailNothrow(1);
    EXPECT_EQ(MigrationCommon::ExecuteUserShell("touch made", true), -1);
    EXPECT_TRUE(allocation_failure::Stop());
    EXPECT_THAT(Logged(), ElementsAre(Info("Command to be executed is [touch made]"),
                                      Info("Command to be executed on server is [touch made]"),
                                      Error("could not get the g client instance...")));
    EXPECT_FALSE(std::filesystem::exists("made"));
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(ShellRunner, ACommandOnTheServiceNeverRunsHere)
{
    EXPECT_EQ(MigrationCommon::ExecuteUserShell("touch made", true), 0);  // no bus: a failed call reads as success
    EXPECT_FALSE(std::filesystem::exists("made"));
    EXPECT_THAT(Calls({"command"}), IsEmpty());
}
