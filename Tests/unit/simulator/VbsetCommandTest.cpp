/** The command `vbset` as a user calls it: real processes, real bus, real directories. */
#include <Set.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "Process.h"
#include "Program.h"
#include "ServiceClient.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using Strings = std::vector<std::string>;

std::string ReadFile(const fs::path& file)
{
    std::ostringstream bytes;
    bytes << std::ifstream(file).rdbuf();
    return bytes.str();
}

class VbsetCommand : public testing::Test {
 protected:
    VbsetCommand()
    {
        std::string name = testing::TempDir() + "vbset-command-XXXXXX";
        directory_ = mkdtemp(name.data());
        vbset::Create("tv15", Tv());
        vbset::Create("box15", Box());
    }
    ~VbsetCommand() override { fs::remove_all(directory_); }

    const fs::path& Directory() const { return directory_; }
    fs::path Tv() const { return directory_ / "tv"; }
    fs::path Box() const { return directory_ / "box"; }

    static program::Ended Vbset(Strings words)
    {
        words.insert(words.begin(), VBSET_COMMAND);
        return program::Run(words);
    }

    program::Ended Run(const Strings& words, const Strings& options = {}) const
    {
        Strings all = {"run", Tv(), Box()};
        all.insert(all.end(), options.begin(), options.end());
        all.push_back("--");
        all.insert(all.end(), words.begin(), words.end());
        return Vbset(all);
    }

    program::Ended Shell(const std::string& script, const Strings& options = {}) const
    {
        return Run({"sh", "-c", script}, options);
    }

    json Show(const fs::path& side) const { return json::parse(Vbset({"show", side, "--json"}).output); }

    /** Every file and directory with its contents. */
    std::map<std::string, std::string> Snapshot() const
    {
        std::map<std::string, std::string> all;
        for (const auto& entry : fs::recursive_directory_iterator(directory_)) {
            all[entry.path()] = entry.is_regular_file() ? ReadFile(entry.path()) : "";
        }
        return all;
    }

    /** Replaces a text in a file. */
    static void Edit(const fs::path& file, const std::string& before, const std::string& after)
    {
        std::string text = ReadFile(file);
        const std::size_t position = text.find(before);
        ASSERT_NE(position, std::string::npos) << before;
        std::ofstream(file) << text.replace(position, before.size(), after);
    }

    void ExpectRefused(const Strings& words, const std::string& reason) const
    {
        const auto before = Snapshot();
        const program::Ended ended = Vbset(words);
        EXPECT_EQ(ended.status, 2) << testing::PrintToString(words);
        EXPECT_EQ(ended.output, "") << testing::PrintToString(words);
        EXPECT_EQ(std::count(ended.errors.begin(), ended.errors.end(), '\n'), 1) << ended.errors;
        EXPECT_EQ(ended.errors.rfind("vbset: ", 0), 0U) << ended.errors;
        EXPECT_NE(ended.errors.find(reason), std::string::npos) << ended.errors;
        EXPECT_EQ(Snapshot(), before) << testing::PrintToString(words);
    }

 private:
    fs::path directory_;
};

TEST_F(VbsetCommand, RefusesWordsThatItDoesNotKnow)
{
    ExpectRefused({}, "no command was given");
    ExpectRefused({""}, "there is no command ''");
    ExpectRefused({"frobnicate"}, "there is no command 'frobnicate'");
    ExpectRefused({"--frobnicate"}, "--frobnicate");
    ExpectRefused({"show", Tv(), "--frobnicate"}, "--frobnicate");
    ExpectRefused({"show", Tv(), Box(), Tv()}, "At Most 2");
    ExpectRefused({"trace", Tv(), "--kind", "odd"}, "odd");
    ExpectRefused({"off", Tv(), Box(), "now"}, "now");
    ExpectRefused({"show", Tv(), "--", "true"}, "only `vbset run` takes a program");
}

TEST_F(VbsetCommand, RefusesACommandLineWithSomethingMissing)
{
    ExpectRefused({"new"}, "DESCRIPTION is required");
    ExpectRefused({"new", "tv15"}, "DIR is required");
    ExpectRefused({"show"}, "DIR is required");
    ExpectRefused({"run", "--", "true"}, "TV is required");
    ExpectRefused({"run", Tv(), "--", "true"}, "BOX is required");
    ExpectRefused({"run", Tv(), Box()}, "no program");
    ExpectRefused({"run", Tv(), Box(), "--"}, "no program");
    ExpectRefused({"run", Tv(), Box(), "true"}, "true");
    ExpectRefused({"run", Tv(), Box(), "--fault", "--", "true"}, "--fault");
    ExpectRefused({"diff", Tv()}, "DIR");
    ExpectRefused({"off", Tv()}, "BOX is required");
    ExpectRefused({"trace"}, "TV is required");
}

TEST_F(VbsetCommand, RefusesDirectoriesThatAreNotThere)
{
    const std::string missing = Directory() / "missing";
    ExpectRefused({"show", missing}, missing);
    ExpectRefused({"show", Tv(), missing}, missing);
    ExpectRefused({"show", Directory()}, "neither a TV nor a box");
    ExpectRefused({"run", missing, Box(), "--", "true"}, missing);
    ExpectRefused({"run", Tv(), missing, "--", "true"}, missing);
    ExpectRefused({"run", Box(), Tv(), "--", "true"}, "tv.toml");
    ExpectRefused({"trace", missing}, missing);
    ExpectRefused({"trace", Box()}, "tv.toml");
    ExpectRefused({"diff", Tv(), missing}, missing);
    ExpectRefused({"diff", Tv(), Box()}, "cannot be compared");
    ExpectRefused({"off", Tv(), missing}, missing);
    ExpectRefused({"new", "tv15", missing + "/tv"}, missing);
}

TEST_F(VbsetCommand, RefusesDescriptionsThatItCannotUse)
{
    const std::string made = Directory() / "made";
    ExpectRefused({"new", "tv99", made}, "tv99");
    ExpectRefused({"new", Directory() / "missing.toml", made}, "missing.toml");
    ExpectRefused({"new", "tv15", Tv()}, "exists");
    std::ofstream(Directory() / "half.toml") << "kind = \"tv\"\nname = ";
    ExpectRefused({"new", Directory() / "half.toml", made}, "half.toml:2");
    std::ofstream(Directory() / "odd.toml") << "kind = \"radio\"\n";
    ExpectRefused({"new", Directory() / "odd.toml", made}, "'kind'");
    Edit(Tv() / "tv.toml", "year = 15", "year = \"fifteen\"");
    ExpectRefused({"show", Tv()}, "'year'");
    ExpectRefused({"trace", Tv()}, "'year'");
    ExpectRefused({"run", Tv(), Box(), "--", "true"}, "'year'");
}

TEST_F(VbsetCommand, RefusesFaultsThatItDoesNotHave)
{
    const auto refuse = [this](const std::string& fault, const std::string& reason) {
        ExpectRefused({"run", Tv(), Box(), "--fault", fault, "--", "true"}, reason);
    };
    refuse("serdes.polls", "KEY=VALUE");
    refuse("=never", "KEY=VALUE");
    refuse("serdes.poll=never", "serdes.poll");
    refuse("serdes.polls=often", "often");
    refuse("service.state=odd", "odd");
    refuse("path./dev/mtdblock3=EODD", "EODD");
    ExpectRefused({"run", Tv(), Box(), "--timeout", "soon", "--", "true"}, "--timeout");
    ExpectRefused({"run", Tv(), Box(), "--timeout", "0", "--", "true"}, "--timeout");
}

TEST_F(VbsetCommand, RefusesASetThatAnotherRunIsUsing)
{
    vbset::Create("tv15", Directory() / "other");
    const std::string nested = VBSET_COMMAND;
    const auto ended = Shell(nested + " run " + Tv().string() + " " + Box().string() + " -- true; echo $?; " + nested +
                             " run " + (Directory() / "other").string() + " " + Box().string() + " -- true; echo $?; " +
                             nested + " off " + Tv().string() + " " + Box().string() + "; echo $?");
    EXPECT_EQ(ended.output, "2\n2\n2\n");
    EXPECT_EQ(ended.errors, "vbset: " + Tv().string() + " is in use by another run\nvbset: " + Box().string() +
                                " is in use by another run\nvbset: " + Tv().string() + " is in use by another run\n");
    EXPECT_EQ(Shell("exit 0").status, 0) << "free again";
}

TEST_F(VbsetCommand, HelpIsThereForEveryWord)
{
    for (const Strings& words : {Strings{"--help"}, {"list", "--help"}, {"new", "--help"}, {"show", "--help"},
                                 {"run", "--help"}, {"trace", "--help"}, {"diff", "--help"}, {"off", "--help"}}) {
        const auto ended = Vbset(words);
        EXPECT_EQ(ended.status, 0) << words.front();
        EXPECT_NE(ended.output.find("Usage: vbset"), std::string::npos) << ended.output;
        EXPECT_EQ(ended.errors, "") << words.front();
    }
    EXPECT_NE(Vbset({"run", "--help"}).output.find("-- PROGRAM [ARGS...]"), std::string::npos);
}

TEST_F(VbsetCommand, ListNamesThePackagedDescriptions)
{
    const auto ended = Vbset({"list"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_NE(ended.output.find("\ntv15 "), std::string::npos) << ended.output;
    EXPECT_NE(ended.output.find("\nbox15 "), std::string::npos) << ended.output;
}

TEST_F(VbsetCommand, NewMakesEitherSideAlsoUnderARelativeName)
{
    const std::string vbset = VBSET_COMMAND;
    const auto ended = program::Run({"sh", "-c", "cd " + Directory().string() + " && " + vbset + " new tv14 t && " +
                                                     vbset + " new " + (Box() / "box.toml").string() + " ./b"});
    EXPECT_EQ(ended.status, 0) << ended.errors;
    EXPECT_EQ(Show(Directory() / "t")["description"]["year"], 14);
    EXPECT_EQ(Show(Directory() / "b")["name"], "box15");
}

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
        program::Run({"sh", "-c", "cd " + Directory().string() + " && " + vbset + " run tv ./box -- ./program"});
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
    const auto ended = program::Run({"sh", "-c", "echo through | " + vbset + " run " + Tv().string() + " " +
                                                     Box().string() + " -- sh -c 'cat; echo aside >&2'"});
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

TEST_F(VbsetCommand, AnAbsentServiceIsNotStarted)
{
    const auto ended = Run({ASK_SERVICE, "8:EMPTY:EMPTY:EMPTY"}, {"--fault", "service.state=absent"});
    EXPECT_EQ(ended.output, "org.freedesktop.DBus.Error.ServiceUnknown\n");
}

TEST_F(VbsetCommand, SleepsTakeTheirTimeOnlyInRealTime)
{
    const auto seconds = [this](const Strings& options) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(Run({ASK_SERVICE, "sleep"}, options).status, 0);
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    EXPECT_LT(seconds({}), 1.9);
    EXPECT_GE(seconds({"--real-time"}), 2.0);
}

TEST_F(VbsetCommand, ATimeoutEndsTheProgramAndSaysWhereItWas)
{
    const auto ended = Shell("cat /dev/mtdblock3 >/dev/null; while :; do :; done", {"--timeout", "0.3"});
    EXPECT_EQ(ended.status, 124);
    EXPECT_EQ(ended.errors.rfind("vbset: sh did not end within 0.3 s and is ended; last in the trace: {\"n\":", 0), 0U)
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
        launch.arguments = {"sh", "-c", "exec \"$@\" >" + output.string(), "sh", VBSET_COMMAND, "run", tv, box, "--",
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

TEST_F(VbsetCommand, ShowTellsWhatTheSidesAreAndHold)
{
    vbset::Set set(Tv(), Box());
    set.WriteEeprom(0xF211, {0xAA});
    std::ofstream(Box() / "nonvolatile/archive.tar.gz") << "abc";
    ASSERT_EQ(Run({"true"}, {"--fault", "serdes.polls=never"}).status, 0);
    const json tv = Show(Tv());
    EXPECT_EQ(tv["side"], "tv");
    EXPECT_EQ(tv["description"]["year"], 15);
    EXPECT_EQ(tv["joined"], Box().string());
    EXPECT_EQ(tv["holds"]["mac"], "02:00:5E:10:00:15");
    EXPECT_EQ(tv["holds"]["eeprom"]["F211"], "AA");
    EXPECT_EQ(tv["volatile"]["gpio"]["153"], 1);
    EXPECT_EQ(tv["volatile"]["buffer_ic"], 1);
    EXPECT_EQ(tv["volatile"]["tuner_mute"], 0);
    EXPECT_EQ(tv["volatile"]["module_loaded"], false);
    EXPECT_EQ(tv["volatile"]["faults"]["serdes.polls"], "never");
    const json box = Show(Box());
    EXPECT_EQ(box["items"]["count"], 44);
    EXPECT_EQ(box["holds"]["boot_partition"], 0);
    EXPECT_EQ(box["holds"]["mac_block"], "FF:FF:FF:FF:FF:FF");
    EXPECT_EQ(box["holds"]["archive"]["sha256"], "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(json::parse(Vbset({"show", Tv(), Box(), "--json"}).output), json({tv, box}));

    const std::string text = Vbset({"show", Tv(), Box()}).output;
    EXPECT_NE(text.find("  power flag       AA: a migration is in progress or was cut short\n"), std::string::npos)
        << text;
    EXPECT_NE(text.find("  faults           serdes.polls=never\n"), std::string::npos) << text;
    EXPECT_NE(text.find("  items            44, sha256 "), std::string::npos) << text;
    EXPECT_NE(text.find("  archive          3 bytes, sha256 ba7816bf8f01cfea\n"), std::string::npos) << text;
}

TEST_F(VbsetCommand, DiffFindsNothingBetweenEqualSides)
{
    vbset::Create("box15", Directory() / "other");
    const auto ended = Vbset({"diff", Box(), Directory() / "other"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, "");
}

TEST_F(VbsetCommand, DiffTellsEachThingThatDiffers)
{
    vbset::Create("box15", Directory() / "other");
    vbset::Set other(Tv(), Directory() / "other");
    const std::uint32_t uid = vbset::ItemIds(44).front();
    other.WriteFactoryItem(uid, {2, {0x0A, 0x0B}});
    other.WriteMacBlock({1, 2, 3, 4, 5, 6});
    std::ofstream(Directory() / "other/nonvolatile/migration/file") << "abc";
    vbset::Set(Tv(), Box()).WriteFactoryItem(uid, {1, {0x0A}});
    const auto ended = Vbset({"diff", Box(), Directory() / "other"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output, "file migration/file\n  - none\n  + 3 bytes, sha256 ba7816bf8f01cfea\n"
                            "item " + std::to_string(uid) + "\n  - type 1, 1 bytes 0A\n  + type 2, 2 bytes 0A0B\n"
                            "mac_block\n  - FF:FF:FF:FF:FF:FF\n  + 01:02:03:04:05:06\n");
}

TEST_F(VbsetCommand, DiffComparesTvsToo)
{
    vbset::Create("tv15", Directory() / "other");
    vbset::Set(Directory() / "other", Box()).WriteEeprom(0xF211, {0xAA});
    const auto ended = Vbset({"diff", Tv(), Directory() / "other"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output, "EEPROM F211\n  - FF\n  + AA\n");
}

TEST_F(VbsetCommand, TraceShowsTheRuns)
{
    EXPECT_EQ(Vbset({"trace", Tv()}).errors, "vbset: nothing has run on " + Tv().string() + " yet\n");
    ASSERT_EQ(Run({"cat", "/dev/mtdblock3"}).status, 0);
    ASSERT_EQ(Run({ASK_SERVICE, "3:/opt/tv:EMPTY:EMPTY"}).status, 0);

    const std::string all = Vbset({"trace", Tv()}).output;
    EXPECT_EQ(all.rfind("run: cat /dev/mtdblock3\n", 0), 0U) << all;
    EXPECT_NE(all.find("file     open /dev/mtdblock3 O_RDONLY = 0\n"), std::string::npos) << all;
    EXPECT_NE(all.find("     -"), std::string::npos) << all;

    const std::string service = Vbset({"trace", Tv(), "--last", "--kind", "service", "--json"}).output;
    const json line = json::parse(service);
    EXPECT_EQ(line["args"], "3:/opt/tv:EMPTY:EMPTY");
    EXPECT_EQ(line["result"], "3:0:0");
    EXPECT_FALSE(line.contains("n"));
    EXPECT_EQ(Vbset({"trace", Tv(), "--last"}).output.find("/dev/mtdblock3"), std::string::npos);
    EXPECT_EQ(Vbset({"trace", Tv(), "--json"}).output, ReadFile(Tv() / "trace.jsonl"));
}

TEST_F(VbsetCommand, TracePassesOverAHalfWrittenLine)
{
    std::ofstream(Tv() / "trace.jsonl") << "{\"run\":\"x\"}\n{\"n\":1,\"kind\":\"file\",\"ca\n";
    const auto ended = Vbset({"trace", Tv()});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.errors, "vbset: " + (Tv() / "trace.jsonl").string() + ": line 2 is damaged and left out\n");
}

}  // namespace
