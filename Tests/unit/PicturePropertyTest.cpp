// Picture files of any contents. What they have to come to is told by a model that shares nothing with the library: it
// walks the bytes one by one. The seed is TEST_SEED of the environment, or 1; a failure names it.

#include "PictureOnSet.h"

#include <LegacyBackup.h>
#include <VEMigrationImpl.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <set>

namespace {

constexpr int kRounds = 150;

unsigned int Seed()
{
    const char* const given = std::getenv("TEST_SEED");
    return given != nullptr ? static_cast<unsigned int>(std::strtoul(given, nullptr, 10)) : 1;
}

class Dice {
 public:
    explicit Dice(unsigned int seed) : engine_(seed) {}

    std::uint32_t Between(std::uint32_t least, std::uint32_t most)
    {
        return std::uniform_int_distribution<std::uint32_t>(least, most)(engine_);
    }
    std::uint32_t Word() { return Between(0, UINT32_MAX); }
    bool OneIn(std::uint32_t n) { return Between(1, n) == 1; }
    std::string Bytes(std::size_t count)
    {
        std::string bytes;
        while (bytes.size() < count) {
            bytes += static_cast<char>(static_cast<unsigned char>(Between(0, 255)));
        }
        return bytes;
    }
    /** An id near the border to the CGA items, small, or any. */
    std::uint32_t Uid() { return OneIn(3) ? Between(1755, 1780) : OneIn(2) ? Between(0, 600) : Word(); }

    /** Whole records, records with odd sizes, noise, and often a cut end. */
    std::string File(std::uint32_t longest)
    {
        constexpr std::int32_t odd[] = {0, -1, 256, 300, INT32_MIN, INT32_MAX, 12, 1};
        std::string bytes;
        for (std::uint32_t pieces = Between(1, 8); pieces > 0; --pieces) {
            if (OneIn(8)) {
                bytes += HeaderBytes(Uid(), Word(), odd[Between(0, std::size(odd) - 1)]);
            } else if (OneIn(12)) {
                bytes += Bytes(Between(1, 30));
            } else {
                bytes += RecordBytes(Uid(), Word(), Bytes(Between(1, OneIn(2) ? 4 : longest)));
            }
        }
        return OneIn(3) ? bytes.substr(0, Between(0, static_cast<std::uint32_t>(bytes.size()))) : bytes;
    }

 private:
    std::mt19937 engine_;
};

/** One step through a file: what stands at an offset. */
struct Place {
    enum { Record, OddSize, CutHeader, CutData } kind;
    std::uint32_t uid, storeType;
    std::int64_t size;
    std::string data;
};

Place PlaceAt(const std::string& file, std::size_t at)
{
    std::array<std::uint32_t, 3> words = {};
    for (std::size_t i = 0; i < 12; ++i) {
        if (at + i >= file.size()) {
            return {Place::CutHeader, 0, 0, 0, ""};
        }
        words[i / 4] += static_cast<std::uint32_t>(static_cast<unsigned char>(file[at + i])) << (i % 4 * 8);
    }
    Place place = {Place::Record, words[0], words[1], words[2], ""};
    if (place.size == 0 || place.size > 255) {
        place.kind = Place::OddSize;
        return place;
    }
    place.data = file.substr(at + 12, static_cast<std::size_t>(place.size));
    if (place.data.size() < static_cast<std::size_t>(place.size)) {
        place.kind = Place::CutData;
    }
    return place;
}

struct Reading {
    int result = 0;
    bool tooLong = false;  ///< a record that ends the process
    std::vector<int> values;
};

Reading ModelOfReading(const std::string& file)
{
    Reading reading;
    if (file.empty()) {
        return {kFileFailure, false, {}};
    }
    std::uint32_t carried = 0;
    for (std::size_t at = 0; at < file.size();) {
        const Place place = PlaceAt(file, at);
        if (place.size > 40 && place.kind != Place::OddSize) {
            return {0, true, {}};
        }
        if (place.kind == Place::CutHeader || place.kind == Place::CutData) {
            reading.result = kGeneralFailure;
            return reading;
        }
        for (std::size_t i = 0; i < std::min<std::size_t>(place.data.size(), 4); ++i) {
            const std::uint32_t shift = static_cast<std::uint32_t>(i) * 8;
            const std::uint32_t byte = static_cast<unsigned char>(place.data[i]);
            carried = (carried & ~(0xFFU << shift)) | byte << shift;
        }
        reading.values.push_back(place.kind == Place::Record ? static_cast<int>(carried) : 0);
        at += 12 + place.data.size();
    }
    return reading;
}

struct Writing {
    int result = 0;
    std::vector<std::string> stores;  ///< as the trace has them
};

std::string StoreText(std::uint32_t uid, const Place& place)
{
    char digits[16];
    std::snprintf(digits, sizeof digits, " 0x%08X ", place.storeType);
    std::string text = std::to_string(uid) + digits;
    for (const char byte : place.data) {
        std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned int>(static_cast<unsigned char>(byte)));
        text += digits;
    }
    return text + ' ' + std::to_string(place.data.size());
}

/** @param uids  ids in place of the records' own; none: the records' own */
Writing ModelOfWriting(const std::string& file, const std::vector<unsigned int>& uids)
{
    Writing writing;
    for (std::size_t at = 0; at < file.size() || file.empty();) {
        const Place place = PlaceAt(file, at);
        const bool bounded = !uids.empty() && writing.stores.size() == uids.size();
        if (place.kind != Place::Record || bounded) {
            writing.result = kGeneralFailure;
            return writing;
        }
        writing.stores.push_back(StoreText(uids.empty() ? place.uid : uids[writing.stores.size()], place));
        at += 12 + place.data.size();
    }
    return writing;
}

class PictureProperty : public OnPictureSet {
 protected:
    PictureProperty() : dice(seed)
    {
        Start("tv15-62", "box15-62");
        RecordProperty("seed", std::to_string(seed));
    }

    void ExpectReadAsModelled(const std::string& file)
    {
        const Reading model = ModelOfReading(file);
        if (model.tooLong) {
            return;
        }
        PutFile(kFile, file);
        // Room for just the values: a sanitizer sees one more.
        const std::unique_ptr<int[]> values(new int[model.values.size()]);
        EXPECT_EQ(picture.t_ReadMigrationSPIData(values.get(), kFile), model.result);
        EXPECT_EQ(std::vector<int>(values.get(), values.get() + model.values.size()), model.values);
        ++modelled;
    }

    void ExpectStores(const Writing& model)
    {
        std::vector<std::string> stores;
        for (const Interaction& call : Trace({"platform"})) {
            if (call.call == "SetMigrationItemData") {
                stores.push_back(call.args);
            }
        }
        EXPECT_EQ(stores, model.stores);
    }

    void ExpectWrittenAsModelled(const std::string& file)
    {
        const Writing model = ModelOfWriting(file, {});
        PutFile(kFile, file);
        Forget();
        EXPECT_EQ(picture.t_WriteToVB(kFile), model.result);
        ExpectStores(model);
    }

    void ExpectLegacyWrittenAsModelled(const std::string& records, std::vector<unsigned int> uids)
    {
        const Writing model = ModelOfWriting(records, uids);
        const auto file = vbset::EncipherLegacy({records.begin(), records.end()});
        PutFile(kFile, {file.begin(), file.end()});
        Forget();
        EXPECT_EQ(picture.t_WriteUlveyToVB(kFile, uids.data(), static_cast<unsigned int>(uids.size())), model.result);
        ExpectStores(model);
    }

    /** Gives items other ids, store types and data. @return their ids, each once */
    std::vector<unsigned int> PutAnyItems(std::uint32_t longest)
    {
        std::set<unsigned int> uids;
        for (std::uint32_t count = dice.Between(1, 62); uids.size() < count;) {
            uids.insert(dice.Uid());
        }
        std::vector<unsigned int> order(uids.begin(), uids.end());
        std::reverse(order.begin(), order.end());
        for (const unsigned int uid : order) {
            PutItem(uid, dice.Word(), dice.Bytes(dice.Between(1, dice.OneIn(2) ? 3 : longest)));
        }
        return order;
    }

    const unsigned int seed = Seed();
    ::testing::ScopedTrace named{__FILE__, __LINE__, "TEST_SEED=" + std::to_string(seed)};
    Dice dice;
    PictureDataMigration picture;
    int modelled = 0;
};

TEST_F(PictureProperty, WhateverTheItemsTheyReadBackAndReturnIntoTheBoxByteForByte)
{
    for (int round = 0; round < kRounds / 10 && !HasFailure(); ++round) {
        std::vector<unsigned int> uids = PutAnyItems(40);
        const auto box = Set().FactoryItems();
        ASSERT_EQ(picture.t_StartMigration(uids.data(), static_cast<unsigned int>(uids.size()), kFile, false), 0);
        const std::string file = FileBytes(kFile);
        EXPECT_EQ(file, FileOfBox(uids));
        ExpectReadAsModelled(file);
        for (const unsigned int uid : uids) {
            PutItem(uid, dice.Word(), "other");
        }
        EXPECT_EQ(picture.t_WriteToVB(kFile), 0);
        EXPECT_EQ(Set().FactoryItems(), box);
    }
    EXPECT_EQ(modelled, kRounds / 10);
}

TEST_F(PictureProperty, ItemsOfUpTo255BytesReturnIntoTheBoxByteForByte)
{
    for (int round = 0; round < kRounds / 10 && !HasFailure(); ++round) {
        std::vector<unsigned int> uids = PutAnyItems(255);
        const auto box = Set().FactoryItems();
        ASSERT_EQ(picture.t_StartMigration(uids.data(), static_cast<unsigned int>(uids.size()), kFile, false), 0);
        for (const unsigned int uid : uids) {
            PutItem(uid, dice.Word(), "other");
        }
        EXPECT_EQ(picture.t_WriteToVB(kFile), 0);
        EXPECT_EQ(Set().FactoryItems(), box);
    }
}

TEST_F(PictureProperty, AFreshServiceFileVerifiesWhateverTheItems)
{
    VEMigrationImpl<62> migrator;
    ASSERT_EQ(migrator.Create(), 0);
    for (int round = 0; round < kRounds / 30 && !HasFailure(); ++round) {
        for (const std::uint32_t uid : vbset::ItemIds(62)) {
            PutItem(uid, dice.Word(), dice.Bytes(dice.Between(1, dice.OneIn(2) ? 3 : 40)));
        }
        EXPECT_EQ(migrator.DoVornBoxDataSync(VB_INFO_VB_FAC_TO_TV_SPI), 0);
        EXPECT_EQ(migrator.m_VerifyVornBoxDataSync(), 0);
    }
}

TEST_F(PictureProperty, AnyFileGivesTheModelsValues)
{
    for (int round = 0; round < kRounds && !HasFailure(); ++round) {
        ExpectReadAsModelled(dice.File(40));
    }
    EXPECT_GT(modelled, kRounds / 3) << "hardly any file was one that the reader takes";
}

TEST_F(PictureProperty, AnyNoiseGivesTheModelsValues)
{
    for (int round = 0; round < kRounds && !HasFailure(); ++round) {
        ExpectReadAsModelled(dice.Bytes(dice.Between(0, 60)));
    }
}

TEST_F(PictureProperty, AnyFileGivesTheModelsStores)
{
    Fault("factory.set.*", "1");
    for (int round = 0; round < kRounds && !HasFailure(); ++round) {
        ExpectWrittenAsModelled(dice.OneIn(5) ? dice.Bytes(dice.Between(0, 60)) : dice.File(255));
    }
}

TEST_F(PictureProperty, AnyLegacyBackupGivesTheModelsStores)
{
    Fault("factory.set.*", "1");
    for (int round = 0; round < kRounds && !HasFailure(); ++round) {
        std::vector<unsigned int> uids(dice.Between(1, 9));
        std::generate(uids.begin(), uids.end(), [&] { return dice.Uid(); });
        ExpectLegacyWrittenAsModelled(dice.OneIn(5) ? dice.Bytes(dice.Between(0, 60)) : dice.File(255), uids);
    }
}

TEST_F(PictureProperty, AnyCutOfAGoodFileIsReadAndWrittenAsModelled)
{
    Fault("factory.set.*", "1");
    const std::string good = RecordBytes(79, 1, Raw({1, 2})) + RecordBytes(80, 2, Raw({3, 4, 5, 6, 7})) +
                             HeaderBytes(81, 3, 0) + RecordBytes(1765, 4, Raw({8}));
    for (std::size_t length = 0; length <= good.size() && !HasFailure(); ++length) {
        ExpectReadAsModelled(good.substr(0, length));
        ExpectWrittenAsModelled(good.substr(0, length));
        ExpectLegacyWrittenAsModelled(good.substr(0, length), {95, 96, 97});
    }
}

TEST_F(PictureProperty, WhatIsNoEncipheredBackupStoresNothing)
{
    for (int round = 0; round < kRounds && !HasFailure(); ++round) {
        PutFile(kFile, dice.Bytes(dice.Between(0, 100)));
        Forget();
        unsigned int uid = 79;
        EXPECT_EQ(picture.t_WriteUlveyToVB(kFile, &uid, 1), kGeneralFailure);
        ExpectStores({});
    }
}

}  // namespace
