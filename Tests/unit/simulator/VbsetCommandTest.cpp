/** What `vbset` refuses, its help, `list` and `new`. */
#include "VbsetCommand.h"

namespace {

TEST_F(VbsetCommand, RefusesWordsThatItDoesNotKnow)
{
    ExpectRefused({}, "no command was given");
    ExpectRefused({""}, "there is no command '' (see vbset --help)");
    ExpectRefused({"frobnicate"}, "there is no command 'frobnicate' (see vbset --help)");
    ExpectRefused({"--frobnicate"}, "'--frobnicate' is not expected here (see vbset --help)");
    ExpectRefused({"show", Tv(), "--frobnicate"}, "'--frobnicate' is not expected here (see vbset show --help)");
    ExpectRefused({"show", Tv(), Box(), Tv()}, "'" + Tv().string() + "' is not expected here");
    ExpectRefused({"trace", Tv(), "--kind", "odd"}, "'odd' is no kind: give platform, command, request, ioctl, file, ");
    ExpectRefused({"show", Tv(), "--json=1"}, "--json takes no value");
    ExpectRefused({"off", Tv(), Box(), "now", "then"}, "'now' is not expected here (see vbset off --help)");
    ExpectRefused({"show", Tv(), "--", "true"}, "only `vbset run` takes a program");
}

TEST_F(VbsetCommand, RefusesACommandLineWithSomethingMissing)
{
    ExpectRefused({"new"}, "DESCRIPTION is required");
    ExpectRefused({"new", "tv15"}, "DIR is required");
    ExpectRefused({"show"}, "DIR is required");
    ExpectRefused({"run", "--", "true"}, "TV is required");
    ExpectRefused({"run", Tv(), "--", "true"}, "BOX is required");
    const std::string noProgram = "no program was given: vbset run TV BOX [OPTIONS] -- PROGRAM [ARGS...]";
    ExpectRefused({"run", Tv(), Box()}, noProgram);
    ExpectRefused({"run", Tv(), Box(), "--"}, noProgram);
    ExpectRefused({"run", Tv(), Box(), "true"},
                  "'true' is not expected here (see vbset run --help); the program of a run is written after \"--\"");
    ExpectRefused({"run", Tv(), Box(), "--fault", "--", "true"}, "--fault needs a value");
    ExpectRefused({"diff", Tv()}, "DIR2 is required");
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
    ExpectRefused({"trace", Box()}, "is no TV: it has no tv.toml; the trace of a set lies with its TV");
    ExpectRefused({"diff", Tv(), missing}, missing);
    ExpectRefused({"diff", Tv(), Box()}, "cannot be compared");
    ExpectRefused({"off", Tv(), missing}, missing);
    ExpectRefused({"new", "tv15", missing + "/tv"}, missing);
}

TEST_F(VbsetCommand, RefusesToRunOnADamagedSetAndNamesWhatIsMissing)
{
    const fs::path aside = Directory() / "aside";
    for (const fs::path& part : {Tv() / "nonvolatile", Tv() / "nonvolatile/work", Box() / "nonvolatile/factory",
                                 Box() / "nonvolatile/mac"}) {
        fs::rename(part, aside);
        ExpectRefused({"run", Tv(), Box(), "--", "true"}, "the set is damaged: there is no " + part.string());
        fs::rename(aside, part);
    }
    ASSERT_EQ(Shell("exit 0").status, 0);
    fs::remove(Tv() / "volatile/paths");
    ExpectRefused({"run", Tv(), Box(), "--", "true"},
                  "there is no " + (Tv() / "volatile/paths").string() + "; switch it off and on again: vbset off " +
                      Tv().string() + " " + Box().string());
    EXPECT_EQ(Vbset({"off", Tv(), Box()}).status, 0);
    EXPECT_EQ(Shell("exit 0").status, 0);
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
    refuse("serdes.poll=never", "did you mean serdes.polls?");
    refuse("serdes.polls=often", "often");
    refuse("service.state=odd", "odd");
    refuse("path./dev/mtdblock3=EODD", "EODD");
}

TEST_F(VbsetCommand, RefusesATimeoutThatIsNoTime)
{
    for (const std::string time : {"soon", "0", "-1", "nan", "inf", "1e7", "1x", ""}) {
        ExpectRefused({"run", Tv(), Box(), "--timeout", time, "--", "true"},
                      "'" + time + "' is no time: give seconds, more than 0 and at most 1000000");
    }
}

TEST_F(VbsetCommand, RefusesASideThatIsOnWithAnotherOne)
{
    const fs::path otherTv = Directory() / "other-tv";
    const fs::path otherBox = Directory() / "other-box";
    vbset::Create("tv14", otherTv);
    vbset::Create("box14", otherBox);
    ASSERT_EQ(Shell("exit 0").status, 0);
    const std::string first = "is on with another side; switch that set off first: vbset off " + Tv().string() + " " +
                              Box().string();
    ExpectRefused({"run", otherTv, Box(), "--", "true"}, Box().string() + " " + first);
    ExpectRefused({"run", Tv(), otherBox, "--", "true"}, Tv().string() + " " + first);
    ExpectRefused({"off", otherTv, Box()}, Box().string() + " " + first);
    ExpectRefused({"off", Tv(), otherBox}, Tv().string() + " " + first);
    EXPECT_EQ(Vbset({"off", Tv(), Box()}).status, 0);
    EXPECT_EQ(Vbset({"run", otherTv, Box(), "--", "true"}).status, 0);
    EXPECT_EQ(Vbset({"run", Tv(), otherBox, "--", "true"}).status, 0);
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

TEST_F(VbsetCommand, SaysWhichVersionItIs)
{
    const auto ended = Vbset({"--version"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, "vbset " PROJECT_VERSION "\n");
}

TEST_F(VbsetCommand, ListTellsWhatThePackagedDescriptionsAre)
{
    const auto ended = Vbset({"list"});
    EXPECT_EQ(ended.status, 0);
    for (const std::string line : {"\ntv15                     TV   year 15, 44 items\n",
                                   "\ntv15-newboard            TV   year 15, 44 items, new main board, CI slots: 2\n",
                                   "\ntv17-62                  TV   year 17, 62 items\n",
                                   "\nbox14-legacy             box  year 14, 44 items, a backup of the previous "
                                   "platform\n",
                                   "\nbox15                    box  year 15, 44 items\n"}) {
        EXPECT_NE(ended.output.find(line), std::string::npos) << line << ended.output;
    }
}

TEST_F(VbsetCommand, NewMakesEitherSideAlsoUnderARelativeName)
{
    const std::string vbset = VBSET_COMMAND;
    const auto ended = program::Run({"sh", "-c", "cd '" + Directory().string() + "' && " + vbset +
                                                     " new tv14 t && " + vbset + " new '" +
                                                     (Box() / "box.toml").string() + "' ./b"});
    EXPECT_EQ(ended.status, 0) << ended.errors;
    EXPECT_EQ(Show(Directory() / "t")["description"]["year"], 14);
    EXPECT_EQ(Show(Directory() / "b")["name"], "box15");
}

}  // namespace
