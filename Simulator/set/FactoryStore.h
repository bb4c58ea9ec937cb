/** @file
 * The factory store of a box: one file an item, 4 bytes of store type (little-endian), then the data.
 */
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>

#include "Set.h"

namespace vbset {

class FactoryStore {
 public:
    explicit FactoryStore(const std::filesystem::path& box);

    /** @return nothing for an item that the box does not have */
    std::optional<FactoryItem> Read(std::uint32_t uid) const;
    std::optional<std::size_t> Size(std::uint32_t uid) const;
    std::map<std::uint32_t, FactoryItem> All() const;

    /** @return 0 or an error number */
    int Write(std::uint32_t uid, const FactoryItem& item) const;

    /** The value of an item as a word: its data, the first byte lowest, laid over the data of the items before it in
     * the item table, so that bytes which the item does not have are those of the nearest longer item before it, and 0
     * where there is none.
     *
     * A picture file that lists the items in table order is read back in just this way. A file and a store that hold
     * the same data therefore give the same words, one-byte items that follow two-byte ones included, and the caller's
     * buffer has no part in it.
     */
    std::optional<std::uint32_t> Word(std::uint32_t uid) const;

 private:
    std::filesystem::path File(std::uint32_t uid) const;

    std::filesystem::path directory_;
};

}  // namespace vbset
