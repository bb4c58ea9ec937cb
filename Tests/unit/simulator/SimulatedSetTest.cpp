#include "Fixture.h"

#include <algorithm>
#include <vector>

namespace vbset {

namespace {

using Names = std::vector<std::string>;

Names FilesIn(const fs::path& directory)
{
    Names names;
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
        names.push_back(fs::relative(entry.path(), directory).string() + (entry.is_directory() ? "/" : ""));
    }
    std::sort(names.begin(), names.end());
    return names;
}

class ASet : public OnASet {};

TEST_F(ASet, CanBeMadeFromEachPackagedDescription)
{
    const Names names = {"tv17", "tv17-62", "tv15", "tv15-62", "tv15-newboard", "tv15-newboard-noci", "tv14", "tv14-62",
                         "tv13", "tv13-62", "box17", "box17-62", "box15", "box15-62", "box14", "box14-62",
                         "box14-legacy", "box14-legacy-62", "box13", "box13-62"};
    for (const std::string& name : names) Create(name, directory_ / name);
    for (const std::string& tv : names) {
        if (tv.rfind("tv", 0) != 0) continue;
        const std::string suffix = tv.size() > 5 && tv.substr(4) == "-62" ? "-62" : "";
        const vbset::Set set(directory_ / tv, directory_ / ("box" + tv.substr(2, 2) + suffix));
        EXPECT_EQ(set.Tv().name, tv);
        EXPECT_EQ(std::to_string(set.Tv().year), tv.substr(2, 2));
        EXPECT_EQ(set.Box().year, set.Tv().year);
        EXPECT_EQ(set.Box().items, set.Tv().mainChip == 3 ? 62 : 44);
        EXPECT_EQ(set.FactoryItems(), SeededItems(set.Box().items, set.Box().seed));
        EXPECT_EQ(set.Eeprom(0x1E04), std::vector<unsigned char>(set.Tv().mac.begin(), set.Tv().mac.end()));
        EXPECT_EQ(set.Eeprom(0xF211), std::vector<unsigned char>{0xFF});
    }
    EXPECT_EQ(vbset::Set(directory_ / "tv15-newboard", directory_ / "box15").Tv().ciSlots, 2);
    EXPECT_EQ(vbset::Set(directory_ / "tv15-newboard-noci", directory_ / "box15").Tv().ciSlots, 0);
    EXPECT_EQ(vbset::Set(directory_ / "tv15-newboard", directory_ / "box15").Tv().gpio.at(107), 0);
    EXPECT_EQ(vbset::Set(directory_ / "tv15", directory_ / "box15").Tv().gpio.at(107), 1);
    EXPECT_TRUE(fs::exists(directory_ / "box14-legacy/nonvolatile/migration/legacy.tar"));
    EXPECT_TRUE(fs::is_empty(directory_ / "box14/nonvolatile/migration"));
}

TEST_F(ASet, HasFilesWhereProgramsLookForThem)
{
    Create("tv15", directory_ / "tv");
    EXPECT_EQ(FilesIn(directory_ / "tv"),
              (Names{"nonvolatile/", "nonvolatile/data_sync/", "nonvolatile/eeprom/", "nonvolatile/eeprom/1E04",
                     "nonvolatile/eeprom/F211", "nonvolatile/root/", "nonvolatile/root/opt/",
                     "nonvolatile/root/opt/korvane_vbmg/", "nonvolatile/root/opt/tv/",
                     "nonvolatile/root/opt/tv/migration/", "nonvolatile/root/opt/tv/migration/service/",
                     "nonvolatile/work/", "tv.toml"}));
    Create("box15", directory_ / "box");
    const Names box = FilesIn(directory_ / "box");
    const auto isItem = [](const std::string& name) {
        return name.rfind("nonvolatile/factory/", 0) == 0 && name.back() != '/';
    };
    EXPECT_EQ(std::count_if(box.begin(), box.end(), isItem), 44);
    EXPECT_EQ(ReadFile(directory_ / "box/nonvolatile/mac"), "\xFF\xFF\xFF\xFF\xFF\xFF");
    EXPECT_EQ(ReadFile(directory_ / "box/nonvolatile/boot_partition"), "0");
    EXPECT_EQ(ReadFile(directory_ / "box/nonvolatile/factory/79").size(), 6U);
}

TEST_F(ASet, IsRefusedWithoutLeavingAnythingBehind)
{
    WriteFile(directory_ / "bad.toml", "kind = \"tv\"\n");
    fs::create_directory(directory_ / "there");
    const Names before = FilesIn(directory_);
    EXPECT_NE(Refusal([&] { Create((directory_ / "bad.toml").string(), directory_ / "new"); }), "");
    EXPECT_EQ(Refusal([&] { Create("tv15", directory_ / "there"); }),
              (directory_ / "there").string() + " exists already");
    EXPECT_NE(Refusal([&] { Create("tv15", directory_ / "no/such/parent"); }), "");
    EXPECT_NE(Refusal([&] { Create("tv15", "/opt/tv/mine"); }).find("is a path of the set itself"), std::string::npos);
    const std::string unknown = Refusal([&] { Create("tv16", directory_ / "new"); });
    EXPECT_NE(unknown.find("'tv16'"), std::string::npos);
    EXPECT_NE(unknown.find("tv15-newboard-noci"), std::string::npos);
    EXPECT_EQ(FilesIn(directory_), before);
}

TEST_F(ASet, NeedsBothDirectories)
{
    Create("tv15", directory_ / "tv");
    EXPECT_EQ(Refusal([&] { vbset::Set(directory_ / "tv", directory_ / "box"); }),
              "there is no box directory " + (directory_ / "box").string());
    EXPECT_EQ(Refusal([&] { vbset::Set(directory_ / "tv", directory_ / "tv"); }),
              (directory_ / "tv").string() + " is no box: it has no box.toml");
}

TEST_F(ASet, IsLockedOnBothSidesOrNot)
{
    for (const char* name : {"tv14", "tv15", "box14", "box15"}) Create(name, directory_ / name);
    auto first = std::make_unique<vbset::Set>(directory_ / "tv15", directory_ / "box15");
    first->Lock();
    first->Lock();
    vbset::Set sharesTheBox(directory_ / "tv14", directory_ / "box15");
    EXPECT_EQ(Refusal([&] { sharesTheBox.Lock(); }), (directory_ / "box15").string() + " is in use by another run");
    vbset::Set sharesNothing(directory_ / "tv14", directory_ / "box14");
    EXPECT_EQ(Refusal([&] { sharesNothing.Lock(); }), "");
    first.reset();
    EXPECT_EQ(Refusal([&] { sharesTheBox.Lock(); }), (directory_ / "tv14").string() + " is in use by another run");
}

TEST_F(ASet, IsMadeAnewWhenSwitchedOnAndOnlyThen)
{
    vbset::Set& set = Start("tv15", "box15");
    const fs::path module = directory_ / "tv/volatile/module";
    WriteFile(module, "");
    set.PowerOn();
    EXPECT_TRUE(fs::exists(module));
    set.PowerOff();
    EXPECT_FALSE(set.IsOn());
    EXPECT_FALSE(fs::exists(directory_ / "tv/volatile"));
    EXPECT_FALSE(fs::exists(directory_ / "box/volatile"));
    set.PowerOn();
    EXPECT_TRUE(set.IsOn());
    EXPECT_FALSE(fs::exists(module));
    EXPECT_EQ(ReadFile(directory_ / "tv/volatile/gpio/107"), "1");
    EXPECT_EQ(ReadFile(directory_ / "tv/volatile/buffer_ic"), "1");
    EXPECT_EQ(ReadFile(directory_ / "tv/volatile/tuner_mute"), "0");
    EXPECT_TRUE(fs::exists(directory_ / "tv/volatile/dev/system"));
}

TEST_F(ASet, IsOffWhenItsBoxHasMovedToAnotherTv)
{
    vbset::Set& first = Start("tv15", "box15");
    Create("tv14", directory_ / "tv14");
    vbset::Set second(directory_ / "tv14", directory_ / "box");
    EXPECT_FALSE(second.IsOn());
    second.PowerOn();
    EXPECT_TRUE(second.IsOn());
    EXPECT_FALSE(first.IsOn());
    first.PowerOff();
    EXPECT_TRUE(second.IsOn());
}

TEST_F(ASet, HasPartitionsThatAreSeenWhenMounted)
{
    vbset::Set& set = Start("tv15", "box15");
    EXPECT_FALSE(set.IsMounted("migration") || set.IsMounted("data_sync"));
    EXPECT_EQ(fs::canonical(*set.Map("/opt/korvane_vbmg")), directory_ / "tv/nonvolatile/root/opt/korvane_vbmg");
    fs::remove(directory_ / "tv/volatile/mnt/migration");
    fs::create_symlink(directory_ / "box/nonvolatile/migration", directory_ / "tv/volatile/mnt/migration");
    EXPECT_TRUE(set.IsMounted("migration"));
    EXPECT_FALSE(set.IsMounted("data_sync"));
    EXPECT_NE(Refusal([&] { set.IsMounted("usb"); }), "");
    set.PowerOff();
    EXPECT_FALSE(set.IsMounted("migration"));
}

TEST_F(ASet, MapsItsPathsAndNoOthers)
{
    vbset::Set& set = Start("tv15", "box15");
    EXPECT_EQ(ReadFile(directory_ / "tv/volatile/paths"),
              "/dev/mtdblock3\t" + (directory_ / "box/nonvolatile/mac").string() + "\n" +
              "/dev/system\t" + (directory_ / "tv/volatile/dev/system").string() + "\n" +
              "/dev/dvb/adapter0/frontend0\t" + (directory_ / "tv/volatile/dev/frontend0").string() + "\n" +
              "/opt/korvane_vbmg_Tavix.tar.gz\t" +
              (directory_ / "tv/nonvolatile/root/opt/korvane_vbmg_Tavix.tar.gz").string() + "\n" +
              "/opt/korvane_vbmg\t" + (directory_ / "tv/volatile/mnt/migration").string() + "\n" +
              "/opt/tv/migration/service\t" + (directory_ / "tv/volatile/mnt/data_sync").string() + "\n" +
              "/opt/tv\t" + (directory_ / "tv/nonvolatile/root/opt/tv").string() + "\n");
    EXPECT_EQ(set.Map("/opt/tv/migration/service/PictureData.dat"),
              directory_ / "tv/volatile/mnt/data_sync/PictureData.dat");
    EXPECT_EQ(set.Map("/opt/tv/migration/serviceX"), directory_ / "tv/nonvolatile/root/opt/tv/migration/serviceX");
    for (const char* path : {"/opt", "/opt/tvx", "/dev/mtdblock33", "/dev/system2", "/dev", "/etc/passwd", "dev/system",
                             "", "/opt/korvane_vbmg_Tavix.tar.gz2", "/opt/tv/../../etc"}) {
        EXPECT_FALSE(set.Map(path).has_value()) << path;
    }
    EXPECT_FALSE(set.Map((directory_ / "tv/tv.toml").string()).has_value());
}

TEST_F(ASet, KeepsWhatIsWrittenToIt)
{
    vbset::Set& set = Start("tv15", "box15");
    EXPECT_FALSE(set.MigratedMac().has_value());
    EXPECT_FALSE(set.Eeprom(0x1234).has_value());
    set.WriteEeprom(0xF211, {0xAA});
    set.WriteMacBlock({1, 2, 3});
    set.WriteFactoryItem(79, {0x80000001U, {9, 8, 7}});
    set.PowerOff();
    EXPECT_EQ(set.Eeprom(0xF211), std::vector<unsigned char>{0xAA});
    EXPECT_EQ(set.MacBlock(), (Mac{1, 2, 3, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(set.FactoryItems().at(79), (FactoryItem{0x80000001U, {9, 8, 7}}));
    EXPECT_EQ(set.BootPartition(), 0);
    WriteFile(directory_ / "box/nonvolatile/boot_partition", "2\n");
    EXPECT_EQ(set.BootPartition(), 2);
    WriteFile(directory_ / "box/nonvolatile/boot_partition", "two");
    EXPECT_NE(Refusal([&] { set.BootPartition(); }), "");
}

TEST_F(ASet, HasTheFaultsOfBothDescriptionsAndThoseOfARun)
{
    Create("tv15", directory_ / "tv");
    Create("box15", directory_ / "box");
    const auto append = [](const fs::path& file, const std::string& text) { WriteFile(file, ReadFile(file) + text); };
    append(directory_ / "tv/tv.toml", "\"serdes.polls\" = 3\n\"micom.mac\" = -1\n");
    append(directory_ / "box/box.toml", "\"factory.get.*\" = 0\n");
    vbset::Set set(directory_ / "tv", directory_ / "box");
    set.PowerOn();
    EXPECT_EQ(ReadFile(directory_ / "tv/volatile/faults"), "factory.get.*=0\nmicom.mac=-1\nserdes.polls=3\n");
    set.SetFaults({{"serdes.polls", "never"}, {"encrypt.size", "0"}});
    EXPECT_EQ(ReadFile(directory_ / "tv/volatile/faults"),
              "encrypt.size=0\nfactory.get.*=0\nmicom.mac=-1\nserdes.polls=never\n");
    EXPECT_NE(Refusal([&] { set.SetFaults({{"bad", "1"}}); }), "");
    set.SetFaults({});
    EXPECT_EQ(ReadFile(directory_ / "tv/volatile/faults"), "factory.get.*=0\nmicom.mac=-1\nserdes.polls=3\n");
}

TEST(SeededItems, DifferInEveryItemBetweenSeeds)
{
    for (const std::uint32_t seed : {2U, 14U, 255U, 256U * 7U + 3U}) {
        const auto one = SeededItems(62, 1);
        const auto other = SeededItems(62, seed);
        for (const auto& [uid, item] : one) {
            EXPECT_NE(item.data, other.at(uid).data) << uid << " with seed " << seed;
            EXPECT_NE(item.storeType, other.at(uid).storeType);
            EXPECT_EQ(item.data.size(), uid > 1759 ? 1U : 2U);
        }
    }
}

TEST(ItemIds, AreInTableOrder)
{
    const auto& ids = ItemIds(62);
    ASSERT_EQ(ids.size(), 62U);
    EXPECT_EQ(ItemIds(44), std::vector<std::uint32_t>(ids.begin(), ids.begin() + 44));
    EXPECT_EQ(std::vector<std::uint32_t>(ids.begin() + 12, ids.begin() + 18),
              (std::vector<std::uint32_t>{97, 98, 535, 545, 555, 536}));
    EXPECT_EQ(ids[43], 564U);
    EXPECT_EQ(ids[44], 1760U);
    EXPECT_EQ(ids[61], 1777U);
}

TEST(TheSimulatorsOwnFiles, LieBesideItsLibrary)
{
    EXPECT_TRUE(fs::exists(ShareDirectory() / "tv15.toml"));
    EXPECT_EQ(PathsLibrary().filename(), "libvbset-paths.so");
    EXPECT_TRUE(fs::exists(PathsLibrary().parent_path() / "libvbset.so"));
}

}  // namespace

}  // namespace vbset
