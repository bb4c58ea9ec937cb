/** @file
 * What the command lines of this project have in common: how they speak of themselves and of mistakes.
 */
#pragma once

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <string>

namespace commandline {

/** Help without types and counts: an option's value is named by its option text alone. */
class HelpFormatter : public CLI::Formatter {
 public:
    HelpFormatter()
    {
        label("Positionals", "Arguments");
        label("SUBCOMMAND", "COMMAND");
    }

    std::string make_option_name(const CLI::Option* option, bool isPositional) const override
    {
        const std::string names = option->get_name(isPositional, !isPositional);
        const std::size_t comma = names.find(',');
        return comma == std::string::npos ? names : names.substr(0, comma) + ", " + names.substr(comma + 1);
    }

    std::string make_option_opts(const CLI::Option* option) const override
    {
        return option->get_option_text().empty() ? "" : " " + option->get_option_text();
    }
};

/** Accepts a time that can be waited for, in seconds. */
inline CLI::Validator Seconds()
{
    constexpr double kMost = 1e6;
    const auto complaint = [](std::string& text) {
        char* end = nullptr;
        const double seconds = std::strtod(text.c_str(), &end);
        const bool good = !text.empty() && *end == '\0' && seconds > 0 && seconds <= kMost;
        return good ? std::string() : "'" + text + "' is no time: give seconds, more than 0 and at most 1000000";
    };
    return {complaint, ""};
}

/** The command that was being read when a command line could not be understood any more. */
inline const CLI::App& LastCommand(const CLI::App& app)
{
    const CLI::App* last = &app;
    while (!last->get_subcommands().empty()) {
        last = last->get_subcommands().front();
    }
    return *last;
}

/** What is wrong with a command line that has a word too many: the first one is named. */
inline std::string Unexpected(const CLI::App& app)
{
    const auto words = app.remaining(true);
    const std::string word = words.empty() ? "" : words.front();
    const bool hasCommands = !LastCommand(app).get_subcommands([](const CLI::App*) { return true; }).empty();
    return hasCommands && word.rfind('-', 0) != 0 ? "there is no command '" + word + "'"
                                                  : "'" + word + "' is not expected here";
}


/** What the parser says of a command line, in words for its user. */
inline std::string InPlainWords(const CLI::App& app, const CLI::ParseError& error)
{
    const std::string text = error.what();
    if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
        return Unexpected(app);
    }
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
        const std::size_t colon = text.find(": ");
        return colon != std::string::npos ? text.substr(0, colon) + " needs a value"
                                          : "--" + text.substr(0, text.find(' ')) + " takes no value";
    }
    return text;
}

/** The same, with where to read on. */
inline std::string Complaint(const CLI::App& app, const CLI::ParseError& error)
{
    std::string command;
    for (const CLI::App* part = &LastCommand(app); part != nullptr; part = part->get_parent()) {
        command = part->get_name() + (command.empty() ? "" : " ") + command;
    }
    return InPlainWords(app, error) + " (see " + command + " --help)";
}

}  // namespace commandline
