/** @file
 * Starting processes with an argument vector and an environment of their own.
 */
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vbset {

/** A file descriptor that closes itself. */
class Descriptor {
 public:
    explicit Descriptor(int descriptor = -1) : descriptor_(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : descriptor_(other.Release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept;
    ~Descriptor() { Close(); }

    int Get() const { return descriptor_; }
    int Release();
    void Close();

 private:
    int descriptor_;
};

struct Pipe {
    Descriptor read;
    Descriptor write;
};

/** A pipe that no started process inherits, unless it is its Launch::passed. @throw Error */
Pipe MakePipe();

/** Everything up to the end of the stream, or to the first line end when @p oneLine. */
std::string ReadText(const Descriptor& descriptor, bool oneLine);

/** Variables to set, or to take away where there is no value. */
using EnvironmentChanges = std::map<std::string, std::optional<std::string>>;

/** This process's environment with changes, as "NAME=VALUE". */
std::vector<std::string> Environment(const EnvironmentChanges& changes);

/** The file that a command word names: a path as it stands, made absolute, a plain word by way of PATH.
 * @return nothing when there is no such file */
std::optional<std::filesystem::path> FindProgram(const std::string& word);

/** How a process is to be started. */
struct Launch {
    std::filesystem::path program;
    std::vector<std::string> arguments;    ///< all of them: [0] is the name it is started under
    std::vector<std::string> environment;  ///< "NAME=VALUE"
    std::filesystem::path directory;       ///< working directory; empty: this process's
    int passed = -1;                       ///< a descriptor that the process inherits under its number
    int errors = -1;                       ///< a descriptor to be its standard error; -1: this process's
    bool inBackground = false;             ///< own process group, no input, output goes to standard error
    bool endsWithParent = false;           ///< gets SIGTERM when the thread that starts it ends
};

/** Starts a process with no signal blocked. @throw Error when the program cannot be executed */
pid_t Start(const Launch& launch);

/** Waits for a process to end. @return as waitpid() gives it */
int WaitFor(pid_t process);

/** What a shell would give for a wait status: the exit status, or 128 and the signal. */
int ExitStatus(int waitStatus);

}  // namespace vbset
