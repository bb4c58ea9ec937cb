/** @file
 * What a caller does with the library in one process.
 */
#pragma once

#include <optional>
#include <string>

namespace powercut {

enum class Flow {
    Backup,        ///< notify START, dump, notify END
    Restore,       ///< notify START, restore, notify END
    RestoreAlone,  ///< restore without a START: from what is there
    SyncToFile,    ///< picture sync, box to service file
    SyncToBox,     ///< picture sync, service file to box
    MountedSyncToFile,  ///< the same after a load, which mounts the partition of the service file
    MountedSyncToBox,
    Store,         ///< item 1713
    Load,          ///< item 1714, and the value of the first item
};

const char* NameOf(Flow flow);
std::optional<Flow> FlowOf(const std::string& name);

/** What the calls returned, in order. */
struct Results {
    int count = 0;
    int values[6] = {};

    void Add(int value) { values[count++] = value; }
    bool operator==(const Results& other) const;
    std::string Text() const;
};

/** Makes the calls of a flow. @param tvCode  on 13 the types of notify are others */
void RunFlow(Flow flow, int tvCode, Results& results);

}  // namespace powercut
