/** @file
 * Whether a whole backup is one: the results of its calls do not tell.
 */
#pragma once

#include "CallLog.h"

namespace command {

/** Judges START, dump (left out after a failed START) and END, in this order at the end of the calls. */
Summary SumUpBackup(const std::vector<Call>& calls);

}  // namespace command
