/** @file
 * What is compared, in groups that are each measured in a process of their own.
 */
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/** Where sets are put, by what a write to them costs. */
struct Places {
    std::filesystem::path memory;  ///< a tmpfs
    std::filesystem::path disk;
    std::filesystem::path armhf;  ///< not of sets: where the programs of a 32-bit build lie, empty without one
};

/** Registers comparisons, measures them with @ref measure, then takes down what they needed. */
struct Group {
    std::string name;
    std::function<void(const std::function<void()>& measure)> run;
};

/** The picture file: store, restore into the box, verification, sync, load; 44 and 62 items; memory and disk. */
std::vector<Group> PictureGroups(const Places& places);
/** Calls of the migration service. */
std::vector<Group> ServiceGroups(const Places& places);
/** A command in this process, small and large. */
std::vector<Group> CommandGroups();
/** Whole backups and restores. */
std::vector<Group> FlowGroups(const Places& places);
/** The first call of a process, and loading the library, on 32-bit ARM too. */
std::vector<Group> FirstCallGroups(const Places& places);

}  // namespace bench
