#include "Statistics.h"

#include <algorithm>

namespace bench {

double Quantile(std::vector<double> row, double part)
{
    std::sort(row.begin(), row.end());
    const double place = part * static_cast<double>(row.size() - 1);
    const auto below = static_cast<std::size_t>(place);
    const std::size_t above = std::min(below + 1, row.size() - 1);
    return row[below] + (row[above] - row[below]) * (place - static_cast<double>(below));
}

double Spread(const std::vector<double>& row)
{
    return (Quantile(row, 0.75) - Quantile(row, 0.25)) / 2;
}

}  // namespace bench
