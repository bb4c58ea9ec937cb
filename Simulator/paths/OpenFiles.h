/** @file
 * The descriptors of the set's files and devices that this process has open.
 *
 * A fixed table by descriptor number, without a lock: a descriptor that is not of the set costs one load.
 */
#pragma once

#include <atomic>
#include <cstdint>

#include "Shim.h"

namespace vbset::shim {

enum class Kind : unsigned char {
    NotOfSet,
    File,
    Block,     ///< the raw MAC block: its size is fixed
    System,    ///< the system device: it answers requests only
    Frontend,  ///< the tuner frontend: likewise
};

/** What a path of the set names. */
Kind KindOf(const SetPath& path) noexcept;

struct OpenFile {
    std::atomic<Kind> kind{Kind::NotOfSet};
    std::atomic<std::uint64_t> written{0};  ///< bytes, since it was opened
    const char* partition = nullptr;        ///< what holds it, see Flash.h
    char path[512] = "";                    ///< as the program named it
};

/** The entry of a descriptor; null when it is not of the set, or the shim itself asks. */
OpenFile* FindOpenFile(int descriptor) noexcept;

/** Enters a descriptor. @return false, with errno, when the table has no place for it */
bool RememberOpenFile(int descriptor, Kind kind, const SetPath& path) noexcept;

/** Takes the entry away, before the descriptor is closed: then its number may come up again at once. */
void ForgetOpenFile(OpenFile& file) noexcept;

}  // namespace vbset::shim
