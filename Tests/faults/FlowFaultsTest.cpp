/** Whatever of the set fails during a flow: each call returns a documented result, nothing of the machine stays in use,
 * and the next backup succeeds and holds the same data. */
#include <BoardDevices.h>
#include <Child.h>

#include <atomic>
#include <cstdio>
#include <functional>
#include <thread>

#include "FaultedFlow.h"
#include "Try.h"

namespace {

constexpr const char* kServiceFile = "/opt/tv/migration/service/PictureData.dat";

class FlowFaults : public FaultedFlow, public ::testing::WithParamInterface<Pairing> {
 protected:
    FlowFaults() { StartPairing(GetParam()); }

    bool HasExtendedItems() const { return std::string(GetParam().box).find("-62") != std::string::npos; }

    /** The same as SurviveInNewProcesses(), but each call on a file is interrupted until something is done about it. */
    void SurviveInterrupted(const char* kind, const std::string& fault, const std::function<void()>& meanwhile = {})
    {
        Try failing(kind);
        BeginTry();
        Fault(fault, "EINTR");
        EXPECT_TRUE(HoldsInChild([&] {
            StartService();
            std::atomic<bool> flowIsOver{false};
            std::thread other([&] {
                while (!flowIsOver && !HasMet({{fault, ""}})) std::this_thread::yield();
                if (!flowIsOver && meanwhile) meanwhile();
                NoFault(fault);
            });
            EverythingOnce();
            flowIsOver = true;
            other.join();
        })) << fault;
        if (!HasMet({{fault, ""}})) failing.Discard();
        EXPECT_TRUE(HoldsInChild([&] {
            StartService();
            ExpectAGoodBackup(fault);
        })) << fault;
    }

    /** The first process makes the backup that all others are compared with. */
    void MakeTheBackup() { ASSERT_TRUE(HoldsInChild([this] { MakeAllThatStays(); })); }
};

/** All of a list, or the first few that stand for them. */
std::vector<std::string> AllOrFirst(std::size_t few, std::vector<std::string> all)
{
    if (!TriesAll()) all.resize(few);
    return all;
}

INSTANTIATE_TEST_SUITE_P(On, FlowFaults, ::testing::ValuesIn(Pairings()), PairingName);

/** A command that the library has run, in the form of faults, and what leads to it. */
struct Command {
    std::string name;
    std::map<std::string, std::string> ledToBy;
};

const Command kCommands[] = {
    {"MigrationScript.sh.InsmodMig", {}},
    {"MigrationScript.sh.UnMoungNRmmod", {}},
    {"MigrationScript.sh.UnmountMig", {{"eeprom.value.F211", "AA"}}},
    {"MigrationScript.sh.cleanbkup", {}},
    {"MigrationScript.sh.tarncpy", {}},
    {"MigrationScript.sh.cpynuntar", {}},
    {"MigrationScript.sh.Bkup13", {}},
    {"MigrationScript.sh.Restor13", {}},
    {"spi_init.sh.mount", {}},
    {"spi_init.sh.format", {{"service.spi_init.sh.mount", "1"}, {"local.spi_init.sh.mount", "1"}}},
    {"spi_init.sh.umount", {}},
    {"mkdir", {}},
    {"rm", {}},
};

}  // namespace

TEST_P(FlowFaults, SurvivesEveryExitStatusOfItsScripts)
{
    ASSERT_TRUE(HoldsInChild([this] {
        MakeAllThatStays();
        for (int status = 1; status <= 255; ++status) {
            const std::string text = std::to_string(status);
            const Faults faults = {{"service.MigrationScript.sh", text}, {"service.spi_init.sh", text},
                                   {"local.MigrationScript.sh", text},   {"local.spi_init.sh", text}};
            Switch(faults, true);
            EXPECT_FALSE(NotifyBackup(VB_MIGRATION_PROGRESS_START)) << status;
            EXPECT_FALSE(NotifyBackup(VB_MIGRATION_PROGRESS_END)) << status;
            if (TriesAll()) EverythingOnce();
            Switch(faults, false);
            ExpectNothingHeld(text);
        }
    }));
    const Try failing("exit statuses of all scripts at once", 255);
    ASSERT_TRUE(HoldsInChild([this] {
        StartService();
        ExpectAGoodBackup();
    }));
}

TEST_P(FlowFaults, SurvivesEachCommandThatFails)
{
    MakeTheBackup();
    std::vector<std::string> statuses = {"kill", "1", "255"};
    for (int status = 32; TriesAll() && status < 255; status += 32) statuses.push_back(std::to_string(status));
    for (const Command& command : kCommands) {
        for (const std::string& status : statuses) {
            SurviveInNewProcesses(status == "kill" ? "commands killed by a signal" : "exit statuses of one command",
                                  {{"service." + command.name, status}, {"local." + command.name, status}},
                                  command.ledToBy);
        }
    }
}

TEST_P(FlowFaults, SurvivesALinkThatLocksLateOrNever)
{
    MakeAllThatStays();
    std::vector<std::string> polls = {"1", "2", "75", "148", "149", "150", "151", "never"};
    for (int poll = 9; TriesAll() && poll < 148; poll += 9) polls.push_back(std::to_string(poll));
    for (const std::string& poll : polls) Survive("polls before the link locks", {{"serdes.polls", poll}});
}

TEST_P(FlowFaults, FormatsForTheRaisedPowerFlag)
{
    MakeTheBackup();
    const auto mark = Set().Partition("migration") / "mark";
    WriteFile(mark, "stays unless the partition is formatted");
    SurviveInNewProcesses("values of the power flag", {{"eeprom.value.F211", "AA"}});
    EXPECT_EQ(std::filesystem::exists(mark), IsOfYear13());
}

TEST_P(FlowFaults, FormatsForNoOtherValueOfThePowerFlag)
{
    MakeAllThatStays();
    constexpr int kRaised = 0xAA;
    const auto mark = Set().Partition("migration") / "mark";
    WriteFile(mark, "stays unless the partition is formatted");
    for (int flag = 0; flag <= 0xFF; flag += TriesAll() ? 1 : 15) {
        if (flag == kRaised) continue;
        char hex[3];
        std::snprintf(hex, sizeof hex, "%02X", static_cast<unsigned int>(flag));
        Survive("values of the power flag", {{"eeprom.value.F211", hex}});
        EXPECT_TRUE(std::filesystem::exists(mark)) << hex;
    }
}

TEST_P(FlowFaults, SurvivesAnyResultOfTheEeprom)
{
    MakeAllThatStays();
    for (const char* call : {"read.F211", "read.1E04", "write.F211"}) {
        for (const auto& result : AllOrFirst(4, {"-1", "0", "1", "2", "-2147483647", "5", "6", "255"})) {
            Survive("results of EEPROM calls", {{std::string("eeprom.") + call, result}});
        }
    }
}

TEST_P(FlowFaults, SurvivesEachItemThatCannotBeRead)
{
    MakeAllThatStays();
    const Faults kinds = {{"get", "0"}, {"size", "0"}, {"value", "fail"}};
    auto turn = kinds.begin();
    for (const std::uint32_t uid : vbset::ItemIds(HasExtendedItems() ? 62 : 44)) {
        for (auto kind = kinds.begin(); kind != kinds.end(); ++kind) {
            if (!TriesAll() && kind != turn) continue;
            Survive("items whose size, data or value cannot be had",
                    {{"factory." + kind->first + "." + std::to_string(uid), kind->second}});
        }
        if (++turn == kinds.end()) turn = kinds.begin();
    }
}

TEST_P(FlowFaults, SurvivesEachItemThatCannotBeStored)
{
    MakeTheBackup();
    const auto items = vbset::ItemIds(HasExtendedItems() ? 62 : 44);
    for (std::size_t i = 0; i < items.size(); i += TriesAll() ? 1 : 7) {
        SurviveInNewProcesses("items that cannot be stored", {{"factory.set." + std::to_string(items[i]), "0"}});
    }
}

TEST_P(FlowFaults, SurvivesFilesThatFail)
{
    MakeTheBackup();
    for (const std::string file : {kBackupFile, kServiceFile, kMacBlock, "/dev/system"}) {
        for (const auto& error : AllOrFirst(2, {"EACCES", "EISDIR", "ENOENT", "EIO", "EMFILE", "ENOSPC", "EROFS"})) {
            SurviveInNewProcesses("files that cannot be opened", {{"path." + file, error}});
        }
        for (const auto& error : AllOrFirst(2, {"short:1", "EIO", "EAGAIN", "ENOSPC", "short:7"})) {
            SurviveInNewProcesses("reads that fail or are short", {{"read." + file, error}});
            SurviveInNewProcesses("writes that fail or are short", {{"write." + file, error}});
        }
        for (const auto& room : AllOrFirst(1, {"100", "0", "1", "615"})) {
            SurviveInNewProcesses("files whose device is full", {{"write." + file, "full:" + room}});
        }
        SurviveInNewProcesses("files that cannot be synced", {{"fsync." + file, "EIO"}});
    }
}

TEST_P(FlowFaults, SurvivesFilesThatAreInterrupted)
{
    MakeTheBackup();
    for (const std::string file : {kBackupFile, kServiceFile, kMacBlock}) {
        for (const std::string call : {"read.", "write."}) {
            SurviveInterrupted("reads and writes that are interrupted", call + file);
        }
    }
}

TEST_P(FlowFaults, SurvivesFilesThatShrinkAfterTheyWereLookedAt)
{
    MakeTheBackup();
    for (const std::string file : {kBackupFile, kServiceFile}) {
        for (const std::uintmax_t left : {0, 1, 13, 100, 300}) {
            SurviveInterrupted("files that shrink before they are read", "read." + file,
                               [&] { std::filesystem::resize_file(Set().Map(file).value(), left); });
        }
    }
}

TEST_P(FlowFaults, SurvivesDirectoriesInThePlaceOfFiles)
{
    MakeAllThatStays();
    for (const char* file : {kBackupFile, kServiceFile}) {
        const Try failing("files that have become directories");
        const std::filesystem::path path = Set().Map(file).value();
        std::filesystem::remove_all(path);
        std::filesystem::create_directories(path / "in it");
        EverythingOnce();
        ExpectNothingHeld(file);
        std::filesystem::remove_all(Set().Map(file).value());
        ExpectAGoodBackup(file);
    }
}

TEST_P(FlowFaults, SurvivesFullPartitions)
{
    MakeAllThatStays();
    for (const char* room : {"0", "1", "100", "615", "616", "4095"}) {
        for (const char* partition : {"migration", "data_sync", "root"}) {
            Survive("partitions that are full", {{std::string("flash.") + partition + ".free", room}});
        }
    }
}

TEST_P(FlowFaults, SurvivesEachDeviceRequestThatFails)
{
    MakeAllThatStays();
    for (const unsigned long request :
         {BOARD_READ_GPIO_107, BOARD_READ_GPIO_153, BOARD_READ_GPIO_165, BOARD_READ_GPIO_172, BOARD_READ_GPIO_173,
          BOARD_READ_GPIO_174, BOARD_READ_GPIO_175, BOARD_SET_GPIO_172, BOARD_SET_GPIO_173, BOARD_SET_GPIO_174,
          BOARD_SET_GPIO_175, BOARD_SET_BUFFER_IC, FE_SEND_DBG_CMD}) {
        char key[16];
        std::snprintf(key, sizeof key, "ioctl.%08lX", request);
        for (const auto& error : AllOrFirst(1, {"EIO", "EINTR", "ENODEV", "EINVAL"})) {
            Survive("device requests that fail", {{key, error}});
        }
    }
}

TEST_P(FlowFaults, SurvivesAnyMacAddress)
{
    MakeTheBackup();
    Faults::value_type faults[] = {{"eeprom.value.1E04", "FFFFFFFFFFFF"}, {"eeprom.value.1E04", "000000000000"},
                                   {"eeprom.value.1E04", "01"},           {"eeprom.value.1E04", "0102030405060708"},
                                   {"micom.mac", "-1"},                   {"micom.mac", "-2147483648"},
                                   {"eeprom.migrated_mac", "-1"},         {"eeprom.migrated_mac", "1"},
                                   {"eeprom.migrated_mac", "255"}};
    for (const auto& fault : faults) {
        SurviveInNewProcesses("MAC addresses that are odd or cannot be had or stored", {fault});
    }
}

TEST_P(FlowFaults, SurvivesSystemInformationThatIsWrong)
{
    MakeTheBackup();
    const auto values = AllOrFirst(2, {"fail", "-1", "0", "3", "13", "14", "15", "17", "2147483647"});
    for (const std::string key : {"241", "247", "248", "251", "252", "253", "254", "705"}) {
        for (const std::string& value : values) {
            const bool isPath = key == "247" || key == "248";
            if (isPath && value != "fail") continue;  // any text would be a directory of the set
            SurviveInNewProcesses("values of the system information", {{"system_info." + key, value}});
        }
    }
}

namespace {

class LegacyFaults : public FaultedFlow {
 protected:
    LegacyFaults()
    {
        StartPairing({"tv14", "box14-legacy"});
        EXPECT_TRUE(HoldsInChild([&] { ExpectARestore(true); }));
    }

    /** A restore, which is of the legacy backup as long as no other was made. */
    void ExpectARestore(bool succeeds)
    {
        StartService();
        EXPECT_TRUE(NotifyRestore(VB_MIGRATION_PROGRESS_START));
        EXPECT_EQ(migration_api_restore_non_volatile_data(), succeeds ? 0 : -1);
        NotifyRestore(VB_MIGRATION_PROGRESS_END);
    }
};

}  // namespace

TEST_F(LegacyFaults, AFileThatCannotBeDecipheredIsNotRestoredAndStays)
{
    const std::pair<const char*, const char*> kinds[] = {{"encrypt.size", "0"},  {"encrypt.import", "-1"},
                                                         {"encrypt.import", "1"}, {"encrypt.length", "0"},
                                                         {"encrypt.length", "1"}, {"encrypt.length", "13"}};
    for (const auto& [key, value] : kinds) {
        const Try failing("legacy backups that cannot be deciphered");
        const Faults fault = {{key, value}};
        Switch(fault, true);
        EXPECT_TRUE(HoldsInChild([&] { ExpectARestore(false); })) << key << ' ' << value;
        Switch(fault, false);
        EXPECT_TRUE(HoldsInChild([&] { ExpectARestore(true); })) << key << ' ' << value;
    }
}
