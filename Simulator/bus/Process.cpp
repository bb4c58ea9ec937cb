#include "Process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "Set.h"

namespace vbset {

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept
{
    if (this != &other) {
        Close();
        descriptor_ = other.Release();
    }
    return *this;
}

int Descriptor::Release()
{
    const int descriptor = descriptor_;
    descriptor_ = -1;
    return descriptor;
}

void Descriptor::Close()
{
    if (descriptor_ >= 0) {
        close(descriptor_);
        descriptor_ = -1;
    }
}

Pipe MakePipe()
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw Error(std::string("cannot make a pipe: ") + std::strerror(errno));
    }
    return Pipe{Descriptor(ends[0]), Descriptor(ends[1])};
}

std::string ReadText(const Descriptor& descriptor, bool oneLine)
{
    std::string text;
    char character = 0;
    for (;;) {
        const ssize_t count = read(descriptor.Get(), &character, 1);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0 || (oneLine && character == '\n')) {
            return text;
        }
        text += character;
    }
}

std::vector<std::string> Environment(const EnvironmentChanges& changes)
{
    std::vector<std::string> result;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (changes.count(text.substr(0, text.find('='))) == 0) {
            result.push_back(text);
        }
    }
    for (const auto& [name, value] : changes) {
        if (value) {
            result.push_back(name + "=" + *value);
        }
    }
    return result;
}

namespace {

bool IsFile(const std::filesystem::path& path)
{
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored);
}

}  // namespace

std::optional<std::filesystem::path> FindProgram(const std::string& word)
{
    if (word.find('/') != std::string::npos) {
        const auto path = std::filesystem::absolute(word);
        return IsFile(path) ? std::optional(path) : std::nullopt;
    }
    const char* const search = std::getenv("PATH");
    std::istringstream directories(search != nullptr ? search : "/usr/local/bin:/usr/bin:/bin");
    std::string directory;
    while (!word.empty() && std::getline(directories, directory, ':')) {
        const auto path = std::filesystem::absolute(directory.empty() ? "." : directory) / word;
        if (IsFile(path) && access(path.c_str(), X_OK) == 0) {
            return path;
        }
    }
    return std::nullopt;
}

namespace {

/** What lies between fork and exec: system calls only, for other threads may hold any lock. */
struct ChildPlan {
    const char* program = nullptr;
    char** arguments = nullptr;
    char** environment = nullptr;
    const char* directory = nullptr;
    const Launch* launch = nullptr;
    pid_t parent = 0;
    int failures = -1;
};

bool PrepareChild(const ChildPlan& plan)
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    if (plan.launch->endsWithParent) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != plan.parent) {
            _exit(128 + SIGTERM);
        }
    }
    if (plan.launch->errors >= 0 && dup2(plan.launch->errors, STDERR_FILENO) < 0) {
        return false;
    }
    if (plan.launch->inBackground) {
        const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
        if (setpgid(0, 0) != 0 || nothing < 0 || dup2(nothing, STDIN_FILENO) < 0 ||
            dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
            return false;
        }
    }
    if (plan.launch->passed >= 0 && fcntl(plan.launch->passed, F_SETFD, 0) != 0) {
        return false;
    }
    return plan.directory == nullptr || chdir(plan.directory) == 0;
}

[[noreturn]] void RunChild(const ChildPlan& plan)
{
    if (PrepareChild(plan)) {
        execve(plan.program, plan.arguments, plan.environment);
    }
    const int error = errno;
    while (write(plan.failures, &error, sizeof error) < 0 && errno == EINTR) {
    }
    _exit(127);
}

std::vector<char*> Pointers(const std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (const std::string& text : texts) {
        pointers.push_back(const_cast<char*>(text.c_str()));
    }
    pointers.push_back(nullptr);
    return pointers;
}

}  // namespace

pid_t Start(const Launch& launch)
{
    std::vector<char*> arguments = Pointers(launch.arguments);
    std::vector<char*> environment = Pointers(launch.environment);
    Pipe failures = MakePipe();
    ChildPlan plan;
    plan.program = launch.program.c_str();
    plan.arguments = arguments.data();
    plan.environment = environment.data();
    plan.directory = launch.directory.empty() ? nullptr : launch.directory.c_str();
    plan.launch = &launch;
    plan.parent = getpid();
    plan.failures = failures.write.Get();

    const pid_t child = fork();
    if (child == 0) {
        RunChild(plan);
    }
    if (child < 0) {
        throw Error("cannot start " + launch.program.string() + ": " + std::strerror(errno));
    }
    if (launch.inBackground) {
        setpgid(child, child);  // Both sides do it, so that the group exists whoever comes first.
    }
    failures.write.Close();
    int error = 0;
    ssize_t count = 0;
    do {
        count = read(failures.read.Get(), &error, sizeof error);
    } while (count < 0 && errno == EINTR);
    if (count == static_cast<ssize_t>(sizeof error)) {
        WaitFor(child);
        throw Error("cannot start " + launch.program.string() + ": " + std::strerror(error));
    }
    return child;
}

int WaitFor(pid_t process)
{
    int status = 0;
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            return -1;
        }
    }
    return status;
}

int ExitStatus(int waitStatus)
{
    return WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : 128 + WTERMSIG(waitStatus);
}

}  // namespace vbset
