#include "Fixture.h"

#include <cerrno>
#include <cstring>
#include <thread>
#include <vector>

#include "EepromMap.h"
#include "FactoryInterface.h"
#include "Micom.h"
#include "PlatformLog.h"
#include "PlatformPath.h"
#include "SystemInfo.h"

namespace vbset {

namespace {

using Bytes = std::vector<unsigned char>;

class ThePlatform : public OnASet {
 protected:
    std::string LastTraced() const
    {
        const Interaction last = Trace().back();
        return last.kind + ' ' + last.call + '(' + last.args + ") = " + last.result;
    }

    static std::string Traced(const std::string& call, const std::string& args, const std::string& result)
    {
        return "platform " + call + '(' + args + ") = " + result;
    }
};

TEST_F(ThePlatform, KeepsItemsInTheEeprom)
{
    vbset::Set& set = Start("tv15", "box15");
    unsigned char mac[6] = {};
    EXPECT_EQ(eeprom_read(EEPROM_ITEM_MAC, 6, mac), 6);
    EXPECT_TRUE(std::equal(mac, mac + 6, set.Tv().mac.begin()));
    EXPECT_EQ(LastTraced(), Traced("eeprom_read", "0x1E04 6", "6 02005E100015"));

    const unsigned char flag = 0xAA;
    EXPECT_EQ(eeprom_write(EEPROM_ITEM_POWER_FLAG, 1, &flag), 1);
    EXPECT_EQ(LastTraced(), Traced("eeprom_write", "0xF211 1 AA", "1"));
    EXPECT_EQ(set.Eeprom(0xF211), Bytes{0xAA});

    unsigned char large[8] = {1, 1, 1, 1, 1, 1, 1, 1};
    EXPECT_EQ(eeprom_read(EEPROM_ITEM_POWER_FLAG, 8, large), 1);
    EXPECT_EQ(large[1], 1);
    EXPECT_LE(eeprom_read(0x7777, 1, large), 0);
    EXPECT_LE(eeprom_read(EEPROM_ITEM_MAC, 0, large), 0);
    EXPECT_LE(eeprom_read(EEPROM_ITEM_MAC, 6, nullptr), 0);
    EXPECT_LE(eeprom_write(EEPROM_ITEM_MAC, -1, large), 0);
    EXPECT_LE(eeprom_write(EEPROM_ITEM_MAC, 6, nullptr), 0);
    EXPECT_EQ(set.Eeprom(0x1E04)->size(), 6U);
}

TEST_F(ThePlatform, KeepsAMigratedMac)
{
    vbset::Set& set = Start("tv14", "box14");
    const unsigned char mac[6] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(eeprom_write_migrated_mac(mac, 5), EINVAL);
    EXPECT_EQ(eeprom_write_migrated_mac(nullptr, 6), EINVAL);
    live::SetFault("eeprom.migrated_mac", "5");
    EXPECT_EQ(eeprom_write_migrated_mac(mac, 6), 5);
    EXPECT_FALSE(set.MigratedMac().has_value());
    live::SetFault("eeprom.migrated_mac", nullptr);
    EXPECT_EQ(eeprom_write_migrated_mac(mac, 6), 0);
    EXPECT_EQ(LastTraced(), Traced("eeprom_write_migrated_mac", "010203040506 6", "0"));
    EXPECT_EQ(set.MigratedMac(), (Mac{1, 2, 3, 4, 5, 6}));
}

TEST_F(ThePlatform, HasEepromFaults)
{
    vbset::Set& set = Start("tv15", "box15");
    unsigned char buffer[6] = {};
    live::SetFault("eeprom.read.1E04", "0");
    EXPECT_EQ(eeprom_read(0x1E04, 6, buffer), 0);
    EXPECT_EQ(buffer[0], 0);
    live::SetFault("eeprom.read.1E04", "2");
    EXPECT_EQ(eeprom_read(0x1E04, 6, buffer), 2);
    EXPECT_EQ(buffer[0], 0x02);
    EXPECT_EQ(buffer[2], 0);
    live::SetFault("eeprom.read.1E04", "100");
    EXPECT_EQ(eeprom_read(0x1E04, 3, buffer), 100);
    EXPECT_EQ(buffer[3], 0);
    live::SetFault("eeprom.value.F211", "AA");
    EXPECT_EQ(eeprom_read(0xF211, 1, buffer), 1);
    EXPECT_EQ(buffer[0], 0xAA);
    live::SetFault("eeprom.write.F211", "-3");
    EXPECT_EQ(eeprom_write(0xF211, 1, buffer), -3);
    EXPECT_EQ(set.Eeprom(0xF211), Bytes{0xFF});
    const unsigned char mac[6] = {9, 9, 9, 9, 9, 9};
    live::SetFault("eeprom.write.1E04", "2");
    EXPECT_EQ(eeprom_write(0x1E04, 6, mac), 2);
    EXPECT_EQ(set.Eeprom(0x1E04), (Bytes{9, 9, 0x5E, 0x10, 0x00, 0x15}));
}

TEST_F(ThePlatform, TellsWhatTheDescriptionsSay)
{
    Start("tv15-newboard", "box14-62");
    const std::pair<int, int> keys[] = {{254, 15}, {253, 1}, {252, 14}, {251, 3}, {705, 1}, {241, 2}};
    for (const auto& [key, wanted] : keys) {
        int value = -1;
        EXPECT_EQ(system_info_get_value_int(key, &value), 0) << key;
        EXPECT_EQ(value, wanted) << key;
    }
    EXPECT_EQ(LastTraced(), Traced("system_info_get_value_int", "241", "0 2"));
    int value = 77;
    char* text = nullptr;
    EXPECT_NE(system_info_get_value_int(1, &value), 0);
    EXPECT_NE(system_info_get_value_string(247, &text), 0);
    live::SetFault("system_info.254", "fail");
    live::SetFault("system_info.253", "3");
    live::SetFault("system_info.248", "/opt/korvane_vbmg/");
    EXPECT_NE(system_info_get_value_int(254, &value), 0);
    EXPECT_EQ(value, 77);
    EXPECT_EQ(system_info_get_value_int(253, &value), 0);
    EXPECT_EQ(value, 3);
    EXPECT_EQ(system_info_get_value_string(248, &text), 0);
    EXPECT_STREQ(text, "/opt/korvane_vbmg/");
    std::free(text);
    EXPECT_NE(system_info_get_value_int(253, nullptr), 0);
    EXPECT_NE(system_info_get_value_string(248, nullptr), 0);
}

TEST_F(ThePlatform, JoinsPathsForEachThread)
{
    Start("tv15", "box15");
    const char* mine = tzplatform_mkpath(31, "migration/service/PictureData.dat");
    std::thread([] { EXPECT_STREQ(tzplatform_mkpath(31, "x"), "/opt/tv/x"); }).join();
    EXPECT_STREQ(mine, "/opt/tv/migration/service/PictureData.dat");
    EXPECT_EQ(LastTraced(), Traced("tzplatform_mkpath", "31 x", "/opt/tv/x"));
    EXPECT_EQ(tzplatform_mkpath(30, "x"), nullptr);
    EXPECT_EQ(tzplatform_mkpath(31, nullptr), nullptr);
}

TEST_F(ThePlatform, LocksTheLinkAfterAsManyPollsAsTheFaultSays)
{
    Start("tv15", "box15");
    int status = -1;
    micom_check_serdes_lock(&status);
    EXPECT_EQ(status, 1);
    live::SetFault("serdes.polls", "2");
    for (const int wanted : {0, 0, 1, 0, 0, 1}) {
        micom_check_serdes_lock(&status);
        EXPECT_EQ(status, wanted);
    }
    live::SetFault("serdes.polls", "never");
    for (int i = 0; i < 200; ++i) micom_check_serdes_lock(&status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(LastTraced(), Traced("micom_check_serdes_lock", "", "0 0"));
    live::SetFault("serdes.polls", nullptr);
    micom_check_serdes_lock(&status);
    EXPECT_EQ(status, 1);
    EXPECT_LT(micom_check_serdes_lock(nullptr), 0);
}

TEST_F(ThePlatform, GivesTheMicomsMac)
{
    Start("tv13", "box13");
    unsigned char mac[6] = {};
    EXPECT_EQ(micom_get_tv_side_mac_addr(mac), 0);
    EXPECT_EQ(LastTraced(), Traced("micom_get_tv_side_mac_addr", "", "0 02005E110013"));
    EXPECT_EQ(mac[5], 0x13);
    live::SetFault("micom.mac", "-9");
    mac[5] = 0;
    EXPECT_EQ(micom_get_tv_side_mac_addr(mac), -9);
    EXPECT_EQ(mac[5], 0);
    EXPECT_LT(micom_get_tv_side_mac_addr(nullptr), 0);
}

TEST_F(ThePlatform, MovesItemsInAndOutOfTheFactoryStore)
{
    vbset::Set& set = Start("tv15-62", "box15-62");
    const auto items = set.FactoryItems();
    for (const auto& [uid, item] : items) {
        int size = 0;
        unsigned int type = 0;
        int length = 0;
        GetMigrationItemSize(uid, &size);
        ASSERT_EQ(size, static_cast<int>(item.data.size()));
        Bytes data(item.data.size() + 1, 0xEE);
        EXPECT_EQ(GetMigrationItemData(uid, &type, &length, data.data()), 1);
        EXPECT_EQ(data.back(), 0xEE);
        data.pop_back();
        EXPECT_EQ((FactoryItem{type, data}), item);
    }
    unsigned char value[] = {0x12, 0x34};
    EXPECT_EQ(SetMigrationItemData(79, 0xFFFFFFFEU, value, 2), 1);
    EXPECT_EQ(LastTraced(), Traced("SetMigrationItemData", "79 0xFFFFFFFE 1234 2", "1"));
    EXPECT_EQ(set.FactoryItems().at(79), (FactoryItem{0xFFFFFFFEU, {0x12, 0x34}}));
    EXPECT_NE(SetMigrationItemData(4711, 0, value, 2), 1);
    EXPECT_NE(SetMigrationItemData(79, 0, value, 0), 1);
    EXPECT_NE(SetMigrationItemData(79, 0, nullptr, 2), 1);
    EXPECT_EQ(set.FactoryItems().size(), 62U);
    int size = -1;
    GetMigrationItemSize(4711, &size);
    EXPECT_EQ(size, 0);
    EXPECT_NE(GetMigrationItemData(4711, nullptr, nullptr, value), 1);
    EXPECT_EQ(DoVornBoxFactoryDatasSync(5, 15), 1);
    EXPECT_EQ(LastTraced(), Traced("DoVornBoxFactoryDatasSync", "5 15", "1"));
}

TEST_F(ThePlatform, HasFactoryFaultsForOneItemOrAll)
{
    Start("tv15", "box15");
    int size = 0;
    unsigned int type = 0;
    Bytes data(64, 0xEE);
    std::uint32_t word = 0;
    live::SetFault("factory.size.*", "5");
    live::SetFault("factory.size.80", "-1");
    GetMigrationItemSize(79, &size);
    EXPECT_EQ(size, 5);
    EXPECT_EQ(GetMigrationItemData(79, &type, &size, data.data()), 1);
    EXPECT_EQ(data[4], 0);
    EXPECT_EQ(data[5], 0xEE);
    GetMigrationItemSize(80, &size);
    EXPECT_EQ(size, -1);
    EXPECT_NE(GetMigrationItemData(80, &type, &size, data.data()), 1);
    live::SetFault("factory.get.79", "3");
    EXPECT_EQ(GetMigrationItemData(79, &type, &size, data.data()), 3);
    live::SetFault("factory.set.*", "0");
    EXPECT_EQ(SetMigrationItemData(81, 0, data.data(), 2), 0);
    live::SetFault("factory.value.79", "fail");
    EXPECT_EQ(GetData(79, &word), 0);
    EXPECT_NE(GetData(80, &word), 0);
    live::SetFault("factory.value.*", "fail");
    EXPECT_EQ(GetData(80, &word), 0);
}

/** Reads values back from records in table order as the file reader does: each lies over what earlier ones left. */
std::map<std::uint32_t, std::uint32_t> WordsOfAFile(const std::map<std::uint32_t, FactoryItem>& items)
{
    std::map<std::uint32_t, std::uint32_t> words;
    unsigned char value[40] = {};
    for (const std::uint32_t uid : ItemIds(62)) {
        const Bytes& data = items.at(uid).data;
        std::copy(data.begin(), data.end(), value);
        std::memcpy(&words[uid], value, sizeof(std::uint32_t));
    }
    return words;
}

TEST_F(ThePlatform, GivesTheWordsThatAFileOfTheSameItemsGives)
{
    vbset::Set& set = Start("tv15-62", "box15-62");
    const auto verify = [&] {
        const auto words = WordsOfAFile(set.FactoryItems());
        for (const unsigned char before : Bytes{0x00, 0xEE}) {  // what the caller's buffer held does not matter
            for (const auto& [uid, wanted] : words) {
                Bytes buffer(1024, before);
                EXPECT_NE(GetData(uid, buffer.data()), 0);
                std::uint32_t word = 0;
                std::memcpy(&word, buffer.data(), sizeof word);
                EXPECT_EQ(word, wanted) << uid;
                EXPECT_EQ(buffer[4], before);
            }
        }
    };
    set.WriteFactoryItem(564, {1, {0x34, 0x12}});
    set.WriteFactoryItem(1760, {1, {0x77}});
    verify();
    std::uint32_t word = 0;
    GetData(1760, &word);
    EXPECT_EQ(word, 0x1277U);
    GetData(564, &word);
    EXPECT_EQ(word, 0x1234U);
    set.WriteFactoryItem(98, {1, {1, 2, 3, 4, 5}});
    set.WriteFactoryItem(1765, {1, {1, 2, 0xF3}});
    verify();
}

TEST_F(ThePlatform, LogsOneLineAMessage)
{
    Start("tv15", "box15");
    errno = EIO;
    const std::string longText(5000, 'x');
    EXPECT_GE(__dlog_print(0, 6, "MIGVBX", "%s: %s(%d) > a\tb\nc\\d", "File.cpp", "Func", 12), 0);
    EXPECT_GE(__dlog_print(0, 4, "MIGVBX", "%s", longText.c_str()), 0);
    EXPECT_EQ(errno, EIO);
    const std::string log = ReadFile(directory_ / "tv/platform.log");
    const std::size_t blank = log.find(' ');
    EXPECT_EQ(log.find_first_not_of("0123456789."), blank);
    EXPECT_EQ(log.find('.'), blank - 7);
    EXPECT_EQ(log.substr(blank, log.find('\n') - blank), " 6 MIGVBX File.cpp: Func(12) > a\\tb\\nc\\\\d");
    EXPECT_NE(log.find(" 4 MIGVBX " + longText + "\n"), std::string::npos);
    EXPECT_EQ(TraceText(), "{\"run\":\"test\"}\n");
}

TEST_F(ThePlatform, NeverShowsHalfAWrite)
{
    vbset::Set& set = Start("tv15", "box15");
    const auto write = [](unsigned char byte) {
        unsigned char bytes[200];
        std::fill(std::begin(bytes), std::end(bytes), byte);
        for (int i = 0; i < 50; ++i) {
            eeprom_write(0x1E04, sizeof bytes, bytes);
            SetMigrationItemData(79, byte, bytes, sizeof bytes);
        }
    };
    write(3);
    std::thread one(write, static_cast<unsigned char>(1));
    std::thread other(write, static_cast<unsigned char>(2));
    for (int i = 0; i < 100; ++i) {
        unsigned char bytes[200] = {};
        ASSERT_EQ(eeprom_read(0x1E04, sizeof bytes, bytes), 200);
        EXPECT_EQ(std::count(std::begin(bytes), std::end(bytes), bytes[0]), 200);
        const FactoryItem item = set.FactoryItems().at(79);
        EXPECT_EQ(item.data, Bytes(200, static_cast<unsigned char>(item.storeType)));
    }
    one.join();
    other.join();
    EXPECT_EQ(set.FactoryItems().size(), 44U);
}

TEST(ThePlatformOfNoSet, Fails)
{
    unsigned char bytes[6] = {};
    int value = 0;
    EXPECT_LE(eeprom_read(0xF211, 1, bytes), 0);
    EXPECT_LE(eeprom_write(0xF211, 1, bytes), 0);
    EXPECT_NE(eeprom_write_migrated_mac(bytes, 6), 0);
    EXPECT_NE(system_info_get_value_int(254, &value), 0);
    EXPECT_LT(micom_get_tv_side_mac_addr(bytes), 0);
    EXPECT_EQ(GetData(79, &value), 0);
    EXPECT_LT(__dlog_print(0, 4, "T", "%d", 1), 0);
}

}  // namespace

}  // namespace vbset
