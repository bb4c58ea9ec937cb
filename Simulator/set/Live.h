/** @file
 * The set as seen from inside a process that runs on it: faults, trace, paths, devices.
 *
 * The process finds its set in the environment (VBSET_TV, VBSET_BOX) when the library is loaded, or is given it by
 * Set::Enter(). What is noexcept leaves errno alone; outside a set there are no faults, no paths, and the trace goes
 * nowhere.
 */
#pragma once

#include <string>

namespace vbset::live {

/** True when this process runs on a set. */
bool OnSet() noexcept;

/** The value of a fault that is switched on, else null. The text stays valid. */
const char* Fault(const char* key) noexcept;

/** Switches a fault on (or off, with null) for this process and every process on the set.
 * @throw Error when it is not a fault of the set or this process is not on a set */
void SetFault(const std::string& key, const char* value);

/** Reads the faults again that another process switched. */
void ReloadFaults() noexcept;

/** The number of an error name such as "EACCES", 0 when there is none. */
int ErrnoByName(const char* name) noexcept;

/** The host path of a path of the set, written to @p out (of @p size bytes).
 * "." and ".." and doubled slashes are resolved by the letter first, so that no spelling of a path slips by.
 * Takes no lock, allocates nothing, may be called between vfork and exec.
 * @return false when the path is not one of the set's; @p out is left alone. One that is, but does not fit, gives an
 *         empty path, which no call opens */
bool MapPath(const char* path, char* out, unsigned long size) noexcept;

/** Writes one interaction of library and set to trace.jsonl, with the next number and the microseconds since the run
 * began.
 * @param kind    "platform", "command", "request", "ioctl", "file" or "sleep"
 * @param call    the function, command line or request
 * @param args    its arguments as a person reads them
 * @param result  its result
 * @return the number of the interaction, from 1; 0 outside a set */
unsigned long Trace(const char* kind, const char* call, const std::string& args, const std::string& result) noexcept;

/** Writes a line without a number: what the other side of an interaction did, of the kind "service". */
void Note(const char* kind, const char* call, const std::string& args, const std::string& result) noexcept;

/** True when this process runs on a set and its interactions are traced. */
bool IsTraced() noexcept;

/** Switches the trace of this process off or on; while it is off nothing is numbered or written. For measuring. */
void SetTracing(bool on) noexcept;

}  // namespace vbset::live
