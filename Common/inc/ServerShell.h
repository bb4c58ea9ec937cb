/** @file
 * Command lines for the migration service, for callers that have to know whether a command was asked for at all.
 */
#pragma once

#include <optional>

/** Runs a command line on the migration service, as MigrationCommon::ExecuteUserShell() does.
 * @return its status, -1 without memory for the client; none without memory for the request, when nobody was asked */
std::optional<int> ExecuteOnServer(const char* command) noexcept;
