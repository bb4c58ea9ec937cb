/** @file
 * Everything measured, as a table for people and as JSON for programs.
 */
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "Comparison.h"
#include "LibrarySize.h"
#include "Steady.h"

namespace bench {

/** Instructions of one operation, counted by callgrind. */
struct Instructions {
    std::string name;  ///< what/role
    long long count = 0;
};

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
