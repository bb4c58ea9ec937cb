#include "EepromMap.h"

#include <algorithm>
#include <cerrno>

#include "Answer.h"
#include "HostFile.h"
#include "Layout.h"

namespace {

using Bytes = std::vector<unsigned char>;

constexpr int failure = -1;

/** What the item holds; nothing for one that was never written. */
std::optional<Bytes> Contents(const vbset::Here& here, unsigned int item)
{
    if (const char* fault = vbset::live::Fault(("eeprom.value." + vbset::ItemName(item)).c_str())) {
        return vbset::ParseHex(fault);
    }
    return vbset::ReadHostFile(vbset::layout::EepromItem(here.tv, item));
}

/** @return the number of bytes that count as read; never more than @p size are stored */
int Read(const vbset::Here& here, unsigned int item, int size, unsigned char* buffer)
{
    const auto fault = vbset::FaultNumber("eeprom.read." + vbset::ItemName(item));
    if (fault && *fault <= 0) return *fault;
    const auto contents = Contents(here, item);
    if (!contents || buffer == nullptr || size <= 0) return failure;
    const int count = std::min(fault.value_or(size), size);
    const int there = std::min(count, static_cast<int>(contents->size()));
    std::copy_n(contents->begin(), there, buffer);
    if (!fault) return there;
    std::fill(buffer + there, buffer + count, static_cast<unsigned char>(0xFF));
    return *fault;
}

int Write(const vbset::Here& here, unsigned int item, int size, const unsigned char* buffer)
{
    const auto fault = vbset::FaultNumber("eeprom.write." + vbset::ItemName(item));
    if (fault && *fault <= 0) return *fault;
    if (buffer == nullptr || size <= 0) return failure;
    const auto file = vbset::layout::EepromItem(here.tv, item);
    const auto count = static_cast<std::size_t>(std::min(fault.value_or(size), size));
    Bytes bytes = fault ? vbset::ReadHostFile(file).value_or(Bytes{}) : Bytes{};
    bytes.resize(std::max(bytes.size(), count), 0xFF);
    std::copy_n(buffer, count, bytes.begin());
    return vbset::WriteHostFile(file, bytes) == 0 ? fault.value_or(size) : failure;
}

int WriteMigratedMac(const vbset::Here& here, const unsigned char* mac, int size)
{
    const auto fault = vbset::FaultNumber("eeprom.migrated_mac");
    if (fault) return *fault;
    if (mac == nullptr || size != static_cast<int>(vbset::Mac{}.size())) return EINVAL;
    return vbset::WriteHostFile(vbset::layout::MigratedMac(here.tv), Bytes(mac, mac + size));
}

std::string Words(unsigned int item, int size)
{
    return "0x" + vbset::ItemName(item) + ' ' + std::to_string(size);
}

std::string HexOf(const unsigned char* bytes, int size)
{
    return bytes == nullptr || size <= 0 ? "" : vbset::Hex(bytes, static_cast<std::size_t>(size));
}

}  // namespace

int eeprom_read(unsigned int item, int size, unsigned char* buffer)
{
    return vbset::Answer(failure, [&](const vbset::Here& here) {
        const int result = Read(here, item, size, buffer);
        return vbset::Traced("eeprom_read", Words(item, size), result, HexOf(buffer, std::min(result, size)));
    });
}

int eeprom_write(unsigned int item, int size, const unsigned char* buffer)
{
    return vbset::Answer(failure, [&](const vbset::Here& here) {
        const int result = Write(here, item, size, buffer);
        return vbset::Traced("eeprom_write", Words(item, size) + ' ' + HexOf(buffer, size), result);
    });
}

int eeprom_write_migrated_mac(const unsigned char* mac, int size)
{
    return vbset::Answer(EIO, [&](const vbset::Here& here) {
        const int result = WriteMigratedMac(here, mac, size);
        return vbset::Traced("eeprom_write_migrated_mac", HexOf(mac, size) + ' ' + std::to_string(size), result);
    });
}
