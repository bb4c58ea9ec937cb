/** @file
 * Instructions that operations take, counted by callgrind: they repeat where times do not.
 */
#pragma once

#include <string>
#include <vector>

namespace bench {

/** One role of a comparison, carried out several times: medians. */
struct Count {
    std::string role;
    long instructions = 0;  ///< of all threads of the process
    long spread = 0;        ///< of the instructions: half the distance of the quartiles
    long own = 0;           ///< those of them in functions of the library itself, with what is compiled into them
    long allocations = 0;   ///< calls of malloc, calloc and realloc, by whomever
};

struct Instructions {
    std::string what;
    std::vector<Count> counts;
    double ownPerRecord = 0;  ///< by how much a record more raises the library's own; 0 where there are none
};

/** Has a program count, by calling it under callgrind with "--count GROUP". */
std::vector<Instructions> CountInstructions(const std::string& program);

}  // namespace bench
