#include "Evidence.h"

#include <EepromMap.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>

namespace demo {

namespace {

namespace fs = std::filesystem;

using Bytes = std::vector<unsigned char>;

std::uint32_t WordAt(const Bytes& bytes, std::size_t offset)
{
    std::uint32_t word = 0;
    for (std::size_t i = 4; i > 0; --i) {
        word = (word << 8) | bytes[offset + i - 1];
    }
    return word;
}

}  // namespace

std::string Text(const std::optional<vbset::Mac>& mac)
{
    if (!mac) {
        return "none";
    }
    if (std::all_of(mac->begin(), mac->end(), [](unsigned char byte) { return byte == 0xFF; })) {
        return "blank";
    }
    std::string text;
    for (const unsigned char byte : *mac) {
        char pair[4];
        std::snprintf(pair, sizeof pair, "%02X", byte);
        text += (text.empty() ? "" : ":") + std::string(pair);
    }
    return text;
}

Macs MacsOf(const vbset::Set& set)
{
    Macs macs{std::nullopt, set.MigratedMac(), set.MacBlock()};
    const auto bytes = set.Eeprom(EEPROM_ITEM_MAC);
    if (bytes && bytes->size() == macs.block.size()) {
        macs.own.emplace();
        std::copy(bytes->begin(), bytes->end(), macs.own->begin());
    }
    return macs;
}

void ChangeAllItems(vbset::Set& set)
{
    for (auto [uid, item] : set.FactoryItems()) {
        for (unsigned char& byte : item.data) {
            byte = static_cast<unsigned char>(~byte);
        }
        set.WriteFactoryItem(uid, item);
    }
}

std::string Comparison::Text() const
{
    return std::to_string(equal) + " of " + std::to_string(all) + " equal byte for byte";
}

Comparison Compare(const Items& wanted, const Items& found)
{
    Comparison comparison;
    comparison.all = std::max(wanted.size(), found.size());
    for (const auto& [uid, item] : wanted) {
        const auto other = found.find(uid);
        comparison.equal += other != found.end() && other->second == item ? 1U : 0U;
    }
    return comparison;
}

std::optional<Items> ReadPictureFile(const fs::path& file)
{
    constexpr std::size_t kHeader = 12;
    std::ifstream stream(file, std::ios::binary);
    const Bytes bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    Items items;
    std::size_t at = 0;
    while (at < bytes.size()) {
        if (bytes.size() - at < kHeader || bytes.size() - at - kHeader < WordAt(bytes, at + 8)) {
            return std::nullopt;
        }
        const auto data = bytes.begin() + static_cast<std::ptrdiff_t>(at + kHeader);
        const std::uint32_t size = WordAt(bytes, at + 8);
        items[WordAt(bytes, at)] = {WordAt(bytes, at + 4), Bytes(data, data + size)};
        at += kHeader + size;
    }
    return items;
}

Snapshot::Snapshot(const fs::path& side)
{
    const fs::path root = side / "nonvolatile";
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        if (entry.is_regular_file()) {
            const std::string name = entry.path().lexically_relative(root).string();
            files_[name] = {entry.last_write_time(), entry.file_size()};
        }
    }
}

std::string Snapshot::WrittenSince(const Snapshot& earlier) const
{
    std::string text;
    int items = 0;
    for (const auto& [name, state] : files_) {
        const auto before = earlier.files_.find(name);
        if (before != earlier.files_.end() && before->second == state) {
            continue;
        }
        if (name.rfind("factory/", 0) == 0) {
            ++items;
        } else {
            text += (text.empty() ? "" : ", ") + name + " " + std::to_string(state.size);
        }
    }
    if (items > 0) {
        text += (text.empty() ? "" : ", ") + std::to_string(items) + " factory items";
    }
    return text;
}

}  // namespace demo
