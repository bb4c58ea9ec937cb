/** @file
 * One line of the table: an operation of the library, the floor beneath it, and what a user would take instead, all
 * measured in one process, one right after the other.
 */
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace bench {

/** Does the work. @return whether it is done; told apart before and after measuring, not while */
using Operation = std::function<bool()>;

enum class Verdict { Reached, NotReached, NotTold };

/** A way of doing the work, and how long it takes. */
struct Measured {
    std::string role;        ///< "library", "floor", "floor again", or the name of what is taken instead
    bool isAlternative = true;  ///< does the same work as the library, so that their ratio says something
    double median = 0;       ///< nanoseconds
    double spread = 0;       ///< half the distance of the quartiles, in nanoseconds
    double ratio = 1;        ///< of the library to this one, or of "floor again" to "floor": the median over all rounds
    double ratioSpread = 0;  ///< half the distance of the quartiles of the repetitions' medians
    double overFloor = 1;    ///< the ratio of this one to the floor, taken likewise
};

/** A part of what the library takes more than its floor. */
struct Part {
    std::string name;
    std::string longer;      ///< the role that has the part
    std::string shorter;     ///< the role that is the same without it
    double nanoseconds = 0;  ///< the median of their difference over all rounds
    double spread = 0;       ///< half the distance of the quartiles of the repetitions' medians
};

/** What is compared, and the aim: the library takes at most @ref limit times what @ref against takes. */
struct Comparison {
    std::string what;
    std::string against = "floor";
    double limit = 0;
    bool orInsideSpread = false;  ///< the aim is met inside the spread of two runs of the floor too
    int syncs = -1;               ///< how often a store syncs, whose aim is once; -1 for what is none
    std::vector<Measured> measured;
    std::vector<Part> parts;  ///< the last two, if any: what is left beside the others, and the whole

    const Measured* Find(const std::string& role) const;
    double Ratio() const { return Find(against)->ratio; }
    double SpreadOfFloors() const;  ///< the ratio up to which two runs of the floor differ
    double Doubt() const;           ///< by how much the ratio can be wrong
    bool IsInsideSpread() const;    ///< the ratio is no greater than that of two runs of the floor, if that counts
    Verdict Judged() const;
};

/** Registers what belongs to one comparison; the floor is measured twice, so that its own spread shows. */
class Compare {
 public:
    Compare(std::string what, double limit, std::string against = "floor");
    Compare& Library(Operation operation) { return Add("library", std::move(operation)); }
    Compare& Floor(const Operation& operation);
    Compare& Instead(const std::string& name, Operation operation) { return Add(name, std::move(operation)); }
    /** Measures what is no alternative to the library, but a part of the work. */
    Compare& Beside(const std::string& name, Operation operation);
    Compare& OrInsideSpread();
    /** The work is a store, which has to sync once and does so as often. */
    Compare& SyncsOnce(int syncs);
    /** Tells a part of what the library takes more than its floor: what one role takes more than another. */
    Compare& RestHas(std::string name, std::string longer, std::string shorter);
    /** What is done before each turn of each role, and not timed. */
    Compare& Before(std::function<void()> prepare);
    /** What has to be so after a turn of each role but those beside. */
    Compare& Leaves(Operation holds);

 private:
    Compare& Add(const std::string& role, Operation operation);
};

/** How much is measured. */
struct Effort {
    int repetitions = 15;
    double seconds = 0.3;  ///< of each repetition of a comparison, at least
    int rounds = 5;        ///< likewise
};

/** Measures everything registered so far in this process.
 * @throw vbset::Error when an operation does not do its work, before measuring or after */
std::vector<Comparison> MeasureAll(const Effort& effort);

/** The name of callgrind's counts that are of no interest. */
inline constexpr const char* kNotCounted = "not counted";

/** Stands between what is compared and the role in the name of a count. */
inline constexpr char kRoleSeparator = '/';

/** How often each operation is counted. */
inline constexpr int kCounts = 5;

/** Carries out everything registered, each several times after a first time; under callgrind, with counts of their
 * own. */
void CountAll();

/** Comparisons as text that ReadComparisons() reads, for the way from one process to another. */
std::string Written(const std::vector<Comparison>& comparisons);
std::vector<Comparison> ReadComparisons(const std::string& text);

}  // namespace bench
