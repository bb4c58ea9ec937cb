/** vbset: simulated sets on a workstation. */
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "Commands.h"
#include "Help.h"
#include "Set.h"

namespace {

/** The words of the command line before "--", and those after it, which belong to the program of a run. */
struct Words {
    std::vector<std::string> own;
    std::vector<std::string> program;
    bool separated = false;
};

Words SplitAtSeparator(int argc, char** argv)
{
    char** const end = argv + argc;
    char** const separator = std::find(argv + 1, end, std::string("--"));
    Words words;
    words.own.assign(argv + 1, separator);
    words.separated = separator != end;
    if (words.separated) {
        words.program.assign(separator + 1, end);
    }
    return words;
}

/** Splits "KEY=VALUE" and adds it. @throw Error */
void AddFault(std::map<std::string, std::string>& faults, const std::string& text)
{
    const std::size_t separator = text.find('=');
    if (separator == std::string::npos || separator == 0) {
        throw vbset::Error("--fault " + text + ": a fault is written KEY=VALUE");
    }
    faults[text.substr(0, separator)] = text.substr(separator + 1);
}

/** Accepts the kinds of line in a trace. */
CLI::Validator Kind()
{
    static const std::vector<std::string> kinds = {"platform", "command", "request", "ioctl",
                                                   "file",     "sleep",   "service", "script"};
    const auto complaint = [](std::string& text) {
        const bool known = std::find(kinds.begin(), kinds.end(), text) != kinds.end();
        return known ? "" : "'" + text + "' is no kind: give " + CLI::detail::join(kinds, ", ");
    };
    return {complaint, ""};
}

using Sides = std::vector<std::filesystem::path>;

/** Help with the usage written out: the parser never sees the program of a run. */
class HelpFormatter : public commandline::HelpFormatter {
 public:
    explicit HelpFormatter(std::string usage) : usage_("Usage: vbset " + std::move(usage) + "\n") {}
    std::string make_usage(const CLI::App*, std::string) const override { return usage_; }

 private:
    std::string usage_;
};

/** The command line: what was asked for is kept as a function to call once all of it has been understood. */
class CommandLine {
 public:
    explicit CommandLine(const Words& words) : words_(words)
    {
        app_.formatter(std::make_shared<HelpFormatter>("COMMAND [ARGUMENTS]"));
        app_.footer(vbset::help::overview);
        app_.require_subcommand(0, 1);
        app_.set_help_flag("-h,--help", "show this help and exit");
        app_.set_version_flag("--version", "vbset " VBSET_VERSION, "show the version and exit");
        AddNew();
        AddShow();
        AddRun();
        AddTrace();
        AddDiffAndOff();
    }

    int Execute()
    {
        if (words_.own.empty()) {
            throw vbset::Error("no command was given; `vbset --help` names them");
        }
        std::vector<std::string> words(words_.own.rbegin(), words_.own.rend());
        try {
            app_.parse(words);
        } catch (const CLI::Success& help) {
            return app_.exit(help);
        } catch (const CLI::ParseError& error) {
            const bool lacksSeparator = app_.got_subcommand(run_) && !words_.separated;
            throw vbset::Error(commandline::Complaint(app_, error) +
                               (lacksSeparator ? "; the program of a run is written after \"--\"" : ""));
        }
        if (!action_) {
            throw vbset::Error("no command was given; `vbset --help` names them");
        }
        if (words_.separated && !app_.got_subcommand(run_)) {
            throw vbset::Error("only `vbset run` takes a program after \"--\"");
        }
        return action_();
    }

 private:
    CLI::App* Add(const std::string& name, const char* usage, const char* purpose, const char* footer,
                  std::function<int()> action)
    {
        CLI::App* const command = app_.add_subcommand(name, purpose);
        command->formatter(std::make_shared<HelpFormatter>(name + usage));
        command->footer(footer);
        command->group("Commands");
        command->callback([this, action] { action_ = action; });
        return command;
    }

    void AddNew()
    {
        Add("list", "", "Name the descriptions of TVs and boxes that come with the simulator", "", vbset::List);
        const auto make = [this] { return vbset::New(description_, first_); };
        CLI::App* const command = Add("new", " DESCRIPTION DIR", "Make a TV or a box from a description",
                                      vbset::help::newSide, make);
        command->add_option("DESCRIPTION", description_, "name or TOML file of a description")->required();
        command->add_option("DIR", first_, "directory to make; must not exist")->required();
    }

    void AddShow()
    {
        const auto show = [this] {
            return vbset::Show(second_.empty() ? Sides{first_} : Sides{first_, second_}, json_);
        };
        CLI::App* const command = Add("show", " TV|BOX [--json]\n       vbset show TV BOX [--json]",
                                      "Tell what a TV, a box or both are and hold", vbset::help::show, show);
        command->add_option("DIR", first_, "a TV or a box")->required();
        command->add_option("DIR2", second_, "the other side, to show both");
        command->add_flag("--json", json_, "print JSON")->disable_flag_override();
    }

    void AddRun()
    {
        run_ = Add("run", " TV BOX [OPTIONS] -- PROGRAM [ARGS...]", "Run a program on a set", vbset::help::run,
                   [this] { return RunProgram(); });
        AddSet(run_);
        run_->add_option("--fault", faults_, "switch a fault on for this run; may be given again")
            ->option_text("KEY=VALUE")->allow_extra_args(false);
        run_->add_flag("--real-time", options_.realTime, "the program's usleep() takes its time; else it takes none")
            ->disable_flag_override();
        run_->add_flag("--no-bus", options_.noBus, "start no message bus: every connection fails")
            ->disable_flag_override();
        run_->add_option("--cut", cut_, "take the power away at this place")->option_text("CUT");
        run_->add_option("--timeout", options_.timeout, "end the program after so many seconds")
            ->option_text("SECONDS")->check(commandline::Seconds());
    }

    void AddTrace()
    {
        CLI::App* const command = Add("trace", " TV [OPTIONS]", "Print what happened on a set",
                                      vbset::help::trace, [this] { return vbset::Trace(trace_); });
        command->add_option("TV", trace_.tv, "directory of the TV")->required();
        command->add_option("--kind", trace_.kind, "only interactions of one kind")->option_text("KIND")
            ->check(Kind());
        command->add_flag("--json", trace_.json, "print the lines of the trace as they are")
            ->disable_flag_override();
        command->add_flag("--last", trace_.last, "only the last run")->disable_flag_override();
    }

    void AddDiffAndOff()
    {
        const auto compare = [this] { return vbset::Diff(first_, second_); };
        CLI::App* const diff = Add("diff", " TV TV\n       vbset diff BOX BOX",
                                   "Compare what two TVs, or two boxes, hold", vbset::help::diff, compare);
        diff->add_option("DIR", first_, "a TV or a box")->required();
        diff->add_option("DIR2", second_, "another of the same kind")->required();
        const auto switchOff = [this] { return vbset::Off(options_.tv, options_.box); };
        AddSet(Add("off", " TV BOX", "Switch a set off", vbset::help::off, switchOff));
    }

    void AddSet(CLI::App* command)
    {
        command->add_option("TV", options_.tv, "directory of the TV")->required();
        command->add_option("BOX", options_.box, "directory of the box")->required();
    }

    int RunProgram()
    {
        if (words_.program.empty()) {
            throw vbset::Error("no program was given: vbset run TV BOX [OPTIONS] -- PROGRAM [ARGS...] "
                               "(see vbset run --help)");
        }
        options_.program = words_.program;
        if (!cut_.empty()) {
            options_.cut = vbset::ParsePowerCut(cut_);
        }
        for (const std::string& fault : faults_) {
            AddFault(options_.faults, fault);
        }
        return vbset::Run(options_);
    }

    const Words& words_;
    CLI::App app_{"Simulated sets of a TV and its connection box, on a workstation.", "vbset"};
    CLI::App* run_ = nullptr;
    std::function<int()> action_;
    std::string description_;
    std::filesystem::path first_;
    std::filesystem::path second_;
    bool json_ = false;
    std::vector<std::string> faults_;
    std::string cut_;
    vbset::RunOptions options_;
    vbset::TraceOptions trace_;
};

}  // namespace

int main(int argc, char** argv)
{
    try {
        return CommandLine(SplitAtSeparator(argc, argv)).Execute();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vbset: %s\n", error.what());
        return vbset::exitRefused;
    }
}
