/** @file
 * Cases told to people: one in every step, and all of a flow as a table.
 */
#pragma once

#include <string>

namespace powercut {

/** Tries one case and tells what happened. @return whether all went well */
bool Replay(const std::string& id);

/** Tries one case and prints what was done in each step, and what the set then held: lines "= FLOW CUT|- RESULTS" with
 * lines "NAME TAB BYTES" after them, the bytes in hexadecimal digits. */
bool PrintStates(const std::string& id);

/** Prints what is guaranteed, cut point by cut point. @return whether all went well */
bool PrintTable();

}  // namespace powercut
