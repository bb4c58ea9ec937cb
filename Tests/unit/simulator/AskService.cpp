/** A program to be run on a set: sends its arguments to the migration service and prints what comes back, or sleeps two
 * seconds when its argument is "sleep". */
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "ServiceClient.h"

int main(int argc, char** argv)
{
    try {
        if (argc == 2 && std::strcmp(argv[1], "sleep") == 0) {
            usleep(2000000);
            return 0;
        }
        ServiceClient client(std::getenv("DBUS_SYSTEM_BUS_ADDRESS"));
        for (int i = 1; i < argc; ++i) {
            std::puts(client.Ask(argv[i]).c_str());
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
