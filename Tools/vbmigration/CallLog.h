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

namespace command {

/** Exit statuses, as --help lists them. */
enum ExitStatus { kExitOk = 0, kExitCallFailed = 1, kExitUsage = 2, kExitUnsupported = 3, kExitTimedOut = 124 };

/** A value given to a function or received from it. */
struct Field {
    std::string name;
    std::variant<int, std::string> value;
    std::string meaning;  ///< for a person; may be empty
};

/** One call of an exported function. */
struct Call {
    std::string function;
    std::vector<Field> arguments;
    std::vector<Field> out;     ///< what it gave besides its result
    std::optional<int> result;  ///< absent while the call runs
    double milliseconds = 0;
    std::string note;  ///< why the result may be what it is; often empty
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

    /** As JSON, prints all calls. */
    void End();

    /** The time is up: says which call is waited for and ends the process. Between two calls it only makes the next
     * Begin() do so. */
    void TimeIsUp(double seconds);

    /** Of all calls: ok, or one failed, or (when none failed) one is unsupported. */
    ExitStatus Status() const;

 private:
    [[noreturn]] void GiveUp();

    std::mutex mutex_;
    Format format_;
    std::vector<Call> calls_;
    std::chrono::steady_clock::time_point begun_;
    double timeout_ = 0;  ///< seconds, once they have passed
};

}  // namespace command
