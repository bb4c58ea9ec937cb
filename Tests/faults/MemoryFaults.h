/** @file
 * Memory that runs out at any place of a call: in a process that has called nothing before, once or for ever after. The
 * process lives on, and when the memory is back it does what it does elsewhere and holds no more than elsewhere.
 */
#pragma once

#include <Resources.h>
#include <TestSet.h>

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

/** A TV and the box that belongs to it, with its migration service or without a bus. */
struct World {
    int year;  ///< TV code
    const char* tv;
    const char* box;
    bool hasService;
};

std::ostream& operator<<(std::ostream& out, const World& world);

/** How a call went in which memory may have run out. */
struct Went {
    int result;
    bool ranOut;
    bool forEver;  ///< from some place on, not only there
};

/** A call in which memory runs out. */
struct Call {
    std::string name;
    std::function<int()> call;
    int result;                              ///< with memory; without, a call that would give 0 may give -1
    std::function<void()> before{};          ///< with memory, in the same process
    std::function<int()> again{};            ///< the same call, once memory is back; the call itself if not given
    std::function<void(const Went&)> after{};  ///< says what has to hold right after the call
};

class MemoryFaults : public OnSet {
 protected:
    void StartWorld(const World& world);

    /** Has each allocation in turn fail in calls, or some of them when not everything is tried.
     * @param what  names the tries */
    void RunOutIn(const std::vector<Call>& calls, const std::string& what);

    /** Has everything that stays on the set be there: what the library writes, and what it reads. */
    void MakeData();

    /** Which of the two data files is not as MakeData() left it, and whether a backup went astray; empty when all
     * is well. */
    std::string LostData();
    /** Whether a call in this or another process found no memory for the service client, since the last Forget(). That
     * counts as a command that failed, also as a mount; a mount that fails is followed by a format. */
    bool LackedClient() const;

    void ExpectNothingLost();
    void ExpectNotFormatted();

    int PowerFlag();
    /** A number that the TV keeps while it is on, such as "tuner_mute". */
    int StateOfTv(const std::string& name);

    const World& ThisWorld() const { return world_; }

 private:
    struct Seen;

    void RunOutIn(const Call& call, bool forEver, long first, const char* kind);
    void Run(const Call& call, long nth, bool forEver, const Seen& unfailed, Seen& seen);

    World world_{};
    std::optional<OwnTemporaryFiles> temporaryFiles_;
    std::string serviceFile_;
    std::string backupFile_;
};
