/** @file
 * What all interposed functions share: the function they stand before, paths and faults of the set, the trace.
 *
 * Nothing here throws, and nothing changes errno unless it says so.
 */
#pragma once

#include <dlfcn.h>
#include <sys/types.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <string_view>
#include <type_traits>

#define VBSET_INTERPOSED extern "C" __attribute__((visibility("default")))

/** The function of this name that comes after ours: a sanitizer's or the C library's. Found without a lock, because
 * it may be asked for before any constructor ran. */
#define VBSET_NEXT(name)                                                                         \
    ([]() noexcept {                                                                             \
        static std::atomic<void*> nextFunction{nullptr};                                         \
        void* function = nextFunction.load(std::memory_order_acquire);                           \
        if (function == nullptr) nextFunction.store(function = ::vbset::shim::FindNext(#name));  \
        return reinterpret_cast<decltype(&::name)>(function);                                    \
    }())

namespace vbset::shim {

/** @return never null: the process ends with a message when there is no such function */
void* FindNext(const char* name) noexcept;

/** While one lives, this thread is inside the shim: what it opens, reads and writes itself is the host's. */
class Within {
 public:
    Within() noexcept { ++depth_; }
    ~Within() { --depth_; }
    Within(const Within&) = delete;
    Within& operator=(const Within&) = delete;
    static bool Already() noexcept { return depth_ > 0; }

 private:
    static thread_local int depth_;
};

/** Puts errno back. */
class KeepErrno {
 public:
    KeepErrno() noexcept : kept_(errno) {}
    ~KeepErrno() { errno = kept_; }
    KeepErrno(const KeepErrno&) = delete;
    KeepErrno& operator=(const KeepErrno&) = delete;

 private:
    int kept_;
};

/** A path as a program names it, and where it lies on the host when it is one of the set's. */
class SetPath {
 public:
    explicit SetPath(const char* named) noexcept;
    explicit operator bool() const noexcept { return isOfSet_; }
    const char* Named() const noexcept { return named_; }
    const char* Host() const noexcept { return host_; }

    /** True when a fault forbids the path, or it is too long; errno says which. */
    bool IsRefused() const noexcept;

 private:
    const char* named_;
    bool isOfSet_;
    char host_[PATH_MAX];
};

/** The value of the fault "WHAT.PATH", else null. A slash at the end of the path makes no difference. */
const char* FaultOf(const char* what, const char* path) noexcept;

/** When the fault names an error: sets errno to it. @return true then */
bool FailsWith(const char* faultValue) noexcept;

/** The number in a fault value such as "short:3". @return false when the value is not of that form */
bool FaultNumber(const char* faultValue, std::string_view word, unsigned long long& number) noexcept;

/** The host path of a file below the TV's volatile directory. @return false when it does not fit */
bool StatePath(const char* name, char (&out)[PATH_MAX]) noexcept;

/** Reads and replaces a number there. Writing is by rename, so that a reader finds a whole number. */
bool ReadState(const char* name, long long& value) noexcept;
bool WriteState(const char* name, long long value) noexcept;

/** Text in a fixed buffer; what does not fit is cut off. */
class Text {
 public:
    Text& Add(std::string_view text) noexcept;
    Text& AddNumber(long long number) noexcept;
    Text& AddHex(unsigned long long number, int digits) noexcept;
    /** Up to 16 bytes in hexadecimal digits, after a blank; "..." stands for the rest. */
    Text& AddBytes(const void* bytes, std::size_t count) noexcept;
    const char* Get() const noexcept { return text_; }

 private:
    std::size_t size_ = 0;
    char text_[PATH_MAX + 128] = "";
};

/** Traces a call; without memory for its line the line is lost, never the call. */
void Record(const char* kind, const char* call, const char* args, const char* result) noexcept;

/** The same for a call that returns a number, or -1 and errno: then the error's name is the result. */
void RecordResult(const char* kind, const char* call, const char* args, long long result) noexcept;

}  // namespace vbset::shim
