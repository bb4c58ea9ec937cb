/** @file
 * What a set holds, as names and values: the form in which sets in memory, sets in directories and what the model expects
 * are compared.
 *
 *     eeprom/F211, eeprom/migrated_mac   bytes
 *     item/UID                           4 bytes of store type, then the data
 *     AREA/PATH                          a file, see FileStore; of an archive what it holds, after archiveMark
 *     directory/AREA/PATH                there is a folder SP_VB_Data of that path
 *     unformatted/PARTITION              it has no file system
 */
#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "MemorySet.h"

namespace powercut {

using Holdings = std::map<std::string, Bytes>;

constexpr const char* archiveMark = "archive of ";
constexpr const char* brokenArchive = "broken archive";

/** What is made under another name until it is whole: no one looks for it. */
bool IsTemporary(const std::string& name);

Holdings HoldingsOf(const MemorySet& set);

/** The same of a set in directories, which is off. */
Holdings HoldingsOf(const std::filesystem::path& tv, const std::filesystem::path& box);

/** What differs, a line each; empty when nothing does. Temporary files are left out. */
std::string Differences(const Holdings& expected, const Holdings& actual);

}  // namespace powercut
