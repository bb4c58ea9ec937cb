#include <atomic>

#include "Here.h"
#include "HostFile.h"
#include "Live.h"
#include "PowerSwitch.h"
#include "Text.h"

namespace vbset {

namespace {

std::atomic<bool> isTracing{true};

/** The set to trace for; null when there is none, or no trace. */
const Here* Traced()
{
    return isTracing.load(std::memory_order_relaxed) ? Current() : nullptr;
}

std::string Line(const std::string& number, const char* kind, const char* call, const std::string& args,
                 const std::string& result, long long microseconds)
{
    return "{" + number + "\"kind\":" + JsonText(kind) + ",\"call\":" + JsonText(call) +
           ",\"args\":" + JsonText(args) + ",\"result\":" + JsonText(result) +
           ",\"us\":" + std::to_string(microseconds) + "}\n";
}

/** @param number  "\"n\":17,", or empty for a line without one */
void Append(const Here& here, const std::string& number, const char* kind, const char* call, const std::string& args,
            const std::string& result)
{
    const long long since = MonotonicMicroseconds() - here.counter->began;
    AppendHostText(here.traceFile, Line(number, kind, call, args, result, since));
}

}  // namespace

unsigned long live::Trace(const char* kind, const char* call, const std::string& args,
                          const std::string& result) noexcept
{
    const ErrnoKeeper keeper;
    const Here* here = Traced();
    if (here == nullptr) return 0;
    const auto number = static_cast<unsigned long>(++here->counter->last);
    try {
        Append(*here, "\"n\":" + std::to_string(number) + ",", kind, call, args, result);
    } catch (const std::exception&) {
        // Out of memory: the interaction has its number, only the line is missing.
    }
    power::Over(number);
    return number;
}

void live::Note(const char* kind, const char* call, const std::string& args, const std::string& result) noexcept
{
    const ErrnoKeeper keeper;
    const Here* here = Traced();
    if (here == nullptr) return;
    try {
        Append(*here, "", kind, call, args, result);
    } catch (const std::exception&) {
        // Out of memory: only the line is missing.
    }
}

bool live::IsTraced() noexcept
{
    return Traced() != nullptr;
}

void live::SetTracing(bool on) noexcept
{
    isTracing = on;
}

}  // namespace vbset
