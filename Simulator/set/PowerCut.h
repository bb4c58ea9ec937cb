/** @file
 * Where the power goes away in a run, as `vbset run --cut` takes it.
 *
 *     17b        before interaction 17 takes effect
 *     17a        after it took effect, before the program learns of it
 *     17w425     a write to a file: after 425 of its bytes
 *     17.2       inside what the set does for it, after the second step of that
 *
 * What was written and not synced is then as it was written. Letters after a dash say otherwise, one for each file that
 * is not synced, in the order of their names, the last one for all that are left: "o" the file is as it was when it was
 * last synced, "n" as it was written, "z" it has its new name and length, but zeros in the place of its data. So
 * "17a-o" loses all that was not synced, and "17a-on" keeps all but the first.
 */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vbset {

struct PowerCut {
    enum class When { Before, After, Bytes, Step };
    unsigned long interaction = 0;
    When when = When::After;
    unsigned long amount = 0;  ///< of bytes or steps
    std::string unsynced;      ///< letters, none for "n"
};

/** @throw Error when the text is none of the above */
PowerCut ParsePowerCut(std::string_view text);

std::string Text(const PowerCut& cut);

/** What becomes of the file at a position among those that are not synced: 'o', 'n' or 'z'. */
char Outcome(std::string_view unsynced, std::size_t position);

}  // namespace vbset
