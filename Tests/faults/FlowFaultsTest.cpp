/** Whatever fails during a flow: each call returns a documented result, nothing of the machine stays in use, and the next
 * backup succeeds and holds the same data. */
#include <TestSet.h>
#include <VBMigration.h>

#include <cstdlib>
#include <fstream>

#include "Resources.h"

namespace {

using Faults = std::map<std::string, std::string>;

constexpr const char* kBackupFile = "/opt/tv/migration/korvane_vbmg/SP_VB_Data/PictureMigrationData.dat";

class FaultedFlow : public OnSet {
 protected:
    FaultedFlow()
    {
        Start();
        std::filesystem::create_directory(Temporary() / "tmp");
        setenv("TMPDIR", (Temporary() / "tmp").c_str(), 1);
        StartService();
        EverythingOnce();  // what is made once, is made: client, threads of GIO, buffers of the C library
        EXPECT_TRUE(Backup());
        backup_ = ReadFile(Set().Map(kBackupFile).value());
        before_ = Resources::Now();
    }

    static void ExpectDocumented(int result) { EXPECT_TRUE(result == 0 || result == -1) << result; }

    bool Notify(VB_VornBoxMigrationType_k type, VB_VornBoxMigrationProgress_k progress)
    {
        VB_VornBoxMigrationStatus_k status{};
        const int result = migration_api_notify_migration_status(type, progress, &status);
        ExpectDocumented(result);
        EXPECT_EQ(status == VB_MIGRATION_STATUS_SUCCESS, result == 0);
        return result == 0;
    }

    bool Backup()
    {
        const bool started = Notify(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_START);
        ExpectDocumented(migration_api_dump_non_volatile_data());
        return Notify(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_END) && started;
    }

    /** Every flow with these faults. */
    void TryWith(const Faults& faults)
    {
        for (const auto& [key, value] : faults) Fault(key, value);
        EverythingOnce();
        for (const auto& [key, value] : faults) NoFault(key);
        EXPECT_EQ(Resources::Now(), before_) << Named(faults);
    }

    /** The same, then a backup without them. */
    void RecoverFrom(const Faults& faults)
    {
        TryWith(faults);
        ExpectAGoodBackup(faults);
    }

    void ExpectAGoodBackup(const Faults& faults)
    {
        std::filesystem::remove(Set().Map(kBackupFile).value());
        EXPECT_TRUE(Backup()) << Named(faults);
        EXPECT_EQ(ReadFile(Set().Map(kBackupFile).value()), backup_) << Named(faults);
    }

 private:
    static std::string Named(const Faults& faults)
    {
        std::string text;
        for (const auto& [key, value] : faults) text += key + "=" + value + " ";
        return text;
    }

    void EverythingOnce()
    {
        Backup();
        Notify(VB_MIGRATION_TYPE_RESTORE, VB_MIGRATION_PROGRESS_START);
        ExpectDocumented(migration_api_restore_non_volatile_data());
        Notify(VB_MIGRATION_TYPE_RESTORE, VB_MIGRATION_PROGRESS_END);
        ExpectDocumented(migration_api_do_vornBox_picture_data_sync(VB_INFO_VB_FAC_TO_TV_SPI));
        ExpectDocumented(migration_api_do_vornBox_picture_data_sync(VB_INFO_TV_SPI_TO_VB_FAC));
        for (const int item : {1713, 1714, 1715}) ExpectDocumented(migration_api_set_factory_item(item, 1));
        char text[10];
        ExpectDocumented(migration_api_convert_factory_value_to_str(1716, 0, text));
        ExpectDocumented(migration_api_get_vornBox_migration_test_data(20));
        EXPECT_EQ(migration_api_mountpartition(), -2);
        EXPECT_EQ(migration_api_do_vornBox_store_data_sync(), -2);
    }

    std::string backup_;
    Resources before_;
};

std::string Number(int number)
{
    return std::to_string(number);
}

}  // namespace

TEST_F(FaultedFlow, SurvivesEveryExitStatusOfItsScript)
{
    for (int status = 1; status <= 255; ++status) {
        Fault("service.MigrationScript.sh", Number(status));
        EXPECT_FALSE(Notify(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_START)) << status;
        EXPECT_FALSE(Notify(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_END)) << status;
    }
    NoFault("service.MigrationScript.sh");
    ExpectAGoodBackup({});
}

TEST_F(FaultedFlow, SurvivesScriptsThatAreKilled)
{
    for (const char* script : {"MigrationScript.sh", "spi_init.sh"}) {
        TryWith({{std::string("service.") + script, "kill"}, {std::string("local.") + script, "kill"}});
    }
}

TEST_F(FaultedFlow, SurvivesALinkThatLocksLateOrNever)
{
    for (const char* polls : {"1", "2", "75", "148", "149", "150", "151", "never"}) {
        RecoverFrom({{"serdes.polls", polls}});
    }
}

TEST_F(FaultedFlow, SurvivesAnythingInThePowerFlag)
{
    for (int flag = 0; flag <= 0xFF; flag += 17) {
        char hex[3];
        std::snprintf(hex, sizeof hex, "%02X", static_cast<unsigned int>(flag));
        TryWith({{"eeprom.value.F211", hex}});
    }
    for (const int result : {-1, 0, 1, 2}) {
        TryWith({{"eeprom.read.F211", Number(result)}, {"eeprom.read.1E04", Number(result)}});
        TryWith({{"eeprom.write.F211", Number(result)}});
    }
}

TEST_F(FaultedFlow, SurvivesEachItemThatFails)
{
    const Faults kinds = {{"get", "0"}, {"set", "0"}, {"size", "0"}, {"value", "fail"}};
    auto kind = kinds.begin();
    for (const std::uint32_t uid : vbset::ItemIds(44)) {
        TryWith({{"factory." + kind->first + "." + std::to_string(uid), kind->second}});
        if (++kind == kinds.end()) kind = kinds.begin();
    }
    ExpectAGoodBackup({});
}

TEST_F(FaultedFlow, SurvivesFilesThatFail)
{
    for (const std::string file : {kBackupFile, "/dev/mtdblock3", "/dev/system"}) {
        for (const char* error : {"EACCES", "EISDIR"}) TryWith({{"path." + file, error}});
        for (const char* error : {"EIO", "short:1"}) {
            TryWith({{"read." + file, error}, {"write." + file, error}, {"fsync." + file, "EIO"}});
        }
        TryWith({{"write." + file, "full:100"}});
    }
    ExpectAGoodBackup({});
}

TEST_F(FaultedFlow, SurvivesFullPartitions)
{
    for (const char* room : {"0", "100", "615"}) {
        for (const char* partition : {"migration", "data_sync", "root"}) {
            RecoverFrom({{std::string("flash.") + partition + ".free", room}});
        }
    }
}

TEST_F(FaultedFlow, SurvivesAServiceThatAnswersAnything)
{
    const std::string replies[] = {"", ":", "::::::::", "0", "0:", "0:1", "x:y:z:", "-1:-1:-1:", "0:99999999999999999999:1:",
                                   "2:-2147483648:0:", "1:0:", "1:12:zzzzzzzzzzzz:", "1:-5:02:",
                                   "0:" + std::string(10000, '9') + ":"};
    for (const std::string& reply : replies) {
        Faults faults;
        for (const int code : {0, 1, 2, 3, 6, 7, 8, 9}) faults["service.reply." + Number(code)] = reply;
        TryWith(faults);
    }
}

TEST_F(FaultedFlow, SurvivesAServiceThatRefuses)
{
    RecoverFrom({{"service.state", "error"}});
}
