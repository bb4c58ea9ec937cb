/** @file
 * What a shared library or program says of itself to the dynamic linker and to a debugger.
 */
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>

struct ElfFile {
    std::string name;                             ///< DT_SONAME
    std::string runPath;                          ///< DT_RUNPATH
    std::set<std::string> needed;                 ///< DT_NEEDED
    std::map<std::string, std::string> exported;  ///< functions and data that other modules can use: name, version or ""
    std::set<std::string> undefined;              ///< functions and data that it takes from other modules
};

/** Reads a library or program of this machine's own word size. @throw std::runtime_error when it cannot be read as one */
ElfFile ReadElfFile(const std::filesystem::path& file);

/** Where a function or object lies, from the start of its library, and its bytes. */
struct ElfPlace {
    std::uintptr_t offset;
    std::size_t size;
};

/** What a library that is not stripped holds, exported or not, by name. @throw std::runtime_error when it is stripped */
std::map<std::string, ElfPlace> ReadElfSymbols(const std::filesystem::path& file);
