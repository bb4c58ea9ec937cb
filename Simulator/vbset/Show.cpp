#include <cstdio>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Side.h"

namespace vbset {
namespace {

using Json = nlohmann::ordered_json;

void Line(const std::string& label, const std::string& text)
{
    std::printf("  %-16s %s\n", label.c_str(), text.c_str());
}

std::string Pairs(const Json& values)
{
    std::string text;
    for (const auto& [name, value] : values.items()) {
        text += (text.empty() ? "" : "  ") + name + "=" + InWords(value);
    }
    return text.empty() ? "none" : text;
}

std::string PowerFlag(const Json& eeprom)
{
    const std::string flag = eeprom.value("F211", "");
    if (flag == "AA") {
        return "AA: a migration is in progress or was cut short";
    }
    return flag.empty() ? "never written" : flag + ": no migration in progress";
}

/** The library has a path of its own where the TV tells none. */
std::string BasePath(const Json& path)
{
    return path.is_null() ? "not told; the library takes /opt/tv/migration/korvane_vbmg/" : InWords(path);
}

void ShowState(const Json& state)
{
    std::string mounted;
    for (const auto& partition : state["mounted"]) {
        mounted += (mounted.empty() ? "" : ", ") + partition.get<std::string>();
    }
    Line("mounted", mounted.empty() ? "nothing" : mounted);
    Line("module", state["module_loaded"] ? "loaded" : "not loaded");
    Line("GPIO", Pairs(state["gpio"]));
    Line("tuner mute", InWords(state["tuner_mute"]));
    Line("buffer IC", InWords(state["buffer_ic"]));
    Line("faults", Pairs(state["faults"]));
}

void ShowFiles(const Json& files)
{
    Line("files", files.empty() ? "none" : std::to_string(files.size()));
    for (const auto& [name, file] : files.items()) {
        std::printf("    %-48s %s\n", name.c_str(), InWords(file).c_str());
    }
}

void ShowHeading(const char* kind, const Json& side)
{
    std::printf("%s %s\n", kind, side["directory"].get<std::string>().c_str());
    Line("name", side["name"]);
    Line("power", side["on"] ? "on, joined to " + side["joined"].get<std::string>() : "off");
    const Json& description = side["description"];
    Line("year", InWords(description["year"]));
    Line("main chip", InWords(description["main_chip"]));
}

void ShowTv(const Json& side)
{
    const Json& description = side["description"];
    const Json& holds = side["holds"];
    ShowHeading("TV ", side);
    Line("duolink", InWords(description["duolink"]));
    Line("CI slots", InWords(description["ci_slots"]));
    Line("backup path", BasePath(description["backup_path"]));
    Line("restore path", BasePath(description["restore_path"]));
    Line("/dev/system", description["system_device"] ? "present" : "absent");
    Line("tuner frontend", description["frontend"] ? "present" : "absent");
    Line("MAC", InWords(holds["mac"]));
    Line("migrated MAC", InWords(holds["migrated_mac"]));
    Line("micom MAC", InWords(description["micom_mac"]));
    Line("power flag", PowerFlag(holds["eeprom"]));
    Line("EEPROM", Pairs(holds["eeprom"]));
    if (side["on"]) {
        ShowState(side["volatile"]);
    }
    ShowFiles(holds["files"]);
}

void ShowBox(const Json& side)
{
    const Json& holds = side["holds"];
    ShowHeading("box", side);
    Line("MAC block", InWords(holds["mac_block"]));
    Line("items", InWords(side["items"]["count"]) + ", sha256 " +
                      side["items"]["sha256"].get<std::string>().substr(0, 16));
    Line("boot partition", InWords(holds["boot_partition"]));
    Line("archive", InWords(holds["archive"]));
    ShowFiles(holds["files"]);
}

}  // namespace

int Show(const std::vector<std::filesystem::path>& directories, bool json)
{
    std::vector<Json> sides;
    for (const auto& directory : directories) {
        sides.push_back(DescribeSide(directory));
    }
    if (json) {
        const Json all = sides.size() == 1 ? sides.front() : Json(sides);
        std::puts(all.dump(2, ' ', false, Json::error_handler_t::replace).c_str());
        return exitDone;
    }
    for (const Json& side : sides) {
        side["side"] == "tv" ? ShowTv(side) : ShowBox(side);
    }
    return exitDone;
}

}  // namespace vbset
