#include "FactoryStore.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>

#include "HostFile.h"
#include "Layout.h"

namespace vbset {

namespace {

constexpr std::size_t typeSize = 4;
constexpr std::size_t standardItems = 44;

std::vector<std::uint32_t> ExtendedTable()
{
    std::vector<std::uint32_t> ids = {79, 80, 81, 83, 84, 85, 167, 168, 169, 170, 95, 96, 97, 98};
    for (std::uint32_t k = 0; k < 10; ++k) ids.insert(ids.end(), {535 + k, 545 + k, 555 + k});
    for (std::uint32_t id = 1760; id <= 1777; ++id) ids.push_back(id);
    return ids;
}

/** Spreads an id over 32 bits. */
std::uint32_t Mixed(std::uint32_t id)
{
    id = (id ^ (id >> 16)) * 0x7FEB352DU;
    id = (id ^ (id >> 15)) * 0x846CA68BU;
    return id ^ (id >> 16);
}

}  // namespace

const std::vector<std::uint32_t>& ItemIds(int items)
{
    static const std::vector<std::uint32_t> extended = ExtendedTable();
    static const std::vector<std::uint32_t> standard(extended.begin(), extended.begin() + standardItems);
    return items == 62 ? extended : standard;
}

std::map<std::uint32_t, FactoryItem> SeededItems(int items, std::uint32_t seed)
{
    // Odd multiples of the seed are added, so that stores whose seeds differ in the low byte differ in every item,
    // also in the one-byte ones.
    std::map<std::uint32_t, FactoryItem> made;
    for (const std::uint32_t id : ItemIds(items)) {
        const std::uint32_t value = Mixed(id) + seed * 0x6D2BU;
        FactoryItem& item = made[id];
        item.storeType = Mixed(id + 0x10000U) + seed * 0x9E3779B1U;
        item.data = {static_cast<unsigned char>(value & 0xFFU)};
        if (id < 1760) item.data.push_back(static_cast<unsigned char>((value >> 8) & 0xFFU));
    }
    return made;
}

FactoryStore::FactoryStore(const std::filesystem::path& box) : directory_(layout::Factory(box)) {}

std::filesystem::path FactoryStore::File(std::uint32_t uid) const
{
    return directory_ / std::to_string(uid);
}

std::optional<FactoryItem> FactoryStore::Read(std::uint32_t uid) const
{
    const auto bytes = ReadHostFile(File(uid));
    if (!bytes || bytes->size() < typeSize) return std::nullopt;
    FactoryItem item;
    for (std::size_t i = 0; i < typeSize; ++i) item.storeType |= static_cast<std::uint32_t>((*bytes)[i]) << (8 * i);
    item.data.assign(bytes->begin() + typeSize, bytes->end());
    return item;
}

std::optional<std::size_t> FactoryStore::Size(std::uint32_t uid) const
{
    struct stat status {};
    if (stat(File(uid).c_str(), &status) != 0 || status.st_size < static_cast<off_t>(typeSize)) return std::nullopt;
    return static_cast<std::size_t>(status.st_size) - typeSize;
}

std::map<std::uint32_t, FactoryItem> FactoryStore::All() const
{
    std::map<std::uint32_t, FactoryItem> items;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(directory_, error)) {
        const auto name = ParseInteger(entry.path().filename().string());
        if (!name || *name < 0 || *name > UINT32_MAX) continue;
        const auto uid = static_cast<std::uint32_t>(*name);
        if (auto item = Read(uid)) items[uid] = std::move(*item);
    }
    return items;
}

int FactoryStore::Write(std::uint32_t uid, const FactoryItem& item) const
{
    std::vector<unsigned char> bytes;
    for (std::size_t i = 0; i < typeSize; ++i) bytes.push_back(static_cast<unsigned char>(item.storeType >> (8 * i)));
    bytes.insert(bytes.end(), item.data.begin(), item.data.end());
    return WriteHostFile(File(uid), bytes);
}

std::optional<std::uint32_t> FactoryStore::Word(std::uint32_t uid) const
{
    const auto own = Read(uid);
    if (!own) return std::nullopt;
    unsigned char bytes[sizeof(std::uint32_t)] = {};
    std::size_t known = std::min(own->data.size(), sizeof bytes);
    std::copy_n(own->data.begin(), known, bytes);

    const auto& table = ItemIds(62);
    auto before = std::find(table.begin(), table.end(), uid);
    if (before == table.end()) before = table.begin();
    while (known < sizeof bytes && before != table.begin()) {
        --before;
        if (Size(*before).value_or(0) <= known) continue;
        const std::vector<unsigned char> longer = Read(*before).value_or(FactoryItem{}).data;
        const std::size_t end = std::min(longer.size(), sizeof bytes);
        for (; known < end; ++known) bytes[known] = longer[known];
    }
    return bytes[0] | static_cast<std::uint32_t>(bytes[1]) << 8 | static_cast<std::uint32_t>(bytes[2]) << 16 |
           static_cast<std::uint32_t>(bytes[3]) << 24;
}

}  // namespace vbset
