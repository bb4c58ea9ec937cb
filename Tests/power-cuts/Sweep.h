/** @file
 * Many cases: which there are, trying them on several cores, and the figures.
 */
#pragma once

#include <string>
#include <vector>

#include "Trial.h"

namespace powercut {

/** The cuts at the places of a run. @param thorough  with what becomes of files that are not synced, and parts of writes;
 * else one cut a place */
std::vector<vbset::PowerCut> CutsAt(const std::vector<Point>& points, bool thorough);

struct SweepOptions {
    bool all = false;             ///< every case, every pair of the flows named for it, and sampled triples
    unsigned long sample = 20000; ///< else so many of the cases with one cut and of the pairs
    unsigned long seed = 1;
    unsigned int jobs = 1;
    std::string only;             ///< scenarios whose id begins so
};

/** Prints the ids of so many cases with one cut or two, taken from all scenarios by turns. */
void PrintSomeIds(unsigned long count, unsigned long seed);

/** Tries cases and prints the figures. @return whether all went well */
bool Sweep(const SweepOptions& options);

}  // namespace powercut
