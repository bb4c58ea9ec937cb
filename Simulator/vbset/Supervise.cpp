#include "Supervise.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include "Process.h"

namespace vbset {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int timeIsUpStatus = 124;
constexpr std::chrono::seconds grace{2};

/** The next signal, or nothing when @p until comes first. */
std::optional<siginfo_t> NextSignal(const sigset_t& watched, const std::optional<Clock::time_point>& until)
{
    siginfo_t signal{};
    for (;;) {
        int number = 0;
        if (until) {
            const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(*until - Clock::now()).count();
            timespec limit{};
            limit.tv_sec = static_cast<time_t>(left > 0 ? left / 1000000000 : 0);
            limit.tv_nsec = static_cast<long>(left > 0 ? left % 1000000000 : 0);
            number = sigtimedwait(&watched, &signal, &limit);
        } else {
            number = sigwaitinfo(&watched, &signal);
        }
        if (number > 0) {
            return signal;
        }
        if (errno == EAGAIN) {
            return std::nullopt;
        }
    }
}

/** Waits until the program has ended or @p until; passes signals on. A terminal sends its own to the program too. */
std::optional<int> WaitUntil(pid_t program, const sigset_t& watched, const std::optional<Clock::time_point>& until,
                             bool& powerWentAway)
{
    for (;;) {
        int status = 0;
        if (waitpid(program, &status, WNOHANG) == program) {
            return ExitStatus(status);
        }
        const auto signal = NextSignal(watched, until);
        if (!signal) {
            return std::nullopt;
        }
        if (signal->si_signo == PowerCutSignal()) {
            powerWentAway = true;
            kill(program, SIGKILL);
            return ExitStatus(WaitFor(program));
        }
        const bool sentByAProcess = signal->si_code <= 0;
        if (signal->si_signo != SIGCHLD && sentByAProcess) {
            kill(program, signal->si_signo);
        }
    }
}

Clock::time_point After(double seconds)
{
    constexpr double tenYears = 3.0e8;
    const std::chrono::duration<double> time(std::fmin(seconds, tenYears));
    return Clock::now() + std::chrono::duration_cast<Clock::duration>(time);
}

std::vector<pid_t> Children()
{
    std::vector<pid_t> children;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        const std::string name = entry.path().filename().string();
        if (std::isdigit(static_cast<unsigned char>(name.front())) == 0) {
            continue;
        }
        std::ifstream file(entry.path() / "stat");
        std::string text;
        std::getline(file, text, '\0');
        const std::size_t afterName = text.rfind(')');  // "PID (NAME) STATE PARENT ...", NAME may hold anything
        if (afterName != std::string::npos && text.size() > afterName + 4 &&
            std::strtol(text.c_str() + afterName + 4, nullptr, 10) == getpid()) {
            children.push_back(static_cast<pid_t>(std::strtol(name.c_str(), nullptr, 10)));
        }
    }
    return children;
}

}  // namespace

Supervisor::Supervisor() : strangers_(Children())
{
    sigemptyset(&watched_);
    for (const int number : {SIGCHLD, SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGUSR1, SIGUSR2, PowerCutSignal()}) {
        sigaddset(&watched_, number);
    }
    sigprocmask(SIG_BLOCK, &watched_, &previous_);
    prctl(PR_SET_CHILD_SUBREAPER, 1);
}

Supervisor::~Supervisor()
{
    sigprocmask(SIG_SETMASK, &previous_, nullptr);
}

int Supervisor::Wait(pid_t program, double seconds, const std::function<void()>& timeIsUp)
{
    const auto until = seconds > 0 ? std::optional(After(seconds)) : std::nullopt;
    if (const auto status = WaitUntil(program, watched_, until, powerWentAway_)) {
        return *status;
    }
    timeIsUp();
    kill(program, SIGTERM);
    kill(program, SIGCONT);
    if (!WaitUntil(program, watched_, Clock::now() + grace, powerWentAway_)) {
        kill(program, SIGKILL);
        WaitFor(program);
    }
    return timeIsUpStatus;
}

void Supervisor::EndOrphans()
{
    // What an ended process leaves becomes a child of this one before it can be waited for, so no one is missed.
    bool found = true;
    while (found) {
        found = false;
        for (const pid_t child : Children()) {
            if (std::find(strangers_.begin(), strangers_.end(), child) == strangers_.end()) {
                kill(child, SIGKILL);
                WaitFor(child);
                found = true;
            }
        }
    }
}

}  // namespace vbset
