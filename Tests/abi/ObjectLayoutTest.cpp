// The objects of the built library in memory, held against records that are written down here, not taken from its headers.

#include <BuiltLibrary.h>
#include <TestSet.h>

#include <fcntl.h>
#include <gio/gio.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <ostream>

using ::testing::ElementsAre;

namespace {

struct StrategyRecord {
    const void* table;
    const void* migrator;
    std::string backupPath;
    std::string restorePath;
    bool legacyRestorePath;
    bool reserved;
    bool powerOffDetected;
    bool formattedAfterPowerOff;
    bool migrationMounted;
    bool moduleLoaded;
    bool dataSyncMounted;
    unsigned char gpios[7];
};

struct PictureDataRecord {
    const void* table;
    bool print;
    bool reserved;
};

template <int N>
struct MigratorRecord {
    const void* const* table;
    bool flagCreate;
    PictureDataRecord* pictureData;
    std::uint32_t uids[N];
};

struct ServiceClientRecord {
    const void* table;
    GDBusConnection* connection;
    GDBusProxy* proxy;
    GMainLoop* loop;
    bool connected;
    std::int32_t status;
    std::int32_t value;
    unsigned char* readBuffer;
    std::int32_t readSize;
    std::string delimiter;
};

/** What callers hand over as a factory item: 45 words. */
using ItemRecord = std::array<std::uint32_t, 45>;

/** A set whose board levels all differ from what the library starts with. */
class Objects : public OnSet {
 protected:
    Objects()
    {
        Start("tv15-newboard");
        Fault("system_info.247", "/opt/tv/backup/");
        Fault("system_info.248", "/opt/tv/restore/");
    }

    const BuiltLibrary& Library() const { return library_; }

    StrategyRecord& Strategy() { return *library_.Exported<StrategyRecord*()>("get_Startegy")(); }

    template <int N>
    MigratorRecord<N>& Migrator()
    {
        return *library_.Exported<MigratorRecord<N>*()>("get_vemigration_instance")();
    }

    /** Has the strategy carry out an operation that takes no arguments. */
    bool Carries(const std::string& mangledOperation)
    {
        StrategyRecord& strategy = Strategy();
        return Library().Inner<bool(StrategyRecord*)>("_ZN17MigrationStrategy" + mangledOperation)(&strategy);
    }

 private:
    BuiltLibrary library_;
};

/** The flags of a strategy that are up. */
std::vector<std::string> Raised(const StrategyRecord& strategy)
{
    std::vector<std::string> names;
    const std::pair<const char*, bool> flags[] = {
        {"legacyRestorePath", strategy.legacyRestorePath}, {"reserved", strategy.reserved},
        {"powerOffDetected", strategy.powerOffDetected},   {"formattedAfterPowerOff", strategy.formattedAfterPowerOff},
        {"migrationMounted", strategy.migrationMounted},   {"moduleLoaded", strategy.moduleLoaded},
        {"dataSyncMounted", strategy.dataSyncMounted},
    };
    for (const auto& [name, isUp] : flags) {
        if (isUp) {
            names.emplace_back(name);
        }
    }
    return names;
}

}  // namespace

TEST_F(Objects, AStrategyStartsWithTheMigratorThenItsPathsFlagsAndLevels)
{
    const StrategyRecord& strategy = Strategy();
    EXPECT_EQ(strategy.migrator, Library().Exported<const void*()>("get_vemigration_instance")());
    EXPECT_EQ(strategy.backupPath, "/opt/tv/backup/");
    EXPECT_EQ(strategy.restorePath, "/opt/tv/restore/");
    EXPECT_THAT(Raised(strategy), ElementsAre());
    EXPECT_THAT(strategy.gpios, ElementsAre(0, 0, 0, 0, 1, 1, 0));
}

TEST_F(Objects, AStrategyKeepsTheBoardLevelsInTheOrderOfTheirNumbersInTheDocumentation)
{
    const std::pair<const char*, char> levels[] = {{"172", '1'}, {"173", '0'}, {"174", '1'}, {"175", '1'},
                                                   {"165", '0'}, {"153", '1'}, {"107", '1'}};
    for (const auto& [number, level] : levels) {
        WriteFile(Set().TvDirectory() / "volatile/gpio" / number, {level});
    }
    StrategyRecord& strategy = Strategy();
    const int device = open("/dev/system", O_RDWR);
    Library().Inner<bool(StrategyRecord*, int)>("_ZN17MigrationStrategy11BackupGPIOsEi")(&strategy, device);
    Library().Inner<bool(StrategyRecord*, int)>("_ZN17MigrationStrategy16CheckForNewBoardEi")(&strategy, device);
    close(device);
    EXPECT_THAT(strategy.gpios, ElementsAre(1, 0, 1, 1, 0, 1, 1));
}

struct FlagCase {
    const char* operation;
    std::vector<std::string> raises;
};

std::ostream& operator<<(std::ostream& out, const FlagCase& flag)
{
    return out << flag.operation;
}

class StrategyFlags : public Objects, public ::testing::WithParamInterface<FlagCase> {};

TEST_P(StrategyFlags, StandWhereTheDocumentedOrderPutsThem)
{
    StartService();
    Fault("eeprom.value.F211", "AA");
    Carries(GetParam().operation);
    EXPECT_EQ(Raised(Strategy()), GetParam().raises);
}

INSTANTIATE_TEST_SUITE_P(, StrategyFlags,
                         ::testing::Values(FlagCase{"29UseBackupFolderOrLegacyFolderEv", {"legacyRestorePath"}},
                                           FlagCase{"16CheckForPowerOffEv", {"powerOffDetected"}},
                                           FlagCase{"23FormatPartitionPowerOffEv", {"formattedAfterPowerOff"}},
                                           FlagCase{"14MountPartitionEv", {"migrationMounted"}},
                                           FlagCase{"12InsmodNMountEv", {"migrationMounted", "moduleLoaded"}},
                                           FlagCase{"22DataSyncPartitionMountEv", {"dataSyncMounted"}}));

TEST_F(Objects, AMigratorHasItsFlagThePictureDataAndTheItemIds)
{
    MigratorRecord<44>& migrator = Migrator<44>();
    EXPECT_TRUE(migrator.flagCreate);
    EXPECT_EQ(migrator.uids[0], 79u);
    EXPECT_EQ(migrator.uids[43], 564u);
    PictureDataRecord& picture = *migrator.pictureData;
    EXPECT_FALSE(picture.print);
    EXPECT_FALSE(picture.reserved);
    Library().Inner<void(PictureDataRecord*, bool)>("_ZN20PictureDataMigration22t_SetPicMigrationPrintEb")(&picture, true);
    EXPECT_TRUE(picture.print);
    EXPECT_FALSE(picture.reserved);
}

TEST_F(Objects, AMigratorOf62ItemsDiffersOnlyInTheNumberOfItemIds)
{
    Fault("system_info.253", "3");
    const MigratorRecord<62>& migrator = Migrator<62>();
    EXPECT_TRUE(migrator.flagCreate);
    EXPECT_FALSE(migrator.pictureData->print);
    EXPECT_EQ(migrator.uids[0], 79u);
    EXPECT_EQ(migrator.uids[61], 1777u);
}

TEST_F(Objects, TheServiceClientHasItsHandlesThenTheLastReplyThenTheDelimiter)
{
    StartService();
    WriteFile(Set().BoxDirectory() / "nonvolatile/boot_partition", "3");
    ServiceClientRecord& client = *Library().Inner<ServiceClientRecord*()>("_ZN10DBusClient8InstanceEv")();
    unsigned char bytes[6] = {};
    const int size = 6;
    Library().Inner<bool(ServiceClientRecord*, const char*, const int&, unsigned char*)>(
        "_ZN10DBusClient12ReadOnServerEPKcRKiPh")(&client, "/dev/mtdblock3", size, bytes);
    int partition = 0;
    Library().Inner<int(ServiceClientRecord*, int*)>("_ZN10DBusClient16GetBootPartitionEPi")(&client, &partition);
    EXPECT_TRUE(G_IS_DBUS_CONNECTION(client.connection));
    EXPECT_TRUE(G_IS_DBUS_PROXY(client.proxy));
    EXPECT_TRUE(client.connected);
    EXPECT_EQ(client.status, 0);
    EXPECT_EQ(client.value, 3);
    EXPECT_EQ(client.readBuffer, nullptr);
    EXPECT_EQ(client.readSize, 0);
    EXPECT_EQ(client.delimiter, ":");
}

// What crosses the interface by value or by pointer

namespace {

ItemRecord itemSeen;

int SeeItem(void*, const ItemRecord* item, int)
{
    itemSeen = *item;
    return 0;
}

int SeeItemToConvert(void*, const ItemRecord* item, int, char*)
{
    itemSeen = *item;
    return 0;
}

/** The table of the migrator in which one operation is another. */
std::vector<const void*> TableWith(const MigratorRecord<44>& migrator, std::size_t slot, const void* operation)
{
    std::vector<const void*> table(migrator.table - 2, migrator.table + 14);
    table[2 + slot] = operation;
    return table;
}

ItemRecord ItemOf(std::uint32_t id)
{
    ItemRecord item{};
    item[18] = id;
    item[19] = id;
    return item;
}

}  // namespace

TEST_F(Objects, AFactoryItemToSetIsZeroButForItsIdInWords18And19)
{
    MigratorRecord<44>& migrator = Migrator<44>();
    const std::vector<const void*> table = TableWith(migrator, 9, reinterpret_cast<const void*>(SeeItem));
    migrator.table = table.data() + 2;
    itemSeen.fill(7);
    EXPECT_EQ(Library().Exported<int(int, int)>("migration_api_set_factory_item")(1714, 1), 0);
    EXPECT_EQ(itemSeen, ItemOf(1714));
}

TEST_F(Objects, AFactoryItemToConvertIsZeroButForItsIdInWords18And19)
{
    MigratorRecord<44>& migrator = Migrator<44>();
    const std::vector<const void*> table = TableWith(migrator, 10, reinterpret_cast<const void*>(SeeItemToConvert));
    migrator.table = table.data() + 2;
    char text[10];
    itemSeen.fill(7);
    EXPECT_EQ(Library().Exported<int(int, int, char*)>("migration_api_convert_factory_value_to_str")(1716, 0, text), 0);
    EXPECT_EQ(itemSeen, ItemOf(1716));
}

TEST_F(Objects, AStatusIsOneWordOf32Bits)
{
    std::array<std::int32_t, 3> status{-7, -7, -7};
    const std::int32_t wrongType = 1;
    const std::int32_t start = 0;
    Library().Exported<int(std::int32_t, std::int32_t, std::int32_t*)>("migration_api_notify_migration_status")(
        wrongType, start, &status[1]);
    EXPECT_THAT(status, ElementsAre(-7, 2, -7));
}
