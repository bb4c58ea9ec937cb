/** Two threads that are the first in a process to call the library, through every pair of its functions: it starts up
 * once. Calls that need the service or the values of the items must not overlap: of two, the second waits, once it has
 * started up, for the first to end. */
#include <Child.h>
#include <TestSet.h>
#include <Together.h>
#include <VBMigration.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "ExportedFunctions.h"
#include "Try.h"

namespace {

/** Whether a function gave the result that it gives alone. GetMigrationStrategy() does not start the library up: called
 * first it makes a strategy without a migrator, and then what works with the strategy fails. */
bool IsAsAlone(int result, int alone, const ExportedFunction& other)
{
    return result == alone || (result == -1 && other.name == "GetMigrationStrategy");
}

/** In a process of its own, which has called nothing before: each gives the result that it gives alone.
 * @return whether it ended well */
bool EnterTogether(const ExportedFunction& first, const ExportedFunction& second, const std::array<int, 2>& alone)
{
    return HoldsInChild([&] {
        std::array<int, 2> results{};
        std::atomic<bool> firstIsOver{false};
        Together(2, [&](std::size_t i) {
            if (i == 0) {
                results[0] = first.call();
                firstIsOver = true;
                return;
            }
            if (first.mustNotOverlap && second.mustNotOverlap) {
                get_Startegy();
                while (!firstIsOver) std::this_thread::yield();
            }
            results[1] = second.call();
        });
        EXPECT_TRUE(IsAsAlone(results[0], alone[0], second)) << results[0] << ", alone " << alone[0];
        EXPECT_TRUE(IsAsAlone(results[1], alone[1], first)) << results[1] << ", alone " << alone[1];
    });
}

class FirstEntry : public OnSet {
 protected:
    FirstEntry()
    {
        Start();
        for (const char* command : {"mkdir", "spi_init.sh"}) Fault(std::string("local.") + command, "0");
    }

    /** What each function gives in a process in which nothing else is called. */
    std::vector<int> ResultsAlone()
    {
        std::vector<int> results;
        const auto result = Temporary() / "result";
        for (const ExportedFunction& function : ExportedFunctions()) {
            EXPECT_TRUE(HoldsInChild([&] { WriteFile(result, std::to_string(function.call())); })) << function.name;
            results.push_back(std::stoi(ReadFile(result)));
        }
        return results;
    }
};

}  // namespace

TEST_F(FirstEntry, StartsUpOnceThroughEveryPairOfFunctions)
{
    const std::vector<ExportedFunction>& functions = ExportedFunctions();
    const std::vector<int> alone = ResultsAlone();
    for (std::size_t first = 0; first < functions.size(); ++first) {
        for (std::size_t second = 0; second < functions.size(); ++second) {
            const Try entry("pairs of functions that two threads enter first");
            const std::string names = functions[first].name + ", " + functions[second].name;
            Forget();
            EXPECT_TRUE(EnterTogether(functions[first], functions[second], {alone[first], alone[second]})) << names;
            // The constructors of both objects speak.
            EXPECT_LE(Logged({"MavoMavoStratgegy"}).size(), 1U) << names;
            EXPECT_LE(Logged({"VEMigrationImpl"}).size(), 1U) << names;
        }
    }
}
