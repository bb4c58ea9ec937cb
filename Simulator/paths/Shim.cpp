#include "Shim.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Here.h"
#include "Live.h"

namespace vbset::shim {

thread_local int Within::depth_ = 0;

void* FindNext(const char* name) noexcept
{
    void* found = dlsym(RTLD_NEXT, name);
    if (found == nullptr) {
        std::fprintf(stderr, "libvbset-paths: there is no function %s behind this library\n", name);
        std::abort();
    }
    return found;
}

SetPath::SetPath(const char* named) noexcept : named_(named), isOfSet_(false)
{
    // Only absolute paths can be the set's; what the shim opens itself never is.
    if (Within::Already() || named == nullptr || named[0] != '/') return;
    const KeepErrno keep;
    const Within within;
    isOfSet_ = live::MapPath(named, host_, sizeof host_);
}

bool SetPath::IsRefused() const noexcept
{
    if (host_[0] == '\0') {
        errno = ENAMETOOLONG;
        return true;
    }
    return FailsWith(FaultOf("path", named_));
}

const char* FaultOf(const char* what, const char* path) noexcept
{
    std::string_view name(path);
    char key[PATH_MAX + 16];
    for (;;) {
        const int length = std::snprintf(key, sizeof key, "%s.%.*s", what, static_cast<int>(name.size()), name.data());
        if (length < 0 || static_cast<std::size_t>(length) >= sizeof key) return nullptr;
        const char* fault = live::Fault(key);
        if (fault != nullptr || name.size() < 2 || name.back() != '/') return fault;
        name.remove_suffix(1);
    }
}

bool FailsWith(const char* faultValue) noexcept
{
    const int error = faultValue == nullptr ? 0 : live::ErrnoByName(faultValue);
    if (error != 0) errno = error;
    return error != 0;
}

bool FaultNumber(const char* faultValue, std::string_view word, unsigned long long& number) noexcept
{
    if (faultValue == nullptr || std::strncmp(faultValue, word.data(), word.size()) != 0) return false;
    const char* digits = faultValue + word.size();
    char* end = nullptr;
    const KeepErrno keep;
    number = std::strtoull(digits, &end, 10);
    return end != digits && *end == '\0';
}

bool StatePath(const char* name, char (&out)[PATH_MAX]) noexcept
{
    const Here* here = Loaded();
    if (here == nullptr) return false;
    const int length = std::snprintf(out, sizeof out, "%s/volatile/%s", here->tv.c_str(), name);
    return length > 0 && static_cast<std::size_t>(length) < sizeof out;
}

bool ReadState(const char* name, long long& value) noexcept
{
    const KeepErrno keep;
    const Within within;
    char path[PATH_MAX];
    if (!StatePath(name, path)) return false;
    const int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return false;
    char digits[32] = "";
    const ssize_t count = read(file, digits, sizeof digits - 1);
    close(file);
    char* end = digits;
    if (count > 0) value = std::strtoll(digits, &end, 10);
    return end != digits && (*end == '\0' || *end == '\n');
}

bool WriteState(const char* name, long long value) noexcept
{
    const KeepErrno keep;
    const Within within;
    char path[PATH_MAX];
    char temporary[PATH_MAX];
    char digits[32];
    if (!StatePath(name, path)) return false;
    const int length = std::snprintf(temporary, sizeof temporary, "%s.%d.%d", path, getpid(), gettid());
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof temporary) return false;
    const int file = open(temporary, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file < 0) return false;
    const int size = std::snprintf(digits, sizeof digits, "%lld\n", value);
    const bool written = write(file, digits, static_cast<std::size_t>(size)) == size;
    close(file);
    if (written && rename(temporary, path) == 0) return true;
    unlink(temporary);
    return false;
}

Text& Text::Add(std::string_view text) noexcept
{
    const std::size_t count = std::min(text.size(), sizeof text_ - 1 - size_);
    std::memcpy(text_ + size_, text.data(), count);
    size_ += count;
    text_[size_] = '\0';
    return *this;
}

Text& Text::AddNumber(long long number) noexcept
{
    char digits[32];
    std::snprintf(digits, sizeof digits, "%lld", number);
    return Add(digits);
}

Text& Text::AddHex(unsigned long long number, int digits) noexcept
{
    char text[32];
    std::snprintf(text, sizeof text, "%0*llX", digits, number);
    return Add(text);
}

Text& Text::AddBytes(const void* bytes, std::size_t count) noexcept
{
    constexpr std::size_t most = 16;
    if (count > 0) Add(" ");
    for (std::size_t i = 0; i < std::min(count, most); ++i) AddHex(static_cast<const unsigned char*>(bytes)[i], 2);
    return count > most ? Add("...") : *this;
}

void Record(const char* kind, const char* call, const char* args, const char* result) noexcept
{
    const KeepErrno keep;
    const Within within;
    try {
        live::Trace(kind, call, args, result);
    } catch (...) {
        // Only the texts of the line can fail, for want of memory.
    }
}

void RecordResult(const char* kind, const char* call, const char* args, long long result) noexcept
{
    Text text;
    if (result < 0) {
        const char* name = strerrorname_np(errno);
        text.Add(name == nullptr ? "error" : name);
    } else {
        text.AddNumber(result);
    }
    Record(kind, call, args, text.Get());
}

}  // namespace vbset::shim
