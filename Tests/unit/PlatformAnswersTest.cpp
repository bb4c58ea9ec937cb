// Answers of the platform that a simulated set never gives: results and outputs that disagree, results beyond the usual.

#include "StrategyOnSet.h"

#include <FactoryInterface.h>
#include <PictureMigration.h>
#include <PlatformPath.h>
#include <SystemInfo.h>
#include <UniqueFd.h>
#include <VEMigrationImpl.h>
#include <VornBoxEncrypt.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <malloc.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>

namespace {

/** What a function of the platform does in place of the set's, where a test says so. */
struct Answers {
    std::function<int(int, int*)> number;
    std::function<int(int, char**)> text;
    std::function<int(unsigned long)> request;
    std::function<int(unsigned int, int*)> itemSize;
    std::function<int(unsigned int, unsigned int*, int*, unsigned char*)> itemData;
    std::function<int(unsigned int, void*)> value;
    std::function<int(int, int)> factorySync;
    std::function<int(unsigned char**, int*)> import;
    bool noPath = false;
};
Answers answers;

template <class Function>
Function Next(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

int system_info_get_value_int(int key, int* value)
{
    return answers.number ? answers.number(key, value)
                          : Next<decltype(&system_info_get_value_int)>("system_info_get_value_int")(key, value);
}

int system_info_get_value_string(int key, char** value)
{
    return answers.text ? answers.text(key, value)
                        : Next<decltype(&system_info_get_value_string)>("system_info_get_value_string")(key, value);
}

const char* tzplatform_mkpath(int variable, const char* path)
{
    return answers.noPath ? nullptr : Next<decltype(&tzplatform_mkpath)>("tzplatform_mkpath")(variable, path);
}

extern "C" int ioctl(int descriptor, unsigned long request, ...) noexcept
{
    std::va_list list;
    va_start(list, request);
    void* const argument = va_arg(list, void*);
    va_end(list);
    return answers.request ? answers.request(request)
                           : Next<int (*)(int, unsigned long, void*)>("ioctl")(descriptor, request, argument);
}

int GetMigrationItemSize(unsigned int uid, int* size)
{
    return answers.itemSize ? answers.itemSize(uid, size)
                            : Next<decltype(&GetMigrationItemSize)>("GetMigrationItemSize")(uid, size);
}

int GetMigrationItemData(unsigned int uid, unsigned int* storeType, int* length, unsigned char* data)
{
    return answers.itemData
               ? answers.itemData(uid, storeType, length, data)
               : Next<decltype(&GetMigrationItemData)>("GetMigrationItemData")(uid, storeType, length, data);
}

int GetData(unsigned int uid, void* buffer)
{
    return answers.value ? answers.value(uid, buffer) : Next<decltype(&GetData)>("GetData")(uid, buffer);
}

int DoVornBoxFactoryDatasSync(int mode, int tvYear)
{
    return answers.factorySync
               ? answers.factorySync(mode, tvYear)
               : Next<decltype(&DoVornBoxFactoryDatasSync)>("DoVornBoxFactoryDatasSync")(mode, tvYear);
}

int vb_import_buf(unsigned char** buffer, int* length, const char* path, int option)
{
    return answers.import ? answers.import(buffer, length)
                          : Next<decltype(&vb_import_buf)>("vb_import_buf")(buffer, length, path, option);
}

namespace {

class PlatformAnswers : public StrategyOnSet {
 protected:
    ~PlatformAnswers() override { answers = {}; }
};

// Path keys

const Messages kDefaultPaths = {Info("Final Path Now is ==> : /opt/tv/migration/korvane_vbmg/ "),
                                Info("Final Path Now is ==> : /opt/tv/migration/korvane_vbmg/ ")};

TEST_F(PlatformAnswers, ATextThatAFailedQueryLeavesIsNoPath)
{
    StartSet();
    static char text[] = "/opt/elsewhere/";
    for (const int result : {-1, 1}) {
        Forget();
        answers.text = [=](int, char** value) {
            *value = text;
            return result;
        };
        const SteeredStrategy strategy;
        EXPECT_EQ(strategy.mBackupPath, "/opt/tv/migration/korvane_vbmg/");
        EXPECT_EQ(strategy.mRestorePath, "/opt/tv/migration/korvane_vbmg/");
        EXPECT_EQ(Logged(), kDefaultPaths);
    }
}

TEST_F(PlatformAnswers, AQueryThatSucceedsWithoutATextGivesNoPath)
{
    StartSet();
    answers.text = [](int, char**) { return 0; };
    const SteeredStrategy strategy;
    EXPECT_EQ(strategy.mBackupPath, "/opt/tv/migration/korvane_vbmg/");
    EXPECT_EQ(strategy.mRestorePath, "/opt/tv/migration/korvane_vbmg/");
    EXPECT_EQ(Logged(), kDefaultPaths);
}

TEST_F(PlatformAnswers, APathTextIsReleased)
{
    StartSet();
    const std::string path = "/opt/tv/" + std::string(2000, 'x') + '/';
    answers.text = [&](int, char** value) {
        *value = strdup(path.c_str());
        return 0;
    };
    const auto makeMany = [](int count) {
        for (int i = 0; i < count; ++i) {
            const SteeredStrategy strategy;
        }
    };
    makeMany(10);
    const std::size_t before = mallinfo2().uordblks;
    makeMany(200);
    EXPECT_LT(mallinfo2().uordblks, before + 200 * path.size()) << "each had two texts";
}

TEST_F(PlatformAnswers, WithoutAPathThereIsNoServiceFile)
{
    StartSet();
    VEMigrationImpl<44> migrator;
    ASSERT_EQ(migrator.Create(), 0);
    answers.noPath = true;
    const int failure = static_cast<int>(0x80000000U);
    EXPECT_EQ(migrator.GetVBMigrationTestData(20), failure);
    EXPECT_EQ(migrator.DoVornBoxDataSync(VB_INFO_VB_FAC_TO_TV_SPI), failure);
    EXPECT_EQ(migrator.DoVornBoxDataSync(VB_INFO_TV_SPI_TO_VB_FAC), failure);
}

TEST_F(PlatformAnswers, WithoutAPathNoBackupFolderIsMade)
{
    StartSet();
    answers.noPath = true;
    SteeredStrategy strategy;
    EXPECT_EQ(strategy.mBackupPath, "/dev/null/migration/korvane_vbmg/");
    EXPECT_EQ(strategy.mRestorePath, "/dev/null/migration/korvane_vbmg/");
    EXPECT_FALSE(strategy.CreateSPFolder());
}

// CI slots

TEST_F(PlatformAnswers, TheNumberOfCiSlotsCountsWhateverItsQueryReturns)
{
    StartSet();
    SteeredStrategy strategy;
    for (const int result : {-1, 0, 1}) {
        answers.number = [=](int key, int* slots) {
            EXPECT_EQ(key, 241);
            EXPECT_EQ(*slots, 0) << "what is left alone is none";
            *slots = 1;
            return result;
        };
        EXPECT_TRUE(strategy.IsCIEnable()) << result;
    }
}

// Drivers that refuse with something else than -1

class RefusingDriver : public PlatformAnswers {
 protected:
    void StartStrategy()
    {
        StartSet("tv15-newboard");
        strategy_.emplace();
        Forget();
    }
    /** Refuses a request and grants all others; those for the levels of a new board are read as such. */
    void Refuse(unsigned long refused)
    {
        answers.request = [=](unsigned long request) { return request == refused ? 3 : 0; };
    }
    SteeredStrategy& Strategy() { return *strategy_; }

 private:
    std::optional<SteeredStrategy> strategy_;
};

TEST_F(RefusingDriver, OfALevelIsToldWithItsResult)
{
    StartStrategy();
    const std::pair<unsigned long, const char*> reads[] = {
        {0x40044916, "GPIO_165"}, {0x40044915, "GPIO_153"}, {0x40044914, "GPIO_107"}};
    for (const auto& [request, gpio] : reads) {
        Refuse(request);
        Forget();
        EXPECT_FALSE(Strategy().CheckForNewBoard(-1));
        EXPECT_EQ(Logged().back(), Error(std::string(" IOCTL Failed for ") + gpio + " retval = [3]"));
    }
    for (const unsigned long gpio : {0UL, 1UL, 2UL, 3UL}) {
        const Message failure = Error(" IOCTL Failed for GPIO_17" + std::to_string(2 + gpio) + " retval = [3]");
        Refuse(0x40044917 + gpio);
        EXPECT_FALSE(Strategy().BackupGPIOs(-1));
        EXPECT_EQ(Logged().back(), failure);
        Refuse(0x4004491B + gpio);
        EXPECT_FALSE(Strategy().RestoreGPIOs(-1));
        EXPECT_EQ(Logged().back(), failure);
    }
}

TEST_F(RefusingDriver, OfTheBufferIcIsToldWithItsResult)
{
    StartStrategy();
    Refuse(0x4004491F);  // the levels of the detection stay those of a new board
    const Message failure = Error(" IOCTL Failed for Buffer IC enable  retval = [3]");
    EXPECT_FALSE(Strategy().TunerGIPOSet());
    EXPECT_EQ(Logged({"TunerGIPOSet"}).back(), failure);
    EXPECT_FALSE(Strategy().TunerGIPOUnset());
    EXPECT_EQ(Logged({"TunerGIPOUnset"}).back(), failure);
}

TEST_F(RefusingDriver, OfTheFrontendIsAFailure)
{
    StartStrategy();
    Refuse(0x80246F51);
    EXPECT_EQ(Strategy().SetTunerMute(1), -1);
    EXPECT_EQ(Logged().back(), Error("ERR: failed FE_SEND_DBG_CMD"));
}

// Factory interface

class FactoryAnswers : public PlatformAnswers {
 protected:
    FactoryAnswers() { Start("tv15-62", "box15-62"); }

    static constexpr const char* kFile = "/opt/tv/picture.dat";

    int Build() { return picture.t_StartMigration(&uid, 1, kFile, true); }
    std::string File() { return ReadFile(Set().Map(kFile).value()); }
    int Fetch() { return picture.t_GetFactoryUIDData(&uid, 1, &value); }

    PictureDataMigration picture;
    unsigned int uid = 79;
    int value = 12345;
};

TEST_F(FactoryAnswers, TheResultOfASizeQueryIsIgnored)
{
    for (const int result : {0, -1, 7}) {
        answers.itemSize = [=](unsigned int, int* size) {
            EXPECT_EQ(*size, 0);
            *size = 2;
            return result;
        };
        EXPECT_EQ(Build(), 0) << result;
        EXPECT_EQ(File().size(), 14U);
    }
}

TEST_F(FactoryAnswers, WhatAnItemQueryLeavesAloneIsZeroAndItsLengthIsIgnored)
{
    mallopt(M_PERTURB, 0x5A);  // memory that is not zero by chance
    answers.itemSize = [](unsigned int, int* size) {
        *size = 30;
        return 1;
    };
    answers.itemData = [](unsigned int, unsigned int*, int* length, unsigned char* data) {
        *length = 5000;
        data[3] = 9;
        return 1;
    };
    EXPECT_EQ(Build(), 0);
    std::string expected(12 + 30, '\0');
    expected[0] = 79;
    expected[8] = 30;
    expected[12 + 3] = 9;
    EXPECT_EQ(File(), expected);
}

TEST_F(FactoryAnswers, AnyResultButZeroIsAValue)
{
    for (const int result : {1, -1, 2}) {
        answers.value = [=](unsigned int, void* buffer) {
            std::memcpy(buffer, &result, sizeof result);
            return result;
        };
        EXPECT_EQ(Fetch(), 0) << result;
        EXPECT_EQ(value, result);
    }
    value = 12345;
    answers.value = [](unsigned int, void* buffer) {
        std::memset(buffer, 1, 4);
        return 0;
    };
    EXPECT_EQ(Fetch(), -1);
    EXPECT_EQ(value, 12345) << "the value of a failed query was taken";
}

TEST_F(FactoryAnswers, AValueMayComeWithAKilobyte)
{
    answers.value = [](unsigned int, void* buffer) {
        std::memset(buffer, 7, 1024);  // a sanitizer sees where there is less
        return 1;
    };
    EXPECT_EQ(Fetch(), 0);
    EXPECT_EQ(value, 0x07070707);
}

TEST_F(FactoryAnswers, AFailedImportIsToldWithItsLengthAndItsBufferIsNotReleased)
{
    static unsigned char buffer[1] = {};
    WriteFile(Set().Map(kFile).value(), "x");
    for (const int result : {-1, 1}) {
        answers.import = [=](unsigned char** imported, int* length) {
            EXPECT_EQ(*imported, nullptr);
            EXPECT_EQ(*length, 0);
            *imported = buffer;
            *length = 77;
            return result;
        };
        Forget();
        EXPECT_EQ(picture.t_WriteUlveyToVB(kFile, &uid, 1), static_cast<int>(0x80000000U));
        EXPECT_EQ(Logged().back(), Error(" DATA LENGTH AFTER IMPORT FAILURE : 77 \n"));
        EXPECT_EQ(Calls(), (Steps{"vb_get_file_size"}));
    }
}

TEST_F(FactoryAnswers, AnImportThatGivesNoBufferIsAFailureWhateverItsLength)
{
    WriteFile(Set().Map(kFile).value(), "x");
    answers.import = [](unsigned char**, int* length) {
        *length = 77;
        return 0;
    };
    EXPECT_EQ(picture.t_WriteUlveyToVB(kFile, &uid, 1), static_cast<int>(0x80000000U));
    EXPECT_EQ(Logged().back(), Info(" DATA LENGTH AFTER IMPORT : 77 \n"));
    EXPECT_EQ(Calls(), (Steps{"vb_get_file_size"}));
}

TEST_F(PlatformAnswers, TheResultOfTheFactorySyncIsIgnored)
{
    StartSet();
    SteeredStrategy strategy;
    SteeredMigrator migrator;
    strategy.SetObserver(&migrator);
    PutBackupTree();
    ASSERT_TRUE(strategy.InsmodNMount());
    for (const int result : {0, -1}) {
        std::vector<std::pair<int, int>> syncs;
        answers.factorySync = [&](int mode, int tvYear) {
            syncs.emplace_back(mode, tvYear);
            return result;
        };
        EXPECT_TRUE(strategy.DumpNonVolatileData());
        EXPECT_TRUE(strategy.NotifyMigrationImplBkup(VB_MIGRATION_PROGRESS_END));
        EXPECT_EQ(syncs, (std::vector<std::pair<int, int>>{{5, 15}, {5, 15}}));
    }
}

}  // namespace
