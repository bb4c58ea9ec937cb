/** @file
 * The file that holds the faults that are on: one "KEY=VALUE" a line.
 */
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace vbset {

using FaultMap = std::map<std::string, std::string>;

FaultMap ParseFaults(std::string_view text);
std::string FaultsText(const FaultMap& faults);

}  // namespace vbset
