/** What README.md and the callers' guide show: it stands there as it is built, and it does what they say. */
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "Program.h"

namespace {

std::string Contents(const std::string& file)
{
    std::ifstream in(file);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

TEST(ReadmeExample, StandsInTheReadmeAsItIsBuilt)
{
    const std::string example = Contents(SOURCE_DIRECTORY "/Examples/backup.c");
    ASSERT_FALSE(example.empty());
    EXPECT_NE(Contents(SOURCE_DIRECTORY "/README.md").find("```c\n" + example + "```"), std::string::npos);
}

class ExampleOnSet : public testing::Test {
 protected:
    ExampleOnSet()
    {
        std::string name = testing::TempDir() + "example.XXXXXX";
        directory_ = mkdtemp(name.data());
        EXPECT_EQ(program::Run({VBSET_COMMAND, "new", "tv15", Tv()}).status, 0);
        EXPECT_EQ(program::Run({VBSET_COMMAND, "new", "box15", Box()}).status, 0);
    }
    ~ExampleOnSet() override { std::filesystem::remove_all(directory_); }

    std::string Tv() const { return directory_ + "/tv"; }
    std::string Box() const { return directory_ + "/box"; }
    bool HasBackup() const { return std::filesystem::exists(Box() + "/nonvolatile/migration/korvane_vbmg.tar"); }

 private:
    std::string directory_;
};

TEST_F(ExampleOnSet, MakesABackup)
{
    const auto ended = program::Run({VBSET_COMMAND, "run", Tv(), Box(), "--", EXAMPLE_BACKUP});

    EXPECT_EQ(ended.status, 0) << ended.errors;
    EXPECT_EQ(ended.output, "start 0, dump -1, end 0\n");
    EXPECT_EQ(ended.errors, "");
    EXPECT_TRUE(HasBackup());
}

TEST(WatchdogExample, StandsInTheCallersGuideAsItIsBuilt)
{
    const std::string guide = Contents(SOURCE_DIRECTORY "/docs/callers-guide.md");
    const std::string fence = "```c\n";
    const std::size_t begin = guide.find(fence);
    ASSERT_NE(begin, std::string::npos);
    const std::string shown = guide.substr(begin + fence.size(), guide.find("```\n", begin + 1) - begin - fence.size());
    ASSERT_NE(shown.find("RunWithin"), std::string::npos) << shown;
    EXPECT_NE(Contents(SOURCE_DIRECTORY "/Examples/watchdog.c").find(shown), std::string::npos) << shown;
}

TEST_F(ExampleOnSet, WatchdogLetsABackupEnd)
{
    const auto ended = program::Run({VBSET_COMMAND, "run", Tv(), Box(), "--", EXAMPLE_WATCHDOG, "100"});

    EXPECT_EQ(ended.status, 0) << ended.errors;
    EXPECT_EQ(ended.output, "backup made\n");
    EXPECT_TRUE(HasBackup());
}

TEST_F(ExampleOnSet, WatchdogEndsACallThatBlocks)
{
    const auto ended = program::Run({VBSET_COMMAND, "run", Tv(), Box(), "--fault", "service.state=silent", "--",
                                     EXAMPLE_WATCHDOG, "1"});

    EXPECT_EQ(ended.status, 1) << ended.errors;
    EXPECT_EQ(ended.output, "ended, or not begun\n");
}

TEST(ReadmeExample, SaysSoWhenItRunsOnNoSet)
{
    const auto ended = program::Run({EXAMPLE_BACKUP});

    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output, "start -1, dump -1, end -1\n");
    EXPECT_EQ(ended.errors, "libvbset: this process runs on no set, so the platform answers nothing; "
                            "start it with: vbset run TV BOX -- PROGRAM\n");
}

}  // namespace
