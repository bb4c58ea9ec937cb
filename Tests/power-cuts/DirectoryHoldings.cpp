#include <Layout.h>
#include <Program.h>
#include <Set.h>

#include <fstream>
#include <sstream>

#include "Archive.h"
#include "Holdings.h"

namespace powercut {

namespace {

namespace fs = std::filesystem;

Bytes ReadFile(const fs::path& file)
{
    std::ostringstream bytes;
    bytes << std::ifstream(file, std::ios::binary).rdbuf();
    return bytes.str();
}

/** What an archive holds: the picture file, of a backup or of the previous platform. */
Bytes ReadArchive(const fs::path& file)
{
    const std::string folder = file.filename() == "legacy.tar" ? "TD/Migration/" : "SP_VB_Data/";
    const auto packed = program::Run({"tar", "-xOf", file.string(), folder + pictureFile});
    return packed.status == 0 ? archiveMark + packed.output : brokenArchive;
}

void AddFiles(Holdings& holdings, const std::string& area, const fs::path& directory)
{
    if (!fs::exists(directory)) return;
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
        const std::string name = area + "/" + entry.path().lexically_relative(directory).string();
        if (entry.is_directory() && entry.path().filename() == "SP_VB_Data" && !IsTemporary(name)) {
            holdings["directory/" + name] = "";
        }
        if (!entry.is_regular_file() || IsTemporary(name)) continue;
        const std::string extension = entry.path().extension();
        holdings[name] = extension == ".tar" || extension == ".gz" ? ReadArchive(entry.path()) : ReadFile(entry.path());
    }
}

}  // namespace

Holdings HoldingsOf(const fs::path& tv, const fs::path& box)
{
    const vbset::Set set(tv, box);
    Holdings holdings;
    const auto flag = set.Eeprom(0xF211).value_or(std::vector<unsigned char>());
    holdings["eeprom/F211"] = Bytes(flag.begin(), flag.end());
    if (const auto mac = set.MigratedMac()) holdings["eeprom/migrated_mac"] = Bytes(mac->begin(), mac->end());
    for (const auto& [uid, item] : set.FactoryItems()) {
        Bytes& value = holdings["item/" + std::to_string(uid)];
        for (unsigned int shift = 0; shift < 32; shift += 8) value += static_cast<char>(item.storeType >> shift);
        value.append(item.data.begin(), item.data.end());
    }
    holdings["mac"] = ReadFile(vbset::layout::MacBlock(box));
    AddFiles(holdings, "migration", vbset::layout::Migration(box));
    AddFiles(holdings, "data_sync", vbset::layout::DataSync(tv));
    AddFiles(holdings, "root", vbset::layout::Root(tv));
    AddFiles(holdings, "work", vbset::layout::WorkingDirectory(tv));
    const fs::path archive = box / "nonvolatile/archive.tar.gz";
    if (fs::exists(archive)) holdings["box/archive.tar.gz"] = ReadArchive(archive);
    if (!fs::exists(vbset::layout::Migration(box))) holdings["unformatted/migration"] = "";
    if (!fs::exists(vbset::layout::DataSync(tv))) holdings["unformatted/data_sync"] = "";
    return holdings;
}

}  // namespace powercut
