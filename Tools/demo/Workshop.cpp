#include "Workshop.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>

#include "Program.h"

namespace demo {

namespace {

using json = nlohmann::ordered_json;  // arguments stay in their order

std::string Joined(const Strings& words)
{
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

/** "name=value, name=value" */
std::string Fields(const json& object)
{
    std::string text;
    for (const auto& [name, value] : object.items()) {
        text += (text.empty() ? "" : ", ") + name + "=" + (value.is_string() ? value.get<std::string>() : value.dump());
    }
    return text;
}

Call CallFrom(const json& object)
{
    Call call;
    call.function = object.at("function").get<std::string>();
    call.arguments = Fields(object.at("arguments"));
    call.result = object.at("result").get<int>();
    call.out = Fields(object.at("out"));
    call.note = object.value("note", "");
    call.milliseconds = object.at("milliseconds").get<double>();
    return call;
}

std::vector<Call> CallsFrom(const std::string& command, const program::Ended& ended)
{
    try {
        std::vector<Call> calls;
        for (const json& object : json::parse(ended.output)) {
            if (!object.contains("summary")) {
                calls.push_back(CallFrom(object));
            }
        }
        return calls;
    } catch (const json::exception&) {
        throw Broken(command + " ended with status " + std::to_string(ended.status) + ": " + ended.errors +
                     ended.output);
    }
}

/** The numbered lines that the last run left in a trace, by kind. */
std::map<std::string, int> InteractionsOfLastRun(const std::filesystem::path& trace)
{
    std::map<std::string, int> interactions;
    std::ifstream file(trace);
    std::string line;
    while (std::getline(file, line)) {
        const json entry = json::parse(line, nullptr, false);
        if (entry.contains("run")) {
            interactions.clear();
        } else if (entry.contains("n")) {
            ++interactions[entry.value("kind", "other")];
        }
    }
    return interactions;
}

std::filesystem::path TemporaryDirectory()
{
    std::string name = (std::filesystem::temp_directory_path() / "vbmigration-demo.XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw Broken("cannot make a directory in " + std::filesystem::temp_directory_path().string() + ": " +
                     std::strerror(errno));
    }
    return name;
}

}  // namespace

Workshop::Workshop(std::filesystem::path programs, const std::optional<std::filesystem::path>& directory)
    : programs_(std::move(programs)), temporary_(!directory)
{
    directory_ = directory ? std::filesystem::absolute(*directory) : TemporaryDirectory();
    std::filesystem::create_directories(directory_);
}

Workshop::~Workshop()
{
    if (temporary_) {
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }
}

std::filesystem::path Workshop::Make(const std::string& description, const std::string& name) const
{
    const std::filesystem::path side = directory_ / name;
    const auto ended = program::Run({programs_ / "vbset", "new", description, side});
    if (ended.status != 0) {
        throw Broken("vbset new " + description + ": " + ended.errors);
    }
    return side;
}

Run Workshop::Migrate(const std::filesystem::path& tv, const std::filesystem::path& box, const Strings& words,
                      const Strings& faults) const
{
    Strings arguments = {programs_ / "vbset", "run"};
    for (const std::string& fault : faults) {
        arguments.insert(arguments.end(), {"--fault", fault});
    }
    arguments.insert(arguments.end(), {tv, box, "--", programs_ / "vbmigration"});
    arguments.insert(arguments.end(), words.begin(), words.end());
    // Nothing here takes long; a hang is to be told, not waited for.
    arguments.insert(arguments.end(), {"--timeout", "60", "--json"});

    Run run;
    run.command = "vbmigration " + Joined(words);
    const auto begin = std::chrono::steady_clock::now();
    const auto ended = program::Run(arguments);
    run.milliseconds = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
    run.calls = CallsFrom(run.command, ended);
    run.interactions = InteractionsOfLastRun(tv / "trace.jsonl");
    return run;
}

std::string Workshop::Board(const std::filesystem::path& tv) const
{
    const auto ended = program::Run({programs_ / "vbset", "show", "--json", tv});
    const json state = json::parse(ended.output, nullptr, false).value("volatile", json());
    if (!state.is_object()) {
        throw Broken("vbset show " + tv.string() + " tells nothing of the board: " + ended.errors);
    }
    std::string levels;
    for (const auto& [gpio, level] : state.at("gpio").items()) {
        levels += " " + gpio + "=" + level.dump();
    }
    return "GPIO" + levels + ", tuner mute " + state.at("tuner_mute").dump() + ", buffer IC " +
           state.at("buffer_ic").dump();
}

}  // namespace demo
