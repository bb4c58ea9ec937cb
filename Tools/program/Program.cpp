#include "Program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace program {

namespace {

[[noreturn]] void Fail(int error, const std::string& what)
{
    throw std::system_error(error, std::generic_category(), what);
}

/** A file in memory: it takes any amount, so that nobody has to read while the program writes. */
class Capture {
 public:
    Capture() : file_(memfd_create("output", MFD_CLOEXEC))
    {
        if (file_ < 0) {
            Fail(errno, "cannot keep a program's output");
        }
    }
    ~Capture() { close(file_); }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    int Get() const { return file_; }

    std::string Text() const
    {
        std::string text;
        std::array<char, 4096> block;
        ssize_t count = 0;
        while ((count = pread(file_, block.data(), block.size(), static_cast<off_t>(text.size()))) > 0) {
            text.append(block.data(), static_cast<std::size_t>(count));
        }
        return text;
    }

 private:
    int file_;
};

class FileActions {
 public:
    FileActions(const Capture& output, const Capture& errors)
    {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions_, output.Get(), STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions_, errors.Get(), STDERR_FILENO);
    }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    const posix_spawn_file_actions_t* Get() const { return &actions_; }

 private:
    posix_spawn_file_actions_t actions_;
};

int WaitFor(pid_t process)
{
    int status = 0;
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) {
            Fail(errno, "cannot wait for a program");
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

Ended Run(const std::vector<std::string>& arguments)
{
    std::vector<char*> pointers;
    for (const std::string& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);

    const Capture output;
    const Capture errors;
    const FileActions actions(output, errors);
    pid_t process = 0;
    const int error = posix_spawnp(&process, pointers[0], actions.Get(), nullptr, pointers.data(), environ);
    if (error != 0) {
        Fail(error, "cannot start " + arguments[0]);
    }
    const int status = WaitFor(process);
    return {status, output.Text(), errors.Text()};
}

}  // namespace program
