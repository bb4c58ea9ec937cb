#include "Description.h"

#include <toml++/toml.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <set>

#include "HostFile.h"
#include "Set.h"
#include "Text.h"

namespace vbset {

namespace {

constexpr std::array gpioNumbers = {107, 153, 165, 172, 173, 174, 175};

/** One table of a description: what is asked for is checked, what is left over at the end is refused. */
class Reader {
 public:
    Reader(const toml::table& table, std::filesystem::path file) : table_(table), file_(std::move(file)) {}

    [[noreturn]] void Refuse(const toml::node& where, const std::string& why) const
    {
        throw Error(file_.string() + ":" + std::to_string(where.source().begin.line) + ": " + why);
    }

    const toml::node* Find(const std::string& key)
    {
        known_.insert(key);
        return table_.get(key);
    }

    const toml::node& Need(const std::string& key)
    {
        const toml::node* node = Find(key);
        if (node == nullptr) throw Error(file_.string() + ": '" + key + "' is missing");
        return *node;
    }

    std::int64_t Number(const std::string& key, const toml::node& node, std::int64_t least, std::int64_t most) const
    {
        const auto value = node.value_exact<std::int64_t>();
        if (!value || *value < least || *value > most) {
            Refuse(node, "'" + key + "' has to be a number from " + std::to_string(least) + " to " +
                             std::to_string(most));
        }
        return *value;
    }

    int Int(const std::string& key) { return static_cast<int>(Number(key, Need(key), INT_MIN, INT_MAX)); }

    int Int(const std::string& key, int otherwise)
    {
        const toml::node* node = Find(key);
        return node == nullptr ? otherwise : static_cast<int>(Number(key, *node, INT_MIN, INT_MAX));
    }

    bool Bool(const std::string& key, bool otherwise)
    {
        const toml::node* node = Find(key);
        if (node == nullptr) return otherwise;
        const auto value = node->value_exact<bool>();
        if (!value) Refuse(*node, "'" + key + "' has to be true or false");
        return *value;
    }

    std::string Text(const std::string& key, const toml::node& node) const
    {
        const auto value = node.value_exact<std::string>();
        if (!value) Refuse(node, "'" + key + "' has to be a text in quotes");
        return *value;
    }

    std::optional<Mac> OptionalMac(const std::string& key)
    {
        const toml::node* node = Find(key);
        if (node == nullptr) return std::nullopt;
        const auto mac = ParseMac(Text(key, *node));
        if (!mac) Refuse(*node, "'" + key + "' has to be an address such as \"02:00:5E:10:00:01\"");
        return mac;
    }

    const toml::table* Table(const std::string& key)
    {
        const toml::node* node = Find(key);
        if (node != nullptr && !node->is_table()) Refuse(*node, "'" + key + "' has to be a table");
        return node == nullptr ? nullptr : node->as_table();
    }

    void RefuseTheRest() const
    {
        for (const auto& [key, node] : table_) {
            const std::string name(key.str());
            if (known_.count(name) == 0) Refuse(node, "there is no key '" + name + "' here");
        }
    }

    const std::filesystem::path& File() const { return file_; }

 private:
    const toml::table& table_;
    std::filesystem::path file_;
    std::set<std::string> known_;
};

toml::table Parse(const std::filesystem::path& file)
{
    const auto text = ReadHostText(file);
    if (!text) throw Error("cannot read " + file.string() + ": " + std::strerror(errno));
    try {
        return toml::parse(*text);
    } catch (const toml::parse_error& error) {
        throw Error(file.string() + ":" + std::to_string(error.source().begin.line) + ": " +
                    std::string(error.description()));
    }
}

Side SideOf(Reader& reader)
{
    const toml::node& node = reader.Need("kind");
    const std::string kind = reader.Text("kind", node);
    if (kind != "tv" && kind != "box") reader.Refuse(node, "'kind' has to be \"tv\" or \"box\"");
    return kind == "tv" ? Side::Tv : Side::Box;
}

void ExpectSide(Reader& reader, Side side)
{
    if (SideOf(reader) == side) return;
    const char* wrong = side == Side::Tv ? " describes a box, not a TV" : " describes a TV, not a box";
    throw Error(reader.File().string() + wrong);
}

/** Takes "serdes.polls" = "never" and serdes.polls = "never", which is a table in a table, for the same. */
void CollectFaults(Reader& reader, const toml::table& table, const std::string& before,
                   std::map<std::string, std::string>& faults)
{
    for (const auto& [name, node] : table) {
        const std::string key = before + std::string(name.str());
        if (node.is_table()) {
            CollectFaults(reader, *node.as_table(), key + ".", faults);
            continue;
        }
        const auto number = node.value_exact<std::int64_t>();
        const std::string value = number ? std::to_string(*number) : reader.Text(key, node);
        try {
            CheckFault(key, value);
        } catch (const Error& error) {
            reader.Refuse(node, error.what());
        }
        faults[key] = value;
    }
}

std::map<std::string, std::string> ReadFaults(Reader& reader)
{
    std::map<std::string, std::string> faults;
    if (const toml::table* table = reader.Table("faults")) CollectFaults(reader, *table, "", faults);
    return faults;
}

std::map<int, int> ReadGpio(Reader& reader)
{
    std::map<int, int> levels;
    for (const int number : gpioNumbers) levels[number] = 0;
    const toml::table* table = reader.Table("gpio");
    if (table == nullptr) return levels;
    for (const auto& [name, node] : *table) {
        const std::string key(name.str());
        const auto number = ParseInteger(key);
        const auto level = number ? levels.find(static_cast<int>(*number)) : levels.end();
        if (level == levels.end()) reader.Refuse(node, "there is no GPIO " + key);
        level->second = static_cast<int>(reader.Number(key, node, 0, UCHAR_MAX));
    }
    return levels;
}

/** A base path is put into command lines, and everything below it has to be of the set. */
std::optional<std::string> ReadBasePath(Reader& reader, const std::string& key)
{
    const toml::node* node = reader.Find(key);
    if (node == nullptr) return std::nullopt;
    const std::string path = reader.Text(key, *node);
    const bool plain = path.find("/.") == std::string::npos && path.find("//") == std::string::npos &&
                       path.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./") ==
                           std::string::npos;
    const bool below = path.rfind("/opt/korvane_vbmg/", 0) == 0 || path.rfind("/opt/tv/", 0) == 0;
    if (!plain || !below || path.back() != '/') {
        reader.Refuse(*node, "'" + key + "' has to lie under /opt/korvane_vbmg/ or /opt/tv/, end in \"/\" and consist "
                             "of letters, digits and _-./");
    }
    return path;
}

}  // namespace

Side ReadSide(const std::filesystem::path& file)
{
    const toml::table table = Parse(file);
    Reader reader(table, file);
    return SideOf(reader);
}

TvDescription ReadTvDescription(const std::filesystem::path& file)
{
    const toml::table table = Parse(file);
    Reader reader(table, file);
    ExpectSide(reader, Side::Tv);
    TvDescription tv;
    tv.name = reader.Text("name", reader.Need("name"));
    tv.year = reader.Int("year");
    tv.mainChip = reader.Int("main_chip");
    tv.duolink = reader.Int("duolink", tv.duolink);
    tv.ciSlots = reader.Int("ci_slots", tv.ciSlots);
    tv.backupPath = ReadBasePath(reader, "backup_path");
    tv.restorePath = ReadBasePath(reader, "restore_path");
    reader.Need("mac");
    tv.mac = *reader.OptionalMac("mac");
    tv.micomMac = reader.OptionalMac("micom_mac");
    tv.hasSystemDevice = reader.Bool("system_device", tv.hasSystemDevice);
    tv.hasFrontend = reader.Bool("frontend", tv.hasFrontend);
    tv.gpioReadsStoreFourBytes = reader.Bool("gpio_reads_store_four_bytes", tv.gpioReadsStoreFourBytes);
    tv.legacyDataDirectory = reader.Bool("legacy_data_directory", tv.legacyDataDirectory);
    tv.gpio = ReadGpio(reader);
    tv.faults = ReadFaults(reader);
    reader.RefuseTheRest();
    return tv;
}

BoxDescription ReadBoxDescription(const std::filesystem::path& file)
{
    const toml::table table = Parse(file);
    Reader reader(table, file);
    ExpectSide(reader, Side::Box);
    BoxDescription box;
    box.name = reader.Text("name", reader.Need("name"));
    box.year = reader.Int("year");
    box.mainChip = reader.Int("main_chip");
    box.items = reader.Int("items");
    if (box.items != 44 && box.items != 62) reader.Refuse(reader.Need("items"), "'items' has to be 44 or 62");
    box.seed = static_cast<std::uint32_t>(reader.Number("seed", reader.Need("seed"), 0, UINT32_MAX));
    box.macBlock = reader.OptionalMac("mac_block");
    box.legacyBackup = reader.Bool("legacy_backup", box.legacyBackup);
    box.bootPartition = reader.Int("boot_partition", box.bootPartition);
    box.faults = ReadFaults(reader);
    reader.RefuseTheRest();
    return box;
}

}  // namespace vbset
