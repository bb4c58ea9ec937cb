// What the library asks of the system beyond what the set traces: flags of its descriptors, writes that take nothing.

#include "StrategyOnSet.h"

#include <PictureMigration.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <utility>

namespace {

/** The paths that this process opened since the last clear(), with the flags. It stays: a process that counts its runs
 * opens files when its objects are gone. */
auto& opened = *new std::vector<std::pair<std::string, int>>;

bool nextWriteTakesNothing = false;

#if defined(_FILE_OFFSET_BITS) && _FILE_OFFSET_BITS == 64
constexpr const char* kOpen = "open64";
#else
constexpr const char* kOpen = "open";
#endif

}  // namespace

extern "C" int open(const char* path, int flags, ...)
{
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        std::va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    opened.emplace_back(path, flags);
    static const auto next = reinterpret_cast<int (*)(const char*, int, ...)>(dlsym(RTLD_NEXT, kOpen));
    return next(path, flags, mode);
}

extern "C" ssize_t write(int descriptor, const void* bytes, std::size_t size)
{
    static const auto next = reinterpret_cast<decltype(&::write)>(dlsym(RTLD_NEXT, "write"));
    return std::exchange(nextWriteTakesNothing, false) ? 0 : next(descriptor, bytes, size);
}

namespace {

using ::testing::ElementsAre;

constexpr const char* kFile = "/opt/tv/picture.dat";

class SystemCalls : public StrategyOnSet {
 protected:
    SystemCalls()
    {
        StartSet("tv15-newboard");
        opened.clear();
    }

    /** The paths opened since the start or the last call of this; those whose descriptors a program that this process
     * starts would inherit are marked. */
    static std::vector<std::string> Opened()
    {
        std::vector<std::string> paths;
        for (const auto& [path, flags] : std::exchange(opened, {})) {
            paths.push_back((flags & O_CLOEXEC) != 0 ? path : path + " (inherited)");
        }
        return paths;
    }

    int WritePicture(std::string bytes)
    {
        return picture.t_WriteToFlash(reinterpret_cast<unsigned char*>(bytes.data()),
                                      static_cast<unsigned int>(bytes.size()), kFile);
    }

    PictureDataMigration picture;
};

TEST_F(SystemCalls, NoProgramInheritsADeviceOfTheBoard)
{
    SteeredStrategy strategy;
    opened.clear();
    EXPECT_TRUE(strategy.TunerGIPOSet());
    EXPECT_THAT(Opened(), ElementsAre("/dev/system", "/dev/dvb/adapter0/frontend0"));
    EXPECT_TRUE(strategy.TunerGIPOUnset());
    EXPECT_THAT(Opened(), ElementsAre("/dev/system", "/dev/dvb/adapter0/frontend0"));
}

TEST_F(SystemCalls, NoProgramInheritsTheMacBlockOrAFileThatIsLookedFor)
{
    SteeredStrategy strategy;
    opened.clear();
    unsigned char mac[6] = {};
    EXPECT_TRUE(strategy.ReadRAWBlock("/dev/mtdblock3", sizeof mac, mac));
    EXPECT_TRUE(strategy.IsExists("/dev/mtdblock3"));
    EXPECT_THAT(Opened(), ElementsAre("/dev/mtdblock3", "/dev/mtdblock3"));
}

TEST_F(SystemCalls, NoProgramInheritsThePictureFile)
{
    EXPECT_EQ(WritePicture(std::string("\x4F\0\0\0\1\0\0\0\2\0\0\0\x34\x12", 14)), 0);
    int value = 0;
    EXPECT_EQ(picture.t_ReadMigrationSPIData(&value, kFile), 0);
    EXPECT_EQ(picture.t_WriteToVB(kFile), 0);
    EXPECT_THAT(Opened(), ElementsAre(kFile, kFile, kFile));
}

TEST_F(SystemCalls, AWriteThatTakesNothingIsMadeAgain)
{
    nextWriteTakesNothing = true;
    EXPECT_EQ(WritePicture("some bytes"), 0);
    EXPECT_FALSE(nextWriteTakesNothing);
    EXPECT_EQ(ReadFile(Set().Map(kFile).value()), "some bytes");
}

}  // namespace
