/** @file
 * A scenario on a simulated set of directories, with the real bus, service, scripts and processes.
 */
#pragma once

#include <filesystem>
#include <string>

#include "Holdings.h"
#include "Scenario.h"

namespace powercut {

class RealSet {
 public:
    /** Makes the set of a scenario below a directory, switched off, as FirstState() has it. @throw vbset::Error */
    RealSet(const Scenario& scenario, const std::filesystem::path& directory);

    /** The same set once more, as it is now. */
    RealSet(const RealSet& other, const std::filesystem::path& directory);

    /** Runs a flow and switches the set off. @param cut  empty for none
     * @return what its calls returned; "cut" when the power was taken away there */
    std::string Run(Flow flow, const std::string& cut);

    /** What `vbmigration status` says of the next START: whether it formats the partition that holds the backup. */
    bool SaysThatStartFormats();

    Holdings Held() const { return HoldingsOf(tv_, box_); }

 private:
    void Describe() const;
    void MakeEarlierBackup();
    void PlaceFiles();
    std::string RunOnSet(const std::string& cut, const std::vector<std::string>& program, int expected);
    void SwitchOff();

    Scenario scenario_;
    std::filesystem::path directory_;
    std::filesystem::path tv_;
    std::filesystem::path box_;
};

}  // namespace powercut
