/** @file
 * How work grows with the size of a file.
 */
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace bench {

/** By how much an exponent may differ from 1. */
inline constexpr double kGrowthTolerance = 0.05;

/** The processor time of the same work by the number of records, and what it grows with: 1 is linear. */
struct GrowthOf {
    std::string role;                 ///< "library" or "floor"
    std::vector<double> nanoseconds;  ///< of processor time: medians over all rounds, in the order of the sizes
    double exponent = 0;              ///< median of the rounds' exponents
    double spread = 0;                ///< half the distance of their quartiles
};

struct Growth {
    std::string what;
    std::vector<int> records;
    std::vector<GrowthOf> roles;

    bool IsReached() const;  ///< the exponent of the library lies within 0.05 of 1
};

/** In a process of its own. */
std::vector<Growth> GrowthOverRecords(const std::filesystem::path& place, int rounds);

}  // namespace bench
