/** @file
 * A few words on results that are what they are on purpose.
 */
#pragma once

#include <string>

#include "CallLog.h"

namespace command {

/** Why a finished call may have had its result; empty when the result speaks for itself.
 * @param tvCode  the set's TV code as the library read it, -1 when it could not */
std::string NoteOn(const Call& call, int tvCode);

}  // namespace command
