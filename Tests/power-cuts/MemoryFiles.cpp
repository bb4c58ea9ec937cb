/** @file
 * The C library's functions as the library and its streams call them, in the place of the C library's: paths, devices and
 * commands of the set lead to the set in memory, all else passes. Nothing is the set's outside a run.
 *
 * A descriptor of the set is one of the null device; a table says which file of the set it stands for.
 */
#include <BoardDevices.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <fstream>

#include "Machine.h"

namespace powercut {
namespace {

template <class Function>
Function* Next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

#define NEXT(name)                                              \
    ([] {                                                       \
        static auto* const next = ::powercut::Next<decltype(name)>(#name); \
        return next;                                            \
    }())

struct OpenFile {
    std::string name;  ///< empty: not of the set
    std::string path;
    std::size_t offset = 0;
};

constexpr int capacity = 256;
OpenFile openFiles[capacity];

OpenFile* Find(int descriptor)
{
    if (descriptor < 0 || descriptor >= capacity || openFiles[descriptor].name.empty()) return nullptr;
    return &openFiles[descriptor];
}

FileStore& Files() { return machine->set.kept.files; }

bool IsDevice(const std::string& name) { return name.compare(0, 7, "device/") == 0; }

int Fail(int error)
{
    errno = error;
    return -1;
}

std::string Above(const std::string& name) { return name.substr(0, name.rfind('/')); }

/** @return 0 or an error number */
int PrepareOpen(const std::string& name, int flags)
{
    if (IsDevice(name)) return 0;
    if (name == "mac") return machine->facts.macBlockIsPrivate ? EACCES : 0;
    if (Files().IsDirectory(name)) return (flags & O_ACCMODE) == O_RDONLY ? 0 : EISDIR;
    if (!Files().IsFile(name)) {
        if ((flags & O_CREAT) == 0 || !Files().IsDirectory(Above(name))) return ENOENT;
        Files().Write(name, "");
    } else if ((flags & O_TRUNC) != 0) {
        Files().Write(name, "");
    }
    return 0;
}

std::string DescribeOpen(const char* path, int flags)
{
    const int access = flags & O_ACCMODE;
    std::string text = path;
    text += access == O_RDONLY ? " O_RDONLY" : access == O_WRONLY ? " O_WRONLY" : " O_RDWR";
    if ((flags & O_CREAT) != 0) text += "|O_CREAT";
    if ((flags & O_TRUNC) != 0) text += "|O_TRUNC";
    return text;
}

int OpenOnSet(const char* path, const std::string& name, int flags, const char* call)
{
    Begin();
    const int error = PrepareOpen(name, flags);
    int descriptor = -1;
    if (error == 0) {
        descriptor = NEXT(open)("/dev/null", O_RDWR | O_CLOEXEC);
        if (descriptor < 0 || descriptor >= capacity) std::abort();
        openFiles[descriptor] = {name, path, 0};
    }
    End(std::string(call) + " " + DescribeOpen(path, flags));
    return error == 0 ? descriptor : Fail(error);
}

template <class Function>
int Open(Function next, const char* path, int flags, mode_t mode)
{
    const std::string name = Locate(path);
    return name.empty() ? next(path, flags, mode) : OpenOnSet(path, name, flags, "open");
}

template <class Function>
FILE* OpenStream(Function next, const char* path, const char* mode)
{
    const std::string name = Locate(path);
    if (name.empty()) return next(path, mode);
    const int flags = mode[0] == 'r' ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC;
    const int descriptor = OpenOnSet(path, name, flags, "fopen");
    return descriptor < 0 ? nullptr : fdopen(descriptor, mode);
}

ssize_t ReadBytes(OpenFile& file, char* buffer, std::size_t size)
{
    Begin();
    const Bytes bytes = Files().Read(file.name);
    const std::size_t count = std::min(size, bytes.size() - std::min(file.offset, bytes.size()));
    bytes.copy(buffer, count, file.offset);
    file.offset += count;
    End("read " + file.path);
    return static_cast<ssize_t>(count);
}

/** The raw MAC block keeps its size. */
ssize_t WriteBytes(OpenFile& file, const char* buffer, std::size_t size)
{
    Begin();
    Bytes bytes = Files().Read(file.name);
    const std::size_t length = bytes.size();
    if (file.name == "mac") size = std::min(size, length - file.offset);
    const std::size_t count = BytesBeforeCut(size);
    bytes.resize(std::max(length, file.offset + count));
    bytes.replace(file.offset, count, buffer, count);
    Files().Write(file.name, bytes);
    file.offset += count;
    End("write " + file.path + " " + std::to_string(size), size);
    return static_cast<ssize_t>(count);
}

int Close(int descriptor, OpenFile& file)
{
    Begin();
    const std::string path = file.path;
    file.name.clear();
    NEXT(close)(descriptor);
    End("close " + path);
    return 0;
}

int* Level(unsigned long request)
{
    auto& lost = machine->set.lost;
    switch (request) {
        case BOARD_READ_GPIO_107: return &lost.gpio[107];
        case BOARD_READ_GPIO_153: return &lost.gpio[153];
        case BOARD_READ_GPIO_165: return &lost.gpio[165];
        case BOARD_READ_GPIO_172: case BOARD_SET_GPIO_172: return &lost.gpio[172];
        case BOARD_READ_GPIO_173: case BOARD_SET_GPIO_173: return &lost.gpio[173];
        case BOARD_READ_GPIO_174: case BOARD_SET_GPIO_174: return &lost.gpio[174];
        case BOARD_READ_GPIO_175: case BOARD_SET_GPIO_175: return &lost.gpio[175];
        case BOARD_SET_BUFFER_IC: return &lost.bufferIc;
        default: return nullptr;
    }
}

int AnswerIoctl(unsigned long request, void* argument)
{
    Begin();
    int* const level = Level(request);
    if (request >= BOARD_READ_GPIO_107 && request <= BOARD_READ_GPIO_175) {
        *static_cast<unsigned char*>(argument) = static_cast<unsigned char>(*level);
    } else if (level != nullptr) {
        *level = static_cast<int>(reinterpret_cast<std::intptr_t>(argument));
    } else if (request == FE_SEND_DBG_CMD) {
        machine->set.lost.tunerMute = static_cast<FrontendDebugCommand_t*>(argument)->parameter;
    }
    End("ioctl");
    return 0;
}

/** The command of the vfork child that runs, or ran last; its parent waits in memory that is the same. */
std::string command;

}  // namespace

void WarmUp()
{
    struct stat status{};
    char byte = 0;
    const int descriptor = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    static_cast<void>(::read(descriptor, &byte, 1) + ::write(descriptor, &byte, 1));
    ::fsync(descriptor);
    ::ioctl(descriptor, 0UL, nullptr);
    ::close(descriptor);
    ::waitpid(-1, nullptr, WNOHANG);
    ::stat("/dev/null", &status);
    ::fclose(::fopen("/dev/null", "r"));
    ::close(::open64("/dev/null", O_RDONLY | O_CLOEXEC));
    std::fstream("/dev/null", std::ios::in);  // makes the locale
}

}  // namespace powercut

namespace pc = powercut;

#define OPENER(name)                                                     \
    int name(const char* path, int flags, ...)                           \
    {                                                                    \
        va_list list;                                                    \
        va_start(list, flags);                                           \
        const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(list, mode_t) : 0; \
        va_end(list);                                                    \
        return pc::Open(NEXT(name), path, flags, mode);                  \
    }

extern "C" {

OPENER(open)
OPENER(open64)

FILE* fopen(const char* path, const char* mode) { return pc::OpenStream(NEXT(fopen), path, mode); }
FILE* fopen64(const char* path, const char* mode) { return pc::OpenStream(NEXT(fopen64), path, mode); }

ssize_t read(int descriptor, void* buffer, size_t size)
{
    pc::OpenFile* const file = pc::Find(descriptor);
    return file == nullptr ? NEXT(read)(descriptor, buffer, size)
                           : pc::ReadBytes(*file, static_cast<char*>(buffer), size);
}

ssize_t write(int descriptor, const void* buffer, size_t size)
{
    pc::OpenFile* const file = pc::Find(descriptor);
    return file == nullptr ? NEXT(write)(descriptor, buffer, size)
                           : pc::WriteBytes(*file, static_cast<const char*>(buffer), size);
}

int fsync(int descriptor)
{
    pc::OpenFile* const file = pc::Find(descriptor);
    if (file == nullptr) return NEXT(fsync)(descriptor);
    pc::Begin();
    pc::Files().SyncFile(file->name);
    pc::End("fsync " + file->path);
    return 0;
}

int close(int descriptor)
{
    pc::OpenFile* const file = pc::Find(descriptor);
    return file == nullptr ? NEXT(close)(descriptor) : pc::Close(descriptor, *file);
}

int fclose(FILE* stream)
{
    pc::OpenFile* const file = pc::Find(fileno(stream));
    if (file == nullptr) return NEXT(fclose)(stream);
    pc::Begin();
    const std::string path = file->path;
    file->name.clear();
    const int result = NEXT(fclose)(stream);
    pc::End("close " + path);
    return result;
}

int stat(const char* path, struct stat* status) noexcept
{
    const std::string name = pc::Locate(path);
    if (name.empty()) return NEXT(stat)(path, status);
    pc::Begin();
    const pc::Content* const found = pc::Files().Find(name);
    if (found != nullptr) {
        *status = {};
        status->st_mode = found->isDirectory ? S_IFDIR | 0755U : S_IFREG | 0644U;
        status->st_size = found->isDirectory ? 4096 : found->size;
    }
    pc::End(std::string("stat ") + path);
    return found != nullptr ? 0 : pc::Fail(ENOENT);
}

int ioctl(int descriptor, unsigned long request, ...) noexcept
{
    va_list list;
    va_start(list, request);
    void* const argument = va_arg(list, void*);
    va_end(list);
    pc::OpenFile* const file = pc::Find(descriptor);
    return file == nullptr ? NEXT(ioctl)(descriptor, request, argument) : pc::AnswerIoctl(request, argument);
}

int usleep(useconds_t)
{
    pc::Begin();
    pc::End("usleep");
    return 0;
}

/** Only ever "/bin/sh", "-c", LINE, in a vfork child. */
int execl(const char*, const char* argument, ...) noexcept
{
    va_list list;
    va_start(list, argument);
    static_cast<void>(va_arg(list, const char*));
    pc::command = va_arg(list, const char*);
    va_end(list);
    pc::Begin();
    _exit(pc::RunCommand(pc::command));
}

pid_t waitpid(pid_t child, int* status, int options)
{
    const pid_t ended = NEXT(waitpid)(child, status, options);
    if (pc::machine == nullptr || pc::command.empty()) return ended;
    if (pc::machine->run.powerIsOff) _exit(pc::powerCutStatus);
    pc::End("command " + pc::command);
    pc::command.clear();
    return ended;
}

}  // extern "C"
