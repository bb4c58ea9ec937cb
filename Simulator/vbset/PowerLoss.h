/** @file
 * What a power cut leaves of a set.
 */
#pragma once

#include <string>

#include "Set.h"

namespace vbset {

/** From now on it is kept what a cut would leave; the set must be on. What it holds now survives. @throw Error */
void KeepDurable(const Set& set);

/** The power went away. What was not synced becomes what the letters say (see PowerCut.h), what is volatile is gone.
 * No process of the run may be left. @throw Error */
void LosePower(Set& set, const std::string& unsynced);

}  // namespace vbset
