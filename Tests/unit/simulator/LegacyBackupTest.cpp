#include "LegacyBackup.h"

#include "Fixture.h"
#include "VornBoxEncrypt.h"

namespace vbset {

namespace {

using Bytes = std::vector<unsigned char>;

constexpr char backup[] = "TD/Migration/PictureMigrationData.dat";

class ALegacyBackup : public OnASet {
 protected:
    void Write(const Bytes& bytes)
    {
        fs::create_directories("TD/Migration");
        WriteFile(backup, std::string(bytes.begin(), bytes.end()));
    }

    /** Imports the backup; expects that nothing is given unless it succeeds. */
    static int Import(Bytes& records)
    {
        unsigned char* buffer = nullptr;
        int length = 0;
        const int result = vb_import_buf(&buffer, &length, backup, 0);
        if (result == 0) {
            records.assign(buffer, buffer + length);
            vb_free_buffer(buffer);
        } else {
            EXPECT_EQ(buffer, nullptr);
            EXPECT_EQ(length, 0);
        }
        return result;
    }
};

TEST_F(ALegacyBackup, LiesInAnArchiveThatTarUnpacks)
{
    vbset::Set& set = Start("tv14-62", "box14-legacy-62");
    const std::string archive = (directory_ / "box/nonvolatile/migration/legacy.tar").string();
    ASSERT_EQ(std::system(("tar -xf " + archive).c_str()), 0);
    Bytes records;
    ASSERT_EQ(Import(records), 0);
    EXPECT_EQ(records, LegacyRecords(62, set.Box().seed));
    EXPECT_EQ(records.size(), 850U);
}

TEST_F(ALegacyBackup, ChangesEveryItemAndKeepsToItsOwnIds)
{
    const auto held = SeededItems(62, 34);
    const auto restored = LegacyItems(62, 34);
    for (const auto& [uid, item] : held) EXPECT_NE(item.data, restored.at(uid).data) << uid;
    const Bytes records = LegacyRecords(44, 34);
    EXPECT_EQ(records.size(), 616U);
    const std::uint32_t firstId = records[0] | static_cast<std::uint32_t>(records[1]) << 8;
    EXPECT_EQ(held.count(firstId), 0U);
    EXPECT_EQ((Bytes{records.begin() + 12, records.begin() + 14}), restored.at(79).data);
}

TEST_F(ALegacyBackup, IsDecipheredToWhatWasEnciphered)
{
    Start("tv14", "box14-legacy");
    for (const Bytes& plain : {Bytes{}, Bytes{0}, Bytes(1000, 0xA5), LegacyRecords(44, 3)}) {
        const Bytes file = EncipherLegacy(plain);
        EXPECT_EQ(file.size(), plain.size() + 16);
        Write(file);
        Bytes records{1, 2, 3};
        EXPECT_EQ(vb_get_file_size(backup), static_cast<long>(file.size()));
        ASSERT_EQ(Import(records), 0);
        EXPECT_EQ(records, plain);
    }
}

TEST_F(ALegacyBackup, ThatIsMalformedIsNotImported)
{
    Start("tv14", "box14-legacy");
    const Bytes good = EncipherLegacy(LegacyRecords(44, 3));
    Bytes records;
    EXPECT_EQ(Import(records), 1);
    EXPECT_EQ(vb_get_file_size(backup), 0);
    for (std::size_t size = 0; size < good.size(); ++size) {
        Write(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)));
        EXPECT_NE(Import(records), 0) << "cut to " << size;
    }
    for (std::size_t at = 0; at < good.size(); ++at) {
        Bytes bad = good;
        bad[at] ^= 0x40;
        Write(bad);
        EXPECT_NE(Import(records), 0) << "changed at " << at;
    }
    EXPECT_TRUE(records.empty());
}

TEST_F(ALegacyBackup, IsFoundUnderThePathsOfTheSetToo)
{
    Start("tv14", "box14-legacy");
    const Bytes file = EncipherLegacy({1, 2, 3});
    WriteFile(directory_ / "tv/nonvolatile/root/opt/tv/x", std::string(file.begin(), file.end()));
    EXPECT_EQ(vb_get_file_size("/opt/tv/x"), 19);
    EXPECT_EQ(vb_get_file_size("/opt/tv"), 0);
    EXPECT_EQ(vb_get_file_size(nullptr), 0);
}

TEST_F(ALegacyBackup, CanBeMadeToFail)
{
    Start("tv14", "box14-legacy");
    Write(EncipherLegacy({1, 2, 3}));
    Bytes records;
    live::SetFault("encrypt.size", "0");
    EXPECT_EQ(vb_get_file_size(backup), 0);
    live::SetFault("encrypt.import", "-7");
    EXPECT_EQ(Import(records), -7);
    live::SetFault("encrypt.import", nullptr);
    live::SetFault("encrypt.length", "0");
    ASSERT_EQ(Import(records), 0);
    EXPECT_TRUE(records.empty());
    live::SetFault("encrypt.length", "5");
    ASSERT_EQ(Import(records), 0);
    EXPECT_EQ(records, (Bytes{1, 2, 3, 0, 0}));
    unsigned char* buffer = nullptr;
    int length = 0;
    EXPECT_NE(vb_import_buf(nullptr, &length, backup, 0), 0);
    EXPECT_NE(vb_import_buf(&buffer, nullptr, backup, 0), 0);
    EXPECT_NE(vb_import_buf(&buffer, &length, nullptr, 0), 0);
}

}  // namespace

}  // namespace vbset
