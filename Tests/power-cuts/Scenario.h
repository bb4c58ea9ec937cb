/** @file
 * What is tried: a set, what it holds at first, and what a caller does on it.
 */
#pragma once

#include <string>
#include <vector>

#include "Flows.h"
#include "Machine.h"

namespace powercut {

/** Which of the boards. */
enum class Board { Old, New, NewWithoutSlot };

struct Scenario {
    std::string id;  ///< such as "backup-15-44-new-part": what follows the number of items differs from the usual
    Flow flow = Flow::Backup;
    Facts facts;
    Board board = Board::Old;
    bool legacyBackup = false;       ///< the partition holds a legacy backup and no other
    bool unformatted = false;        ///< the partition that the flow mounts has no file system yet
    bool fresh = false;              ///< nothing was ever backed up or stored
};

/** Every scenario; the first of each flow and TV code is the plain one. */
const std::vector<Scenario>& Scenarios();

/** @return null when there is none of that id */
const Scenario* FindScenario(const std::string& id);

/** The set of a scenario before the flow, switched off. The items of the box are those of a seed, what was backed up or
 * stored before are those of another. */
MemorySet FirstState(const Scenario& scenario);

/** What is lost with the power comes back as the set's description says. */
void SwitchOn(const Scenario& scenario, MemorySet& set);

/** The seeds of the items in the box and of the items of earlier backups. */
constexpr unsigned int boxSeed = 15;
constexpr unsigned int earlierSeed = 77;

/** The picture file of the items that a seed makes, as the file format has it. */
Bytes PictureOf(int items, unsigned int seed);

}  // namespace powercut
