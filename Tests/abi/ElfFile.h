/** @file
 * What a shared library says of itself to the dynamic linker.
 */
#pragma once

#include <filesystem>
#include <set>
#include <string>

struct ElfFile {
    std::string name;                 ///< DT_SONAME
    std::set<std::string> needed;     ///< DT_NEEDED
    std::set<std::string> exported;   ///< functions and data that other modules can use
    std::set<std::string> undefined;  ///< functions and data that it takes from other modules
};

/** Reads a library of this machine's own word size. @throw std::runtime_error when it cannot be read as one */
ElfFile ReadElfFile(const std::filesystem::path& file);
