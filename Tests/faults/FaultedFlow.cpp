#include "FaultedFlow.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "Child.h"
#include "Try.h"

namespace {

void ExpectDocumented(int result)
{
    EXPECT_TRUE(result == 0 || result == -1) << result;
}

std::string Named(const std::map<std::string, std::string>& faults)
{
    std::string text;
    for (const auto& [key, value] : faults) text += key + "=" + value.substr(0, 100) + " ";
    return text;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Pairing& pairing)
{
    return out << pairing.tv << " with " << pairing.box;
}

std::string PairingName(const ::testing::TestParamInfo<Pairing>& info)
{
    std::string name = info.param.tv;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

std::vector<Pairing> Pairings()
{
    if (!TriesAll()) return {{"tv15", "box15"}};
    return {{"tv17-62", "box17-62"},
            {"tv15", "box15"},
            {"tv15-newboard", "box15"},
            {"tv14", "box14"},
            {"tv13", "box13"}};
}

void FaultedFlow::StartPairing(const Pairing& pairing)
{
    Start(pairing.tv, pairing.box);
    if (std::string(pairing.tv) == "tv13") {
        backup_ = 0;
        // Replies to archive transfers that the library accepts.
        always_ = {{"service.reply.6", "0:0:0"}, {"service.reply.7", "0:0:0"}};
    }
    Switch({}, true);
    temporaryFiles_.emplace();
}

void FaultedFlow::MakeAllThatStays()
{
    StartService();
    // What is made once, is made: client, threads of GIO, buffers of the C library. A process can restore but once.
    AllButRestore();
    EXPECT_TRUE(Backup());
    std::filesystem::copy_file(BackupFile(), Temporary() / "backup", std::filesystem::copy_options::overwrite_existing);
    before_ = Resources::Now();
}

void FaultedFlow::Switch(const Faults& faults, bool on)
{
    for (const auto& [key, value] : faults) {
        if (on) {
            Fault(key, value);
        } else {
            NoFault(key);
        }
    }
    for (const auto& [key, value] : always_) {
        if (!on || faults.count(key) == 0) Fault(key, value);
    }
}

bool FaultedFlow::Notify(int type, VB_VornBoxMigrationProgress_k progress)
{
    VB_VornBoxMigrationStatus_k status = VB_MIGRATION_STATUS_UNKNOWN_ERROR;  // left alone without a strategy
    const int result =
        migration_api_notify_migration_status(static_cast<VB_VornBoxMigrationType_k>(type), progress, &status);
    ExpectDocumented(result);
    EXPECT_EQ(status == VB_MIGRATION_STATUS_SUCCESS, result == 0);
    return result == 0;
}

bool FaultedFlow::Backup()
{
    const bool started = NotifyBackup(VB_MIGRATION_PROGRESS_START);
    ExpectDocumented(migration_api_dump_non_volatile_data());
    return NotifyBackup(VB_MIGRATION_PROGRESS_END) && started;
}

void FaultedFlow::EverythingOnce()
{
    NotifyRestore(VB_MIGRATION_PROGRESS_START);
    ExpectDocumented(migration_api_restore_non_volatile_data());
    NotifyRestore(VB_MIGRATION_PROGRESS_END);
    AllButRestore();
}

void FaultedFlow::AllButRestore()
{
    Backup();
    ExpectDocumented(migration_api_do_vornBox_picture_data_sync(VB_INFO_VB_FAC_TO_TV_SPI));
    ExpectDocumented(migration_api_do_vornBox_picture_data_sync(VB_INFO_TV_SPI_TO_VB_FAC));
    for (const int item : {1713, 1714, 1715}) ExpectDocumented(migration_api_set_factory_item(item, 1));
    char text[10];
    ExpectDocumented(migration_api_convert_factory_value_to_str(1716, 0, text));
    ExpectDocumented(migration_api_get_vornBox_migration_test_data(20));
    int partition = 0;
    ExpectDocumented(migration_api_SetBootPartition(1));
    ExpectDocumented(migration_api_GetBootPartition(&partition));
    EXPECT_EQ(migration_api_mountpartition(), -2);
    EXPECT_EQ(migration_api_do_vornBox_store_data_sync(), -2);
}

void FaultedFlow::BeginTry()
{
    std::filesystem::remove(Set().TvDirectory() / "volatile/faults_met");
    Set().WriteMacBlock(std::vector<unsigned char>(6, 0xFF));
}

bool FaultedFlow::HasMet(const Faults& faults)
{
    std::istringstream met(ReadFile(Set().TvDirectory() / "volatile/faults_met"));
    for (std::string key; std::getline(met, key);) {
        if (faults.count(key) > 0) return true;
    }
    return false;
}

void FaultedFlow::Survive(const char* kind, const Faults& faults)
{
    Try failing(kind);
    BeginTry();
    Switch(faults, true);
    EverythingOnce();
    Switch(faults, false);
    if (!HasMet(faults)) failing.Discard();
    ExpectNothingHeld(Named(faults));
    ExpectAGoodBackup(Named(faults));
}

void FaultedFlow::SurviveInNewProcesses(const char* kind, const Faults& faults, const Faults& also)
{
    Try failing(kind);
    BeginTry();
    Switch(also, true);
    Switch(faults, true);
    EXPECT_TRUE(HoldsInChild([this] {
        StartService();
        EverythingOnce();
    })) << Named(faults);
    Switch(faults, false);
    Switch(also, false);
    if (!HasMet(faults)) failing.Discard();
    EXPECT_TRUE(HoldsInChild([&] {
        StartService();
        ExpectAGoodBackup(Named(faults));
    })) << Named(faults);
}

void FaultedFlow::ExpectAGoodBackup(const std::string& after)
{
    std::filesystem::remove_all(BackupFile());
    EXPECT_TRUE(Backup()) << after;
    EXPECT_EQ(ReadFile(BackupFile()), ReadFile(Temporary() / "backup")) << after;
    EXPECT_FALSE(Set().IsMounted("migration")) << after;
    if (!IsOfYear13()) {
        EXPECT_EQ(Set().Eeprom(0xF211), std::vector<unsigned char>{0xFF}) << after;
        EXPECT_EQ(std::stoi(ReadFile(Set().TvDirectory() / "volatile/tuner_mute")), 0) << after;
        EXPECT_EQ(std::stoi(ReadFile(Set().TvDirectory() / "volatile/buffer_ic")), 1) << after;
    }
}

void FaultedFlow::ExpectNothingHeld(const std::string& after)
{
    const Resources now = Resources::NowOrSoon(before_);
    EXPECT_TRUE(now.AreNoMoreThan(before_)) << after << "\nnow " << now << "\nbefore " << before_;
}
