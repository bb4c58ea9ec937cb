/** @file
 * Everything measured, as a table for people and as JSON for programs.
 */
#pragma once

#include <ostream>
#include <vector>

#include "Comparison.h"
#include "Growth.h"
#include "Instructions.h"
#include "LibrarySize.h"
#include "Memory.h"

namespace bench {

struct Results {
    std::vector<Comparison> comparisons;
    std::vector<MemoryOverTime> memory;
    std::vector<Growth> growth;
    std::vector<Instructions> instructions;
    std::vector<LibrarySize> sizes;
};

void PrintTable(std::ostream& out, const Results& results);
void PrintJson(std::ostream& out, const Results& results);

}  // namespace bench
