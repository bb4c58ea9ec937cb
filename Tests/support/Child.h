/** @file
 * A process of its own for a part of a test: the library's single objects, and what GLib has made, are fresh in it.
 */
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>

#include "Failures.h"

/** A child process that runs a body. It must be made before this process has threads. */
class Child {
 public:
    explicit Child(const std::function<void()>& body)
    {
        std::fflush(nullptr);  // or what is not written yet would be written twice
        process_ = fork();
        if (process_ == 0) {
            const int failuresBefore = FailuresSoFar();
            body();
            std::exit(FailuresSoFar() == failuresBefore ? 0 : 1);  // not _exit(): a sanitizer speaks up at the end
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /** Waits for its end. @return whether it ended well and no expectation failed in it; once */
    bool Holds()
    {
        int status = 0;
        return waitpid(process_, &status, 0) == process_ && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

 private:
    pid_t process_ = -1;
};

/** Runs a body in a child and waits for it. @return whether it ended well and no expectation failed in it */
inline bool HoldsInChild(const std::function<void()>& body)
{
    return Child(body).Holds();
}
