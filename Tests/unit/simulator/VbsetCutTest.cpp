/** `vbset run --cut`: where the power goes away, and what is left. */
#include <csignal>

#include "VbsetCommand.h"

namespace {

class VbsetCut : public VbsetCommand {
 protected:
    VbsetCut() { fs::create_directories(Root() / "opt/tv"); }

    fs::path Root() const { return Tv() / "nonvolatile/root"; }
    fs::path File(const std::string& name) const { return Root() / "opt/tv" / name; }
    fs::path Migration() const { return Box() / "nonvolatile/migration"; }

    /** What a script finds on the set's files, before any cut. */
    void Place(const std::string& name, const std::string& text) const { std::ofstream(File(name)) << text; }

    /** The number of the interaction of a run that a line of its trace has both texts of. The set is as before then. */
    std::string NumberOf(const Strings& program, const std::string& call, const std::string& args) const
    {
        const fs::path before = Directory() / "before";
        fs::create_directory(before);
        fs::copy(Tv(), before / "tv", fs::copy_options::recursive);
        fs::copy(Box(), before / "box", fs::copy_options::recursive);
        Run(program);
        Vbset({"off", Tv(), Box()});
        std::istringstream lines(ReadFile(Tv() / "trace.jsonl"));
        std::string number = "none";
        for (std::string line; std::getline(lines, line);) {
            const json entry = json::parse(line);
            if (!entry.contains("n") || entry["call"] != call) continue;
            if (entry["args"].get<std::string>().find(args) != std::string::npos) number = entry["n"].dump();
        }
        for (const char* side : {"tv", "box"}) {
            fs::remove_all(Directory() / side);
            fs::rename(before / side, Directory() / side);
        }
        fs::remove_all(before);
        return number;
    }

    void Cut(const Strings& program, const std::string& place) const
    {
        const auto ended = Run(program, {"--cut", place});
        EXPECT_EQ(ended.status, 125) << ended.errors;
        const std::string said = "vbset: the power went away at " + place + "; the set is off\n";
        EXPECT_EQ(ended.errors.substr(ended.errors.size() - std::min(ended.errors.size(), said.size())), said);
        EXPECT_FALSE(fs::exists(Tv() / "volatile"));
    }
};

/** A program that writes a file with one write: the service file, over an old one. */
class CutInAWrite : public VbsetCut {
 protected:
    CutInAWrite()
    {
        fs::create_directories(file_.parent_path());
        std::ofstream(file_) << "old";
        write_ = NumberOf(sync_, "write", "PictureData.dat");
    }
    const fs::path file_ = Root() / "opt/tv/migration/service/PictureData.dat";
    const Strings sync_ = {VBMIGRATION_COMMAND, "sync", "box-to-tv"};
    std::string write_;
};

TEST_F(CutInAWrite, BeforeItNothingIsWritten)
{
    Cut(sync_, write_ + "b");
    EXPECT_EQ(fs::file_size(file_), 0U);
}

TEST_F(CutInAWrite, AfterItAllIsWritten)
{
    Cut(sync_, write_ + "a");
    EXPECT_EQ(fs::file_size(file_), 616U);
}

TEST_F(CutInAWrite, SomeOfItsBytesAreWritten)
{
    Cut(sync_, write_ + "w425");
    EXPECT_EQ(fs::file_size(file_), 425U);
}

TEST_F(CutInAWrite, WhatWasThereBeforeIsBackWhenNothingWasSynced)
{
    Cut(sync_, write_ + "w425-o");
    EXPECT_EQ(ReadFile(file_), "old");
}

TEST_F(VbsetCut, BeforeTheFirstInteractionTheProgramIsNotEvenStarted)
{
    const auto ended = Run({"echo", "started"}, {"--cut", "1b"});
    EXPECT_EQ(ended.status, 125);
    EXPECT_EQ(ended.output, "");
}

TEST_F(VbsetCut, TheProgramLearnsNothingOfWhatTookEffect)
{
    const Strings program = {"sh", "-c", "echo begun; cat /dev/mtdblock3; echo not reached"};
    const std::string close = NumberOf(program, "close", "/dev/mtdblock3");
    const auto ended = Run(program, {"--cut", close + "a"});
    EXPECT_EQ(ended.status, 125);
    EXPECT_EQ(ended.output.rfind("begun\n", 0), 0U);
    EXPECT_EQ(ended.output.find("not reached"), std::string::npos);
}

/** Two files: the first is overwritten, the second is new. */
const Strings writeTwo = {
    "sh", "-c", "echo new >/opt/tv/a && echo new >/opt/tv/b && cat /dev/mtdblock3 >/dev/null && echo end >/opt/tv/end"};

class LettersOfACut : public VbsetCut {
 protected:
    /** Cuts where both files are written and neither is synced. */
    void CutAfterBoth(const std::string& letters) const
    {
        Place("a", "old");
        Cut(writeTwo, NumberOf(writeTwo, "close", "/dev/mtdblock3") + "a" + letters);
        EXPECT_FALSE(fs::exists(File("end")));
    }
    std::string A() const { return ReadFile(File("a")); }
    std::string B() const { return fs::exists(File("b")) ? ReadFile(File("b")) : "not there"; }
};

TEST_F(LettersOfACut, WithoutAnyFilesAreAsTheyWereWritten)
{
    CutAfterBoth("");
    EXPECT_EQ(A(), "new\n");
    EXPECT_EQ(B(), "new\n");
}

TEST_F(LettersOfACut, NLeavesFilesAsTheyWereWritten)
{
    CutAfterBoth("-n");
    EXPECT_EQ(A(), "new\n");
    EXPECT_EQ(B(), "new\n");
}

TEST_F(LettersOfACut, OLosesWhatWasNotSynced)
{
    CutAfterBoth("-o");
    EXPECT_EQ(A(), "old");
    EXPECT_EQ(B(), "not there");
}

TEST_F(LettersOfACut, ZLeavesZerosInThePlaceOfData)
{
    CutAfterBoth("-z");
    EXPECT_EQ(A(), std::string(4, '\0'));
    EXPECT_EQ(B(), std::string(4, '\0'));
}

TEST_F(LettersOfACut, EachIsForOneFileInTheOrderOfNames)
{
    CutAfterBoth("-on");
    EXPECT_EQ(A(), "old");
    EXPECT_EQ(B(), "new\n");
}

TEST_F(LettersOfACut, TheLastOneIsForAllThatAreLeft)
{
    CutAfterBoth("-nz");
    EXPECT_EQ(A(), "new\n");
    EXPECT_EQ(B(), std::string(4, '\0'));
}

TEST_F(VbsetCut, WhatWasSyncedSurvives)
{
    const Strings program = {"sh", "-c", "echo new >/opt/tv/a; sync /opt/tv/a; cat /dev/mtdblock3"};
    Place("a", "old");
    Cut(program, NumberOf(program, "close", "/dev/mtdblock3") + "a-o");
    EXPECT_EQ(ReadFile(File("a")), "new\n");
}

TEST_F(VbsetCut, ARemovedFileIsBackWhenThatWasNotSynced)
{
    const Strings program = {"sh", "-c", "rm /opt/tv/a; cat /dev/mtdblock3"};
    Place("a", "old");
    Cut(program, NumberOf(program, "close", "/dev/mtdblock3") + "a-o");
    EXPECT_EQ(ReadFile(File("a")), "old");
}

TEST_F(VbsetCut, TheRawMacBlockKeepsItsLengthAndZIsWhatItHeld)
{
    const Strings dump = {VBMIGRATION_COMMAND, "dump"};
    const std::string blank(6, '\xFF');
    vbset::Set(Tv(), Box()).WriteMacBlock(std::vector<unsigned char>(6, 0xFF));
    const std::string write = NumberOf(dump, "write", "/dev/mtdblock3");
    Cut(dump, write + "a-z");
    EXPECT_EQ(ReadFile(Box() / "nonvolatile/mac"), blank);
    Cut(dump, write + "w2");
    EXPECT_EQ(ReadFile(Box() / "nonvolatile/mac").substr(2), blank.substr(2));
    EXPECT_NE(ReadFile(Box() / "nonvolatile/mac"), blank);
}

/** A backup after one that was cut: the partition, with a file on it, is formatted by the service. */
class CutInAFormat : public VbsetCut {
 protected:
    CutInAFormat()
    {
        vbset::Set(Tv(), Box()).WriteEeprom(0xF211, {0xAA});
        std::ofstream(Migration() / "file") << "data";
        format_ = NumberOf(backup_, "0:/bin/spi_init.sh format migration:EMPTY:EMPTY", "");
    }
    const Strings backup_ = {VBMIGRATION_COMMAND, "backup"};
    std::string format_;
};

TEST_F(CutInAFormat, ItsFirstStepHasTakenTheFileSystemAway)
{
    Cut(backup_, format_ + ".1");
    EXPECT_FALSE(fs::exists(Migration()));
}

TEST_F(CutInAFormat, ItsSecondStepHasMadeAnEmptyOne)
{
    Cut(backup_, format_ + ".2");
    EXPECT_TRUE(fs::is_directory(Migration()));
    EXPECT_TRUE(fs::is_empty(Migration()));
}

TEST_F(CutInAFormat, TheNextRunGoesOnFromWhatIsLeft)
{
    Cut(backup_, format_ + ".1");
    Run(backup_);
    EXPECT_TRUE(fs::exists(Migration() / "korvane_vbmg.tar"));
}

TEST_F(VbsetCut, ALocalCommandHasStepsToo)
{
    fs::remove_all(Tv() / "nonvolatile/data_sync");
    const Strings store = {VBMIGRATION_COMMAND, "item", "set", "1713", "1"};
    const std::string format = NumberOf(store, "/bin/spi_init.sh format  data_sync", "");
    Cut(store, format + ".1");
    EXPECT_FALSE(fs::exists(Tv() / "nonvolatile/data_sync"));
    Cut(store, format + ".2");
    EXPECT_TRUE(fs::is_directory(Tv() / "nonvolatile/data_sync"));
}

TEST_F(VbsetCut, NothingOfTheRunIsLeft)
{
    const Strings program = {"sh", "-c", "sleep 1000 >&- 2>&- & echo $!; cat /dev/mtdblock3 >/dev/null; wait"};
    const auto ended = Run(program, {"--cut", "1a"});
    EXPECT_EQ(ended.status, 125) << ended.errors;
    const pid_t straggler = std::atoi(ended.output.c_str());
    ASSERT_GT(straggler, 0);
    EXPECT_EQ(kill(straggler, 0), -1);
}

TEST_F(VbsetCut, ARunThatEndsBeforeTheCutIsNotCut)
{
    const auto ended = Run({"true"}, {"--cut", "5a"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.errors, "vbset: the run ended before it came to 5a\n");
}

TEST_F(VbsetCut, AWrongPlaceIsRefused)
{
    ExpectRefused({"run", Tv(), Box(), "--cut", "17x", "--", "true"}, "'17x' is no place for a power cut");
}

}  // namespace
