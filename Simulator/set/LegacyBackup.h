/** @file
 * The picture backup of the previous platform: records under that platform's item ids, enciphered, in legacy.tar.
 *
 * An enciphered file is a header of 16 bytes (the magic "VBLG", then the length of the records, their checksum and the
 * key, 32 bits little-endian each) and the records, each byte combined by exclusive or with a byte of the key stream.
 */
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <vector>

#include "Set.h"

namespace vbset {

/** What opening an enciphered file can give. */
enum class Legacy {
    Good = 0,
    NoSuchFile = 1,
    NotEnciphered = 2,  ///< no magic, or shorter than a header
    WrongLength = 3,    ///< the file does not end where its header says
    WrongChecksum = 4,
};

/** Enciphers a buffer of any contents, as the previous platform wrote its backup. */
std::vector<unsigned char> EncipherLegacy(const std::vector<unsigned char>& plain);

/** Reverses EncipherLegacy(). @param plain  receives the buffer when the result is Good, else it is left alone */
Legacy DecipherLegacy(const std::vector<unsigned char>& enciphered, std::vector<unsigned char>& plain);

/** The items that the legacy backup of a box made with this seed holds, under the ids of the item table: what the box
 * holds once the backup has been restored. Each differs from the item of SeededItems(). */
std::map<std::uint32_t, FactoryItem> LegacyItems(int items, std::uint32_t seed);

/** The records of these items in item-table order, under the previous platform's ids. */
std::vector<unsigned char> LegacyRecords(int items, std::uint32_t seed);

/** An archive with one file in it, TD/Migration/PictureMigrationData.dat, of these contents. */
std::vector<unsigned char> LegacyArchive(const std::vector<unsigned char>& contents);

}  // namespace vbset
