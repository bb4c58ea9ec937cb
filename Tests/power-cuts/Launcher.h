/** @file
 * Starts the processes in which flows run.
 */
#pragma once

#include <sys/types.h>

#include "Machine.h"

namespace powercut {

/** A process of its own that forks one for each run. It is forked early, while this process has used little memory: what
 * a process has used, all that it forks have to copy. */
class Launcher {
 public:
    /** @param target  the machine that runs take place on, in memory that processes share */
    explicit Launcher(Machine& target);
    ~Launcher();
    Launcher(const Launcher&) = delete;
    Launcher& operator=(const Launcher&) = delete;

    /** Runs a flow in a new process. @return how that ended, as waitpid() gives it */
    int Run(Flow flow);

 private:
    pid_t process_ = -1;
    int requests_ = -1;
    int answers_ = -1;
};

}  // namespace powercut
