#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>

#include "Commands.h"
#include "Layout.h"
#include "Set.h"

namespace vbset {
namespace {

using Json = nlohmann::ordered_json;

struct Line {
    std::string text;
    Json content;
    bool BeginsARun() const { return content.contains("run"); }
};

std::string TextOf(const Json& content, const char* member)
{
    const auto value = content.find(member);
    if (value == content.end()) {
        return "";
    }
    return value->is_string() ? value->get<std::string>() : value->dump();
}

/** Reads the lines; a power cut may have left half of one, which is passed over with a word. */
std::vector<Line> ReadTrace(const std::filesystem::path& file)
{
    std::vector<Line> lines;
    std::ifstream stream(file);
    std::string text;
    for (unsigned long number = 1; std::getline(stream, text); ++number) {
        Json content = Json::parse(text, nullptr, false);
        if (content.is_object()) {
            lines.push_back({text, std::move(content)});
        } else {
            std::fprintf(stderr, "vbset: %s: line %lu is damaged and left out\n", file.c_str(), number);
        }
    }
    return lines;
}

void KeepLastRun(std::vector<Line>& lines)
{
    for (std::size_t i = lines.size(); i-- > 0;) {
        if (lines[i].BeginsARun()) {
            lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(i));
            return;
        }
    }
}

/** A text for a person: what would break the table is written as in C. */
std::string Printable(const std::string& text)
{
    std::string result;
    for (const char character : text) {
        if (character == '\n') {
            result += "\\n";
        } else if (static_cast<unsigned char>(character) < 0x20 || character == 0x7F) {
            char code[8];
            std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned int>(character));
            result += code;
        } else {
            result += character;
        }
    }
    return result;
}

void PrintRow(const Line& line)
{
    if (line.BeginsARun()) {
        const std::string program = Printable(TextOf(line.content, "run"));
        std::printf("run: %s\n%6s %12s  %-8s what\n", program.c_str(), "n", "us", "kind");
        return;
    }
    const std::string arguments = Printable(TextOf(line.content, "args"));
    const std::string number = TextOf(line.content, "n");
    std::printf("%6s %12s  %-8s %s%s%s = %s\n", number.empty() ? "-" : number.c_str(),
                TextOf(line.content, "us").c_str(), TextOf(line.content, "kind").c_str(),
                Printable(TextOf(line.content, "call")).c_str(), arguments.empty() ? "" : " ", arguments.c_str(),
                Printable(TextOf(line.content, "result")).c_str());
}

}  // namespace

int Trace(const TraceOptions& options)
{
    if (std::filesystem::is_directory(options.tv) && !std::filesystem::exists(options.tv / "tv.toml")) {
        throw Error(options.tv.string() + " is no TV: it has no tv.toml; the trace of a set lies with its TV");
    }
    ReadTvDescription(options.tv / "tv.toml");
    std::vector<Line> lines = ReadTrace(layout::TraceFile(options.tv));
    if (options.last) {
        KeepLastRun(lines);
    }
    for (const Line& line : lines) {
        const bool wanted = options.kind.empty() || TextOf(line.content, "kind") == options.kind;
        if (options.json && wanted) {
            std::puts(line.text.c_str());
        } else if (!options.json && (wanted || line.BeginsARun())) {
            PrintRow(line);
        }
    }
    if (lines.empty()) {
        std::fprintf(stderr, "vbset: nothing has run on %s yet\n", options.tv.c_str());
    }
    return exitDone;
}

}  // namespace vbset
