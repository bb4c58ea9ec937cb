/** @file
 * What each word of the command `vbset` does. All of them @throw Error with one line for the user.
 */
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "PowerCut.h"

namespace vbset {

/** Exit statuses of the command itself; `run` passes its program's on. */
constexpr int exitDone = 0;
constexpr int exitDifferent = 1;
constexpr int exitRefused = 2;

struct RunOptions {
    std::filesystem::path tv;
    std::filesystem::path box;
    std::map<std::string, std::string> faults;
    bool realTime = false;
    bool noBus = false;
    double timeout = 0;  ///< seconds; 0 is none
    std::optional<PowerCut> cut;
    std::vector<std::string> program;
};

struct TraceOptions {
    std::filesystem::path tv;
    std::string kind;  ///< empty: all kinds
    bool json = false;
    bool last = false;
};

int List();
int New(const std::string& description, const std::filesystem::path& directory);
int Show(const std::vector<std::filesystem::path>& directories, bool json);
int Run(const RunOptions& options);
int Trace(const TraceOptions& options);
int Diff(const std::filesystem::path& first, const std::filesystem::path& second);
int Off(const std::filesystem::path& tv, const std::filesystem::path& box);

}  // namespace vbset
