#include "Launcher.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <system_error>

namespace powercut {

namespace {

int RunInChild(Machine& target, Flow flow)
{
    const pid_t child = fork();
    if (child < 0) return -1;
    if (child == 0) {
        machine = &target;
        RunFlow(flow, target.facts.tvCode, target.run.results);
        _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

[[noreturn]] void Serve(Machine& target, int requests, int answers)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    WarmUp();
    Flow flow{};
    while (read(requests, &flow, sizeof flow) == sizeof flow) {
        const int status = RunInChild(target, flow);
        if (write(answers, &status, sizeof status) != sizeof status) break;
    }
    _exit(0);
}

[[noreturn]] void Fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

}  // namespace

Launcher::Launcher(Machine& target)
{
    int requests[2];
    int answers[2];
    if (pipe2(requests, O_CLOEXEC) != 0 || pipe2(answers, O_CLOEXEC) != 0) Fail("pipe");
    process_ = fork();
    if (process_ < 0) Fail("fork");
    if (process_ == 0) {
        close(requests[1]);
        close(answers[0]);
        Serve(target, requests[0], answers[1]);
    }
    close(requests[0]);
    close(answers[1]);
    requests_ = requests[1];
    answers_ = answers[0];
}

Launcher::~Launcher()
{
    close(requests_);
    close(answers_);
    waitpid(process_, nullptr, 0);
}

int Launcher::Run(Flow flow)
{
    int status = -1;
    if (write(requests_, &flow, sizeof flow) != sizeof flow) Fail("launcher");
    if (read(answers_, &status, sizeof status) != sizeof status) Fail("launcher");
    return status;
}

}  // namespace powercut
