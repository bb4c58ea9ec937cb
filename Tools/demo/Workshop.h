/** @file
 * A place where simulated sets are made and the operator's command is run on them.
 */
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace demo {

/** A call of the library, as vbmigration tells it. */
struct Call {
    std::string function;
    std::string arguments;
    int result = 0;
    std::string out;
    std::string note;
    double milliseconds = 0;
};

/** One run of vbmigration on a set. */
struct Run {
    std::string command;
    std::vector<Call> calls;
    std::map<std::string, int> interactions;  ///< of library and set, by kind
    std::string written;                      ///< files on both sides, with sizes
    double milliseconds = 0;
};

/** A command that could not be run at all, as opposed to one whose call failed. */
struct Broken : std::runtime_error {
    using std::runtime_error::runtime_error;
};

using Strings = std::vector<std::string>;

class Workshop {
 public:
    /** @param programs  where vbset and vbmigration are
     * @param directory  for the sets; without one they are made in a temporary directory and removed at the end */
    Workshop(std::filesystem::path programs, const std::optional<std::filesystem::path>& directory);
    ~Workshop();
    Workshop(const Workshop&) = delete;
    Workshop& operator=(const Workshop&) = delete;

    /** Makes a TV or a box. @param description  a name that the simulator knows, or a TOML file
     * @throw Broken */
    std::filesystem::path Make(const std::string& description, const std::string& name) const;

    /** Runs vbmigration on a set. @param faults  KEY=VALUE each @throw Broken */
    Run Migrate(const std::filesystem::path& tv, const std::filesystem::path& box, const Strings& words,
                const Strings& faults = {}) const;

    /** The main board of a TV that is on: GPIO levels, tuner mute, buffer IC, in a line. @throw Broken */
    std::string Board(const std::filesystem::path& tv) const;

 private:
    std::filesystem::path programs_;
    std::filesystem::path directory_;
    bool temporary_ = false;
};

}  // namespace demo
