#include "Holdings.h"

#include <Text.h>

#include <set>

#include "Archive.h"

namespace powercut {

namespace {

bool EndsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string Shown(const Holdings& holdings, const std::string& name)
{
    const auto found = holdings.find(name);
    if (found == holdings.end()) return "nothing";
    const Bytes& bytes = found->second;
    const std::size_t most = 24;
    const std::string hex =
        vbset::Hex(reinterpret_cast<const unsigned char*>(bytes.data()), std::min(bytes.size(), most));
    return std::to_string(bytes.size()) + " bytes " + hex;
}

}  // namespace

bool IsTemporary(const std::string& name)
{
    return name.find("/.") != std::string::npos || EndsWith(name, ".part");
}

Holdings HoldingsOf(const MemorySet& set)
{
    const Nonvolatile& kept = set.kept;
    Holdings holdings;
    holdings["eeprom/F211"] = Bytes(1, static_cast<char>(kept.powerFlag));
    if (kept.hasMigratedMac) holdings["eeprom/migrated_mac"] = Bytes(kept.migratedMac, sizeof kept.migratedMac);
    for (const Item& item : kept.items) {
        if (item.uid == 0) continue;
        Bytes& value = holdings["item/" + std::to_string(item.uid)];
        for (unsigned int shift = 0; shift < 32; shift += 8) value += static_cast<char>(item.storeType >> shift);
        value.append(item.data, item.size);
    }
    for (const auto& [name, bytes] : kept.files.Files()) {
        if (!EndsWith(name, ".tar") && !EndsWith(name, ".tar.gz")) {
            holdings[name] = bytes;
        } else {
            const auto packed = UnpackArchive(bytes);
            holdings[name] = packed ? archiveMark + *packed : brokenArchive;
        }
    }
    for (const char* folder : {"migration/SP_VB_Data", "root/opt/korvane_vbmg/SP_VB_Data",
                               "root/opt/tv/migration/korvane_vbmg/SP_VB_Data"}) {
        if (kept.files.IsDirectory(folder)) holdings[std::string("directory/") + folder] = "";
    }
    if (!kept.migrationFormatted) holdings["unformatted/migration"] = "";
    if (!kept.dataSyncFormatted) holdings["unformatted/data_sync"] = "";
    return holdings;
}

std::string Differences(const Holdings& expected, const Holdings& actual)
{
    std::set<std::string> names;
    for (const auto& entry : expected) names.insert(entry.first);
    for (const auto& entry : actual) names.insert(entry.first);
    std::string text;
    for (const std::string& name : names) {
        const auto left = expected.find(name);
        const auto right = actual.find(name);
        const bool isSame = (left == expected.end()) == (right == actual.end()) &&
                            (left == expected.end() || left->second == right->second);
        if (isSame || IsTemporary(name)) continue;
        text += "  " + name + ": " + Shown(expected, name) + " expected, " + Shown(actual, name) + " found\n";
    }
    return text;
}

}  // namespace powercut
