#include "Report.h"

#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdarg>
#include <cstdio>

namespace demo {

namespace {

constexpr int kCallWidth = 52;
constexpr const char* kWrong = "WRONG: ";

__attribute__((format(printf, 1, 2))) std::string Format(const char* format, ...)
{
    std::array<char, 1024> text{};
    va_list values;
    va_start(values, format);
    std::vsnprintf(text.data(), text.size(), format, values);
    va_end(values);
    return text.data();
}

/** "54 interactions (30 platform, 12 request, ...)" */
std::string Text(const std::map<std::string, int>& interactions)
{
    int sum = 0;
    std::string kinds;
    for (const auto& [kind, count] : interactions) {
        sum += count;
        kinds += (kinds.empty() ? " (" : ", ") + std::to_string(count) + " " + kind;
    }
    return std::to_string(sum) + " interactions" + (kinds.empty() ? "" : kinds + ")");
}

/** Without the prefix that all but a few functions have. */
std::string Heading(const Call& call)
{
    const std::string prefix = "migration_api_";
    const bool hasPrefix = call.function.rfind(prefix, 0) == 0;
    return call.function.substr(hasPrefix ? prefix.size() : 0) + "(" + call.arguments + ")";
}

std::string Joined(const std::vector<std::string>& texts)
{
    std::string joined;
    for (const std::string& text : texts) {
        joined += (joined.empty() || text.empty() ? "" : "; ") + text;
    }
    return joined;
}

}  // namespace

void Report::Section(const std::string& title)
{
    ++sections_;
    lines_.push_back("");
    lines_.push_back(std::to_string(sections_) + ". " + title);
    lines_.push_back(
        Format("   %-*s %6s %9s  %s", kCallWidth + 2, "call, without migration_api_", "result", "ms", "remark"));
    if (isatty(STDOUT_FILENO) == 0) {
        Show(title);
    }
}

void Report::Progress(const std::string& step) const { Show(step); }

void Report::Show(const std::string& text) const
{
    constexpr std::size_t kTerminalWidth = 79;
    const std::string line = "[" + std::to_string(sections_) + "] " + text;
    if (isatty(STDOUT_FILENO) != 0) {
        std::printf("\r\033[K%s", line.substr(0, kTerminalWidth).c_str());
    } else {
        std::printf("%s\n", line.c_str());
    }
    std::fflush(stdout);
}

void Report::Add(const std::string& set, const Run& run, const std::vector<int>& results, const std::string& because)
{
    lines_.push_back("   " + run.command + ", on " + set);
    for (std::size_t i = 0; i < run.calls.size(); ++i) {
        const Call& call = run.calls[i];
        const bool good = i < results.size() && call.result == results[i];
        const std::string complaint = good ? "" : kWrong + std::string("not the result that it has to have");
        lines_.push_back(
            Format("     %-*s %6d %9.2f  ", kCallWidth, Heading(call).c_str(), call.result, call.milliseconds) +
            Joined({complaint, call.out, call.result != 0 ? because : "", call.note}));
        wrong_ += good ? 0 : 1;
    }
    if (run.calls.size() < results.size()) {
        ++wrong_;
        lines_.push_back(Format("     %s%zu calls are missing", kWrong, results.size() - run.calls.size()));
    }
    Add("set", Format("%s, %.0f ms", Text(run.interactions).c_str(), run.milliseconds));
    if (!run.written.empty()) {
        Add("wrote", run.written);
    }
    calls_ += static_cast<int>(run.calls.size());
    for (const auto& [kind, count] : run.interactions) {
        interactions_ += count;
    }
}

void Report::Add(const std::string& name, const std::string& text, bool good)
{
    wrong_ += good ? 0 : 1;
    lines_.push_back(Format("     %-6s ", name.c_str()) + (good ? "" : kWrong) + text);
}

bool Report::Print() const
{
    if (isatty(STDOUT_FILENO) != 0) {
        std::printf("\r\033[K");
    }
    for (const std::string& line : lines_) {
        // A call without a remark leaves blanks at the end.
        std::printf("%s\n", line.substr(0, line.find_last_not_of(' ') + 1).c_str());
    }
    std::printf("\n%d demonstrations, %d calls, %d interactions, %.1f s. ", sections_, calls_, interactions_,
                std::chrono::duration<double>(std::chrono::steady_clock::now() - begun_).count());
    if (wrong_ == 0) {
        std::printf("All data that had to arrive did arrive.\n");
    } else {
        std::printf("%d things are not as they have to be: look for WRONG above.\n", wrong_);
    }
    return wrong_ == 0;
}

}  // namespace demo
