/** `vbset show`, `diff` and `trace`. */
#include "VbsetCommand.h"

namespace {

TEST_F(VbsetCommand, ShowTellsWhatTheSidesAreAndHold)
{
    vbset::Set set(Tv(), Box());
    set.WriteEeprom(0xF211, {0xAA});
    std::ofstream(Box() / "nonvolatile/archive.tar.gz") << "abc";
    Edit(Tv() / "tv.toml", "[faults]", "[faults]\n\"serdes.polls\" = \"never\"");
    ASSERT_EQ(Run({"true"}).status, 0);
    const json tv = Show(Tv());
    EXPECT_EQ(tv["side"], "tv");
    EXPECT_EQ(tv["description"]["year"], 15);
    EXPECT_EQ(tv["joined"], Box().string());
    EXPECT_EQ(tv["holds"]["mac"], "02:00:5E:10:00:15");
    EXPECT_EQ(tv["holds"]["eeprom"]["F211"], "AA");
    EXPECT_EQ(tv["volatile"]["gpio"]["153"], 1);
    EXPECT_EQ(tv["volatile"]["buffer_ic"], 1);
    EXPECT_EQ(tv["volatile"]["tuner_mute"], 0);
    EXPECT_EQ(tv["volatile"]["module_loaded"], false);
    EXPECT_EQ(tv["volatile"]["faults"]["serdes.polls"], "never");
    const json box = Show(Box());
    EXPECT_EQ(box["items"]["count"], 44);
    EXPECT_EQ(box["holds"]["boot_partition"], 0);
    EXPECT_EQ(box["holds"]["mac_block"], "FF:FF:FF:FF:FF:FF");
    EXPECT_EQ(box["holds"]["archive"]["sha256"], "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(json::parse(Vbset({"show", Tv(), Box(), "--json"}).output), json({tv, box}));

    const std::string text = Vbset({"show", Tv(), Box()}).output;
    EXPECT_NE(text.find("  power flag       AA: a migration is in progress or was cut short\n"), std::string::npos)
        << text;
    EXPECT_NE(text.find("  backup path      not told; the library takes /opt/tv/migration/korvane_vbmg/\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("  faults           serdes.polls=never\n"), std::string::npos) << text;
    EXPECT_NE(text.find("  items            44, sha256 "), std::string::npos) << text;
    EXPECT_NE(text.find("  archive          3 bytes, sha256 ba7816bf8f01cfea\n"), std::string::npos) << text;
}

TEST_F(VbsetCommand, DiffFindsNothingBetweenEqualSides)
{
    vbset::Create("box15", Directory() / "other");
    const auto ended = Vbset({"diff", Box(), Directory() / "other"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, "");
}

TEST_F(VbsetCommand, DiffTellsEachThingThatDiffers)
{
    vbset::Create("box15", Directory() / "other");
    vbset::Set other(Tv(), Directory() / "other");
    const std::uint32_t uid = vbset::ItemIds(44).front();
    other.WriteFactoryItem(uid, {2, {0x0A, 0x0B}});
    other.WriteMacBlock({1, 2, 3, 4, 5, 6});
    std::ofstream(Directory() / "other/nonvolatile/migration/file") << "abc";
    vbset::Set(Tv(), Box()).WriteFactoryItem(uid, {1, {0x0A}});
    const auto ended = Vbset({"diff", Box(), Directory() / "other"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output, "file migration/file\n  - none\n  + 3 bytes, sha256 ba7816bf8f01cfea\n"
                            "item " + std::to_string(uid) + "\n  - type 1, 1 bytes 0A\n  + type 2, 2 bytes 0A0B\n"
                            "mac_block\n  - FF:FF:FF:FF:FF:FF\n  + 01:02:03:04:05:06\n");
}

TEST_F(VbsetCommand, DiffComparesTvsToo)
{
    vbset::Create("tv15", Directory() / "other");
    vbset::Set(Directory() / "other", Box()).WriteEeprom(0xF211, {0xAA});
    const auto ended = Vbset({"diff", Tv(), Directory() / "other"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.output, "EEPROM F211\n  - FF\n  + AA\n");
}

TEST_F(VbsetCommand, TraceShowsTheRuns)
{
    EXPECT_EQ(Vbset({"trace", Tv()}).errors, "vbset: nothing has run on " + Tv().string() + " yet\n");
    ASSERT_EQ(Run({"cat", "/dev/mtdblock3"}).status, 0);
    ASSERT_EQ(Run({ASK_SERVICE, "3:/opt/tv:EMPTY:EMPTY"}).status, 0);

    const std::string all = Vbset({"trace", Tv()}).output;
    EXPECT_EQ(all.rfind("run: cat /dev/mtdblock3\n", 0), 0U) << all;
    EXPECT_NE(all.find("file     open /dev/mtdblock3 O_RDONLY = 0\n"), std::string::npos) << all;
    EXPECT_NE(all.find("     -"), std::string::npos) << all;

    const std::string service = Vbset({"trace", Tv(), "--last", "--kind", "service", "--json"}).output;
    const json line = json::parse(service);
    EXPECT_EQ(line["args"], "3:/opt/tv:EMPTY:EMPTY");
    EXPECT_EQ(line["result"], "3:0:0");
    EXPECT_FALSE(line.contains("n"));
    EXPECT_EQ(Vbset({"trace", Tv(), "--last"}).output.find("/dev/mtdblock3"), std::string::npos);
    EXPECT_EQ(Vbset({"trace", Tv(), "--json"}).output, ReadFile(Tv() / "trace.jsonl"));
}

TEST_F(VbsetCommand, TracePassesOverAHalfWrittenLine)
{
    std::ofstream(Tv() / "trace.jsonl") << "{\"run\":\"x\"}\n{\"n\":1,\"kind\":\"file\",\"ca\n";
    const auto ended = Vbset({"trace", Tv()});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.errors, "vbset: " + (Tv() / "trace.jsonl").string() + ": line 2 is damaged and left out\n");
}

}  // namespace
