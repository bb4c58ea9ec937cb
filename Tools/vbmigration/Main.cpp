/** @file
 * vbmigration: the operator's command. One call of the library, or a whole backup or restore, from a command line.
 */
#include <CLI/CLI.hpp>
#include <cstdio>
#include <functional>
#include <memory>

#include "CallLog.h"
#include "CommandLine.h"
#include "Exported.h"
#include "Mounts.h"
#include "Status.h"
#include "Watchdog.h"
#include "Words.h"

namespace command {

namespace {

const char* const kFooter =
    "Types, progress, directions and codes are names or numbers; a number is passed on as it is.\n"
    "Exit status: 0 all calls succeeded, 1 a call failed, 2 wrong usage (nothing was called),\n"
    "3 the library does not support the call, 124 the timeout passed. Those of backup: vbmigration backup --help.\n"
    "Why a call failed is in the platform log, tag MIGVBX.";

const char* const kBackupFooter =
    "The last line says whether this was a backup: START and END succeeded, the service answered every request, and\n"
    "the dump wrote all picture items. It says nothing of the MAC address. In JSON it is the last object.\n"
    "Exit status: 0 backup: complete (whatever the dump returned), 1 backup: failed (START or END did), 2 wrong usage\n"
    "(nothing was called), 4 backup: items missing, 5 backup: service did not answer (the library takes that for\n"
    "success), 124 the timeout passed.\n"
    "Why a call failed is in the platform log, tag MIGVBX.";

/** What the command line asks for. */
struct Request {
    bool complete = false;  ///< it names a command
    bool json = false;
    double timeout = 0;  ///< seconds; 0: wait for as long as it takes
    bool callbacks = false;
    bool load = false;
    std::string first;  ///< the arguments of the subcommand, checked
    std::string second;
    std::function<void(Exported&)> action;  ///< none: show the status
};

/** Accepts what the words accept. */
CLI::Validator OneOf(const Words& words)
{
    return {[&words](std::string& text) { return words.Complaint(text); }, ""};
}

int ValueOf(const Words& words, const std::string& text) { return words.Value(text).value_or(0); }

void Backup(Exported& library)
{
    const Words& types = TypesFor(TvCode());
    const int type = ValueOf(types, "backup");
    if (library.Notify(types, type, ValueOf(kProgresses, "start"))) {
        library.Dump();
    }
    library.Notify(types, type, ValueOf(kProgresses, "end"));
    library.SumUpBackup();
}

void Migrate(Exported& library)
{
    const Words& types = TypesFor(TvCode());
    const int type = ValueOf(types, "restore");
    if (library.Notify(types, type, ValueOf(kProgresses, "start"))) {
        library.Restore();
    }
    library.Notify(types, type, ValueOf(kProgresses, "end"));
}

/** Describes the commands; a parsed command line ends up in the request. */
class CommandLine {
 public:
    CommandLine() : app_("Moves a television's factory data through libVBMigration.", "vbmigration")
    {
        app_.formatter(std::make_shared<commandline::HelpFormatter>());
        app_.set_help_flag("-h,--help", "show this help and exit");
        app_.set_version_flag("--version", "vbmigration " VBMIGRATION_VERSION, "show the version and exit");
        app_.require_subcommand(0, 1);
        app_.footer(kFooter);
        AddFlows();
        AddSteps();
        AddPictures();
        AddOthers();
    }

    /** @return the exit status when there is nothing to be done any more */
    std::optional<int> Parse(int argc, char** argv);

    const Request& Parsed() const { return request_; }

 private:
    CLI::App* Add(CLI::App& parent, const char* name, const char* help, std::function<void(Exported&)> action)
    {
        CLI::App* sub = parent.add_subcommand(name, help);
        sub->group("Commands");
        sub->add_flag("--json", request_.json, action ? "print a JSON array of the calls" : "print a JSON object")
            ->disable_flag_override();
        sub->footer(kFooter);
        if (action) {
            sub->add_option("--timeout", request_.timeout, "give up after so many seconds and say which call waits")
                ->option_text("SECONDS")->check(commandline::Seconds());
        }
        sub->callback([this, action = std::move(action)] {
            request_.complete = true;
            request_.action = action;
        });
        return sub;
    }

    void AddArgument(CLI::App* sub, const char* name, std::string& text, const Words& words)
    {
        sub->add_option(name, text, words.Help())->required()->check(OneOf(words));
    }

    void AddCallbacks(CLI::App* sub)
    {
        sub->add_flag("--callbacks", request_.callbacks, "let the library read the items through registered functions")
            ->disable_flag_override();
    }

    void AddFlows();
    void AddSteps();
    void AddPictures();
    void AddOthers();

    CLI::App app_;
    Request request_;
};

void CommandLine::AddFlows()
{
    CLI::App* backup =
        Add(app_, "backup", "a whole backup: notify START, dump, notify END (also after a failed START)", Backup);
    backup->footer(kBackupFooter);
    AddCallbacks(backup);
    Add(app_, "migrate", "a whole restore: notify START, restore, notify END (also after a failed START)", Migrate);
    Add(app_, "status", "the power flag, what is mounted, and what the next START will do", {});
}

void CommandLine::AddSteps()
{
    CLI::App* notify =
        Add(app_, "notify", "tell the library that a backup or restore starts or ends", [this](Exported& library) {
            const Words& types = TypesFor(TvCode());
            library.Notify(types, ValueOf(types, request_.first), ValueOf(kProgresses, request_.second));
        });
    AddArgument(notify, "TYPE", request_.first, TypesFor(15));
    AddArgument(notify, "PROGRESS", request_.second, kProgresses);
    AddCallbacks(
        Add(app_, "dump", "save the MAC address and the picture items", [](Exported& library) { library.Dump(); }));
    Add(app_, "restore", "restore the MAC address and the picture items", [](Exported& library) { library.Restore(); });
}

void CommandLine::AddPictures()
{
    CLI::App* sync = Add(app_, "sync", "copy the picture items between the box and the TV's service file",
                         [this](Exported& library) { library.SyncPictures(ValueOf(kDirections, request_.first)); });
    AddArgument(sync, "DIRECTION", request_.first, kDirections);
    AddCallbacks(sync);

    CLI::App* item = app_.add_subcommand("item", "store and load the picture items, and read their values");
    item->group("Commands");
    item->require_subcommand(0, 1);
    CLI::App* set = Add(*item, "set", "store (1713) or load (1714, 1715, 1778) the items; the value is 1",
                        [this](Exported& library) {
                            library.SetItem(ValueOf(kItemCommands, request_.first), ValueOf(kNumbers, request_.second));
                        });
    AddArgument(set, "ID", request_.first, kItemCommands);
    AddArgument(set, "VALUE", request_.second, kNumbers);
    AddCallbacks(set);
    CLI::App* get = Add(*item, "get", "the value of an item: 1716 to 1759, on a 62-item set also 1779 to 1796",
                        [this](Exported& library) {
                            if (request_.load && !library.SetItem(ValueOf(kItemCommands, "load"), 1)) {
                                return;  // a value that was not loaded is no item's
                            }
                            library.ConvertItem(ValueOf(kNumbers, request_.first));
                        });
    AddArgument(get, "ID", request_.first, kNumbers);
    get->add_flag("--load", request_.load, "load the items first; a process that has not, gets 0")
        ->disable_flag_override();

    CLI::App* test = Add(app_, "test", "the factory test query; verify compares service file and box",
                         [this](Exported& library) { library.Test(ValueOf(kTestCodes, request_.first)); });
    AddArgument(test, "CODE", request_.first, kTestCodes);
}

void CommandLine::AddOthers()
{
    CLI::App* boot = app_.add_subcommand("boot", "the boot partition of the box (TV code 13)");
    boot->group("Commands");
    boot->require_subcommand(0, 1);
    Add(*boot, "get", "read it", [](Exported& library) { library.GetBootPartition(); });
    CLI::App* set = Add(*boot, "set", "select it",
                        [this](Exported& library) { library.SetBootPartition(ValueOf(kNumbers, request_.first)); });
    AddArgument(set, "N", request_.first, kNumbers);
    Add(app_, "objects", "the library's two single objects: does this set have them?",
        [](Exported& library) { library.GetObjects(); });
    Add(app_, "tuner-reset", "a call without effect", [](Exported& library) { library.ResetTuner(); });
    Add(app_, "free-memory", "a call that the library does not support",
        [](Exported& library) { library.FreeMemory(); });
    Add(app_, "store-sync", "a call that the library does not support", [](Exported& library) { library.SyncStore(); });
    Add(app_, "mount", "a call that the library does not support", [](Exported& library) { library.MountPartition(); });
}

std::optional<int> CommandLine::Parse(int argc, char** argv)
{
    try {
        app_.parse(argc, argv);
        if (!request_.complete) {
            throw CLI::RequiredError("A command");
        }
        return std::nullopt;
    } catch (const CLI::Success& help) {
        return app_.exit(help);
    } catch (const CLI::ParseError& error) {
        std::fprintf(stderr, "vbmigration: %s\n", commandline::Complaint(app_, error).c_str());
        return kExitUsage;
    }
}

int Perform(const Request& request)
{
    const auto complaint = WhyNotOnASet();
    if (complaint) {
        std::fprintf(stderr, "vbmigration: %s\n", complaint->c_str());
        return kExitUsage;
    }
    const Format format = request.json ? Format::Json : Format::Lines;
    if (!request.action) {
        return ShowStatus(format);
    }
    CallLog log(format);
    std::unique_ptr<Watchdog> watchdog;
    if (request.timeout > 0) {
        const std::chrono::duration<double> time(request.timeout);
        watchdog = std::make_unique<Watchdog>(time, [&log, &request] { log.TimeIsUp(request.timeout); });
    }
    Exported library(log);
    if (request.callbacks) {
        library.RegisterCallbacks();
    }
    request.action(library);
    watchdog.reset();
    log.End();
    return log.Status();
}

}  // namespace

}  // namespace command

int main(int argc, char** argv)
{
    command::CommandLine line;
    const auto status = line.Parse(argc, argv);
    return status ? *status : command::Perform(line.Parsed());
}
