/** @file
 * What state the set is in before anyone starts a migration, and what a start would do.
 */
#pragma once

#include "CallLog.h"

namespace command {

/** Prints the status, changing nothing on the set. @return the exit status */
int ShowStatus(Format format);

}  // namespace command
