/** What README.md shows a newcomer: it stands there as it is built, and it makes a backup. */
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

TEST(ReadmeExample, MakesABackupOnASimulatedSet)
{
    std::string name = testing::TempDir() + "readme-example.XXXXXX";
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    ASSERT_EQ(program::Run({VBSET_COMMAND, "new", "tv15", name + "/tv"}).status, 0);
    ASSERT_EQ(program::Run({VBSET_COMMAND, "new", "box15", name + "/box"}).status, 0);

    const auto ended = program::Run({VBSET_COMMAND, "run", name + "/tv", name + "/box", "--", EXAMPLE_BACKUP});

    EXPECT_EQ(ended.status, 0) << ended.errors;
    EXPECT_EQ(ended.output, "start 0, dump -1, end 0\n");
    EXPECT_EQ(ended.errors, "");
    EXPECT_TRUE(std::filesystem::exists(name + "/box/nonvolatile/migration/korvane_vbmg.tar"));
    std::filesystem::remove_all(name);
}

}  // namespace
