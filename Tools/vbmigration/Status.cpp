#include "Status.h"

#include <EepromMap.h>

#include <cstdio>
#include <nlohmann/json.hpp>

#include "Exported.h"
#include "Mounts.h"

namespace command {

namespace {

constexpr unsigned char kInterrupted = 0xAA;

/** What to do before a START that formats. */
constexpr const char* kAdvice =
    "nothing is lost before a START; unless a migration is running, save the partition first, or lower the flag with "
    "`vbmigration notify restore end`: see docs/migration-road.md, \"After a cut: what to do\"";

struct Start {
    std::string backup;
    std::string restore;
    bool formats = false;  ///< either of them formats the partition that holds the backup
};

std::optional<unsigned char> PowerFlag()
{
    unsigned char flag = 0;
    return eeprom_read(EEPROM_ITEM_POWER_FLAG, 1, &flag) == 1 ? std::optional<unsigned char>(flag) : std::nullopt;
}

/** What notify START will do on a set in this state. */
Start NextStart(int tvCode, std::optional<unsigned char> flag)
{
    if (tvCode == 13) {
        return {"will clean away the old backup; this TV has no use for the power flag",
                "will clean away what was unpacked before and fetch the box's archive", false};
    }
    if (tvCode != 14 && tvCode != 15 && tvCode != 17) {
        return {"will fail: there is no strategy for this TV code", "will fail: there is no strategy for this TV code",
                false};
    }
    if (flag == kInterrupted) {
        return {"will format the partition that holds the backup, then begin",
                "will format the partition that holds the backup, and then refuse to restore", true};
    }
    return {"will raise the power flag, mount the migration partition and clean away the old backup",
            "will raise the power flag, mount the migration partition and unpack its backup", false};
}

std::string FlagAsHex(unsigned char flag)
{
    char text[8];
    std::snprintf(text, sizeof text, "0x%02X", flag);
    return text;
}

std::string Describe(std::optional<unsigned char> flag)
{
    if (!flag) {
        return "cannot be read; a START takes it as idle";
    }
    if (flag == kInterrupted) {
        return "0xAA: a migration is running or was cut";
    }
    return FlagAsHex(*flag) + (*flag == 0xFF ? ": idle" : ": counts as idle");
}

std::string Describe(const Partition& partition)
{
    return (partition.mounted ? "mounted at " : "not mounted at ") + partition.mountPoint;
}

void PrintJson(int tvCode, std::optional<unsigned char> flag, const Partition& migration, const Partition& dataSync)
{
    const Start start = NextStart(tvCode, flag);
    nlohmann::ordered_json status;
    status["tv_code"] = tvCode < 0 ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(tvCode);
    status["power_flag"] = flag ? nlohmann::ordered_json(FlagAsHex(*flag)) : nlohmann::ordered_json(nullptr);
    status["interrupted"] = flag == kInterrupted;
    status["mounted"] = {{migration.name, migration.mounted}, {dataSync.name, dataSync.mounted}};
    status["next_start"] = {{"formats_backup", start.formats}, {"backup", start.backup}, {"restore", start.restore}};
    if (start.formats) {
        status["advice"] = kAdvice;
    }
    std::printf("%s\n", status.dump(2).c_str());
}

void PrintLines(int tvCode, std::optional<unsigned char> flag, const Partition& migration, const Partition& dataSync)
{
    const Start start = NextStart(tvCode, flag);
    std::printf("TV code        %s\n", tvCode < 0 ? "cannot be read" : std::to_string(tvCode).c_str());
    std::printf("power flag     %s\n", Describe(flag).c_str());
    std::printf("migration      %s\n", Describe(migration).c_str());
    std::printf("data_sync      %s\n", Describe(dataSync).c_str());
    std::printf("backup START   %s\n", start.backup.c_str());
    std::printf("restore START  %s\n", start.restore.c_str());
    if (start.formats) {
        std::printf("to keep it     %s\n", kAdvice);
    }
}

}  // namespace

int ShowStatus(Format format)
{
    const int tvCode = TvCode();
    const auto flag = PowerFlag();
    const Partition migration = MigrationPartition();
    const Partition dataSync = DataSyncPartition();
    (format == Format::Json ? PrintJson : PrintLines)(tvCode, flag, migration, dataSync);
    return flag && tvCode >= 0 ? kExitOk : kExitCallFailed;
}

}  // namespace command
