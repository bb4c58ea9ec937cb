/** Two threads that are the first in a process to call the library, through every pair of its functions: it starts up
 * once. Calls that need the service or the values of the items must not overlap: of two, the second waits, once it has
 * started up, for the first to end. */
#include <Child.h>
#include <TestSet.h>
#include <Together.h>
#include <VBMigration.h>

#include <atomic>
#include <thread>

#include "ExportedFunctions.h"
#include "Try.h"

namespace {

/** In a process of its own, which has called nothing before. @return whether it ended well */
bool EnterTogether(const ExportedFunction& first, const ExportedFunction& second)
{
    return HoldsInChild([&] {
        std::atomic<bool> firstIsOver{false};
        Together(2, [&](std::size_t i) {
            if (i == 0) {
                first.call();
                firstIsOver = true;
                return;
            }
            if (first.mustNotOverlap && second.mustNotOverlap) {
                get_Startegy();
                while (!firstIsOver) std::this_thread::yield();
            }
            second.call();
        });
    });
}

class FirstEntry : public OnSet {
 protected:
    FirstEntry()
    {
        Start();
        for (const char* command : {"mkdir", "spi_init.sh"}) Fault(std::string("local.") + command, "0");
    }

    /** How often the constructors of strategies and migrators have spoken. */
    std::size_t Constructions() const { return Logged({"MavoMavoStratgegy", "VEMigrationImpl"}).size(); }
};

}  // namespace

TEST_F(FirstEntry, StartsUpOnceThroughEveryPairOfFunctions)
{
    for (const ExportedFunction& first : ExportedFunctions()) {
        for (const ExportedFunction& second : ExportedFunctions()) {
            const Try entry("pairs of functions that two threads enter first");
            EXPECT_TRUE(EnterTogether(first, second)) << first.name << ", " << second.name;
            EXPECT_LE(Constructions(), 2) << first.name << ", " << second.name;  // one of each object
            Forget();
        }
    }
}
