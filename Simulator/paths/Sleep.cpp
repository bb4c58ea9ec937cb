/** @file
 * The set's clock: a sleep is traced, and takes time only when the set runs in real time (VBSET_REAL_TIME=1).
 *
 * Only usleep is the set's. Threads of programs, libraries and sanitizers wait for one another by nanosleep, and that
 * has to take its time.
 */
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "Live.h"
#include "Shim.h"

VBSET_INTERPOSED int usleep(useconds_t microseconds)
{
    namespace shim = vbset::shim;
    if (shim::Within::Already() || !vbset::live::OnSet()) return VBSET_NEXT(usleep)(microseconds);
    const char* realTime = std::getenv("VBSET_REAL_TIME");
    const bool takesTime = realTime != nullptr && std::strcmp(realTime, "1") == 0;
    const int result = takesTime ? VBSET_NEXT(usleep)(microseconds) : 0;
    shim::Text args;
    shim::RecordResult("sleep", "usleep", args.AddNumber(static_cast<long long>(microseconds)).Get(), result);
    return result;
}
