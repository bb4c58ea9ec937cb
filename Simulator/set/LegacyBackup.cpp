#include "LegacyBackup.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace vbset {

namespace {

constexpr unsigned char magic[4] = {'V', 'B', 'L', 'G'};
constexpr std::size_t headerSize = 16;
constexpr std::uint32_t legacyIdOffset = 20000;
constexpr std::uint32_t legacySeedOffset = 0x5055;  // the low byte is not 0, see SeededItems()

void AppendWord(std::vector<unsigned char>& bytes, std::uint32_t word)
{
    for (unsigned int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<unsigned char>(word >> shift));
}

std::uint32_t WordAt(const std::vector<unsigned char>& bytes, std::size_t offset)
{
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < 4; ++i) word |= static_cast<std::uint32_t>(bytes[offset + i]) << (8 * i);
    return word;
}

std::uint32_t Checksum(const std::vector<unsigned char>& bytes)
{
    std::uint32_t sum = 2166136261U;
    for (const unsigned char byte : bytes) sum = (sum ^ byte) * 16777619U;
    return sum;
}

void ApplyKeyStream(std::vector<unsigned char>& bytes, std::size_t from, std::uint32_t key)
{
    std::uint32_t state = key | 1U;
    for (std::size_t i = from; i < bytes.size(); ++i) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        bytes[i] = static_cast<unsigned char>(bytes[i] ^ (state >> 24));
    }
}

}  // namespace

std::vector<unsigned char> EncipherLegacy(const std::vector<unsigned char>& plain)
{
    const std::uint32_t checksum = Checksum(plain);
    const std::uint32_t key = checksum * 0x9E3779B1U;
    std::vector<unsigned char> file(magic, magic + sizeof magic);
    AppendWord(file, static_cast<std::uint32_t>(plain.size()));
    AppendWord(file, checksum);
    AppendWord(file, key);
    file.insert(file.end(), plain.begin(), plain.end());
    ApplyKeyStream(file, headerSize, key);
    return file;
}

Legacy DecipherLegacy(const std::vector<unsigned char>& enciphered, std::vector<unsigned char>& plain)
{
    if (enciphered.size() < headerSize) return Legacy::NotEnciphered;
    if (!std::equal(magic, magic + sizeof magic, enciphered.begin())) return Legacy::NotEnciphered;
    if (WordAt(enciphered, 4) != enciphered.size() - headerSize) return Legacy::WrongLength;
    std::vector<unsigned char> records(enciphered.begin() + headerSize, enciphered.end());
    ApplyKeyStream(records, 0, WordAt(enciphered, 12));
    if (Checksum(records) != WordAt(enciphered, 8)) return Legacy::WrongChecksum;
    plain = std::move(records);
    return Legacy::Good;
}

std::map<std::uint32_t, FactoryItem> LegacyItems(int items, std::uint32_t seed)
{
    return SeededItems(items, seed + legacySeedOffset);
}

std::vector<unsigned char> LegacyRecords(int items, std::uint32_t seed)
{
    const auto made = LegacyItems(items, seed);
    std::vector<unsigned char> records;
    for (const std::uint32_t id : ItemIds(items)) {
        const FactoryItem& item = made.at(id);
        AppendWord(records, id + legacyIdOffset);
        AppendWord(records, item.storeType);
        AppendWord(records, static_cast<std::uint32_t>(item.data.size()));
        records.insert(records.end(), item.data.begin(), item.data.end());
    }
    return records;
}

std::vector<unsigned char> LegacyArchive(const std::vector<unsigned char>& contents)
{
    constexpr std::size_t block = 512;
    std::vector<unsigned char> header(block, 0);
    const auto put = [&header](std::size_t offset, const std::string& text) {
        std::copy(text.begin(), text.end(), header.begin() + static_cast<std::ptrdiff_t>(offset));
    };
    char size[12];
    std::snprintf(size, sizeof size, "%011lo", static_cast<unsigned long>(contents.size()));
    put(0, "TD/Migration/PictureMigrationData.dat");
    put(100, "0000644");      // mode
    put(108, "0000000");      // owner
    put(116, "0000000");      // group
    put(124, size);
    put(136, "00000000000");  // time
    put(148, "        ");     // checksum, blanks while it is computed
    put(156, "0");            // a plain file
    put(257, "ustar");
    put(263, "00");

    unsigned int sum = 0;
    for (const unsigned char byte : header) sum += byte;
    char checksum[8];
    std::snprintf(checksum, sizeof checksum, "%06o", sum);
    put(148, checksum);
    header[154] = 0;

    std::vector<unsigned char> archive = std::move(header);
    archive.insert(archive.end(), contents.begin(), contents.end());
    archive.resize((archive.size() + block - 1) / block * block + 2 * block, 0);
    return archive;
}

}  // namespace vbset
