/** @file
 * The library's exported functions, each as one recorded call.
 */
#pragma once

#include <string>

#include "CallLog.h"
#include "Words.h"

namespace command {

/** Each returns true when the function's result was 0. */
class Exported {
 public:
    explicit Exported(CallLog& log) : log_(log) {}

    /** @param types  the names that the types have on this set */
    bool Notify(const Words& types, int type, int progress);
    bool Dump();

    /** Says whether START, dump and END were a backup. */
    void SumUpBackup();

    bool Restore();
    bool SyncPictures(int direction);
    bool SetItem(int id, int value);
    bool ConvertItem(int id);
    bool Test(int code);
    bool SetBootPartition(int partition);
    bool GetBootPartition();
    bool FreeMemory();
    bool SyncStore();
    bool MountPartition();
    bool ResetTuner();

    /** Makes the library read the factory items through registered functions, which ask the platform in their turn. */
    bool RegisterCallbacks();

    /** The two single objects, which count as success when the set has them. */
    bool GetObjects();

 private:
    template <class Function>
    bool Run(const std::string& function, std::vector<Field> arguments, Function call);

    CallLog& log_;
};

/** The set's TV code, -1 when it cannot be read. */
int TvCode();

}  // namespace command
