/** @file
 * One line of the table: an operation of the library, the floor beneath it, and what a user would take instead, all
 * measured in one process, one right after the other.
 */
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

using Operation = std::function<void()>;

/** A way of doing the work, and how long it takes. */
struct Measured {
    std::string role;        ///< "library", "floor", "floor again", or the name of what is taken instead
    double median = 0;       ///< nanoseconds
    double spread = 0;       ///< half the distance of the quartiles, in nanoseconds
    double ratio = 1;        ///< of the library to this one, or of "floor again" to "floor": the median over all rounds
    double ratioSpread = 0;  ///< half the distance of the quartiles of the repetitions' medians
};

/** A part of what the library takes more than its floor. */
struct Part {
    std::string name;
    std::string longer;      ///< the role that has the part
    std::string shorter;     ///< the role that is the same without it
    double nanoseconds = 0;  ///< the median of their difference over all rounds
};

/** What is compared, and the aim: the library takes at most @ref limit times what @ref against takes. */
struct Comparison {
    std::string what;
    std::string against = "floor";
    double limit = 0;
    bool orInsideSpread = false;  ///< the aim is met inside the spread of two runs of the floor too
    std::vector<Measured> measured;
    std::vector<Part> parts;

    const Measured* Find(const std::string& role) const;
    double Ratio() const { return Find(against)->ratio; }
    double SpreadOfFloors() const;  ///< the ratio up to which two runs of the floor differ
    bool IsSteady() const;  ///< the repetitions agree about the ratio to a tenth, and so do two runs of the floor
    bool IsReached() const;
};

/** Registers what belongs to one comparison; the floor is measured twice, so that its own spread shows. */
class Compare {
 public:
    Compare(std::string what, double limit, std::string against = "floor");
    Compare& Library(Operation operation) { return Add("library", std::move(operation)); }
    Compare& Floor(const Operation& operation);
    Compare& Instead(const std::string& name, Operation operation) { return Add(name, std::move(operation)); }
    Compare& OrInsideSpread();
    /** Tells a part of what the library takes more than its floor: what one role takes more than another. */
    Compare& RestHas(std::string name, std::string longer, std::string shorter);

 private:
    Compare& Add(const std::string& role, Operation operation);
};

/** How much is measured. */
struct Effort {
    int repetitions = 15;
    double seconds = 0.3;  ///< of each repetition of a comparison, at least
    int rounds = 5;        ///< likewise
};

/** Measures everything registered so far in this process. */
std::vector<Comparison> MeasureAll(const Effort& effort);

/** The name of callgrind's counts that are of no interest. */
inline constexpr const char* kNotCounted = "not counted";

/** Stands between what is compared and the role in the name of a count. */
inline constexpr char kRoleSeparator = '/';

/** Carries out everything registered, each once after a first time; under callgrind, with a count of its own. */
void CountAll();

/** Comparisons as text that ReadComparisons() reads, for the way from one process to another. */
std::string Written(const std::vector<Comparison>& comparisons);
std::vector<Comparison> ReadComparisons(const std::string& text);

}  // namespace bench
