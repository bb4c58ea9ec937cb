/** @file
 * A test that executes command lines of the set with its shell, on directories with blanks in their names.
 */
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "SetWithBlanks.h"

class CommandLines : public SetWithBlanks {
 protected:
    /** A set whose TV has these further lines of description. */
    void StartWith(const std::string& lines, const std::string& box = "box14")
    {
        const auto file = Temporary() / "described.toml";
        WriteFile(file, "kind = \"tv\"\nname = \"t\"\nyear = 15\nmain_chip = 1\nmac = \"02:00:5E:10:00:15\"\n" + lines);
        Start(file.string(), box);
    }

    /** @return the wait status */
    int Wait(const std::string& line, const char* side = "local")
    {
        const std::string shell = vbset::LibexecDirectory() / "vbset-sh";
        messages_ = Temporary() / "messages";
        const pid_t child = fork();
        if (child == 0) {
            setenv("VBSET_SIDE", side, 1);
            if (std::freopen(messages_.c_str(), "w", stderr) == nullptr) _exit(99);
            execl(shell.c_str(), "vbset-sh", "-c", line.c_str(), static_cast<char*>(nullptr));
            _exit(98);
        }
        int status = -1;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return status;
    }
    int Run(const std::string& line, const char* side = "local")
    {
        const int status = Wait(line, side);
        EXPECT_TRUE(WIFEXITED(status)) << line;
        return WEXITSTATUS(status);
    }
    int Script(const std::string& word) { return Run("/usr/bin/MigrationScript.sh " + word); }
    std::string Messages() { return ReadFile(messages_); }

    std::filesystem::path OnHost(const std::string& path) { return Set().Map(path).value(); }
    bool IsOnSet(const std::string& path)
    {
        return std::filesystem::exists(std::filesystem::symlink_status(OnHost(path)));
    }
    void Put(const std::string& path, const std::string& text)
    {
        std::filesystem::create_directories(OnHost(path).parent_path());
        WriteFile(OnHost(path), text);
    }
    bool ModuleIsLoaded() { return std::filesystem::exists(Set().TvDirectory() / "volatile/module"); }
    std::size_t Entries(const std::filesystem::path& directory)
    {
        std::size_t count = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(directory)) ++count;
        return count;
    }

 private:
    std::filesystem::path messages_;
};
