/** power-cut-flow FLOW TV-CODE: a caller of the library, for the simulated set; prints what the calls returned. */
#include <cstdio>
#include <cstdlib>

#include "Flows.h"

int main(int argc, char** argv)
{
    const auto flow = argc == 3 ? powercut::FlowOf(argv[1]) : std::nullopt;
    if (!flow) {
        std::fputs("usage: power-cut-flow FLOW TV-CODE\n", stderr);
        return 2;
    }
    powercut::Results results;
    powercut::RunFlow(*flow, std::atoi(argv[2]), results);
    std::printf("%s\n", results.Text().c_str());
    return 0;
}
