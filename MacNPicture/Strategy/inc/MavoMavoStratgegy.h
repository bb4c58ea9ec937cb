/** @file
 * TV year code 15 with box year code 15.
 */
#pragma once

#include <SameGenerationStratgegy.h>

/** The texts of year code 15. */
struct MavoGeneration {
    static constexpr const char* kName = "MavoMavoStratgegy";  ///< class in the log
    static constexpr const char* kUnit = "MavoMavoStratgegy.cpp";  ///< source file in the log
    static constexpr const char* kConstructed = " MavoMavoStratgegy Constructor  <=== ";  ///< of the constructor
    static constexpr const char* kNotSupported = " 15~15 Not Supported  ";  ///< of RestoreMACAddress, SetRestorePath
    static constexpr const char* kNotSupportedTab = " 15~15 Not Supported\t";  ///< of the rest
};

extern template class SameGenerationStratgegy<MavoGeneration>;

/** TV and box of year code 15. */
class MavoMavoStratgegy final : public SameGenerationStratgegy<MavoGeneration> {};
