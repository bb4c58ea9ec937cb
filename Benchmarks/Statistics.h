/** @file
 * What is said of a row of measurements.
 */
#pragma once

#include <chrono>
#include <vector>

namespace bench {

/** The value at a part of a row once it is sorted, 0.5 for the median; between neighbours by proportion. */
double Quantile(std::vector<double> row, double part);

inline double Median(const std::vector<double>& row)
{
    return Quantile(row, 0.5);
}

/** Half the distance of the quartiles. */
double Spread(const std::vector<double>& row);

/** The time that something takes on the clock, in nanoseconds. */
template <typename Operation>
double TimeOf(const Operation& operation)
{
    const auto begin = std::chrono::steady_clock::now();
    operation();
    const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - begin;
    return taken.count();
}

}  // namespace bench
