#include <cstdio>
#include <map>
#include <string>

#include "Commands.h"
#include "Set.h"

namespace vbset {
namespace {

bool IsNewBoard(const TvDescription& tv)
{
    const auto level = [&tv](int gpio) {
        const auto found = tv.gpio.find(gpio);
        return found == tv.gpio.end() ? 0 : found->second;
    };
    return tv.hasSystemDevice && level(165) == 1 && level(153) == 1 && level(107) == 0;
}

std::string InWords(const TvDescription& tv)
{
    constexpr int extendedItemsChip = 3;
    std::string text = "TV   year " + std::to_string(tv.year) + ", ";
    text += tv.mainChip == extendedItemsChip ? "62 items" : "44 items";
    if (IsNewBoard(tv)) {
        text += ", new main board";
    }
    return tv.ciSlots > 0 ? text + ", CI slots: " + std::to_string(tv.ciSlots) : text;
}

std::string InWords(const BoxDescription& box)
{
    return "box  year " + std::to_string(box.year) + ", " + std::to_string(box.items) + " items" +
           (box.legacyBackup ? ", a backup of the previous platform" : "");
}

/** What a packaged description says it is; both kinds are told apart by reading them. */
std::string InWords(const std::filesystem::path& file)
{
    try {
        return InWords(ReadTvDescription(file));
    } catch (const Error&) {
        return InWords(ReadBoxDescription(file));
    }
}

}  // namespace

int List()
{
    std::map<std::string, std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(ShareDirectory())) {
        if (entry.path().extension() == ".toml") {
            files[entry.path().stem()] = entry.path();
        }
    }
    for (const auto& [name, file] : files) {
        std::printf("%-24s %s\n", name.c_str(), InWords(file).c_str());
    }
    return exitDone;
}

int New(const std::string& description, const std::filesystem::path& directory)
{
    Create(description, std::filesystem::absolute(directory));
    return exitDone;
}

}  // namespace vbset
