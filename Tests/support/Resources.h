/** @file
 * What a process holds of the machine, to be the same after something went wrong as it was before.
 */
#pragma once

#include <map>
#include <ostream>
#include <string>

struct Resources {
    /** What this process holds now. */
    static Resources Now();

    /** Whether this is no more than what was held before. */
    bool operator==(const Resources& before) const;

    std::map<int, std::string> descriptors;  ///< number and what it is
    int children = 0;                        ///< processes, ended or not
    int threads = 0;
    int mappings = 0;        ///< regions of memory
    int temporaryFiles = 0;  ///< below the directory for them
};

std::ostream& operator<<(std::ostream& out, const Resources& resources);
