/** @file
 * What proves that data arrived: read from the two sides of a set, not from what any call reported.
 */
#pragma once

#include <Set.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace demo {

using Items = std::map<std::uint32_t, vbset::FactoryItem>;

std::string Text(const std::optional<vbset::Mac>& mac);

/** The addresses on both sides of a set. */
struct Macs {
    std::optional<vbset::Mac> own;       ///< the TV's own
    std::optional<vbset::Mac> migrated;  ///< that the TV was given by a restore
    vbset::Mac block;                    ///< in the raw block of the box
};

Macs MacsOf(const vbset::Set& set);

/** Gives every item of the box another value, so that what is equal afterwards did arrive. */
void ChangeAllItems(vbset::Set& set);

/** How many items are equal byte for byte. */
struct Comparison {
    std::size_t all = 0;
    std::size_t equal = 0;
    bool AllEqual() const { return all > 0 && equal == all; }
    std::string Text() const;
};

Comparison Compare(const Items& wanted, const Items& found);

/** The items that a picture file holds; nothing when it is not whole. */
std::optional<Items> ReadPictureFile(const std::filesystem::path& file);

/** What lies on one side of a set and outlives a power cut. */
class Snapshot {
 public:
    explicit Snapshot(const std::filesystem::path& side);

    /** The files that are new or written again since an earlier snapshot, with their sizes; the factory items only by
     * number. Empty when there are none. */
    std::string WrittenSince(const Snapshot& earlier) const;

 private:
    struct State {
        std::filesystem::file_time_type written;
        std::uintmax_t size;
        bool operator==(const State& other) const { return written == other.written && size == other.size; }
    };

    std::map<std::string, State> files_;
};

}  // namespace demo
