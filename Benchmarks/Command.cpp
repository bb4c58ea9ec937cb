#include <VBMigration.h>

#include <glib.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "Comparison.h"
#include "Groups.h"

namespace bench {

namespace {

constexpr double kLimit = 1.02;
constexpr const char* kCommand = "exit 0";
constexpr std::size_t kMegabyte = 1024 * 1024;

bool Spawn(const char* command)
{
    char shell[] = "/bin/sh";
    char option[] = "-c";
    std::string words = command;
    char* const arguments[] = {shell, option, words.data(), nullptr};
    pid_t child = 0;
    if (posix_spawn(&child, shell, nullptr, nullptr, arguments, environ) != 0) return false;
    int status = 0;
    return waitpid(child, &status, 0) == child && status == 0;
}

bool SpawnThroughGLib(const char* command)
{
    const char* const words[] = {"/bin/sh", "-c", command, nullptr};
    int status = 0;
    return g_spawn_sync(nullptr, const_cast<char**>(words), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, nullptr,
                        nullptr, &status, nullptr) != FALSE &&
           status == 0;
}

/** In a process that runs on no set: the shell is the host's. */
void CompareCommands(std::size_t megabytes, const std::string& size, const std::function<void()>& measure)
{
    std::vector<char> resident(megabytes * kMegabyte);
    std::memset(resident.data(), 1, resident.size());
    Compare("local command, " + size + " resident", kLimit)
        .Library([] { return MigrationCommon::ExecuteUserShell(kCommand, false) == 0; })
        .Floor([] { return Spawn(kCommand); })
        .OrInsideSpread()
        .Instead("system", [] { return std::system(kCommand) == 0; })
        .Instead("g_spawn_sync", [] { return SpawnThroughGLib(kCommand); });
    measure();
}

}  // namespace

std::vector<Group> CommandGroups()
{
    return {{"command-10MB", [](const auto& measure) { CompareCommands(10, "10 MB", measure); }},
            {"command-1GB", [](const auto& measure) { CompareCommands(1024, "1 GB", measure); }}};
}

}  // namespace bench
