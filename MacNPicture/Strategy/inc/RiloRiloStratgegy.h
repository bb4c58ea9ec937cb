/** @file
 * TV year code 17 with box year code 17.
 */
#pragma once

#include <SameGenerationStratgegy.h>

struct RiloGeneration {
    static constexpr const char* kName = "RiloRiloStratgegy";
    static constexpr const char* kUnit = "RiloRiloStratgegy.cpp";
    static constexpr const char* kConstructed = " RiloRiloStratgegy Constructor  <=== ";
    static constexpr const char* kNotSupported = " 17~17 Not Supported  ";
    static constexpr const char* kNotSupportedTab = " 17~17 Not Supported\t";
};

extern template class SameGenerationStratgegy<RiloGeneration>;

class RiloRiloStratgegy final : public SameGenerationStratgegy<RiloGeneration> {};
