/** A program to be run on a set: sends its arguments to the migration service and prints what comes back, or sleeps when
 * they are "sleep" and a number of seconds. */
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "ServiceClient.h"

int main(int argc, char** argv)
{
    try {
        if (argc == 3 && std::strcmp(argv[1], "sleep") == 0) {
            usleep(static_cast<useconds_t>(std::strtoul(argv[2], nullptr, 10)) * 1000000);
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
