/** @file
 * Texts of bytes, addresses and numbers, as descriptions, faults and traces hold them.
 */
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Set.h"

namespace vbset {

/** Upper-case hex digits without blanks. */
std::string Hex(const unsigned char* bytes, std::size_t count);
std::string Hex(const std::vector<unsigned char>& bytes);

/** Item ids as file names, faults and traces spell them: upper-case hex without leading zeros to at least 4 digits. */
std::string ItemName(unsigned int item);

/** @return nothing unless the text is an even number of hex digits */
std::optional<std::vector<unsigned char>> ParseHex(std::string_view text);

/** Reads "02:00:5E:10:00:01". */
std::optional<Mac> ParseMac(std::string_view text);

/** @return nothing unless the whole text is one decimal integer */
std::optional<long long> ParseInteger(std::string_view text);

/** A JSON string and its quotes. Bytes over 0x7E become \u00XX, so that any text makes valid JSON and none is lost. */
std::string JsonText(std::string_view text);

}  // namespace vbset
