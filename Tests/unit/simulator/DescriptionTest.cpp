#include "Fixture.h"

namespace vbset {

namespace {

const std::string goodTv = "kind = \"tv\"\nname = \"x\"\nyear = 15\nmain_chip = 1\nmac = \"02:00:5E:10:00:01\"\n";
const std::string goodBox = "kind = \"box\"\nname = \"x\"\nyear = 15\nmain_chip = 1\nitems = 44\nseed = 7\n";

class ADescription : public OnASet {
 protected:
    fs::path File(const std::string& text)
    {
        const fs::path file = directory_ / "it.toml";
        WriteFile(file, text);
        return file;
    }
    std::string TvRefusal(const std::string& text)
    {
        return Refusal([&] { ReadTvDescription(File(text)); });
    }
    std::string BoxRefusal(const std::string& text)
    {
        return Refusal([&] { ReadBoxDescription(File(text)); });
    }
};

TEST_F(ADescription, OfATvNeedsOnlyItsYearItsChipAndItsAddress)
{
    const TvDescription tv = ReadTvDescription(File(goodTv));
    EXPECT_EQ(tv.year, 15);
    EXPECT_EQ(tv.mac, (Mac{0x02, 0x00, 0x5E, 0x10, 0x00, 0x01}));
    EXPECT_FALSE(tv.backupPath || tv.restorePath || tv.micomMac);
    EXPECT_EQ(tv.gpio.size(), 7U);
    EXPECT_TRUE(tv.hasSystemDevice && tv.hasFrontend);
}

TEST_F(ADescription, OfATvGivesEveryKey)
{
    const TvDescription tv = ReadTvDescription(File(
        goodTv + "duolink = 2\nci_slots = 3\nbackup_path = \"/opt/korvane_vbmg/\"\nrestore_path = \"/opt/tv/a/b/\"\n"
                 "micom_mac = \"02:00:5e:11:00:01\"\nsystem_device = false\nfrontend = false\n"
                 "gpio_reads_store_four_bytes = true\nlegacy_data_directory = true\n"
                 "[gpio]\n165 = 1\n172 = 255\n"
                 "[faults]\n\"serdes.polls\" = 3\nmicom.mac = -5\n\"factory.get.*\" = \"0\"\n"));
    EXPECT_EQ(tv.duolink, 2);
    EXPECT_EQ(tv.ciSlots, 3);
    EXPECT_EQ(tv.backupPath, "/opt/korvane_vbmg/");
    EXPECT_EQ(tv.restorePath, "/opt/tv/a/b/");
    EXPECT_EQ(tv.micomMac, (Mac{0x02, 0x00, 0x5E, 0x11, 0x00, 0x01}));
    EXPECT_TRUE(!tv.hasSystemDevice && !tv.hasFrontend && tv.gpioReadsStoreFourBytes && tv.legacyDataDirectory);
    EXPECT_EQ(tv.gpio.at(165), 1);
    EXPECT_EQ(tv.gpio.at(172), 255);
    EXPECT_EQ(tv.gpio.at(107), 0);
    const std::map<std::string, std::string> faults = {
        {"serdes.polls", "3"}, {"micom.mac", "-5"}, {"factory.get.*", "0"}};
    EXPECT_EQ(tv.faults, faults);
}

TEST_F(ADescription, OfABoxGivesEveryKey)
{
    const BoxDescription box = ReadBoxDescription(File(
        goodBox + "mac_block = \"02:00:5E:20:00:01\"\nlegacy_backup = true\nboot_partition = -3\n[faults]\n"
                  "\"flash.migration.free\" = 12\n"));
    EXPECT_EQ(box.items, 44);
    EXPECT_EQ(box.seed, 7U);
    EXPECT_EQ(box.macBlock, (Mac{0x02, 0x00, 0x5E, 0x20, 0x00, 0x01}));
    EXPECT_TRUE(box.legacyBackup);
    EXPECT_EQ(box.bootPartition, -3);
    EXPECT_EQ(box.faults.at("flash.migration.free"), "12");
}

TEST_F(ADescription, ThatIsNotOneIsRefusedWithFileAndLine)
{
    const std::string file = (directory_ / "it.toml").string();
    EXPECT_EQ(TvRefusal("kind = \"tv\"\nname = \"x\"\nyear = \"15\"\n"),
              file + ":3: 'year' has to be a number from -2147483648 to 2147483647");
    EXPECT_EQ(TvRefusal("kind = \"tv\"\nname = = 3\n").find(file + ":2: "), 0U);
    EXPECT_EQ(TvRefusal(goodTv + "colour = 3\n"), file + ":6: there is no key 'colour' here");
    EXPECT_EQ(TvRefusal("kind = \"tv\"\nname = \"x\"\n"), file + ": 'year' is missing");
    EXPECT_EQ(TvRefusal(goodTv + "[gpio]\n108 = 1\n"), file + ":7: there is no GPIO 108");
    EXPECT_NE(TvRefusal(goodTv + "[gpio]\n107 = 256\n"), "");
    EXPECT_NE(TvRefusal(goodTv + "micom_mac = \"02:00:5E:11:00\"\n"), "");
    EXPECT_NE(TvRefusal(goodTv + "year2 = 99999999999999999999\n"), "");
    EXPECT_NE(TvRefusal(goodTv + "ci_slots = 4294967296\n"), "");
    EXPECT_NE(TvRefusal(goodTv + "frontend = 1\n"), "");
    EXPECT_NE(BoxRefusal(goodBox + "seed = 8\n"), "");
    EXPECT_EQ(BoxRefusal("kind = \"box\"\nname = \"x\"\nyear = 15\nmain_chip = 1\nitems = 45\nseed = 7\n"),
              file + ":5: 'items' has to be 44 or 62");
    EXPECT_EQ(TvRefusal(goodBox), file + " describes a box, not a TV");
    EXPECT_EQ(BoxRefusal(goodTv), file + " describes a TV, not a box");
    EXPECT_EQ(Refusal([&] { ReadTvDescription(directory_ / "none"); }),
              "cannot read " + (directory_ / "none").string() + ": No such file or directory");
}

TEST_F(ADescription, HasBasePathsThatLieBelowTheSetsOwnAndFitACommandLine)
{
    for (const char* path : {"/opt/korvane_vbmg", "/tmp/", "/opt/tvx/", "/opt/tv/../../etc/", "/opt/tv/a b/",
                             "/opt/tv/$x/", "opt/tv/", "", "/opt/tv//"}) {
        EXPECT_NE(TvRefusal(goodTv + "backup_path = \"" + path + "\"\n"), "") << path;
        EXPECT_NE(TvRefusal(goodTv + "restore_path = \"" + path + "\"\n"), "") << path;
    }
}

TEST_F(ADescription, HasOnlyFaultsThatTheSetKnows)
{
    EXPECT_EQ(TvRefusal(goodTv + "[faults]\n\"serdes.poll\" = 3\n"),
              (directory_ / "it.toml").string() + ":7: 'serdes.poll' is no fault of a set; did you mean serdes.polls?");
    EXPECT_EQ(TvRefusal(goodTv + "[faults]\n\"serdes.polls\" = \"often\"\n"),
              (directory_ / "it.toml").string() +
                  ":7: fault 'serdes.polls' is 'often', it has to be a number of polls or \"never\"");
}

TEST(AFault, ThatIsMistypedHasAHint)
{
    const std::pair<const char*, const char*> mistyped[] = {
        {"serdes.pols", "; did you mean serdes.polls?"},
        {"servise.state", "; did you mean service.state?"},
        {"epprom.read.F211", "; did you mean eeprom.read.ITEM, ITEM as in F211?"},
        {"eeprom.read.f211", "; it is written eeprom.read.ITEM, ITEM as in F211"},
        {"factory.get.all", "; it is written factory.get.UID, UID a number or *"},
        {"flash.migrtion.free", "; it is written flash.migration.free, flash.data_sync.free or flash.root.free"},
        {"service.ls", "; it is written service.COMMAND, as in service.spi_init.sh.mount.migration; or service.state, "
                       "service.delay"},
        {"weather", ""}};
    for (const auto& [key, hint] : mistyped) {
        const std::string expected = std::string("'") + key + "' is no fault of a set" + hint;
        EXPECT_EQ(Refusal([&, k = key] { CheckFault(k, "1"); }), expected);
    }
}

TEST(AFault, IsKnownByItsKeyAndItsValue)
{
    const std::pair<const char*, const char*> good[] = {
        {"serdes.polls", "3"}, {"serdes.polls", "never"}, {"eeprom.read.F211", "-1"}, {"eeprom.write.1E04", "0"},
        {"eeprom.value.F211", "AA"}, {"eeprom.migrated_mac", "5"}, {"system_info.254", "fail"},
        {"system_info.254", "17"}, {"factory.size.79", "0"}, {"factory.get.*", "0"}, {"factory.set.1760", "-1"},
        {"factory.value.*", "fail"}, {"micom.mac", "-1"}, {"encrypt.import", "4"}, {"encrypt.size", "0"},
        {"encrypt.length", "0"}, {"local.spi_init.sh.mount.data_sync", "1"}, {"local.mkdir", "kill"},
        {"service.MigrationScript.sh.tarncpy", "3"}, {"service.state", "silent"}, {"service.delay", "10"},
        {"service.reply.9", ""}, {"service.reply.0", "0:1:0"}, {"path./dev/mtdblock3", "EACCES"},
        {"read./dev/mtdblock3", "short:2"}, {"read./x", "EIO"}, {"write./x", "full:5"}, {"write./x", "short:1"},
        {"fsync./x", "EIO"}, {"flash.data_sync.free", "0"}, {"ioctl.4004491F", "EIO"}};
    for (const auto& [key, value] : good) {
        EXPECT_EQ(Refusal([&] { CheckFault(key, value); }), "") << key << '=' << value;
    }

    const std::pair<const char*, const char*> bad[] = {
        {"", ""}, {"serdes.polls", "-1"}, {"serdes.polls.x", "1"}, {"eeprom.read.f211", "1"},
        {"eeprom.read.", "1"}, {"eeprom.value.F211", "A"}, {"factory.size.x", "1"}, {"factory.value.79", "1"},
        {"micom.mac", "1"}, {"local.ls", "1"}, {"local.spi_init.shx", "1"}, {"local.mkdir", "256"},
        {"service.state", "tired"},
        {"service.reply.x", "1"}, {"service.reply.0", "a\nb"}, {"path./x", "EWHAT"}, {"path.", "EIO"},
        {"path./a=b", "EIO"}, {"write./x", "short:0"}, {"read./x", "full:3"}, {"flash.usb.free", "3"},
        {"ioctl.4004491f", "EIO"}, {"ioctl.491F", "EIO"}, {"encrypt.size", "99999999999"}};
    for (const auto& [key, value] : bad) {
        EXPECT_NE(Refusal([&] { CheckFault(key, value); }), "") << key << '=' << value;
    }
}

}  // namespace

}  // namespace vbset
