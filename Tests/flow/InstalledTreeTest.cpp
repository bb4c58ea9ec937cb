/** What `cmake --install` makes: a tree that works wherever it is moved, and that callers build against. */
#include <ElfFile.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "Program.h"

using ::testing::AnyOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

const std::string kLibraries = LIBRARY_DIRECTORY;  // "lib", or what this build has instead

Strings Words(const std::string& text)
{
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
}

void Append(Strings& words, const Strings& more)
{
    words.insert(words.end(), more.begin(), more.end());
}

class InstalledTree : public testing::Test {
 protected:
    InstalledTree()
    {
        std::string name = testing::TempDir() + "installed-tree-test.XXXXXX";
        directory_ = mkdtemp(name.data());
    }

    ~InstalledTree() override { fs::remove_all(directory_); }

    /** Installs the build, then moves the tree: nothing may depend on where it was. */
    void SetUp() override
    {
        Do({CMAKE_COMMAND, "--install", BUILD_DIRECTORY, "--prefix", FirstPrefix()});
        fs::rename(FirstPrefix(), Prefix());
    }

    /** Runs a program that has to succeed. @return what it printed */
    std::string Do(const Strings& arguments)
    {
        const auto ended = program::Run(arguments);
        EXPECT_EQ(ended.status, 0) << testing::PrintToString(arguments) << '\n' << ended.output << ended.errors;
        return ended.output;
    }

    /** Runs a program under the installed vbset, on a new set of year 15. @return what it printed */
    std::string OnSet(const Strings& arguments)
    {
        const std::string vbset = Prefix() / "bin/vbset";
        Do({vbset, "new", "tv15", In("tv")});
        Do({vbset, "new", "box15", In("box")});
        Strings command{vbset, "run", In("tv"), In("box"), "--"};
        Append(command, arguments);
        return Do(command);
    }

    /** Names of the files and links in a directory of the tree. */
    Strings Files(const std::string& subdirectory) const
    {
        Strings names;
        for (const auto& entry : fs::directory_iterator(Prefix() / subdirectory)) {
            if (!entry.is_directory()) {
                names.push_back(entry.path().filename());
            }
        }
        return names;
    }

    std::string In(const std::string& name) const { return directory_ / name; }
    std::string FirstPrefix() const { return In("first"); }
    fs::path Prefix() const { return In("moved"); }

 private:
    fs::path directory_;
};

std::string Contents(const fs::path& file)
{
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace

TEST_F(InstalledTree, HoldsLibraryHeaderPackageFilesCommandsAndTheSimulatedSet)
{
    EXPECT_THAT(Files(kLibraries),
                UnorderedElementsAre("libVBMigration.so", "libVBMigration.so.1", "libVBMigration.so.1.0.0", "libvbset.so",
                                     "libvbset-paths.so"));
    EXPECT_THAT(Files("include"), UnorderedElementsAre("VBMigration.h"));
    EXPECT_THAT(Files(kLibraries + "/pkgconfig"), UnorderedElementsAre("vbmigration.pc"));
    EXPECT_THAT(Files(kLibraries + "/cmake/VBMigration"),
                IsSupersetOf({"VBMigrationConfig.cmake", "VBMigrationConfigVersion.cmake"}));
    EXPECT_THAT(Files("bin"), UnorderedElementsAre("vbset", "vbmigration"));
    EXPECT_THAT(Files("libexec/vbset"), UnorderedElementsAre("vbset-sh", "vbset-service", "set.sh", "spi_init.sh",
                                                             "MigrationScript.sh"));
    EXPECT_THAT(Files("share/man/man1"), UnorderedElementsAre("vbmigration.1", "vbset.1"));
    EXPECT_THAT(Files("share/doc/VBMigration"), IsSupersetOf({"README.md", "messages.md", "migration-road.md"}));
    EXPECT_THAT(Files("share/vbset"), IsSupersetOf({"tv15.toml", "box15.toml", "tv13-62.toml", "box14-legacy.toml"}));
}

// Else the tests below would pass with the libraries of the build tree.
TEST_F(InstalledTree, LooksForLibrariesInItselfAlone)
{
    int programs = 0;
    for (const auto& entry : fs::recursive_directory_iterator(Prefix())) {
        if (!entry.is_symlink() && entry.is_regular_file() && Contents(entry).rfind("\177ELF", 0) == 0) {
            EXPECT_THAT(ReadElfFile(entry).runPath, AnyOf(IsEmpty(), StartsWith("$ORIGIN"))) << entry;
            ++programs;
        }
    }
    EXPECT_EQ(programs, 6);
}

TEST_F(InstalledTree, NamesNoPlaceInItsPackageFiles)
{
    for (const auto& entry : fs::recursive_directory_iterator(Prefix() / kLibraries)) {
        if (entry.path().extension() == ".pc" || entry.path().extension() == ".cmake") {
            const std::string text = Contents(entry);
            for (const std::string& place : {std::string(BUILD_DIRECTORY), std::string(SOURCE_DIRECTORY), FirstPrefix()}) {
                EXPECT_THAT(text, Not(HasSubstr(place))) << entry;
            }
        }
    }
}

TEST_F(InstalledTree, RunsTheOperatorsCommandOnASimulatedSet)
{
    EXPECT_THAT(OnSet({Prefix() / "bin/vbmigration", "status"}),
                StartsWith("TV code        15\npower flag     0xFF: idle\n"));
}

TEST_F(InstalledTree, LiesBelowDestdirWhenThatIsSet)
{
    Do({"env", "DESTDIR=" + In("image"), CMAKE_COMMAND, "--install", BUILD_DIRECTORY, "--prefix", "/usr"});
    EXPECT_TRUE(fs::exists(In("image") + "/usr/" + kLibraries + "/libVBMigration.so.1"));
    EXPECT_TRUE(fs::exists(In("image") + "/usr/include/VBMigration.h"));
    EXPECT_EQ(Do({In("image") + "/usr/bin/vbset", "--help"}), Do({Prefix() / "bin/vbset", "--help"}));
}

// Callers that are built against it

namespace {

class CallerOfTheInstalledTree : public InstalledTree {
 protected:
    /** Builds with the compiler and what pkg-config says. @return the program */
    std::string WithPkgConfig(const std::string& compiler, const std::string& flags, const std::string& source)
    {
        const std::string variables = "PKG_CONFIG_PATH=" + std::string(Prefix() / kLibraries / "pkgconfig");
        const std::string told = Do({"env", variables, "pkg-config", "--cflags", "--libs", "vbmigration"});
        const std::string libraries = Do({"env", variables, "pkg-config", "--variable=libdir", "vbmigration"});
        Strings command{compiler, source, "-o", In("caller")};
        Append(command, Words(flags));
        Append(command, Words(told));
        Append(command, {"-Wl,-rpath," + libraries.substr(0, libraries.find('\n'))});
        Do(command);
        return In("caller");
    }

    /** Builds the project next to this file. @return the program */
    std::string WithCMake(const std::string& name)
    {
        Do({CMAKE_COMMAND, "-S", CALLERS, "-B", In("callers"), "-DEXAMPLES=" EXAMPLES, "-G", CMAKE_GENERATOR,
            "-DCMAKE_PREFIX_PATH=" + std::string(Prefix()), "-DCMAKE_C_COMPILER=" C_COMPILER, "-DCMAKE_C_FLAGS=" C_FLAGS,
            "-DCMAKE_CXX_COMPILER=" CXX_COMPILER, "-DCMAKE_CXX_FLAGS=" CXX_FLAGS});
        Do({CMAKE_COMMAND, "--build", In("callers"), "--target", name});
        return In("callers/" + name);
    }

    /** What a backup leaves; without the installed service and scripts it would print the same and leave nothing. */
    std::string Backup() const { return In("box/nonvolatile/migration/korvane_vbmg.tar"); }
};

const char* const kBackup = "start 0, dump -1, end 0\n";
const char* const kConfiguration =
    "configuration 0, TV 15, box 15, duolink 1\n"
    "the strategy of this TV is there and is the only one\n";

}  // namespace

TEST_F(CallerOfTheInstalledTree, InCIsBuiltWithPkgConfig)
{
    EXPECT_EQ(OnSet({WithPkgConfig(C_COMPILER, C_FLAGS, EXAMPLES "/backup.c")}), kBackup);
    EXPECT_TRUE(fs::exists(Backup()));
}

TEST_F(CallerOfTheInstalledTree, InCppIsBuiltWithPkgConfig)
{
    EXPECT_EQ(OnSet({WithPkgConfig(CXX_COMPILER, CXX_FLAGS, CALLERS "/configuration.cpp")}), kConfiguration);
}

TEST_F(CallerOfTheInstalledTree, InCIsBuiltWithCMake)
{
    EXPECT_EQ(OnSet({WithCMake("backup")}), kBackup);
    EXPECT_TRUE(fs::exists(Backup()));
}

TEST_F(CallerOfTheInstalledTree, InCppIsBuiltWithCMake)
{
    EXPECT_EQ(OnSet({WithCMake("configuration")}), kConfiguration);
}

TEST_F(CallerOfTheInstalledTree, IsRefusedAPackageOfAnotherMajorVersion)
{
    std::ofstream(In("CMakeLists.txt")) << "cmake_minimum_required(VERSION 3.25)\nproject(Other LANGUAGES NONE)\n"
                                           "find_package(VBMigration 2 REQUIRED)\n";
    const auto ended = program::Run({CMAKE_COMMAND, "-S", In(""), "-B", In("other"), "-G", CMAKE_GENERATOR,
                                     "-DCMAKE_PREFIX_PATH=" + std::string(Prefix())});
    EXPECT_NE(ended.status, 0);
    EXPECT_THAT(ended.errors, HasSubstr("version: 1.0.0"));
}
