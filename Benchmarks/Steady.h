/** @file
 * What must not grow with use, and how work grows with the size of a file.
 */
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace bench {

/** The memory of this process after the first hundred of many equal operations, and after all of them. */
struct MemoryOverTime {
    std::string what;
    long operations = 0;
    long heapGrowth = 0;      ///< bytes in use of the heap
    long residentGrowth = 0;  ///< bytes resident
};

/** Time of an operation by the number of records in a file. */
struct Growth {
    std::string what;
    std::vector<std::pair<int, double>> nanoseconds;  ///< by number of records
    double exponent = 0;  ///< of the time that comes with the records: 1 is linear
};

MemoryOverTime ServiceCallMemory(const std::filesystem::path& place, long operations);
MemoryOverTime StoreMemory(const std::filesystem::path& place, long operations);
std::vector<Growth> GrowthOverRecords(const std::filesystem::path& place);

}  // namespace bench
