#include "Side.h"

#include <glib.h>

#include <memory>
#include <nlohmann/json.hpp>

#include "Faults.h"
#include "HostFile.h"
#include "Layout.h"
#include "Set.h"
#include "Text.h"

namespace vbset {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

std::string Sha256(const std::vector<unsigned char>& bytes)
{
    const std::unique_ptr<char, decltype(&g_free)> text(
        g_compute_checksum_for_data(G_CHECKSUM_SHA256, bytes.data(), bytes.size()), g_free);
    return text.get();
}

std::string MacText(const Mac& mac)
{
    std::string text;
    for (const unsigned char& byte : mac) {
        text += (text.empty() ? "" : ":") + Hex(&byte, 1);
    }
    return text;
}

/** Bytes that should be a MAC address: as one, or as what they are. */
Json MacOrBytes(const std::optional<std::vector<unsigned char>>& bytes)
{
    Mac mac{};
    if (!bytes || bytes->size() != mac.size()) {
        return bytes ? Json(Hex(*bytes)) : Json();
    }
    std::copy(bytes->begin(), bytes->end(), mac.begin());
    return MacText(mac);
}

template <typename Value>
Json OrNull(const std::optional<Value>& value)
{
    return value ? Json(*value) : Json();
}

Json FileFacts(const fs::path& file)
{
    const auto bytes = ReadHostFile(file);
    return bytes ? Json{{"bytes", bytes->size()}, {"sha256", Sha256(*bytes)}} : Json{{"bytes", nullptr}};
}

/** Adds the files below a directory, by name, under the names that they have from @p base on. */
void AddFiles(Json& files, const fs::path& base, const fs::path& directory)
{
    std::error_code error;
    std::map<std::string, fs::path> found;
    const fs::recursive_directory_iterator end;
    for (fs::recursive_directory_iterator entry(directory, error); !error && entry != end; entry.increment(error)) {
        if (!entry->is_directory()) {
            found[entry->path().lexically_relative(base).string()] = entry->path();
        }
    }
    for (const auto& [name, path] : found) {
        files[name] = FileFacts(path);
    }
}

std::map<std::string, fs::path> FilesOf(const fs::path& directory)
{
    std::error_code error;
    std::map<std::string, fs::path> files;
    for (const auto& entry : fs::directory_iterator(directory, error)) {
        const std::string name = entry.path().filename().string();
        if (name.front() != '.') {
            files[name] = entry.path();
        }
    }
    return files;
}

Json Number(const fs::path& file)
{
    std::string text = ReadHostText(file).value_or("");
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
        text.pop_back();
    }
    return OrNull(ParseInteger(text));
}

bool LeadsTo(const fs::path& link, const fs::path& bareFolder)
{
    std::error_code error;
    const fs::path target = fs::read_symlink(link, error);
    return !error && target == bareFolder;
}

Json VolatileTv(const fs::path& tv)
{
    Json state;
    state["mounted"] = Json::array();
    if (!LeadsTo(layout::Mounts(tv) / "migration", layout::BareMigration(tv))) {
        state["mounted"].push_back("migration");
    }
    if (!LeadsTo(layout::Mounts(tv) / "data_sync", layout::BareDataSync(tv))) {
        state["mounted"].push_back("data_sync");
    }
    state["module_loaded"] = fs::exists(layout::Volatile(tv) / "module");
    state["gpio"] = Json::object();
    for (const auto& [name, file] : FilesOf(layout::Gpio(tv))) {
        state["gpio"][name] = Number(file);
    }
    state["tuner_mute"] = Number(layout::Volatile(tv) / "tuner_mute");
    state["buffer_ic"] = Number(layout::Volatile(tv) / "buffer_ic");
    state["faults"] = ParseFaults(ReadHostText(layout::Faults(tv)).value_or(""));
    return state;
}

Json HoldsTv(const fs::path& tv)
{
    Json holds;
    holds["mac"] = MacOrBytes(ReadHostFile(layout::EepromItem(tv, 0x1E04)));
    holds["migrated_mac"] = MacOrBytes(ReadHostFile(layout::MigratedMac(tv)));
    holds["eeprom"] = Json::object();
    for (const auto& [name, file] : FilesOf(layout::Eeprom(tv))) {
        holds["eeprom"][name] = Hex(ReadHostFile(file).value_or(std::vector<unsigned char>()));
    }
    holds["files"] = Json::object();
    for (const auto& directory : {layout::DataSync(tv), layout::Root(tv), layout::WorkingDirectory(tv)}) {
        AddFiles(holds["files"], tv / "nonvolatile", directory);
    }
    return holds;
}

/** What is on a side while it is on, null while it is off. */
Json Power(const fs::path& directory)
{
    const auto joined = ReadHostText(layout::Joined(directory));
    return joined ? Json(joined->substr(0, joined->find('\n'))) : Json();
}

Json DescribeTv(const fs::path& directory)
{
    const TvDescription tv = ReadTvDescription(directory / "tv.toml");
    Json side{{"side", "tv"}, {"directory", directory.string()}, {"name", tv.name}};
    side["description"] = {{"year", tv.year}, {"main_chip", tv.mainChip}, {"duolink", tv.duolink},
                           {"ci_slots", tv.ciSlots}, {"backup_path", OrNull(tv.backupPath)},
                           {"restore_path", OrNull(tv.restorePath)},
                           {"micom_mac", tv.micomMac ? Json(MacText(*tv.micomMac)) : Json()},
                           {"system_device", tv.hasSystemDevice}, {"frontend", tv.hasFrontend},
                           {"faults", tv.faults}};
    side["joined"] = Power(directory);
    side["on"] = !side["joined"].is_null();
    side["volatile"] = side["on"] ? VolatileTv(directory) : Json();
    side["holds"] = HoldsTv(directory);
    return side;
}

/** The items of the factory store; a digest of all stands for them at a glance. */
Json Items(const fs::path& box)
{
    Json items = Json::object();
    for (const auto& [name, file] : FilesOf(layout::Factory(box))) {
        const auto bytes = ReadHostFile(file).value_or(std::vector<unsigned char>());
        if (bytes.size() < 4) {
            items[name] = {{"store_type", nullptr}, {"bytes", bytes.size()}, {"data", Hex(bytes)}};
            continue;
        }
        const auto type = static_cast<unsigned long>(bytes[0]) | static_cast<unsigned long>(bytes[1]) << 8 |
                          static_cast<unsigned long>(bytes[2]) << 16 | static_cast<unsigned long>(bytes[3]) << 24;
        items[name] = {{"store_type", type}, {"bytes", bytes.size() - 4}, {"data", Hex(&bytes[4], bytes.size() - 4)}};
    }
    return items;
}

Json DescribeBox(const fs::path& directory)
{
    const BoxDescription box = ReadBoxDescription(directory / "box.toml");
    Json side{{"side", "box"}, {"directory", directory.string()}, {"name", box.name}};
    side["description"] = {{"year", box.year}, {"main_chip", box.mainChip}, {"items", box.items},
                           {"seed", box.seed}, {"legacy_backup", box.legacyBackup}, {"faults", box.faults}};
    side["joined"] = Power(directory);
    side["on"] = !side["joined"].is_null();
    Json& holds = side["holds"];
    holds["mac_block"] = MacOrBytes(ReadHostFile(layout::MacBlock(directory)));
    holds["boot_partition"] = Number(layout::BootPartition(directory));
    const auto archive = directory / "nonvolatile" / "archive.tar.gz";
    holds["archive"] = fs::exists(archive) ? FileFacts(archive) : Json();
    holds["items"] = Items(directory);
    holds["files"] = Json::object();
    AddFiles(holds["files"], directory / "nonvolatile", layout::Migration(directory));
    const std::string all = holds["items"].dump(-1, ' ', false, Json::error_handler_t::replace);
    side["items"] = {{"count", holds["items"].size()},
                     {"sha256", Sha256(std::vector<unsigned char>(all.begin(), all.end()))}};
    return side;
}

}  // namespace

Json DescribeSide(const fs::path& directory)
{
    const fs::path whole = fs::absolute(directory).lexically_normal();
    if (!fs::is_directory(whole)) {
        throw Error(directory.string() + ": no such directory");
    }
    if (fs::exists(whole / "tv.toml")) {
        return DescribeTv(whole);
    }
    if (fs::exists(whole / "box.toml")) {
        return DescribeBox(whole);
    }
    throw Error(directory.string() + " is neither a TV nor a box: it has no tv.toml or box.toml");
}

std::string InWords(const Json& value)
{
    if (value.is_object() && value.contains("data")) {
        const std::string type = value["store_type"].is_null() ? "cut short" : "type " + value["store_type"].dump();
        return type + ", " + value["bytes"].dump() + " bytes " + value["data"].get<std::string>();
    }
    if (value.is_object() && value.contains("sha256")) {
        return value["bytes"].dump() + " bytes, sha256 " + value["sha256"].get<std::string>().substr(0, 16);
    }
    if (value.is_object()) {
        return "unreadable";
    }
    return value.is_null() ? "none" : value.is_string() ? value.get<std::string>() : value.dump();
}

}  // namespace vbset
