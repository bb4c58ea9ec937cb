/** @file
 * The command lines that a program gives to the system shell: the set's own shell runs them.
 *
 * execl is called between vfork and exec, in the memory of a parent that stands still: there it takes no lock,
 * allocates nothing and traces nothing. The parent traces the command when it has waited for it.
 */
#include <alloca.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstring>
#include <exception>
#include <string>

#include "Here.h"
#include "Set.h"
#include "Shim.h"

namespace vbset::shim {
namespace {

/** A command on its way: written by the child, taken by the parent. Its memory is shared, so that fork will do too. */
struct Command {
    std::atomic<pid_t> child;
    char line[1024];
};

struct Commands {
    static constexpr unsigned int capacity = 64;
    std::atomic<unsigned int> next;
    Command slots[capacity];
};

Commands* commands = nullptr;
char shell[PATH_MAX] = "";

__attribute__((constructor)) void Prepare() noexcept
{
    const Within within;
    Loaded();  // what it makes at its first use is not to be made in a vfork child
    void* memory = mmap(nullptr, sizeof(Commands), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory != MAP_FAILED) commands = new (memory) Commands();
    try {
        const std::string path = LibexecDirectory() / "vbset-sh";
        if (path.size() < sizeof shell) path.copy(shell, path.size());
    } catch (const std::exception&) {
        // Commands are refused then: no file of that name.
    }
}

void RememberCommand(const char* line) noexcept
{
    if (commands == nullptr) return;
    Command& command = commands->slots[commands->next++ % Commands::capacity];
    command.child.store(0, std::memory_order_relaxed);
    if (line == nullptr) line = "";
    const std::size_t length = strnlen(line, sizeof command.line - 1);
    std::memcpy(command.line, line, length);
    command.line[length] = '\0';
    command.child.store(getpid(), std::memory_order_release);
}

/** Traces the command that a child ran, if it ran one. */
void RecordCommand(pid_t child, int status) noexcept
{
    if (commands == nullptr || !(WIFEXITED(status) || WIFSIGNALED(status))) return;
    for (Command& command : commands->slots) {
        if (command.child.load(std::memory_order_acquire) != child) continue;
        Text line;
        line.Add(command.line);
        pid_t expected = child;
        if (!command.child.compare_exchange_strong(expected, 0)) continue;
        Text result;
        if (WIFSIGNALED(status)) result.Add("signal ");
        result.AddNumber(WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status));
        Record("command", line.Get(), "", result.Get());
        return;
    }
}

bool IsVariable(const char* entry, const char* name)
{
    const std::size_t length = std::strlen(name);
    return std::strncmp(entry, name, length) == 0 && entry[length] == '=';
}

/** What is preloaded for the caller alone: this library, and the runtime of the sanitizer that it is built with. The
 * set's shell is not instrumented, and ThreadSanitizer's runtime does not bear that. */
bool IsForCallerAlone(const char* name) noexcept
{
    for (const char* own : {"libvbset-paths.so", "libasan.so", "libtsan.so"}) {
        if (std::strncmp(name, own, std::strlen(own)) == 0) return true;
    }
    return false;
}

/** Copies an LD_PRELOAD entry without what is for the caller alone. @return false when nothing is left of it */
bool CopyOtherPreloads(const char* entry, char* out) noexcept
{
    const std::size_t head = std::strlen("LD_PRELOAD=");
    std::memcpy(out, entry, head);
    std::size_t size = head;
    for (const char* rest = entry + head; *rest != '\0';) {
        const std::size_t length = std::strcspn(rest, ": ");
        const auto* name = static_cast<const char*>(memrchr(rest, '/', length));
        name = name == nullptr ? rest : name + 1;
        if (length > 0 && !IsForCallerAlone(name)) {
            if (size > head) out[size++] = ':';
            std::memcpy(out + size, rest, length);
            size += length;
        }
        rest += length;
        if (*rest != '\0') ++rest;
    }
    out[size] = '\0';
    return size > head;
}

/** Becomes the set's shell, which the environment tells that it runs in the caller's process. */
int RunOnSet(const char* line) noexcept
{
    std::size_t count = 0;
    std::size_t longest = 0;
    for (char** entry = environ; *entry != nullptr; ++entry, ++count) {
        if (IsVariable(*entry, "LD_PRELOAD")) longest = std::strlen(*entry);
    }
    // On the stack, since this may be a vfork child.
    auto** variables = static_cast<char**>(alloca((count + 2) * sizeof(char*)));
    auto* preload = static_cast<char*>(alloca(longest + 1));
    std::size_t kept = 0;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        char* variable = *entry;
        if (IsVariable(variable, "VBSET_SIDE")) continue;
        if (IsVariable(variable, "LD_PRELOAD")) {
            if (!CopyOtherPreloads(variable, preload)) continue;
            variable = preload;
        }
        variables[kept++] = variable;
    }
    char side[] = "VBSET_SIDE=local";
    variables[kept++] = side;
    variables[kept] = nullptr;
    RememberCommand(line);
    const char* arguments[] = {"vbset-sh", "-c", line, nullptr};
    return execve(shell, const_cast<char**>(arguments), variables);
}

}  // namespace
}  // namespace vbset::shim

namespace shim = vbset::shim;

VBSET_INTERPOSED int execl(const char* path, const char* argument, ...) noexcept
{
    std::size_t count = 1;
    va_list list;
    va_start(list, argument);
    while (va_arg(list, char*) != nullptr) ++count;
    va_end(list);
    auto** arguments = static_cast<const char**>(alloca((count + 1) * sizeof(char*)));
    arguments[0] = argument;
    va_start(list, argument);
    for (std::size_t i = 1; i <= count; ++i) arguments[i] = va_arg(list, char*);
    va_end(list);
    const bool isShellLine = std::strcmp(path, "/bin/sh") == 0 && count == 3 && std::strcmp(arguments[1], "-c") == 0;
    if (isShellLine && vbset::Loaded() != nullptr) return shim::RunOnSet(arguments[2]);
    return execve(path, const_cast<char**>(arguments), environ);
}

VBSET_INTERPOSED pid_t waitpid(pid_t child, int* status, int options)
{
    int ownStatus = 0;
    int* where = status == nullptr ? &ownStatus : status;
    const pid_t ended = VBSET_NEXT(waitpid)(child, where, options);
    if (ended > 0) shim::RecordCommand(ended, *where);
    return ended;
}
