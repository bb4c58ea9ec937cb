/** Whatever of the set fails during a flow: each call returns a documented result, nothing of the machine stays in use, and
 * the next backup succeeds and holds the same data. */
#include <BoardDevices.h>
#include <Child.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <thread>

#include "FaultedFlow.h"
#include "Try.h"

namespace {

constexpr const char* kServiceFile = "/opt/tv/migration/service/PictureData.dat";
constexpr const char* kMacBlock = "/dev/mtdblock3";

class FlowFaults : public FaultedFlow, public ::testing::WithParamInterface<Pairing> {
 protected:
    FlowFaults() { StartPairing(GetParam()); }

    bool HasExtendedItems() const { return std::string(GetParam().box).find("-62") != std::string::npos; }

    /** Every flow in which calls on a file are interrupted, until something is done about it. */
    void TryInterrupted(const std::string& fault, const std::function<void()>& meanwhile = {})
    {
        Forget();
        Fault(fault, "EINTR");
        std::atomic<bool> flowIsOver{false};
        std::thread other([&] {
            const auto trace = Set().TvDirectory() / "trace.jsonl";
            const auto offset = static_cast<std::streamoff>(traceSize_);
            while (!flowIsOver && !Holds(trace, offset, "\"result\":\"EINTR\"")) std::this_thread::yield();
            if (meanwhile) meanwhile();
            NoFault(fault);
        });
        EverythingOnce();
        flowIsOver = true;
        other.join();
        ExpectNothingHeld(fault);
    }

    void Forget()
    {
        OnSet::Forget();
        traceSize_ = std::filesystem::file_size(Set().TvDirectory() / "trace.jsonl");
    }

 private:
    static bool Holds(const std::filesystem::path& file, std::streamoff offset, const std::string& text)
    {
        std::ifstream in(file);
        in.seekg(offset);
        return std::string(std::istreambuf_iterator<char>(in), {}).find(text) != std::string::npos;
    }

    std::uintmax_t traceSize_ = 0;
};

/** All of a list, or the first few that stand for them. */
std::vector<std::string> AllOrFirst(std::size_t few, std::vector<std::string> all)
{
    if (!TriesAll()) all.resize(few);
    return all;
}

INSTANTIATE_TEST_SUITE_P(On, FlowFaults, ::testing::ValuesIn(Pairings()), PairingName);

/** Every command that the library has run, in the form of faults. */
constexpr const char* kCommands[] = {
    "MigrationScript.sh.InsmodMig",
    "MigrationScript.sh.UnMoungNRmmod",
    "MigrationScript.sh.UnmountMig",
    "MigrationScript.sh.cleanbkup",
    "MigrationScript.sh.tarncpy",
    "MigrationScript.sh.cpynuntar",
    "MigrationScript.sh.Bkup13",
    "MigrationScript.sh.Restor13",
    "spi_init.sh.mount",
    "spi_init.sh.format",
    "spi_init.sh.umount",
    "mkdir",
    "rm",
};

}  // namespace

TEST_P(FlowFaults, SurvivesEveryExitStatusOfItsScript)
{
    MakeAllThatStays();
    for (int status = 1; status <= 255; ++status) {
        const Try failing("exit statuses of scripts, all commands at once");
        Fault("service.MigrationScript.sh", std::to_string(status));
        NotifyBackup(VB_MIGRATION_PROGRESS_START);
        EXPECT_FALSE(NotifyBackup(VB_MIGRATION_PROGRESS_END)) << status;
    }
    NoFault("service.MigrationScript.sh");
    ExpectAGoodBackup();
}

TEST_P(FlowFaults, SurvivesEachCommandThatFails)
{
    std::vector<std::string> statuses = {"1", "255"};
    for (int status = 9; TriesAll() && status < 255; status += 8) statuses.push_back(std::to_string(status));
    for (const std::string command : kCommands) {
        const Try failing("exit statuses of one command", static_cast<int>(statuses.size()));
        EXPECT_TRUE(HoldsInChild([&] {
            MakeAllThatStays();
            for (const std::string& status : statuses) {
                TryWith({{"service." + command, status}, {"local." + command, status}});
            }
        })) << command;
        EXPECT_TRUE(HoldsInChild([&] {
            StartService();
            ExpectAGoodBackup(command);
        })) << command;
    }
}

TEST_P(FlowFaults, SurvivesCommandsThatAreKilled)
{
    for (const std::string command : kCommands) {
        const Try failing("commands killed by a signal");
        ASSERT_TRUE(HoldsInChild([&] {
            MakeAllThatStays();
            TryWith({{"service." + command, "kill"}, {"local." + command, "kill"}});
        })) << command;
        // A mount that only seemed to succeed is remembered: the process is started again.
        ASSERT_TRUE(HoldsInChild([&] {
            StartService();
            ExpectAGoodBackup(command);
        })) << command;
    }
}

TEST_P(FlowFaults, SurvivesALinkThatLocksLateOrNever)
{
    MakeAllThatStays();
    std::vector<std::string> polls = {"1", "2", "75", "148", "149", "150", "151", "never"};
    for (int poll = 9; TriesAll() && poll < 148; poll += 9) polls.push_back(std::to_string(poll));
    for (const std::string& poll : polls) {
        const Try failing("polls before the link locks");
        RecoverFrom({{"serdes.polls", poll}});
    }
}

TEST_P(FlowFaults, SurvivesAnythingInThePowerFlag)
{
    MakeAllThatStays();
    for (int flag = 0; flag <= 0xFF; flag += TriesAll() ? 1 : 17) {
        const Try failing("values of the power flag");
        char hex[3];
        std::snprintf(hex, sizeof hex, "%02X", static_cast<unsigned int>(flag));
        TryWith({{"eeprom.value.F211", hex}});
    }
    for (const char* call : {"read.F211", "read.1E04", "write.F211"}) {
        for (const auto& result : AllOrFirst(4, {"-1", "0", "1", "2", "-2147483647", "5", "6", "255"})) {
            const Try failing("results of EEPROM calls");
            TryWith({{std::string("eeprom.") + call, result}});
        }
    }
}

TEST_P(FlowFaults, SurvivesEachItemThatFails)
{
    MakeAllThatStays();
    const Faults kinds = {{"get", "0"}, {"set", "0"}, {"size", "0"}, {"value", "fail"}};
    auto turn = kinds.begin();
    for (const std::uint32_t uid : vbset::ItemIds(HasExtendedItems() ? 62 : 44)) {
        for (auto kind = kinds.begin(); kind != kinds.end(); ++kind) {
            if (!TriesAll() && kind != turn) continue;
            const Try failing("items whose size, data, value or store fails");
            TryWith({{"factory." + kind->first + "." + std::to_string(uid), kind->second}});
        }
        if (++turn == kinds.end()) turn = kinds.begin();
    }
    ExpectAGoodBackup();
}

TEST_P(FlowFaults, SurvivesFilesThatFail)
{
    MakeAllThatStays();
    for (const std::string file : {kBackupFile, kServiceFile, kMacBlock, "/dev/system"}) {
        for (const auto& error : AllOrFirst(2, {"EACCES", "EISDIR", "ENOENT", "EIO", "EMFILE", "ENOSPC", "EROFS"})) {
            const Try failing("files that cannot be opened");
            TryWith({{"path." + file, error}});
        }
        for (const auto& error : AllOrFirst(2, {"short:1", "EIO", "EAGAIN", "ENOSPC", "short:7"})) {
            const Try failing("reads, writes and syncs that fail or are short");
            TryWith({{"read." + file, error}});
            TryWith({{"write." + file, error}, {"fsync." + file, "EIO"}});
        }
        for (const auto& room : AllOrFirst(1, {"100", "0", "1", "615"})) {
            const Try failing("files whose device is full");
            TryWith({{"write." + file, "full:" + room}});
        }
    }
    ExpectAGoodBackup();
}

TEST_P(FlowFaults, SurvivesFilesThatAreInterrupted)
{
    MakeAllThatStays();
    for (const std::string file : {kBackupFile, kServiceFile, kMacBlock}) {
        for (const std::string call : {"read.", "write."}) {
            const Try failing("reads and writes that are interrupted");
            TryInterrupted(call + file);
        }
    }
    ExpectAGoodBackup();
}

TEST_P(FlowFaults, SurvivesFilesThatShrinkAfterTheyWereLookedAt)
{
    MakeAllThatStays();
    for (const std::string file : {kBackupFile, kServiceFile}) {
        for (const std::uintmax_t left : {0, 1, 13, 100, 300}) {
            const Try failing("files that shrink before they are read");
            TryInterrupted("read." + file, [&] {
                std::error_code notThere;  // a flow may have ended before it was read
                std::filesystem::resize_file(Set().Map(file.c_str()).value(), left, notThere);
            });
        }
    }
    ExpectAGoodBackup();
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
            const Try failing("partitions that are full");
            RecoverFrom({{std::string("flash.") + partition + ".free", room}});
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
            const Try failing("device requests that fail");
            TryWith({{key, error}});
        }
    }
    ExpectAGoodBackup();
}

TEST_P(FlowFaults, SurvivesAnyMacAddress)
{
    MakeAllThatStays();
    for (const char* bytes : {"FFFFFFFFFFFF", "000000000000", "01", "0102030405060708"}) {
        const Try failing("MAC addresses that are odd or cannot be had");
        TryWith({{"eeprom.value.1E04", bytes}});
    }
    for (const char* result : {"-1", "-2147483648"}) {
        const Try failing("MAC addresses that are odd or cannot be had");
        TryWith({{"micom.mac", result}});
    }
    for (const char* result : {"-1", "1", "255"}) {
        const Try failing("MAC addresses that are odd or cannot be had");
        TryWith({{"eeprom.migrated_mac", result}});
    }
    ExpectAGoodBackup();
}

TEST_P(FlowFaults, SurvivesSystemInformationThatIsWrong)
{
    ASSERT_TRUE(HoldsInChild([&] { MakeAllThatStays(); }));
    const auto values = AllOrFirst(2, {"fail", "-1", "0", "3", "13", "14", "15", "17", "2147483647"});
    for (const char* key : {"241", "247", "248", "251", "252", "253", "254", "705"}) {
        for (const std::string& value : values) {
            const bool isPath = key == std::string("247") || key == std::string("248");
            if (isPath && value != "fail") continue;  // a path, which is a directory of the set
            const Try failing("values of the system information");
            Switch({{std::string("system_info.") + key, value}}, true);
            EXPECT_TRUE(HoldsInChild([&] {
                StartService();
                EverythingOnce();
            })) << key << ' ' << value;
            Switch({{std::string("system_info.") + key, value}}, false);
            EXPECT_TRUE(HoldsInChild([&] {
                StartService();
                ExpectAGoodBackup(key);
            })) << key << ' ' << value;
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
