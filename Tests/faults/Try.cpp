#include "Try.h"

#include <Failures.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

struct Count {
    std::string kind;
    long tried = 0;
    long survived = 0;
};

std::vector<Count>& Counts()
{
    static std::vector<Count> counts;
    return counts;
}

Count& CountOf(const std::string& kind)
{
    std::vector<Count>& counts = Counts();
    const auto known =
        std::find_if(counts.begin(), counts.end(), [&](const Count& count) { return count.kind == kind; });
    return known != counts.end() ? *known : counts.emplace_back(Count{kind});
}

class PrintedAtTheEnd : public ::testing::Environment {
 public:
    void TearDown() override
    {
        for (const Count& count : Counts()) {
            std::printf("%s %ld tried %ld survived\n", count.kind.c_str(), count.tried, count.survived);
        }
    }
};

[[maybe_unused]] const auto* const kPrinted =
    TriesAll() ? ::testing::AddGlobalTestEnvironment(new PrintedAtTheEnd) : nullptr;

}  // namespace

bool TriesAll()
{
    const char* const faults = std::getenv("FAULTS");
    return faults != nullptr && std::string(faults) == "all";
}

Try::Try(const char* kind, int cases) : kind_(kind), cases_(cases), failuresBefore_(FailuresSoFar()) {}

Try::~Try()
{
    Count& count = CountOf(kind_);
    count.tried += cases_;
    count.survived += FailuresSoFar() == failuresBefore_ ? cases_ : 0;
}
