/** @file
 * TV year code 17 with box year code 17.
 */
#pragma once

#include <SameGenerationStratgegy.h>

/** The texts of year code 17. */
struct RiloGeneration {
    static constexpr const char* kName = "RiloRiloStratgegy";  ///< class in the log
    static constexpr const char* kUnit = "RiloRiloStratgegy.cpp";  ///< source file in the log
    static constexpr const char* kConstructed = " RiloRiloStratgegy Constructor  <=== ";  ///< of the constructor
    static constexpr const char* kNotSupported = " 17~17 Not Supported  ";  ///< of RestoreMACAddress, SetRestorePath
    static constexpr const char* kNotSupportedTab = " 17~17 Not Supported\t";  ///< of the rest
};

extern template class SameGenerationStratgegy<RiloGeneration>;

/** TV and box of year code 17. */
class RiloRiloStratgegy final : public SameGenerationStratgegy<RiloGeneration> {};
