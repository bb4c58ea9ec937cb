#include "Text.h"

#include <charconv>

namespace vbset {

namespace {

constexpr char hexDigits[] = "0123456789ABCDEF";

std::optional<unsigned char> HexDigit(char digit)
{
    if (digit >= '0' && digit <= '9') return static_cast<unsigned char>(digit - '0');
    if (digit >= 'A' && digit <= 'F') return static_cast<unsigned char>(digit - 'A' + 10);
    if (digit >= 'a' && digit <= 'f') return static_cast<unsigned char>(digit - 'a' + 10);
    return std::nullopt;
}

}  // namespace

std::string Hex(const unsigned char* bytes, std::size_t count)
{
    std::string text;
    text.reserve(2 * count);
    for (std::size_t i = 0; i < count; ++i) {
        text += hexDigits[bytes[i] >> 4];
        text += hexDigits[bytes[i] & 0x0F];
    }
    return text;
}

std::string Hex(const std::vector<unsigned char>& bytes)
{
    return Hex(bytes.data(), bytes.size());
}

std::string ItemName(unsigned int item)
{
    std::string name;
    for (unsigned int rest = item; rest != 0; rest >>= 4) name.insert(name.begin(), hexDigits[rest & 0x0F]);
    return name.size() < 4 ? std::string(4 - name.size(), '0') + name : name;
}

std::optional<std::vector<unsigned char>> ParseHex(std::string_view text)
{
    if (text.size() % 2 != 0) return std::nullopt;
    std::vector<unsigned char> bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const auto high = HexDigit(text[i]);
        const auto low = HexDigit(text[i + 1]);
        if (!high || !low) return std::nullopt;
        bytes.push_back(static_cast<unsigned char>(*high * 16 + *low));
    }
    return bytes;
}

std::optional<Mac> ParseMac(std::string_view text)
{
    Mac mac{};
    if (text.size() != 3 * mac.size() - 1) return std::nullopt;
    for (std::size_t i = 0; i < mac.size(); ++i) {
        const auto byte = ParseHex(text.substr(3 * i, 2));
        const bool separated = i + 1 == mac.size() || text[3 * i + 2] == ':';
        if (!byte || !separated) return std::nullopt;
        mac[i] = byte->front();
    }
    return mac;
}

std::optional<long long> ParseInteger(std::string_view text)
{
    long long value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end) return std::nullopt;
    return value;
}

std::string JsonText(std::string_view text)
{
    std::string json = "\"";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\') {
            json += '\\';
            json += character;
        } else if (byte >= 0x20 && byte < 0x7F) {
            json += character;
        } else {
            json += "\\u00";
            json += hexDigits[byte >> 4];
            json += hexDigits[byte & 0x0F];
        }
    }
    return json + '"';
}

}  // namespace vbset
