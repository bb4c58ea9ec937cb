/** @file
 * The file of picture items that a dump writes: its result does not tell of it, because it is the MAC address's too.
 */
#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include "CallLog.h"

namespace command {

/** To be made before the dump. */
class PictureItems {
 public:
    PictureItems();

    /** What the dump has left: picture_items (are all of them in a file that it has written?), items and bytes of the
     * file that is there now. */
    std::vector<Field> AfterDump() const;

 private:
    bool IsTouched(const struct stat& after) const;

    std::string file_;
    struct stat before_ = {};
};

/** How many items this set has. */
int ExpectedItems();

}  // namespace command
