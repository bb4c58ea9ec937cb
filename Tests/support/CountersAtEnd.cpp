// What a build that counts needs in its test programs: a process that ends without exit() writes its counters first.

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>

#ifdef __clang__
extern "C" int __llvm_profile_write_file(void);
extern "C" void __llvm_profile_reset_counters(void);
#else
extern "C" void __gcov_dump(void);
extern "C" void __gcov_reset(void);
#endif

namespace {

/** The process whose counters are in this memory: not a vfork child, which runs in its parent's. */
pid_t owner = 0;

void WriteCounters()
{
    if (getpid() != owner) {
        return;
    }
#ifdef __clang__
    __llvm_profile_write_file();
#else
    __gcov_dump();
#endif
}

/** A forked child counts anew: its parent writes what it has counted itself. */
void BeginToCount()
{
    owner = getpid();
#ifdef __clang__
    __llvm_profile_reset_counters();
#else
    __gcov_reset();
#endif
}

[[gnu::constructor]] void Prepare()
{
    owner = getpid();
    pthread_atfork(nullptr, nullptr, BeginToCount);
    std::signal(SIGABRT, [](int) { WriteCounters(); });  // abort() ends the process afterwards all the same
}

[[noreturn]] void End(int status)
{
    WriteCounters();
    for (;;) {
        syscall(SYS_exit_group, status);
    }
}

}  // namespace

// In place of the C library's.

extern "C" void _exit(int status)
{
    End(status);
}

extern "C" void _Exit(int status) noexcept
{
    End(status);
}
