/** @file
 * What this process says to the migration service, and what the service answers.
 *
 * The library counts a call without an answer as success, so its results do not tell whether there is a service. Its
 * requests go over a connection that the whole process shares, where they can be seen.
 */
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace command {

/** One request, and the reply to it: absent when the call failed, or when the reply was no text or an empty one. */
struct Exchange {
    std::string request;
    std::optional<std::string> reply;
};

/** Sees to it that the requests from now on are seen. Connects to the bus at the first call, as the library would;
 * where there is no bus, there are no requests to be seen. */
void WatchService();

/** All exchanges so far but the first @p skipped. */
std::vector<Exchange> ExchangesSince(std::size_t skipped);

std::size_t CountOfExchanges();

}  // namespace command
