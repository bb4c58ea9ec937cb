/** @file
 * What a library takes of a set's memory and of its start-up, read from the file; debug information does not count.
 */
#pragma once

#include <filesystem>
#include <string>

namespace bench {

struct LibrarySize {
    std::string name;
    unsigned long text = 0;         ///< bytes that are loaded and not written: code, constants, tables
    unsigned long data = 0;         ///< bytes that are loaded and written, of the file or zero
    unsigned long relocations = 0;  ///< that the dynamic linker carries out
};

/** @throw vbset::Error when the file is no ELF file of this byte order */
LibrarySize SizeOf(const std::string& name, const std::filesystem::path& file);

}  // namespace bench
