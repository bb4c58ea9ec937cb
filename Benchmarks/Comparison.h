/** @file
 * One line of the table: an operation of the library, the floor beneath it, and what a user would take instead, all
 * measured in one process, interleaved.
 */
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace bench {

using Operation = std::function<void()>;

/** A way of doing the work, and how long it takes. */
struct Measured {
    std::string role;      ///< "library", "floor", or the name of what is taken instead
    double median = 0;     ///< nanoseconds
    double spread = 0;     ///< half the distance of the quartiles, in nanoseconds
};

/** What is compared, and the aim: the library takes at most @ref limit times what @ref against takes. */
struct Comparison {
    std::string what;
    std::string against = "floor";
    double limit = 0;
    std::string note;  ///< what the rest of the time is, where the aim is known not to be reached
    std::vector<Measured> measured;

    const Measured* Find(const std::string& role) const;
    double Ratio() const;  ///< library to @ref against
    double FloorAgain() const;  ///< the second run of the floor to the first, the larger by the smaller
    bool IsReached() const;
};

/** Registers what belongs to one comparison; the floor is measured twice, so that its own spread shows. */
class Compare {
 public:
    Compare(std::string what, double limit, std::string against = "floor", std::string note = "");
    Compare& Library(Operation operation) { return Add("library", std::move(operation)); }
    Compare& Floor(const Operation& operation);
    Compare& Instead(const std::string& name, Operation operation) { return Add(name, std::move(operation)); }

 private:
    Compare& Add(const std::string& role, Operation operation);

    std::string what_;
};

/** How much is measured. */
struct Effort {
    int repetitions = 15;
    double seconds = 0.05;  ///< of each repetition, at least
};

/** Measures everything registered so far in this process. */
std::vector<Comparison> MeasureAll(const Effort& effort);

/** The name of callgrind's counts that are of no interest. */
inline constexpr const char* kNotCounted = "not counted";

/** Carries out everything registered, each once after a first time; under callgrind, with a count of its own. */
void CountAll();

/** Comparisons as text that ReadComparisons() reads, for the way from one process to another. */
std::string Written(const std::vector<Comparison>& comparisons);
std::vector<Comparison> ReadComparisons(const std::string& text);

}  // namespace bench
