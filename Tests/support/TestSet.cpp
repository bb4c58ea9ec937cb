#include "TestSet.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace {

/** Lines of a file from an offset on. */
std::vector<std::string> LinesFrom(const fs::path& file, std::size_t offset)
{
    std::vector<std::string> lines;
    std::ifstream in(file);
    in.seekg(static_cast<std::streamoff>(offset));
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string Unescaped(const std::string& text)
{
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            plain += text[i];
            continue;
        }
        const char code = text[++i];
        plain += code == 'n' ? '\n' : code == 't' ? '\t' : code;
    }
    return plain;
}

/** Takes "1.000002 4 MIGVBX Unit.cpp: Function(12) > text" apart; false for lines of other tags. */
bool ParseLogLine(const std::string& line, LogLine& parsed)
{
    std::istringstream in(line);
    std::string time;
    std::string tag;
    if (!(in >> time >> parsed.priority >> tag) || tag != "MIGVBX" || in.get() != ' ') {
        return false;
    }
    std::string rest;
    std::getline(in, rest);
    const std::size_t unitEnd = rest.find(": ");
    const std::size_t functionEnd = rest.find('(', unitEnd);
    const std::size_t prefixEnd = rest.find(") > ", functionEnd);
    if (unitEnd == std::string::npos || functionEnd == std::string::npos || prefixEnd == std::string::npos) {
        ADD_FAILURE() << "a message without the prefix: " << line;
        return false;
    }
    parsed.unit = rest.substr(0, unitEnd);
    parsed.function = rest.substr(unitEnd + 2, functionEnd - unitEnd - 2);
    parsed.text = Unescaped(rest.substr(prefixEnd + 4));
    return true;
}

std::size_t SizeOf(const fs::path& file)
{
    std::error_code error;
    const auto size = fs::file_size(file, error);
    return error ? 0 : static_cast<std::size_t>(size);
}

bool IsAmong(const std::vector<std::string>& names, const std::string& name)
{
    return names.empty() || std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Interaction& interaction)
{
    return out << interaction.kind << ' ' << interaction.call << '(' << interaction.args << ") = " << interaction.result;
}

OnSet::OnSet()
{
    std::string name = (fs::temp_directory_path() / "vbset-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary directory");
    }
    temporary_ = name;
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
}

OnSet::~OnSet()
{
    bus_.reset();
    set_.reset();
    fs::current_path("/");
    std::error_code ignored;
    fs::remove_all(temporary_, ignored);
}

void OnSet::Start(const std::string& tv, const std::string& box)
{
    vbset::Create(tv, temporary_ / "tv");
    vbset::Create(box, temporary_ / "box");
    set_ = std::make_unique<vbset::Set>(temporary_ / "tv", temporary_ / "box");
    set_->PowerOn();
    set_->Enter();
}

void OnSet::StartService()
{
    bus_ = std::make_unique<vbset::Bus>(*set_);
}

std::vector<LogLine> OnSet::Log() const
{
    std::vector<LogLine> log;
    for (const std::string& line : LinesFrom(temporary_ / "tv/platform.log", logOffset_)) {
        LogLine parsed;
        if (ParseLogLine(line, parsed)) {
            log.push_back(parsed);
        }
    }
    return log;
}

Messages OnSet::Logged(const std::vector<std::string>& functions) const
{
    Messages messages;
    for (const LogLine& line : Log()) {
        if (IsAmong(functions, line.function)) {
            messages.emplace_back(line.priority, line.text);
        }
    }
    return messages;
}

std::vector<Interaction> OnSet::Trace(const std::vector<std::string>& kinds) const
{
    std::vector<Interaction> trace;
    for (const std::string& line : LinesFrom(temporary_ / "tv/trace.jsonl", traceOffset_)) {
        const nlohmann::json entry = nlohmann::json::parse(line);
        if (entry.contains("n") && IsAmong(kinds, entry["kind"])) {
            trace.push_back({entry["kind"], entry["call"], entry["args"], entry["result"]});
        }
    }
    return trace;
}

std::vector<std::string> OnSet::Calls(const std::vector<std::string>& kinds) const
{
    std::vector<std::string> calls;
    for (const Interaction& interaction : Trace(kinds)) {
        calls.push_back(interaction.call);
    }
    return calls;
}

void OnSet::Forget()
{
    logOffset_ = SizeOf(temporary_ / "tv/platform.log");
    traceOffset_ = SizeOf(temporary_ / "tv/trace.jsonl");
}

std::string OnSet::ReadFile(const fs::path& file)
{
    std::ifstream in(file, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

void OnSet::WriteFile(const fs::path& file, const std::string& bytes)
{
    std::ofstream(file, std::ios::binary) << bytes;
}
