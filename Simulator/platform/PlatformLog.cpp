#include "PlatformLog.h"

#include <sys/time.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <string_view>

#include "Answer.h"
#include "HostFile.h"

namespace {

[[gnu::format(printf, 1, 0)]] std::string Formatted(const char* format, std::va_list arguments)
{
    std::va_list again;
    va_copy(again, arguments);
    char text[1024];
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    if (length < 0 || static_cast<std::size_t>(length) < sizeof text) {
        va_end(again);
        return length < 0 ? "" : text;
    }
    std::string whole(static_cast<std::size_t>(length), '\0');
    std::vsnprintf(whole.data(), whole.size() + 1, format, again);
    va_end(again);
    return whole;
}

/** One message is one line. */
std::string Escaped(std::string_view text)
{
    std::string escaped;
    for (const char character : text) {
        if (character == '\n') {
            escaped += "\\n";
        } else if (character == '\t') {
            escaped += "\\t";
        } else if (character == '\\') {
            escaped += "\\\\";
        } else {
            escaped += character;
        }
    }
    return escaped;
}

std::string Now()
{
    timeval now{};
    gettimeofday(&now, nullptr);
    char text[32];
    std::snprintf(text, sizeof text, "%lld.%06ld", static_cast<long long>(now.tv_sec), static_cast<long>(now.tv_usec));
    return text;
}

/** Off a set there is no log, and everything that the library asks of the platform fails: that is said once. */
void SayThatThereIsNoSet() noexcept
{
    static std::atomic<bool> said{false};
    if (!vbset::live::OnSet() && !said.exchange(true)) {
        std::fprintf(stderr, "libvbset: this process runs on no set, so the platform answers nothing; "
                             "start it with: vbset run TV BOX -- PROGRAM\n");
    }
}

}  // namespace

int __dlog_print(int /*log_id*/, int priority, const char* tag, const char* format, ...)
{
    SayThatThereIsNoSet();
    std::va_list arguments;
    va_start(arguments, format);
    const int result = vbset::Answer(-1, [&](const vbset::Here& here) {
        const std::string text = Formatted(format, arguments);
        const std::string line = Now() + ' ' + std::to_string(priority) + ' ' + tag + ' ' + Escaped(text) + '\n';
        return vbset::AppendHostText(here.logFile, line) == 0 ? static_cast<int>(text.size()) : -1;
    });
    va_end(arguments);
    return result;
}
