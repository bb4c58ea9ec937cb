// Commands, sleeps and requests of a program, and programs that have libvbset-paths.so preloaded.
#include <gio/gio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "SetWithBlanks.h"

extern "C" pid_t vfork(void) noexcept;

namespace fs = std::filesystem;

namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

/** Runs a command line as the library does. @return the wait status */
int RunLine(const char* line)
{
    const pid_t child = vfork();
    if (child == 0) {
        execl("/bin/sh", "/bin/sh", "-c", line, static_cast<char*>(nullptr));
        _exit(errno);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
}

class CommandsTest : public SetWithBlanks {
 protected:
    CommandsTest() { Start("tv15", "box14"); }

    /** Runs a program of the host with the library preloaded. @return what it wrote */
    std::string Preloaded(const std::string& commandLine)
    {
        const fs::path out = Temporary() / "out";
        const std::string preload = PreloadedLibraries();
        const pid_t child = fork();
        if (child == 0) {
            if (std::freopen(out.c_str(), "w", stdout) == nullptr) _exit(99);
            setenv("LD_PRELOAD", preload.c_str(), 1);
            setenv("ASAN_OPTIONS", "detect_leaks=0", 1);  // the host's programs are not ours to mend
            execlp("env", "env", "sh", "-c", commandLine.c_str(), static_cast<char*>(nullptr));
            _exit(98);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << commandLine;
        return ReadFile(out);
    }

    /** The library, and before it the run-time library of the sanitizer that it is built with, if any. */
    static std::string PreloadedLibraries()
    {
        std::string runtime;
        std::ifstream maps("/proc/self/maps");
        for (std::string line; runtime.empty() && std::getline(maps, line);) {
            for (const char* name : {"/libasan.so", "/libtsan.so"}) {
                if (line.find(name) != std::string::npos) runtime = line.substr(line.find('/')) + ":";
            }
        }
        return runtime + vbset::PreloadedPathsLibrary();
    }
};

TEST_F(CommandsTest, LineForTheShellIsRunByTheSetsShell)
{
    const int status = RunLine("/bin/spi_init.sh mount  data_sync");
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(Set().IsMounted("data_sync"));
    ASSERT_THAT(Trace(), SizeIs(1));
    EXPECT_EQ(Trace()[0].kind, "command");
    EXPECT_EQ(Trace()[0].call, "/bin/spi_init.sh mount  data_sync");
    EXPECT_EQ(Trace()[0].result, "0");
}

TEST_F(CommandsTest, OtherCommandsOfTheHostAreRefused)
{
    const fs::path target = Temporary() / "made";
    EXPECT_EQ(WEXITSTATUS(RunLine(("/usr/bin/touch " + target.string()).c_str())), 126);
    EXPECT_EQ(WEXITSTATUS(RunLine("true")), 126);
    EXPECT_FALSE(fs::exists(target));
    EXPECT_EQ(Trace({"command"}).back().result, "126");
}

TEST_F(CommandsTest, KilledCommandShowsTheSignal)
{
    Fault("local.spi_init.sh.mount.data_sync", "kill");
    const int status = RunLine("/bin/spi_init.sh mount  data_sync");
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(Trace({"command"})[0].result, "signal 9");
    EXPECT_FALSE(Set().IsMounted("data_sync"));
}

TEST_F(CommandsTest, CommandRunsWithoutThisPreloadButWithOthers)
{
    // The dynamic linker complains of each library that it is told to preload and cannot find.
    setenv("LD_PRELOAD", "/nonexistent/first.so:/nonexistent/libvbset-paths.so /nonexistent/last.so", 1);
    const fs::path complaints = Temporary() / "complaints";
    const int kept = dup(STDERR_FILENO);
    ASSERT_NE(std::freopen(complaints.c_str(), "w", stderr), nullptr);
    const int status = RunLine("mkdir -p /opt/tv/made");
    std::fflush(stderr);
    dup2(kept, STDERR_FILENO);
    close(kept);
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_THAT(ReadFile(complaints), HasSubstr("'/nonexistent/first.so'"));
    EXPECT_THAT(ReadFile(complaints), HasSubstr("'/nonexistent/last.so'"));
    EXPECT_THAT(ReadFile(complaints), Not(HasSubstr("libvbset-paths.so")));
}

TEST_F(CommandsTest, CommandKnowsThatItRunsInTheCallersProcess)
{
    setenv("VBSET_SIDE", "service", 1);
    Fault("service.mkdir", "5");
    EXPECT_EQ(WEXITSTATUS(RunLine("mkdir -p /opt/tv/made")), 0);
    EXPECT_THAT(ReadFile(Set().TvDirectory() / "trace.jsonl"), HasSubstr("\"side\":\"local\""));
}

TEST_F(CommandsTest, OtherProgramsAreStartedAsTheyAre)
{
    const pid_t child = vfork();
    if (child == 0) {
        execl("/bin/sh", "sh", "-e", "-c", "exit $1", "sh", "7", static_cast<char*>(nullptr));
        _exit(errno);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 7);
    EXPECT_THAT(Trace(), IsEmpty());
}

TEST_F(CommandsTest, CommandsOfSeveralThreadsAreTracedEachWithItsOwnStatus)
{
    constexpr int threads = 4;
    Fault("local.mkdir.-p.two", "2");
    std::vector<std::thread> workers;
    for (int i = 0; i < threads; ++i) {
        workers.emplace_back([i]() {
            const bool two = i % 2 == 0;
            for (int round = 0; round < 5; ++round) {
                EXPECT_EQ(WEXITSTATUS(RunLine(two ? "mkdir -p /opt/tv/two" : "mkdir -p /opt/tv/zero")), two ? 2 : 0);
            }
        });
    }
    for (std::thread& worker : workers) worker.join();
    const auto seen = Trace({"command"});
    EXPECT_THAT(seen, SizeIs(threads * 5));
    for (const Interaction& command : seen) {
        EXPECT_EQ(command.result, command.call == "mkdir -p /opt/tv/two" ? "2" : "0");
    }
}

TEST_F(CommandsTest, SleepTakesNoTimeAndIsTraced)
{
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(usleep(20000000), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(10));
    ASSERT_THAT(Trace({"sleep"}), SizeIs(1));
    EXPECT_EQ(Trace({"sleep"})[0].args, "20000000");
}

TEST_F(CommandsTest, SleepTakesItsTimeInRealTime)
{
    setenv("VBSET_REAL_TIME", "1", 1);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(usleep(50000), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(50));
    EXPECT_THAT(Trace({"sleep"}), SizeIs(1));
}

TEST_F(CommandsTest, PreloadedProgramSeesTheSet)
{
    Set().WriteMacBlock({'a', 'b', 'c', 'd', 'e', 'f'});
    EXPECT_EQ(Preloaded("cat /dev/mtdblock3"), "abcdef");
    EXPECT_EQ(Preloaded("mkdir /opt/tv/dir && ls /opt/tv"), "dir\nmigration\n");
    EXPECT_EQ(Preloaded("rm -r /opt/tv/dir && ls /opt/tv"), "migration\n");
    EXPECT_THAT(Trace({"file"}), Not(IsEmpty()));
}

TEST_F(CommandsTest, PreloadedProgramOffTheSetIsLeftAlone)
{
    unsetenv("VBSET_TV");
    unsetenv("VBSET_BOX");
    EXPECT_EQ(Preloaded("echo x | cat"), "x\n");
    EXPECT_THAT(Trace(), IsEmpty());
}

/** Asks the service as the library does, by an asynchronous call on a proxy. */
class RequestsTest : public OnSet {
 protected:
    RequestsTest()
    {
        Start("tv15", "box15");
        StartService();
    }

    std::string Ask(const char* method, const char* request, int milliseconds = -1)
    {
        GError* error = nullptr;
        GDBusProxy* proxy = g_dbus_proxy_new_for_bus_sync(G_BUS_TYPE_SYSTEM, G_DBUS_PROXY_FLAGS_NONE, nullptr,
                                                          "com.vornbox.migration", "/com/vornbox/migration",
                                                          "com.vornbox.migration", nullptr, &error);
        if (proxy == nullptr) {
            const std::string text = error->message;
            g_error_free(error);
            return text;
        }
        answer_.clear();
        g_dbus_proxy_call(proxy, method, g_variant_new("(s)", request), G_DBUS_CALL_FLAGS_NONE, milliseconds, nullptr,
                          Take, this);
        while (answer_.empty()) g_main_context_iteration(nullptr, TRUE);
        g_object_unref(proxy);
        return answer_;
    }

 private:
    static void Take(GObject* source, GAsyncResult* result, gpointer data)
    {
        GError* error = nullptr;
        GVariant* reply = g_dbus_proxy_call_finish(G_DBUS_PROXY(source), result, &error);
        std::string& answer = static_cast<RequestsTest*>(data)->answer_;
        answer = "no reply";
        if (reply == nullptr) {
            g_error_free(error);
            return;
        }
        const char* text = nullptr;
        g_variant_get(reply, "(&s)", &text);
        answer = text;
        g_variant_unref(reply);
    }

    std::string answer_;
};

TEST_F(RequestsTest, RequestIsTracedWithItsReply)
{
    EXPECT_EQ(Ask("ExecuteUserShell", "8:x:x:x"), "8:0:0");
    const auto seen = Trace({"request"});
    ASSERT_THAT(seen, SizeIs(1));
    EXPECT_EQ(seen[0].call, "8:x:x:x");
    EXPECT_EQ(seen[0].result, "8:0:0");
}

TEST_F(RequestsTest, RequestWithoutAReplyIsTracedWithTheError)
{
    Fault("service.state", "error");
    EXPECT_EQ(Ask("ExecuteUserShell", "8:x:x:x"), "no reply");
    ASSERT_THAT(Trace({"request"}), SizeIs(1));
    EXPECT_THAT(Trace({"request"})[0].result, HasSubstr("error: "));
}

TEST_F(RequestsTest, OtherMethodsAreNoRequests)
{
    EXPECT_EQ(Ask("SomethingElse", "8:x:x:x"), "no reply");
    EXPECT_THAT(Trace({"request"}), IsEmpty());
}

}  // namespace
