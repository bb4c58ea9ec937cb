/** @file
 * A set in memory that programs of this process run on: what they are, where its power goes away, what happened on it.
 *
 * It lies in memory that a process shares with those that it forks, so that a run leaves it behind when it ends, however
 * it ends.
 */
#pragma once

#include <PowerCut.h>

#include <cstdint>

#include "Flows.h"
#include "MemorySet.h"

namespace powercut {

/** What stays the same of a set: as the descriptions say. */
struct Facts {
    int tvCode = 15;
    int items = 44;
    int ciSlots = 0;
    bool newBoard = false;
    bool basesOnPartition = false;   ///< keys 247 and 248 are "/opt/korvane_vbmg/", else they cannot be read
    bool macBlockIsPrivate = false;  ///< only the service may open the raw MAC block
    bool transfersCount = false;     ///< archive transfers count as done, whatever the service did
    bool hasLegacyFolder = false;    ///< /opt/korvane_vbmg/SP_VB_DATA exists
    bool hasMicomMac = true;
};

/** A place in a run at which the power may go away: after an interaction, or inside what the set does for it. */
struct Point {
    std::uint16_t interaction = 0;
    std::uint8_t step = 0;      ///< 0: after the interaction
    std::uint8_t unsynced = 0;  ///< number of files that are not synced then
    std::uint16_t bytes = 0;    ///< that the interaction wrote to a file
    std::uint64_t state = 0;    ///< of the set, synced or not
    char call[128] = "";        ///< empty for a step
};

struct Run {
    bool isCut = false;
    bool recordsStates = false;
    unsigned long interaction = 0;  ///< of the cut
    vbset::PowerCut::When when = vbset::PowerCut::When::Before;
    unsigned long amount = 0;
    bool powerIsOff = false;
    unsigned long last = 0;   ///< interactions that are over
    unsigned long steps = 0;  ///< inside the one that is not
    int points = 0;
    Results results;
};

struct Machine {
    Facts facts;
    MemorySet set;
    Run run;
    static constexpr int capacity = 1024;
    Point points[capacity];
};

/** The machine of this process; null outside a run. */
extern Machine* machine;

/** What a process ends with when its power goes away. */
constexpr int powerCutStatus = 99;

// An interaction of library and set: Begin(), steps inside, End() with what it was.
void Begin();
void Step();
void End(const std::string& call, std::size_t bytesWritten = 0);

/** How many of its bytes a write may write before the power goes away. */
std::size_t BytesBeforeCut(std::size_t size);

/** Does once what every run would do anew: the C library's functions are looked up, paths and locale made. */
void WarmUp();

/** Runs one of the set's command lines. @return its exit status */
int RunCommand(const std::string& line);

/** Carries out a request to the migration service. @return its reply */
std::string AnswerRequest(const std::string& request);

/** Where a path of the set lies; empty for one that is not the set's. */
std::string Locate(const char* path);

constexpr const char* tvArchive = "root/opt/korvane_vbmg_Tavix.tar.gz";
constexpr const char* boxArchive = "box/archive.tar.gz";
constexpr const char* workDirectory = "work";

}  // namespace powercut
