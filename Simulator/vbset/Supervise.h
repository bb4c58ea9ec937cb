/** @file
 * Watching over the program of a run.
 */
#pragma once

#include <sys/types.h>

#include <csignal>
#include <functional>
#include <vector>

namespace vbset {

/** With this signal a process of the run tells that the power goes away. */
inline int PowerCutSignal()
{
    return SIGRTMIN + 1;
}

/** Takes care of one program and whatever it leaves behind. To be made before the program is started. */
class Supervisor {
 public:
    /** From now on signals wait until Wait() looks at them, and orphans of the run become children of this process. */
    Supervisor();
    ~Supervisor();
    Supervisor(const Supervisor&) = delete;
    Supervisor& operator=(const Supervisor&) = delete;

    /** Waits for the program to end; what is sent to this process to end it is passed on to the program.
     * @param seconds    after which the program is ended; 0 waits for ever
     * @param timeIsUp   called before it is ended for that
     * @return its exit status, 128 and the signal that ended it, or 124 when the time was up */
    int Wait(pid_t program, double seconds, const std::function<void()>& timeIsUp);

    /** The power went away while Wait() waited: the program was killed. */
    bool PowerWentAway() const { return powerWentAway_; }

    /** Ends every process that is left of the run. */
    void EndOrphans();

 private:
    std::vector<pid_t> strangers_;  // children that this process had before the run
    sigset_t watched_;
    sigset_t previous_;
    bool powerWentAway_ = false;
};

}  // namespace vbset
