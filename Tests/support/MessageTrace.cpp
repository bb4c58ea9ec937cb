#include "MessageTrace.h"

#include <PlatformLog.h>

#include <dlfcn.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

int __dlog_print(int log_id, int priority, const char* tag, const char* format, ...)
{
    char text[1024];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    // "Unit.cpp: Function(12) > text"
    const std::string message = text;
    const std::size_t function = std::min(message.find(": "), message.size() - 2) + 2;
    const std::size_t functionEnd = message.find('(', function);
    const std::size_t begin = message.find(") > ", function);
    if (functionEnd == std::string::npos || begin == std::string::npos) {
        ADD_FAILURE() << "a message without the prefix: " << message;
    } else {
        vbset::live::Trace("message", message.c_str() + begin + 4, message.substr(function, functionEnd - function), "");
    }
    static const auto next = reinterpret_cast<decltype(&::__dlog_print)>(dlsym(RTLD_NEXT, "__dlog_print"));
    return next(log_id, priority, tag, "%s", text);
}

std::vector<std::string> Happened(const std::vector<Interaction>& trace, const std::vector<std::string>& functions)
{
    std::vector<std::string> happened;
    for (const Interaction& interaction : trace) {
        if (interaction.kind != "message") {
            happened.push_back(interaction.call);
        } else if (functions.empty() ||
                   std::find(functions.begin(), functions.end(), interaction.args) != functions.end()) {
            happened.push_back('"' + interaction.call + '"');
        }
    }
    return happened;
}

std::vector<std::string> Last(std::size_t count, const std::vector<std::string>& happened)
{
    return {happened.end() - static_cast<std::ptrdiff_t>(std::min(count, happened.size())), happened.end()};
}
