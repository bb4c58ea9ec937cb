/** @file
 * What the command has called so far, and how it is told to the operator.
 */
#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "ServiceWatch.h"

namespace command {

/** Exit statuses, as --help lists them. */
enum ExitStatus {
    kExitOk = 0,
    kExitCallFailed = 1,
    kExitUsage = 2,
    kExitUnsupported = 3,
    kExitItemsMissing = 4,
    kExitNoService = 5,
    kExitTimedOut = 124
};

/** A value given to a function or received from it. */
struct Field {
    std::string name;
    std::variant<int, bool, std::string> value;
    std::string meaning;  ///< for a person, who sees it in the place of a bool; may be empty
};

/** One call of an exported function. */
struct Call {
    std::string function;
    std::vector<Field> arguments;
    std::vector<Field> out;     ///< what it gave besides its result
    std::optional<int> result;  ///< absent while the call runs
    double milliseconds = 0;
    std::string note;  ///< why the result may be what it is; often empty
    std::vector<Exchange> exchanges;  ///< with the migration service, where they are watched
};

/** What several calls amount to. */
struct Summary {
    std::string name;
    std::string verdict;
    std::string details;        ///< for a person
    std::vector<Field> fields;  ///< for a program
    ExitStatus status = kExitOk;
};

enum class Format { Lines, Json };

/** Shared by the thread that calls and the watchdog. */
class CallLog {
 public:
    explicit CallLog(Format format) : format_(format) {}

    void Begin(const std::string& function, std::vector<Field> arguments);

    /** Completes the call that Begin() began; as lines, prints it.
     * @param tvCode  the set's TV code as the library read it, for the note on the result */
    void Finish(int result, std::vector<Field> out, int tvCode);

    /** Says what the calls so far amount to; as lines, prints it. From now on it makes the status. */
    void SumUp(Summary (*judge)(const std::vector<Call>&));

    /** As JSON, prints all calls. */
    void End();

    /** The time is up: says which call is waited for and ends the process. Between two calls it only makes the next
     * Begin() do so. */
    void TimeIsUp(double seconds);

    /** That of the summary; without one, of all calls: ok, or one failed, or (when none failed) one is unsupported. */
    ExitStatus Status() const;

 private:
    [[noreturn]] void GiveUp();

    std::mutex mutex_;
    Format format_;
    std::vector<Call> calls_;
    std::size_t exchangesBefore_ = 0;  ///< the last call
    std::optional<Summary> summary_;
    std::chrono::steady_clock::time_point begun_;
    double timeout_ = 0;  ///< seconds, once they have passed
};

}  // namespace command
