/** @file
 * TV year code 15 with box year code 15.
 */
#pragma once

#include <SameGenerationStratgegy.h>

struct MavoGeneration {
    static constexpr const char* kName = "MavoMavoStratgegy";
    static constexpr const char* kUnit = "MavoMavoStratgegy.cpp";
    static constexpr const char* kConstructed = " MavoMavoStratgegy Constructor  <=== ";
    static constexpr const char* kNotSupported = " 15~15 Not Supported  ";
    static constexpr const char* kNotSupportedTab = " 15~15 Not Supported\t";
};

extern template class SameGenerationStratgegy<MavoGeneration>;

class MavoMavoStratgegy final : public SameGenerationStratgegy<MavoGeneration> {};
