/** @file
 * What a library takes of a set's memory and of its start-up, read from the file; debug information does not count.
 */
#pragma once

#include <filesystem>
#include <string>

namespace bench {

/** The bytes of text that the library may have on 32-bit ARM. */
inline constexpr unsigned long kTextLimit = 100 * 1024;

/** The name of the library whose text is limited. */
inline constexpr const char* kLimitedLibrary = "armhf";

struct LibrarySize {
    std::string name;
    unsigned long text = 0;         ///< bytes that are loaded and not written: code, constants, tables
    unsigned long data = 0;         ///< bytes that are loaded and written, of the file or zero
    unsigned long relocations = 0;  ///< that the dynamic linker carries out

    bool HasAim() const { return name == kLimitedLibrary; }
    bool IsReached() const { return text <= kTextLimit; }
};

/** @throw vbset::Error when the file is no ELF file of this byte order */
LibrarySize SizeOf(const std::string& name, const std::filesystem::path& file);

}  // namespace bench
